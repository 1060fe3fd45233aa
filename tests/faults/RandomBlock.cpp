#include "tests/faults/RandomBlock.h"

#include <set>

#include "platform/Carbon.h"

namespace tumblewash::faults {

namespace {

HYPluginResult anyResult(Choice& choice) {
    if (!choice.once(8)) return kPluginOK;
    return static_cast<HYPluginResult>(choice.once(4) ? choice.range(0, 255) : choice.range(1, 11));
}

FrameShape anyShape(Choice& choice) {
    FrameShape shape;
    shape.width = choice.once(3) ? choice.range(1, GuardedHost::kMostSide) : choice.range(14, 40);
    shape.height = choice.once(3) ? choice.range(1, GuardedHost::kMostSide) : choice.range(14, 40);
    shape.stride =
        choice.once(3) ? std::min(shape.width + choice.range(0, 9), GuardedHost::kMostSide) : shape.width;
    if (choice.once(3)) {
        shape.left = choice.range(-300, 300);
        shape.top = choice.range(-300, 300);
    }
    return shape;
}

Script anyScript(Choice& choice) {
    Script script;
    for (HYPluginResult* answer : {&script.getFrame, &script.releaseFrame, &script.mixAudio,
                                   &script.getTransition, &script.releaseTransition, &script.getClip,
                                   &script.setClip, &script.blit, &script.getString, &script.disposePtr})
        *answer = anyResult(choice);
    script.nullTransition = choice.once(8);
    script.nullWorld = choice.once(12);
    script.nullBlock = choice.once(12);
    script.ownShapes = choice.once(3);
    for (FrameShape& shape : script.shapes) shape = anyShape(choice);
    if (choice.once(2)) script.shapes[1] = script.shapes[0];
    script.volume = choice.once(2) ? std::int16_t{255} : choice.wild16();
    script.captionLength = static_cast<std::uint8_t>(choice.range(0, 255));
    script.side = choice.once(2) ? GuardedMemory::Against::before : GuardedMemory::Against::behind;
    return script;
}

void anyRect(Choice& choice, Rect& rect) {
    if (!choice.once(4)) return;
    if (choice.once(2))
        rect = Rect{choice.wild16(), choice.wild16(), choice.wild16(), choice.wild16()};
    else
        OffsetRect(&rect, static_cast<short>(choice.range(-60, 60)),
                   static_cast<short>(choice.range(-60, 60)));
}

void anyNumbers(Choice& choice, HYPluginParams& params) {
    params.frameCount = choice.once(4) ? choice.wild32() : choice.range(1, 8);
    params.startFrame = choice.once(4) ? choice.wild32() : choice.range(0, 200);
    params.renderFrame = choice.once(4) ? choice.wild32() : choice.range(0, 8);
    params.proxyOnly = static_cast<Boolean>(choice.once(3) ? choice.range(0, 255) : 0);
}

/// Codes that the entry may answer: its own, and those that a callback gave it.
bool legal(int result, const Script& script) {
    if (result >= kPluginOK && result <= kPluginAppIsTooNew) return true;
    const std::set<int> given{script.getFrame,      script.releaseFrame,      script.mixAudio,
                              script.getTransition, script.releaseTransition, script.blit};
    return given.contains(result);
}

std::string oneRequest(Choice& choice, GuardedHost& host, int usual) {
    host.script = anyScript(choice);
    host.makeDestination(anyShape(choice));
    anyRect(choice, host.params.frameRect);
    anyNumbers(choice, host.params);
    host.params.interfaceVersion = choice.once(12) ? choice.wild16() : std::int16_t{4};
    host.transition.speed = choice.once(2) ? static_cast<float>(choice.wildReal()) : 0.5F;
    host.transition.ver2.direction =
        static_cast<HYPluginDirection>(choice.range(0, choice.once(4) ? 255 : 4));
    const int which = choice.once(16) ? choice.wild16() : usual;
    static constexpr int kCommon[] = {kPlugDoFrame, kPlugDoFrame,    kPlugDoFrame,
                                      kPlugGetInfo, kPlugInitialize, kPlugFilePlaceHolder};
    const int selector = choice.once(8) ? choice.range(0, 255) : choice.oneOf(kCommon);
    const GWorldPtr frame = host.params.frame;
    _HYProcs* const procs = host.params.procs;
    if (choice.once(24)) host.params.frame = nullptr;
    if (choice.once(24)) host.params.procs = nullptr;
    // A second initialise drops what the block owns, as documented; its host must have terminated before.
    const bool owns = host.params.clientData != nullptr;
    const int answered =
        selector == kPlugInitialize && owns ? host.call(which, kPlugGetInfo) : host.call(which, selector);
    host.params.frame = frame;
    host.params.procs = procs;
    std::string wrong;
    if (!legal(answered, host.script)) wrong = "code " + std::to_string(answered) + " is none that was given";
    if (!host.gapsUntouched()) wrong = "something was written beside a frame";
    if (!wrong.empty())
        wrong += ", effect " + std::to_string(which) + ", selector " + std::to_string(selector);
    host.takeBack();
    return wrong;
}

}  // namespace

std::string runRandomBlocks(Choice& choice, int requests) {
    GuardedHost host;
    const int which = choice.range(0, 13);
    host.params.interfaceVersion = 4;
    if (!choice.once(6)) host.call(which, kPlugInitialize);
    std::string wrong;
    for (int i = 0; i < requests && wrong.empty() && !choice.ended(); ++i)
        wrong = oneRequest(choice, host, which);
    host.script = Script{};
    host.params.interfaceVersion = 4;
    if (host.params.clientData && host.call(which, kPlugTerminate) != kPluginOK && wrong.empty())
        wrong = "terminate failed";
    if ((host.params.clientData || host.blockOut()) && wrong.empty()) wrong = "the state was not freed";
    return wrong;
}

}  // namespace tumblewash::faults
