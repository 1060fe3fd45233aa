// Small parts that all three frame drivers use: frame numbers, quality, levels, and the shape of pixel maps.
// Not a driver, and no state.
#pragma once

#include <cstdint>

#include "hostapi/HYPlugin.h"
#include "platform/Types.h"

namespace tumblewash::plugin {

/// Rows and row length (in pixels) of a world's pixel map. Whoever works on two maps with one row length
/// compares these first.
struct MapShape {
    int stride;  ///< pixels from row to row
    int rows;    ///< rows of the map
    /// Equal in stride and rows.
    bool operator==(const MapShape&) const = default;
};

/// The shape of the world's map; the flag bits of its row bytes are masked off.
[[nodiscard]] MapShape shapeOf(GWorldPtr world);

/// The address of the world's first pixel.
[[nodiscard]] unsigned char* pixelsOf(GWorldPtr world);

/// Sum with 32-bit wrapping, as frame numbers are formed.
[[nodiscard]] std::int32_t wrappingSum(std::int32_t a, std::int32_t b);

/// `value` truncated toward zero into 16 bits, saturated first; not-a-number gives 0.
[[nodiscard]] std::int16_t truncatedLevel(double value);

/// A clip's volume as it is scaled: 255 counts as 256, so that full volume scales to a power of two.
inline int scalableVolume(std::int16_t volume) {
    return volume == 255 ? 256 : volume;
}

/// Width of the destination rectangle, in 16 bits like the rectangle itself.
inline std::int16_t widthOf(const Rect& r) {
    return static_cast<std::int16_t>(r.right - r.left);
}

/// Height of the destination rectangle, in 16 bits.
inline std::int16_t heightOf(const Rect& r) {
    return static_cast<std::int16_t>(r.bottom - r.top);
}

/// The quality to ask frames in: low only for small previews, up to 259 rows.
inline HYRefDVQuality qualityFor(const _PluginParams& params) {
    return params.proxyOnly && heightOf(params.frameRect) <= 259 ? kDVLowQuality : kDVHighQuality;
}

/// The transition's state.
inline _EffectData* stateOf(const _PluginParams& params) {
    return static_cast<_EffectData*>(params.clientData);
}

/// Disposes of the state's effect world, if there is one. It must not be the current world.
void dropEffectWorld(_EffectData& state);

}  // namespace tumblewash::plugin
