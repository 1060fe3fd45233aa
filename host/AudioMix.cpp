#include "host/AudioMix.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

#include "host/Catalogue.h"

namespace tumblewash::host {

namespace {

constexpr int kUnity = 256;
constexpr double kQuarter = std::numbers::pi / 2.0;

constexpr std::array<std::pair<AudioPolicy, std::string_view>, 4> kPolicyNames{{
    {AudioPolicy::natural, "natural"},
    {AudioPolicy::plugin, "plugin"},
    {AudioPolicy::equalPower, "equal-power"},
    {AudioPolicy::none, "none"},
}};

/// A clip's volume as a level: full volume is unity gain, as the plug-in counts it.
int volumeLevel(int volume) {
    return volume >= 255 ? kUnity : std::max(volume, 0);
}

AudioLevels clamped(AudioLevels levels) {
    return {std::clamp(levels.outgoing, 0, kUnity), std::clamp(levels.incoming, 0, kUnity)};
}

AudioLevels scaledByVolume(const AudioCircumstances& now, double outgoing, double incoming) {
    const auto level = [](bool present, int volume, double gain) {
        return present ? static_cast<int>(std::lrint(volumeLevel(volume) * std::clamp(gain, 0.0, 1.0))) : 0;
    };
    return {level(now.hasOutgoing, now.outgoingVolume, outgoing),
            level(now.hasIncoming, now.incomingVolume, incoming)};
}

AudioLevels straightFade(const AudioCircumstances& now) {
    if (now.steady) return scaledByVolume(now, 1.0, 1.0);
    if (now.arriving) return scaledByVolume(now, now.fraction, 0.0);
    return scaledByVolume(now, 1.0 - now.fraction, now.fraction);
}

AudioLevels equalPowerFade(const AudioCircumstances& now) {
    if (now.steady) return scaledByVolume(now, 1.0, 1.0);
    const double angle = now.fraction * kQuarter;
    if (now.arriving) return scaledByVolume(now, std::sin(angle), 0.0);
    return scaledByVolume(now, std::cos(angle), std::sin(angle));
}

AudioLevels naturalLevels(const AudioCircumstances& now) {
    if (!now.asked) return straightFade(now);
    const AudioLevels asked = clamped(*now.asked);
    if (!revealsOverClip(now.effect)) return asked;
    if (now.outgoingVolume == now.incomingVolume) return {asked.incoming, asked.outgoing};
    return clamped(
        {volumeLevel(now.outgoingVolume) - asked.outgoing, volumeLevel(now.incomingVolume) - asked.incoming});
}

}  // namespace

std::optional<AudioPolicy> audioPolicyFromName(std::string_view name) noexcept {
    for (const auto& [policy, text] : kPolicyNames) {
        if (text == name) return policy;
    }
    return std::nullopt;
}

std::string_view audioPolicyName(AudioPolicy policy) noexcept {
    for (const auto& [candidate, text] : kPolicyNames) {
        if (candidate == policy) return text;
    }
    return {};
}

AudioLevels decideLevels(AudioPolicy policy, const AudioCircumstances& now) {
    switch (policy) {
        case AudioPolicy::natural:
            return naturalLevels(now);
        case AudioPolicy::plugin:
            return clamped(now.asked.value_or(AudioLevels{}));
        case AudioPolicy::equalPower:
            return equalPowerFade(now);
        case AudioPolicy::none:
            break;
    }
    return {};
}

std::int64_t samplesBefore(std::int64_t frame, int rate, int fpsNumerator, int fpsDenominator) {
    if (frame <= 0 || rate <= 0 || fpsNumerator <= 0 || fpsDenominator <= 0) return 0;
    // frame * rate * denominator overflows 64 bits for long files with odd rates: whole periods are split
    // off.
    const std::int64_t perPeriod = static_cast<std::int64_t>(rate) * fpsDenominator;
    const std::int64_t periods = frame / fpsNumerator;
    const std::int64_t rest = frame % fpsNumerator;
    const std::int64_t whole = perPeriod / fpsNumerator;
    const std::int64_t part = perPeriod % fpsNumerator;
    return periods * perPeriod + rest * whole + rest * part / fpsNumerator;
}

RampShape rampShape(AudioPolicy policy) noexcept {
    return policy == AudioPolicy::equalPower ? RampShape::quarterSine : RampShape::straight;
}

MixMoment mixMoment(AudioPolicy policy, const AudioCircumstances& now) {
    if (policy != AudioPolicy::equalPower) return momentOf(policy, decideLevels(policy, now));
    const auto place = [](bool present, int volume, double x) {
        if (!present) return 0.0;
        const double full = static_cast<double>(volumeLevel(volume)) / kUnity;
        const double along = std::clamp(x, 0.0, 1.0);
        return full == 1.0 ? along : std::asin(full * std::sin(kQuarter * along)) / kQuarter;
    };
    const double outgoing = now.steady ? 1.0 : now.arriving ? now.fraction : 1.0 - now.fraction;
    const double incoming = now.steady ? 1.0 : now.arriving ? 0.0 : now.fraction;
    return {place(now.hasOutgoing, now.outgoingVolume, outgoing),
            place(now.hasIncoming, now.incomingVolume, incoming)};
}

MixMoment momentOf(AudioPolicy policy, AudioLevels levels) {
    const auto place = [policy](int level) {
        const double gain = static_cast<double>(level) / kUnity;
        return policy == AudioPolicy::equalPower ? std::asin(gain) / kQuarter : gain;
    };
    levels = clamped(levels);
    return {place(levels.outgoing), place(levels.incoming)};
}

void addRamped(std::span<float> out, std::span<const float> in, int channels, double from, double to,
               RampShape shape) {
    if (channels <= 0) return;
    const auto width = static_cast<std::size_t>(channels);
    const std::size_t length = out.size() / width;
    const std::size_t available = std::min(length, in.size() / width);
    const double slope = (to - from) / static_cast<double>(std::max<std::size_t>(length, 1));
    for (std::size_t i = 0; i < available; ++i) {
        const double along = from + slope * static_cast<double>(i + 1);
        const auto gain =
            static_cast<float>(shape == RampShape::straight ? along : std::sin(kQuarter * along));
        for (std::size_t c = 0; c < width; ++c) out[i * width + c] += in[i * width + c] * gain;
    }
}

void heal(std::span<float> samples) noexcept {
    for (float& sample : samples)
        if (!std::isfinite(sample)) sample = 0.0F;
}

}  // namespace tumblewash::host
