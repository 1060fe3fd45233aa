// PixRectConvolve: the body of PixRectRW's constructor from a 5 x 5 kernel.
// It is the tail of PixRect.h and is included only from there.
// Not here: any other filter; this is the only one the library has.
#pragma once

#include <array>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRows.h"

namespace tumblewash {

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

/// The same over packed pixels: every weighed byte is truncated and keeps its low eight bits BEFORE it is
/// summed, so each weight is a table of 256 bytes, and the sums are whole numbers that single precision holds
/// exactly.
template <class T>
class PackedKernelTaps {
  public:
    /// Takes the weights in the order they are applied.
    explicit PackedKernelTaps(const float (&kernel)[5][5]) {
        for (std::size_t i = 0; i < 5; ++i) {
            for (std::size_t j = 0; j < 5; ++j) {
                std::array<std::uint8_t, 256>& table = tables_[i * 5 + j];
                used_[i * 5 + j] = kernel[i][j] != 0.0f;
                for (std::size_t c = 0; c < 256; ++c) {
                    const double product = static_cast<double>(c) * static_cast<double>(kernel[i][j]);
                    table[c] = static_cast<std::uint8_t>(SIChannelCast<int>(product));
                }
            }
        }
    }

    /// The sum of the weighted neighbourhood of column x in five rows.
    RGBPixel<float> sum(const T* const (&rows)[5], int x) const {
        int red = 0, green = 0, blue = 0;
        for (int i = 0; i < 5; ++i) {
            for (int j = 0; j < 5; ++j) {
                const std::size_t tap = static_cast<std::size_t>(i * 5 + j);
                if (!used_[tap]) continue;
                const T& p = rows[j][x - 2 + i];
                red += tables_[tap][p._red];
                green += tables_[tap][p._green];
                blue += tables_[tap][p._blue];
            }
        }
        return RGBPixel<float>(static_cast<float>(red), static_cast<float>(green), static_cast<float>(blue));
    }

  private:
    std::array<std::array<std::uint8_t, 256>, 25> tables_;
    std::array<bool, 25> used_;
};

/// Filters the part of `to` that lies 3 or more pixels inside its bounds; `from` holds rows for all of them.
template <class Taps, class T>
void filterInterior(PixRectRW<T>& to, const PixelRows<T>& from, const Taps& taps, float normal) {
    for (int y = to.ly() + 3; y <= to.hy() - 3; ++y) {
        const T* rows[5];
        for (int j = 0; j < 5; ++j) rows[j] = from.at(to.lx(), y - 2 + j);
        T* out = to.rasters()[y] + to.lx();
        for (int x = 3; x <= to.width() - 4; ++x) {
            RGBPixel<float> sum = taps.sum(rows, x);
            sum *= static_cast<double>(normal);
            settle(out[x], sum);
        }
    }
}

}  // namespace tumblewash

template <class T>
PixRectRW<T>::PixRectRW(const PixRectRW& src, float kernel[5][5])
    : PixRect<T>(static_cast<const PixRect<T>&>(src)) {
    PixRectRW::init();
    const tumblewash::Region all = tumblewash::boundsOf(*this);
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
    const tumblewash::SafeReader<T> read(shown);
    PixRectRW<T> copy;
    if (!read.rows().found() || !read.rows().reach().covers(all)) {
        // Some of what src shows lies in no memory: filter a copy in which that is the zero pixel.
        copy.init(all.lx, all.ly, all.hx, all.hy);
        for (int y = all.ly; y <= all.hy; ++y)
            for (int x = all.lx; x <= all.hx; ++x) copy._rast[y][x] = read(x, y);
    }
    const tumblewash::PixelRows<T> rows(copy.rasters() != nullptr ? static_cast<const PixRect<T>&>(copy)
                                                                  : shown);
    if constexpr (std::is_base_of_v<SICommon, T>)
        tumblewash::filterInterior(*this, rows, tumblewash::KernelTaps<T>(weights), 1.0f / sum);
    else
        tumblewash::filterInterior(*this, rows, tumblewash::PackedKernelTaps<T>(weights), 1.0f / sum);
}
