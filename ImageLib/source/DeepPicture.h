// DeepPicture: pictures of deep pixels in memory of the caller's, to be read or to be written.
// Four 16-bit numbers a pixel: alpha, red, green, blue, colours premultiplied by alpha (kernels/DeepPixel.h).
// Views only: nothing is owned, converted or checked here.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/DeepPixel.h"

namespace tumblewash::imagelib {

/// A picture to read.
struct DeepView {
    const std::uint16_t* data = nullptr;  ///< alpha of the top left pixel
    std::ptrdiff_t stride = 0;            ///< bytes from row to row: at least 8 x width, a multiple of 8
    int width = 0;                        ///< pixels
    int height = 0;                       ///< rows

    /// The first byte.
    const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(data); }
    /// The first byte of a row.
    const unsigned char* row(int y) const { return bytes() + y * stride; }
};

/// A picture to write.
struct DeepTarget {
    std::uint16_t* data = nullptr;  ///< alpha of the top left pixel
    std::ptrdiff_t stride = 0;      ///< bytes from row to row, as for DeepView
    int width = 0;                  ///< pixels
    int height = 0;                 ///< rows

    /// The first byte.
    unsigned char* bytes() const { return reinterpret_cast<unsigned char*>(data); }
    /// The first byte of a row.
    unsigned char* row(int y) const { return bytes() + y * stride; }
    /// The same picture, to be read.
    operator DeepView() const { return {data, stride, width, height}; }
};

}  // namespace tumblewash::imagelib
