#include "host/SessionSettings.h"

#include <cstdlib>
#include <string>

#include "host/Callbacks.h"
#include "host/Catalogue.h"

namespace tumblewash::host {

namespace {

constexpr int kMaxChannels = 64;
constexpr int kMaxRate = 768000;
constexpr std::int64_t kMaxSamplesPerFrame = 1 << 24;

std::string text(std::int64_t number) {
    return std::to_string(number);
}

void checkEffect(int effect) {
    if (effect < 0 || effect >= kEffectCount) {
        throw HostError("effect " + text(effect) + " does not exist; give an index from 0 to " +
                        text(kEffectCount - 1));
    }
}

void checkSpeed(float speed) {
    // Written so that what is no number fails it.
    if (!(speed >= 0.0F && speed <= 1.0F)) throw HostError("the speed must be a number from 0 to 1");
}

void checkClip(const char* which, std::int64_t needed, std::int32_t available) {
    if (available < 0) throw HostError(std::string(which) + " cannot have " + text(available) + " frames");
    if (needed > available) {
        throw HostError(std::string(which) + " has " + text(available) + " frames but the transition needs " +
                        text(needed) + "; shorten it or take a longer clip");
    }
}

void checkFrames(const SessionSettings& settings, ClipLayout layout) {
    if (settings.frameCount <= 0) {
        throw HostError("a transition of " + text(settings.frameCount) +
                        " frames cannot be made; it needs 1 or more");
    }
    if (settings.startFrame < 0) {
        throw HostError("the transition cannot start at frame " + text(settings.startFrame) +
                        "; the first frame is 0");
    }
    // The incoming clip's numbers follow the outgoing one's, and all must be 32-bit numbers.
    const std::int64_t start = settings.startFrame;
    const std::int64_t count = settings.frameCount;
    if (start + 2 * count > std::numeric_limits<std::int32_t>::max()) {
        throw HostError("frame numbers up to " + text(start + 2 * count) + " do not fit into 32 bits");
    }
    const bool split = layout == ClipLayout::split;
    const bool two = split || layout == ClipLayout::overlap;
    checkClip(two ? "the outgoing clip" : "the clip", start + (split ? count / 2 : count),
              settings.sourceFrames[0]);
    if (two) checkClip("the incoming clip", split ? count - count / 2 : count, settings.sourceFrames[1]);
}

void checkAudio(const AudioSettings& audio) {
    if (audio.rate == 0) return;
    if (audio.rate < 0 || audio.rate > kMaxRate) {
        throw HostError("a sound rate of " + text(audio.rate) + " per second is out of range");
    }
    if (audio.channels < 1 || audio.channels > kMaxChannels) {
        throw HostError("sound with " + text(audio.channels) + " channels cannot be mixed");
    }
    if (audio.fpsNumerator <= 0 || audio.fpsDenominator <= 0) {
        throw HostError("a frame rate of " + text(audio.fpsNumerator) + "/" + text(audio.fpsDenominator) +
                        " is not valid");
    }
    if (audio.firstOutputFrame < 0) throw HostError("the output cannot start before frame 0");
    if (samplesBefore(1, audio.rate, audio.fpsNumerator, audio.fpsDenominator) > kMaxSamplesPerFrame) {
        throw HostError("a frame rate of " + text(audio.fpsNumerator) + "/" + text(audio.fpsDenominator) +
                        " is too slow to mix sound for");
    }
}

ClipLayout layoutOf(const TransitionInfo& info) {
    if (info.type == kPluginTransitionAfterType) return ClipLayout::leaving;
    if (info.type == kPluginTransitionBeforeType) return ClipLayout::arriving;
    const bool whole = info.frames > 0 && info.takeBefore == info.frames && info.takeAfter == info.frames;
    return whole ? ClipLayout::overlap : ClipLayout::split;
}

void checkReport(const PluginModule& module, const TransitionInfo& info) {
    const bool transition = info.type == kPluginTransitionBeforeType ||
                            info.type == kPluginTransitionBetweenType ||
                            info.type == kPluginTransitionAfterType;
    if (!transition) throw HostError(module.name() + ": has no transition with this number");
    if (info.frames < 0 || info.takeBefore < 0 || info.takeAfter < 0) {
        throw HostError(module.name() + ": reports frame counts below 0");
    }
}

}  // namespace

TransitionInfo describe(const PluginModule& module, int effect, float speed) {
    checkEffect(effect);
    checkSpeed(speed);
    HostInstance host;
    host.transition.speed = speed;
    HYPluginParams params;
    host.prepare(params);
    params.selector = kPlugGetInfo;
    const HYPluginResult result = module.call(effect, params);
    if (result != kPluginOK) {
        throw HostError(
            module.name() + ": cannot describe effect " + text(effect) + ": " + resultSentence(result),
            result);
    }
    const HYPluginGetInfo& told = params.getInfo;
    TransitionInfo info{.type = told.pluginType,
                        .frames = told.framesToBeRendered,
                        .takeBefore = told.takeFromClipBefore,
                        .takeAfter = told.takeFromClipAfter,
                        .minFrames = told.minSpeedFrames,
                        .maxFrames = told.maxSpeedFrames,
                        .flags = told.pluginFlags,
                        .singleClips = told.mustTakeFromSingleClips != 0,
                        .direction = told.defaultDirection};
    checkReport(module, info);
    info.layout = layoutOf(info);
    return info;
}

HYPluginClipInfo SessionSettings::defaultClipInfo() noexcept {
    HYPluginClipInfo clip{};
    clip.volume = 255;
    clip.ver2.frameSpeed = 1;
    return clip;
}

std::optional<FramePlace> locateFrame(const SessionSettings& settings, ClipLayout layout,
                                      std::int32_t number) noexcept {
    const std::int64_t k = std::int64_t{number} - settings.startFrame;
    const std::int64_t count = settings.frameCount;
    if (k < 0) return std::nullopt;
    if (layout == ClipLayout::split) {
        const std::int64_t half = count / 2;
        if (k < half) return FramePlace{0, number};
        if (k < count) return FramePlace{1, static_cast<std::int32_t>(k - half)};
        return std::nullopt;
    }
    if (k < count) return FramePlace{0, number};
    if (layout == ClipLayout::overlap && k < 2 * count)
        return FramePlace{1, static_cast<std::int32_t>(k - count)};
    return std::nullopt;
}

void checkPictureSize(int width, int height) {
    const std::string size = "a picture of " + text(width) + " x " + text(height) + " pixels";
    if (width < kMinPictureSide || height < kMinPictureSide) {
        throw HostError(size + " is too small; both sides must be " + text(kMinPictureSide) + " or more");
    }
    if (width > kMaxPictureWidth) {
        throw HostError(size + " is too wide; the limit is " + text(kMaxPictureWidth));
    }
    if (height > kMaxPictureHeight) {
        throw HostError(size + " is too high; the limit is " + text(kMaxPictureHeight));
    }
}

void checkSettings(const SessionSettings& settings, ClipLayout layout) {
    checkEffect(settings.effect);
    checkSpeed(settings.speed);
    checkPictureSize(settings.width, settings.height);
    if (settings.direction > kPluginDirectionRight) {
        throw HostError("direction " + text(settings.direction) +
                        " does not exist; give up, down, left or right");
    }
    checkFrames(settings, layout);
    checkAudio(settings.audio);
}

}  // namespace tumblewash::host
