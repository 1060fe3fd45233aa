// Rows of foreign 8-bit pixels (bytes red, green, blue, alpha) to and from canvas rows. Straight alpha unless
// told otherwise; colours under alpha 0 become 0. Not for other depths: see the OpenFX images.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "adapters/common/Canvas.h"

namespace tumblewash::adapters {

/// What a foreign host means by alpha.
using AlphaKind = effects::Alpha;
using effects::premultiplied;
using effects::straight;

namespace detail {

// A pixel as one word: moving alpha between first and last byte is a rotation, whatever the byte order.
constexpr bool kLittle = std::endian::native == std::endian::little;
constexpr std::uint32_t kLastByte = kLittle ? 0xFF000000U : 0x000000FFU;

inline std::uint32_t argbWord(std::uint32_t rgba) noexcept {
    return kLittle ? std::rotl(rgba, 8) : std::rotr(rgba, 8);
}
inline std::uint32_t rgbaWord(std::uint32_t argb) noexcept {
    return kLittle ? std::rotr(argb, 8) : std::rotl(argb, 8);
}
inline std::uint32_t wordAt(const std::uint8_t* row, std::size_t i) noexcept {
    std::uint32_t word;
    std::memcpy(&word, row + 4 * i, 4);
    return word;
}

}  // namespace detail

/// Reads `count` pixels into a canvas row that lies elsewhere; true when all are opaque. Opaque rows take one
/// pass of word operations.
inline bool rowFromRgba(const std::uint8_t* __restrict rgba, int count, AlphaKind kind,
                        std::uint8_t* __restrict argb) noexcept {
    const auto pixels = static_cast<std::size_t>(count);
    const std::uint32_t force = kind == AlphaKind::opaque ? detail::kLastByte : 0;
    std::uint32_t common = ~0U;
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint32_t in = detail::wordAt(rgba, i) | force;
        common &= in;
        const std::uint32_t out = detail::argbWord(in);
        std::memcpy(argb + 4 * i, &out, 4);
    }
    if ((common & detail::kLastByte) == detail::kLastByte) return true;
    for (std::size_t i = 0; i < pixels; ++i, argb += 4) {
        const std::uint8_t alpha = argb[0];
        if (alpha == 255) continue;
        if (kind == AlphaKind::premultiplied) {
            for (int c = 1; c < 4; ++c) argb[c] = std::min(argb[c], alpha);
        } else {
            for (int c = 1; c < 4; ++c) argb[c] = premultiplied(argb[c], alpha);
        }
    }
    return false;
}

/// Turns `count` pixels of a canvas row into foreign ones where they are.
inline void rowToRgbaInPlace(std::uint8_t* row, int count, AlphaKind kind) noexcept {
    const auto pixels = static_cast<std::size_t>(count);
    if (kind == AlphaKind::straight) {
        for (std::size_t i = 0; i < pixels; ++i) {
            std::uint8_t* p = row + 4 * i;
            if (p[0] == 255) continue;
            for (int c = 1; c < 4; ++c) p[c] = straight(p[c], p[0]);
        }
    }
    const std::uint32_t force = kind == AlphaKind::opaque ? detail::kLastByte : 0;
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint32_t out = detail::rgbaWord(detail::wordAt(row, i)) | force;
        std::memcpy(row + 4 * i, &out, 4);
    }
}

/// Writes `count` pixels of a canvas row to a row that lies elsewhere.
inline void rowToRgba(const std::uint8_t* __restrict argb, int count, AlphaKind kind,
                      std::uint8_t* __restrict rgba) noexcept {
    std::memcpy(rgba, argb, static_cast<std::size_t>(count) * 4);
    rowToRgbaInPlace(rgba, count, kind);
}

/// What the bytes of a canvas mean to a host whose pictures have alpha of `kind`.
[[nodiscard]] inline AlphaKind kindFor(const Canvas& canvas, AlphaKind kind) noexcept {
    return canvas.opaque() ? AlphaKind::opaque : kind;
}

}  // namespace tumblewash::adapters
