// The catalogue: one record for each of the fourteen effects, read by every request of the entry function, by
// the host and by the program, so that an effect is described in one place. Not the drivers themselves
// (Transitions.h) and not what a host makes of the numbers.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "pluginDistort/v1/EffectTable.h"

namespace tumblewash::plugin {

/// The fourteen records, in index order. Static storage.
[[nodiscard]] std::span<const EffectRecord> effectCatalogue();

/// The record that serves `which`: indices outside 0 to 13 are served by record 0.
[[nodiscard]] const EffectRecord& effectRecord(short which);

/// The record with this id, or null.
[[nodiscard]] const EffectRecord* findEffectRecord(std::string_view id);

/// The fraction that `rule` gives for frame `renderFrame` of `frameCount` (> 0), in double precision. The
/// eased rules keep a detour through hundredths, which decides the last bits.
[[nodiscard]] double effectFraction(FractionRule rule, std::int32_t renderFrame, std::int32_t frameCount);

/// The same at any p, 0 to 1.
[[nodiscard]] double effectFractionAt(FractionRule rule, double p);

/// Length in frames that a speed setting (0 to 1) asks for: speed x 110 + 10 in single precision, truncated,
/// made even by adding 1 when odd. Speeds outside 0 to 1 keep the formula; the result saturates at the
/// largest even 32-bit number and at the smallest, and a speed that is not a number gives 0.
[[nodiscard]] std::int32_t framesForSpeed(float speed);

/// Shortest and longest length the speed setting reaches, in frames.
inline constexpr std::int32_t kMinSpeedFrames = 10;
/// See above: the longest.
inline constexpr std::int32_t kMaxSpeedFrames = 120;

}  // namespace tumblewash::plugin
