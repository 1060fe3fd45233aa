// One picture shown in every way the library knows, for sweeps: the same bytes behind a plain rectangle,
// behind views and nested views with moved origins, as a field of a frame, through a tile cache and through a
// rectangle that only has virtual reads. Not here: expectations.
#pragma once

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ImageLib/source/PixRectC.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "tests/ImageLib/reference/PackedModel.h"

namespace tumblewash::reference {

/// A rectangle of no kind that the library knows: it answers through its virtual reads alone.
class ForeignRect : public PixRect<ARGBVal> {
  public:
    explicit ForeignRect(const PixRect<ARGBVal>& behind) : PixRect<ARGBVal>(behind), behind_(behind) {}
    ARGBVal pix(int x, int y) const override { return behind_.pix(x, y); }
    ARGBVal pixNB(int x, int y) const override {
        ++reads;
        return behind_.pixNB(x, y);
    }
    ARGBVal pixdd(double x, double y) const override { return behind_.pixdd(x, y); }

    mutable int reads = 0;

  private:
    const PixRect<ARGBVal>& behind_;
};

/// Backing pixels and the chain of rectangles that shows part of them; the last one is what a test works on.
struct Shown {
    std::vector<ARGBVal> frame;
    std::vector<std::unique_ptr<PixRect<ARGBVal>>> chain;
    std::string how;

    PixRect<ARGBVal>& readable() { return *chain.back(); }
    PixRectRW<ARGBVal>& writable() { return dynamic_cast<PixRectRW<ARGBVal>&>(*chain.back()); }
};

/// A writable showing of noise, at most about 24 x 16 pixels, of a kind and at a place drawn from rng.
inline Shown showWritable(std::mt19937& rng) {
    Shown s;
    const int w = pick(rng, 1, 24), h = pick(rng, 1, 16);
    const siwraptype lines =
        std::array{SIOddLines, SIEvenLines, SIAllLines}[static_cast<std::size_t>(pick(rng, 0, 2))];
    s.frame.resize(static_cast<std::size_t>(w) * static_cast<std::size_t>(2 * h));
    for (ARGBVal& p : s.frame) {
        const auto v = static_cast<std::uint32_t>(rng());
        p.set(static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
              static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24));
    }
    s.chain.push_back(std::make_unique<PixRectWrap<ARGBVal>>(s.frame.data(), w, 2 * h, lines));
    s.how = PixRectWrap<ARGBVal>::typetoname(lines);
    for (int views = pick(rng, 0, 2); views > 0; --views) {
        auto& below = s.writable();
        const int lx = pick(rng, below.lx(), below.hx()), ly = pick(rng, below.ly(), below.hy());
        const int hx = pick(rng, lx, below.hx()), hy = pick(rng, ly, below.hy());
        auto view = std::make_unique<PixRectRWRef<ARGBVal>>(below, lx, ly, hx, hy);
        view->shiftorigin(pick(rng, -6, 6), pick(rng, -6, 6));
        s.chain.push_back(std::move(view));
        s.how += " view";
    }
    return s;
}

/// A showing to read from: any writable one, or one behind a read-only view, a tile cache or virtual reads.
inline Shown showReadable(std::mt19937& rng) {
    Shown s = showWritable(rng);
    const int kind = pick(rng, 0, 3);
    if (kind == 1) {
        s.chain.push_back(std::make_unique<PixRectRef<ARGBVal>>(s.readable()));
        s.how += " ref";
    } else if (kind == 2) {
        s.chain.push_back(std::make_unique<PixRectC<ARGBVal>>(s.readable()));
        s.how += " cache";
    } else if (kind == 3) {
        s.chain.push_back(std::make_unique<ForeignRect>(s.readable()));
        s.how += " foreign";
    }
    return s;
}

}  // namespace tumblewash::reference
