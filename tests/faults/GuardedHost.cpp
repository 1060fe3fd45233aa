#include "tests/faults/GuardedHost.h"

#include <cstring>

#include "platform/Carbon.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::faults {

namespace {

thread_local GuardedHost* active = nullptr;

/// The stay of the plug-in inside a callback.
struct Visit {
    explicit Visit(GuardedHost& host) : host_(host) {
        if (host_.entering) host_.entering();
    }
    ~Visit() {
        if (host_.leaving) host_.leaving();
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    GuardedHost& host_;
};

GuardedHost& of(HYPluginInstance instance) {
    return *static_cast<GuardedHost*>(instance);
}

void paint(std::uint8_t* pixels, std::size_t bytes, std::int32_t number) {
    for (std::size_t i = 0; i < bytes; ++i)
        pixels[i] = i % 4 == 0
                        ? std::uint8_t{255}
                        : static_cast<std::uint8_t>(i * 5 + i / 97 + static_cast<unsigned>(number) * 17U);
}

}  // namespace

struct GuardedHost::Callbacks {
    static void* newPtrClear(std::int32_t size) {
        GuardedHost& host = *active;
        const Visit visit(host);
        if (host.script.nullBlock || host.blockOut_ || size != static_cast<std::int32_t>(sizeof(_EffectData)))
            return nullptr;
        std::uint8_t* block = host.blockMemory_.place(static_cast<std::size_t>(size), host.script.side);
        std::memset(block, 0, static_cast<std::size_t>(size));
        host.blockOut_ = true;
        return block;
    }
    static HYPluginResult disposePtr(void*) {
        const Visit visit(*active);
        active->blockOut_ = false;
        return active->script.disposePtr;
    }
    static HYPluginResult copyText(StringPtr to, ConstStr255Param from) {
        const Visit visit(*active);
        std::memcpy(to, from, static_cast<std::size_t>(from[0]) + 1);
        return kPluginOK;
    }
    static HYPluginResult getString(StringPtr to, std::int16_t, std::int16_t) {
        const Visit visit(*active);
        to[0] = active->script.captionLength;
        std::memset(to + 1, 'm', to[0]);
        return active->script.getString;
    }
    static HYPluginResult getFrame(HYPluginInstance instance, std::int32_t number, GWorldPtr* world,
                                   std::int16_t width, std::int16_t height, HYRefDVQuality,
                                   std::int16_t* volume, HYFrameCookie* cookie) {
        const Visit visit(of(instance));
        return of(instance).lend(number, world, width, height, volume, cookie);
    }
    static HYPluginResult releaseFrame(HYPluginInstance instance, HYFrameCookie cookie) {
        const Visit visit(of(instance));
        for (Frame& frame : of(instance).frames_)
            if (&frame == cookie) drop(frame);
        return of(instance).script.releaseFrame;
    }
    static HYPluginResult getClip(HYPluginInstance instance, std::int16_t, HYPluginClipInfo* info) {
        const Visit visit(of(instance));
        *info = of(instance).clip;
        return of(instance).script.getClip;
    }
    static HYPluginResult setClip(HYPluginInstance instance, const HYPluginClipInfo* info) {
        const Visit visit(of(instance));
        of(instance).clip = *info;
        return of(instance).script.setClip;
    }
    static HYPluginResult blit(const PixMap* source, const PixMap* destination, const Rect* from,
                               const Rect* to, std::int16_t level) {
        const Visit visit(*active);
        std::ignore = platform::BlendRect(source, destination, from, to, level);  // the script answers
        return active->script.blit;
    }
    static HYPluginResult getTransition(HYPluginInstance instance, HYPluginTransitionInfo** info) {
        GuardedHost& host = of(instance);
        const Visit visit(host);
        if (host.script.getTransition != kPluginOK || host.script.nullTransition)
            return host.script.getTransition;
        *info = &host.transition;
        ++host.recordsLent_;
        return kPluginOK;
    }
    static HYPluginResult releaseTransition(HYPluginInstance instance, HYPluginTransitionInfo* info) {
        const Visit visit(of(instance));
        if (info) --of(instance).recordsLent_;
        return of(instance).script.releaseTransition;
    }
    static HYPluginResult mixAudio(HYPluginInstance instance, HYFrameCookie, std::int16_t) {
        const Visit visit(of(instance));
        return of(instance).script.mixAudio;
    }
};

GuardedHost::GuardedHost() : entry(HYPluginEntry), blockMemory_(sizeof(_EffectData)) {
    procs_.NewPtrClear = Callbacks::newPtrClear;
    procs_.DisposePtr = Callbacks::disposePtr;
    procs_.pstrcpy = Callbacks::copyText;
    procs_.GetLocalizedString = Callbacks::getString;
    procs_.GetFrame = Callbacks::getFrame;
    procs_.ReleaseFrame = Callbacks::releaseFrame;
    procs_.GetClipInfo = Callbacks::getClip;
    procs_.SetClipInfo = Callbacks::setClip;
    procs_.Blit = Callbacks::blit;
    procs_.GetTransitionInfo = Callbacks::getTransition;
    procs_.ReleaseTransitionInfo = Callbacks::releaseTransition;
    procs_.MixAudio = Callbacks::mixAudio;
    params.interfaceVersion = 4;
    params.instance = this;
    params.procs = &procs_;
    params.startFrame = 100;
    params.frameCount = 6;
    transition.speed = 0.5F;
    transition.ver2.direction = kPluginDirectionLeft;
    makeDestination({48, 40, 48, 0, 0});
    blockMemory_.place(0, GuardedMemory::Against::behind);
    for (Frame& frame : frames_) frame.memory.place(0, GuardedMemory::Against::behind);
}

GuardedHost::~GuardedHost() {
    script = Script{};
    takeBack();
    params.interfaceVersion = 4;
    params.procs = &procs_;
    params.instance = this;
    if (params.clientData) call(0, kPlugTerminate);
    SetGWorld(nullptr, nullptr);
    drop(destination_);
}

bool GuardedHost::make(Frame& frame, const FrameShape& shape) {
    drop(frame);
    const int stride = shape.stride, height = shape.height;
    if (stride < 1 || height < 1 || stride > kMostSide || height > kMostSide) return false;
    frame.bytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(height) * 4;
    frame.pixels = frame.memory.place(frame.bytes, script.side);
    Rect bounds{};
    SetRect(&bounds, static_cast<short>(shape.left), static_cast<short>(shape.top),
            static_cast<short>(shape.left + shape.width), static_cast<short>(shape.top + height));
    return platform::NewGWorldOver(&frame.world, frame.pixels, stride * 4, &bounds) == noErr;
}

void GuardedHost::drop(Frame& frame) {
    DisposeGWorld(frame.world);
    frame.world = nullptr;
}

void GuardedHost::makeDestination(const FrameShape& shape) {
    make(destination_, shape);
    if (destination_.world) std::memset(destination_.pixels, 0, destination_.bytes);
    params.frame = destination_.world;
    SetRect(&params.frameRect, 0, 0, static_cast<short>(shape.width), static_cast<short>(shape.height));
}

HYPluginResult GuardedHost::lend(std::int32_t number, GWorldPtr* world, int width, int height,
                                 std::int16_t* volume, HYFrameCookie* cookie) {
    if (script.getFrame != kPluginOK) return script.getFrame;
    *volume = script.volume;
    *world = nullptr;
    *cookie = nullptr;
    if (script.nullWorld) return kPluginOK;
    FrameShape shape{width, height, width, 0, 0};
    if (script.ownShapes) shape = script.shapes[static_cast<std::size_t>(lentSoFar_ % 2)];
    ++lentSoFar_;
    for (Frame& frame : frames_) {
        if (frame.world) continue;
        if (!make(frame, shape)) return kPluginCantGetNeededFrame;
        paint(frame.pixels, frame.bytes, number);
        *world = frame.world;
        *cookie = &frame;
        return kPluginOK;
    }
    return kPluginOutOfMemory;
}

int GuardedHost::call(int which, int selector) {
    active = this;
    lentSoFar_ = 0;
    params.selector = static_cast<HYPluginSelector>(selector);
    return entry(static_cast<short>(which), &params);
}

void GuardedHost::takeBack() {
    for (Frame& frame : frames_) drop(frame);
    recordsLent_ = 0;
    if (destination_.world) {
        const PixMapHandle map = GetGWorldPixMap(destination_.world);
        HSetState(reinterpret_cast<Handle>(map), 0);
        SetPixelsState(map, 0);
    }
    if (blockOut_ && state() && state()->effectGWorld) {
        DisposeGWorld(state()->effectGWorld);
        state()->effectGWorld = nullptr;
    }
}

int GuardedHost::framesLent() const {
    return static_cast<int>(std::count_if(frames_.begin(), frames_.end(),
                                          [](const Frame& frame) { return frame.world != nullptr; }));
}

bool GuardedHost::destinationLocked() const {
    const PixMapHandle map = GetGWorldPixMap(destination_.world);
    return (HGetState(reinterpret_cast<Handle>(map)) & kHandleLocked) != 0 ||
           (GetPixelsState(map) & pixelsLocked) != 0;
}

bool GuardedHost::gapsUntouched() const {
    return std::all_of(frames_.begin(), frames_.end(),
                       [](const Frame& frame) { return frame.memory.gapUntouched(); }) &&
           destination_.memory.gapUntouched() && blockMemory_.gapUntouched();
}

}  // namespace tumblewash::faults
