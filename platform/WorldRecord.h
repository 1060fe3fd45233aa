// What a world holds, for the platform's own files. Callers of the services never see it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Types.h"

namespace tumblewash::platform {

/// Colours, pen and text style of a port.
struct PortStyle {
    RGBColor fore{0, 0, 0};                 ///< drawing colour
    RGBColor back{0xFFFF, 0xFFFF, 0xFFFF};  ///< erasing colour
    Point pen{0, 0};                        ///< where the next text begins
    std::int16_t textFont = 0;              ///< platform font number
    std::int16_t textSize = 12;             ///< pixels
};

/// The style of the port, or the calling thread's own when `port` is null.
PortStyle& StyleOf(CGrafPtr port);

/// The style of the current world, or the calling thread's own when none is current.
PortStyle& CurrentStyle();

/// The pixel map of the current world; null when none is current.
const PixMap* CurrentMap();

/// Stride of a pixel map in bytes, flag bits cleared.
inline std::ptrdiff_t StrideOf(const PixMap& map) {
    return map.rowBytes & kRowBytesMask;
}

/// Address of pixel (x, y) of a map in the map's coordinates, not tested.
inline std::uint8_t* PixelAt(const PixMap& map, int x, int y) {
    return reinterpret_cast<std::uint8_t*>(map.baseAddr) + (y - map.bounds.top) * StrideOf(map) +
           static_cast<std::ptrdiff_t>(x - map.bounds.left) * 4;
}

}  // namespace tumblewash::platform

/// An off-screen world.
struct OpaqueWorld {
    PixMapHandle map;                       ///< owned; its map describes the pixels
    void* owned;                            ///< frame memory to free, null when somebody else's
    tumblewash::platform::PortStyle style;  ///< drawing state
};
