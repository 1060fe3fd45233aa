// The catalogue: one record for each of the fourteen effects, read by every request of the entry function, by
// the host and by the program, so that an effect is described in one place. Not the drivers themselves
// (Transitions.h) and not what a host makes of the numbers.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "hostapi/HYPlugin.h"

namespace tumblewash::plugin {

/// Which frame driver renders an effect.
enum class EffectDriver : std::uint8_t { none, morph, distort, tumble };

/// How a driver's fraction follows from p = renderFrame / frameCount.
enum class FractionRule : std::uint8_t {
    none,         ///< the driver takes no fraction (the morph counts its own)
    plain,        ///< p
    reversed,     ///< 1 - p
    easedIn,      ///< p squared, through hundredths
    reversedEase  ///< (1 - p) squared, through hundredths
};

/// Which displacement field is made when an effect is initialised.
enum class FieldMaker : std::uint8_t { none, washAway, tiltPlate };

/// How many frames an effect takes from a clip, in terms of its own length n.
enum class TakeRule : std::uint8_t { nothing, half, all };

/// Which sound fade is written to the clip when an effect ends.
enum class ClipFade : std::uint8_t { none, fadeIn, fadeOut };

/// One effect of the catalogue. All texts are static and end in a zero.
struct EffectRecord {
    short index;               ///< 0 to 13, the entry function's `which`
    const char* id;            ///< short name, lower case with hyphens
    const char* name;          ///< English display name
    const char* sentence;      ///< one sentence that says what is seen
    EffectDriver driver;       ///< who renders it
    bool overnext;             ///< a second clip is shown together with the first
    bool reveal;               ///< the drivers' `washin` / `tumblein`: the effect runs backwards
    FractionRule fraction;     ///< what the driver is given
    FieldMaker field;          ///< what is made at initialisation
    HYPluginType type;         ///< reported `pluginType`
    std::int32_t choiceFlags;  ///< reported `pluginFlags`; 0 leaves the host's word alone
    bool describesLength;      ///< `framesToBeRendered` is reported
    bool describesDirection;   ///< `defaultDirection` is reported, as right
    TakeRule takeBefore;       ///< `takeFromClipBefore`
    TakeRule takeAfter;        ///< `takeFromClipAfter`
    ClipFade clipFade;         ///< sound fade written at termination, over the effect's length
};

/// The fourteen records, in index order. Static storage.
std::span<const EffectRecord> effectCatalogue();

/// The record that serves `which`: indices outside 0 to 13 are served by record 0.
const EffectRecord& effectRecord(short which);

/// The record with this id, or null.
const EffectRecord* findEffectRecord(std::string_view id);

/// The fraction that `rule` gives for frame `renderFrame` of `frameCount` (> 0), in double precision. The
/// eased rules keep a detour through hundredths, which decides the last bits.
double effectFraction(FractionRule rule, std::int32_t renderFrame, std::int32_t frameCount);

/// The same at any p, 0 to 1.
double effectFractionAt(FractionRule rule, double p);

/// Length in frames that a speed setting (0 to 1) asks for: speed x 110 + 10 in single precision, truncated,
/// made even by adding 1 when odd. Speeds outside 0 to 1 keep the formula; the result saturates at the
/// largest even 32-bit number and at the smallest, and a speed that is not a number gives 0.
std::int32_t framesForSpeed(float speed);

/// Shortest and longest length the speed setting reaches, in frames.
inline constexpr std::int32_t kMinSpeedFrames = 10;
/// See above: the longest.
inline constexpr std::int32_t kMaxSpeedFrames = 120;

}  // namespace tumblewash::plugin
