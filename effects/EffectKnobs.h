// What users may choose of an effect, whatever the depth of its pictures. Not the catalogue, which says what
// an effect is.
#pragma once

#include <cstdint>

#include "hostapi/HYPlugin.h"

namespace tumblewash::effects {

/// What users may choose.
struct EffectKnobs {
    HYPluginDirection direction = kPluginDirectionRight;  ///< of the effects that have one
    std::uint32_t seed = 1;                               ///< of the wash-away's random field
    bool preview = false;  ///< tumbles of one progressive picture, not bilinear

    /// Equal in all of them.
    friend bool operator==(const EffectKnobs&, const EffectKnobs&) = default;
};

}  // namespace tumblewash::effects
