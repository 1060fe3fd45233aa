// What the catalogue says of one effect. The effects themselves are rows of EffectTable.h.
#pragma once

#include <cstdint>

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

}  // namespace tumblewash::plugin
