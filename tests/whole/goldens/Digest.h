// Digest: a 64-bit FNV-1a hash over values, the same on every byte order, and the list that golden cases
// fill. It is no checksum against malice and stores no pixels.
#pragma once

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/GreyPixel.h"
#include "ImageLib/source/HSVPixel.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

namespace tumblewash::goldens {

/// Hashes values most significant byte first. Every NaN counts as the same one: which NaN an operation gives
/// is the processor's affair.
class Digest {
  public:
    Digest& byte(unsigned v) {
        hash_ = (hash_ ^ (v & 0xFFU)) * 0x100000001B3U;
        return *this;
    }
    Digest& bytes(const unsigned char* p, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) byte(p[i]);
        return *this;
    }
    Digest& word(std::uint32_t v) { return byte(v >> 24).byte(v >> 16).byte(v >> 8).byte(v); }
    Digest& put(unsigned char v) { return byte(v); }
    Digest& put(int v) { return word(static_cast<std::uint32_t>(v)); }
    Digest& put(float v) { return word(std::isnan(v) ? 0x7FC00000U : std::bit_cast<std::uint32_t>(v)); }
    Digest& put(double v) {
        const auto bits =
            std::isnan(v) ? std::uint64_t{0x7FF8000000000000U} : std::bit_cast<std::uint64_t>(v);
        return word(static_cast<std::uint32_t>(bits >> 32)).word(static_cast<std::uint32_t>(bits));
    }
    Digest& put(const ARGBVal& p) { return byte(p._alpha).byte(p._red).byte(p._green).byte(p._blue); }
    Digest& put(const RGBGrVal& p) { return byte(p._red).byte(p._green).byte(p._blue).byte(p._grey); }
    template <class T>
    Digest& put(const GreyPixel<T>& p) {
        return put(p._grey);
    }
    template <class T>
    Digest& put(const RGBPixel<T>& p) {
        return put(p._red).put(p._green).put(p._blue);
    }
    template <class T>
    Digest& put(const HSVPixel<T>& p) {
        return put(p._hue).put(p._sat).put(p._val);
    }
    /// Bounds, then every pixel in raster order.
    template <class T>
    Digest& put(const PixRectBase<T>& r) {
        put(r.lx()).put(r.ly()).put(r.hx()).put(r.hy());
        for (int y = r.ly(); y <= r.hy(); ++y)
            for (int x = r.lx(); x <= r.hx(); ++x) put(r.pix(x, y));
        return *this;
    }
    std::uint64_t value() const { return hash_; }

  private:
    std::uint64_t hash_ = 0xCBF29CE484222325U;
};

/// The digests of all cases in the order they ran.
using Digests = std::vector<std::pair<std::string, std::uint64_t>>;

inline void record(Digests& list, std::string name, const Digest& digest) {
    list.emplace_back(std::move(name), digest.value());
}

/// Each adds the digests of its cases.
void arithmetic(Digests& list);
void convolution(Digests& list);
void sampling(Digests& list);
void metrics(Digests& list);
void motion(Digests& list);
void records(Digests& list);

}  // namespace tumblewash::goldens
