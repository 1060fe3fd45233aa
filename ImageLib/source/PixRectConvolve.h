// PixRectConvolve: the body of PixRectRW's constructor from a 5 x 5 kernel.
// PixRect.h brings it in; nothing else needs it.
// Not here: any other filter; this is the only one the library has.
#pragma once

#include <array>

#include "ImageLib/kernels/ConvolveRow.h"
#include "ImageLib/source/PixRectClass.h"
#include "ImageLib/source/PixRectRows.h"

namespace tumblewash::imagelib {

/// Adds one weighed sample to the accumulator. Polymorphic pixels are weighed by their own `*=`; an HSV
/// pixel's hue, saturation and value travel in the accumulator's red, green and blue.
template <class T>
void accumulate(RGBPixel<float>& sum, const T& sample, float weight) {
    T weighed = sample;
    weighed *= static_cast<double>(weight);
    if constexpr (std::is_base_of_v<HSVPixelType, T>)
        sum += RGBPixel<float>(weighed._hue, weighed._sat, weighed._val);
    else if constexpr (std::is_base_of_v<GreyPixelType, T>)
        sum += RGBPixel<float>(static_cast<float>(weighed._grey));
    else
        sum += weighed;
}

/// Stores the normalised accumulator: clamped to the channel's range and truncated toward zero.
template <class T>
void settle(T& to, const RGBPixel<float>& sum) {
    if constexpr (std::is_base_of_v<HSVPixelType, T>) {
        using C = decltype(to._hue);
        to.set(SIChannelCast<C>(sum._red), SIChannelCast<C>(sum._green), SIChannelCast<C>(sum._blue));
    } else {
        SIConvert(to, sum);
    }
}

/// The 25 weights of a kernel over polymorphic pixels, taps in the order kernel[0][0], kernel[0][1], ...
template <class T>
class KernelTaps {
  public:
    /// Takes the weights in the order they are applied.
    explicit KernelTaps(const float (&kernel)[5][5]) {
        for (std::size_t i = 0; i < 5; ++i)
            for (std::size_t j = 0; j < 5; ++j) weights_[i * 5 + j] = kernel[i][j];
    }

    /// The weighed sum around column x, rows[j] being the row j - 2 below the centre's.
    RGBPixel<float> sum(const T* const (&rows)[5], int x) const {
        RGBPixel<float> total;
        for (int i = 0; i < 5; ++i)
            for (int j = 0; j < 5; ++j)
                accumulate(total, rows[j][x - 2 + i], weights_[static_cast<std::size_t>(i * 5 + j)]);
        return total;
    }

  private:
    std::array<float, 25> weights_;
};

/// Calls row(the five rows around the centre's, from the left edge of its neighbourhood, where the result
/// goes, how many pixels) for every row 3 or more pixels inside `to`; `from` holds rows for all of them.
template <class T, class RowOp>
void eachInteriorRow(PixRectRW<T>& to, const PixelRows<T>& from, RowOp row) {
    for (int y = to.ly() + 3; y <= to.hy() - 3; ++y) {
        const T* rows[5];
        for (int j = 0; j < 5; ++j) rows[j] = from.at(to.lx() + 1, y - 2 + j);
        row(rows, to.rasters()[y] + to.lx() + 3, to.width() - 6);
    }
}

/// Filters polymorphic pixels, one by one.
template <class T>
void filterInterior(PixRectRW<T>& to, const PixelRows<T>& from, const float (&kernel)[5][5], float normal) {
    const KernelTaps<T> taps(kernel);
    eachInteriorRow(to, from, [&](const T* const(&rows)[5], T* out, int pixels) {
        for (int x = 0; x < pixels; ++x) {
            RGBPixel<float> sum = taps.sum(rows, x + 2);
            sum *= static_cast<double>(normal);
            settle(out[x], sum);
        }
    });
}

/// Filters packed pixels, row by row. A cached grey level is renewed.
template <class T>
void filterPackedInterior(PixRectRW<T>& to, const PixelRows<T>& from, const float (&kernel)[5][5],
                          float normal) {
    constexpr bool cached = std::is_same_v<T, RGBGrVal>;
    const kernels::ConvolveWeights weights(kernel, normal);
    eachInteriorRow(to, from, [&weights](const T* const(&rows)[5], T* out, int pixels) {
        const unsigned char* bytes[5];
        for (int j = 0; j < 5; ++j) bytes[j] = reinterpret_cast<const unsigned char*>(rows[j]);
        kernels::convolveRow(weights, bytes, pixels, cached ? 3 : 0, reinterpret_cast<unsigned char*>(out));
        if constexpr (cached)
            for (int x = 0; x < pixels; ++x) out[x].set(out[x]._red, out[x]._green, out[x]._blue);
    });
}

}  // namespace tumblewash::imagelib

template <class T>
PixRectRW<T>::PixRectRW(const PixRectRW& src, float kernel[5][5])
    : PixRect<T>(static_cast<const PixRect<T>&>(src)) {
    PixRectRW::init();
    const tumblewash::imagelib::Region all = tumblewash::imagelib::boundsOf(*this);
    if (this->width() < 7 || this->height() < 7) return;
    float weights[5][5], sum = 0.0f;
    for (int i = 0; i < 5; ++i) {
        for (int j = 0; j < 5; ++j) {
            weights[i][j] = kernel[i][j];
            sum += kernel[i][j];
        }
    }
    if (sum == 0.0f) {
        this->_debug(DBGProblem, "PixRectRW: a kernel whose weights sum to zero filters nothing\n");
        return;
    }
    const PixRect<T>& shown = src;
    const tumblewash::imagelib::SafeReader<T> read(shown);
    PixRectRW<T> copy;
    if (!read.rows().found() || !read.rows().reach().covers(all)) {
        // Some of what src shows lies in no memory: filter a copy in which that is the zero pixel.
        copy.init(all.lx, all.ly, all.hx, all.hy);
        for (int y = all.ly; y <= all.hy; ++y)
            for (int x = all.lx; x <= all.hx; ++x) copy._rast[y][x] = read(x, y);
    }
    const tumblewash::imagelib::PixelRows<T> rows(
        copy.rasters() != nullptr ? static_cast<const PixRect<T>&>(copy) : shown);
    if constexpr (std::is_base_of_v<SICommon, T>)
        tumblewash::imagelib::filterInterior(*this, rows, weights, 1.0f / sum);
    else
        tumblewash::imagelib::filterPackedInterior(*this, rows, weights, 1.0f / sum);
}
