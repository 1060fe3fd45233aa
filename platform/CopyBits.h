// Moving pixels between maps: plain copy with scaling, and the weighted blend that a host offers as its
// `Blit`. Both clip to the two maps and are safe when the maps share memory. Neither knows a port.
#pragma once

#include <cstdint>

#include "platform/Types.h"

inline constexpr short srcCopy = 0;  ///< transfer mode: the source replaces the destination

/// Scales `srcRect` of `src` onto `dstRect` of `dst`, all four bytes. Per axis, destination pixel i counted
/// from the rectangle's edge takes source pixel floor(i x source size / destination size). Pixels outside the
/// destination map or whose source lies outside the source map are left as they are. Only mode `srcCopy`
/// without a mask draws anything.
void CopyBits(const BitMap* src, const BitMap* dst, const Rect* srcRect, const Rect* dstRect, short mode,
              RgnHandle mask);

namespace tumblewash::platform {

/// Blends `srcRect` of `src` over `dstRect` of `dst`: on all four bytes (s x L + d x (255 - L) + 127) / 255
/// with L = `level` limited to 0 .. 255. Nothing is scaled: rectangles of different sizes meet at their top
/// left corners and the common part is blended, clipped to both maps. `paramErr` when a pointer is null.
[[nodiscard]] OSErr BlendRect(const PixMap* src, const PixMap* dst, const Rect* srcRect, const Rect* dstRect,
                              int level);

/// The same for `bytes` bytes in a row: `in` over `out`, which either are one place or do not overlap.
/// `level` is 0 to 255.
void BlendBytes(std::uint8_t* out, const std::uint8_t* in, int bytes, unsigned level);

}  // namespace tumblewash::platform
