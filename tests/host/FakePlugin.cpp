#include "tests/host/FakePlugin.h"

#include <cstdlib>
#include <map>
#include <utility>

#include "platform/World.h"

namespace tumblewash::test {

namespace {

thread_local std::map<int, Step> replacements;

bool isBefore(int which) {
    return which == 4 || which == 8 || which == 12;
}
bool isAfter(int which) {
    return which == 2 || which == 6 || which == 10;
}
bool twoClips(int which) {
    return which > 1 && !isBefore(which) && !isAfter(which);
}

int getInfo(short which, HYPluginParams& params) {
    HYPluginTransitionInfo* info = nullptr;
    const HYPluginResult lent = params.procs->GetTransitionInfo(params.instance, &info);
    if (lent != kPluginOK || info == nullptr) return lent;
    std::int32_t n = static_cast<std::int32_t>(info->speed * 110 + 10);
    n += n % 2;
    HYPluginGetInfo& told = params.getInfo;
    told.pluginType = isBefore(which)  ? kPluginTransitionBeforeType
                      : isAfter(which) ? kPluginTransitionAfterType
                                       : kPluginTransitionBetweenType;
    if (which != 0) told.framesToBeRendered = n;
    told.takeFromClipBefore = which < 2 ? n / 2 : isBefore(which) ? 0 : n;
    told.takeFromClipAfter = which < 2 ? n / 2 : isAfter(which) ? 0 : n;
    told.minSpeedFrames = 10;
    told.maxSpeedFrames = 120;
    told.mustTakeFromSingleClips = 1;
    if (which >= 2 && which <= 5) told.pluginFlags = 7;
    if (which >= 2) told.defaultDirection = kPluginDirectionRight;
    return params.procs->ReleaseTransitionInfo(params.instance, info);
}

int initialise(HYPluginParams& params) {
    auto* state = static_cast<FakeState*>(params.procs->NewPtrClear(sizeof(FakeState)));
    if (state == nullptr) return kPluginOutOfMemory;
    for (int& cell : state->field) cell = std::rand();
    params.clientData = state;
    return kPluginOK;
}

int terminate(short which, HYPluginParams& params) {
    HYPluginClipInfo clip{};
    params.procs->GetClipInfo(params.instance, 1, &clip);
    if (isAfter(which)) {
        clip.fadeOut = 1;
        clip.ver2.fadeOutFrames = params.frameCount;
    }
    if (isBefore(which) && which != 12) {
        clip.fadeIn = 1;
        clip.ver2.fadeInFrames = params.frameCount;
    }
    params.procs->SetClipInfo(params.instance, &clip);
    params.procs->DisposePtr(params.clientData);
    params.clientData = nullptr;
    return kPluginOK;
}

std::int16_t level(double fraction, std::int16_t volume) {
    return static_cast<std::int16_t>(fraction * volume);
}

void dissolve(GWorldPtr from, GWorldPtr to, const FakeState& state, HYPluginParams& params) {
    const PixMap& source = **GetGWorldPixMap(from);
    const PixMap* second = to != nullptr ? *GetGWorldPixMap(to) : nullptr;
    const PixMap& target = **GetGWorldPixMap(params.frame);
    for (int y = 0; y < params.frameRect.bottom; ++y) {
        const char* in = source.baseAddr + y * (source.rowBytes & kRowBytesMask);
        const char* other =
            second != nullptr ? second->baseAddr + y * (second->rowBytes & kRowBytesMask) : nullptr;
        char* out = target.baseAddr + y * (target.rowBytes & kRowBytesMask);
        for (int x = 0; x < params.frameRect.right * 4; ++x) {
            const int cell = state.field[static_cast<std::size_t>((x + y) % 256)];
            const bool first = other == nullptr || cell % params.frameCount >= params.renderFrame;
            out[x] = first ? in[x] : other[x];
        }
    }
}

}  // namespace

int fakeFrame(short which, HYPluginParams& params) {
    if (params.clientData == nullptr) return kPluginBadParams;
    if (which == 0) return kPluginOK;
    const auto width = static_cast<std::int16_t>(params.frameRect.right - params.frameRect.left);
    const auto height = static_cast<std::int16_t>(params.frameRect.bottom - params.frameRect.top);
    GWorldPtr worlds[2] = {};
    HYFrameCookie cookies[2] = {};
    std::int16_t volumes[2] = {};
    const std::int32_t first = params.startFrame + params.renderFrame;
    const int count = twoClips(which) ? 2 : 1;
    for (int i = 0; i < count; ++i) {
        const HYPluginResult lent =
            params.procs->GetFrame(params.instance, first + i * params.frameCount, &worlds[i], width, height,
                                   kDVHighQuality, &volumes[i], &cookies[i]);
        if (lent != kPluginOK) return lent;
    }
    dissolve(worlds[0], worlds[1], *static_cast<FakeState*>(params.clientData), params);
    if (volumes[0] == 255) volumes[0] = 256;
    double percent = static_cast<double>(params.renderFrame) / params.frameCount;
    if (which == 1) percent = 0;
    if (isBefore(which) || which == 5 || which == 9 || which == 13) percent = 1 - percent;
    if (params.proxyOnly == 0) {
        params.procs->MixAudio(params.instance, cookies[0], level(1 - percent, volumes[0]));
        if (count == 2) params.procs->MixAudio(params.instance, cookies[1], level(percent, volumes[1]));
    }
    HYPluginResult result = kPluginOK;
    for (int i = 0; i < count; ++i) result = params.procs->ReleaseFrame(params.instance, cookies[i]);
    return result;
}

int fakeEntry(short which, HYPluginParams* params) {
    const auto replaced = replacements.find(params->selector);
    if (replaced != replacements.end()) return replaced->second(which, *params);
    switch (params->selector) {
        case kPlugGetInfo:
            return getInfo(which, *params);
        case kPlugInitialize:
            return initialise(*params);
        case kPlugDoFrame:
            return fakeFrame(which, *params);
        case kPlugTerminate:
            return terminate(which, *params);
        default:
            return kPluginOK;
    }
}

Replace::Replace(HYPluginSelector selector, Step step) : selector_(selector) {
    replacements[selector] = std::move(step);
}
Replace::~Replace() {
    replacements.erase(selector_);
}

}  // namespace tumblewash::test
