// Rectangles, views and wrappers under any sequence of operations, beside a model that keeps one map of bytes
// for each storage and walks chains of views by hand.

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <vector>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectC.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "fuzz/Target.h"
#include "tests/faults/Choice.h"

namespace {

using tumblewash::faults::ByteChoice;
using tumblewash::fuzz::demand;
using Pixel4 = std::array<int, 4>;
constexpr Pixel4 kZero{0, 0, 0, 0};
constexpr int kFar = 1 << 20;

Pixel4 bytesOf(const ARGBVal& p) {
    return {p._alpha, p._red, p._green, p._blue};
}

struct Model {
    int lx = 0, ly = 0, hx = 0, hy = 0;
    Model* source = nullptr;  // of a view
    int sx = 0, sy = 0;
    std::map<std::pair<int, int>, Pixel4> cells;

    bool within(int x, int y) const { return lx <= x && x <= hx && ly <= y && y <= hy; }
    Pixel4* reach(int x, int y) {
        if (source) return source->reach(x - sx, y - sy);
        const auto found = cells.find({x, y});
        return found == cells.end() ? nullptr : &found->second;
    }
    Pixel4 read(int x, int y) {
        if (!within(x, y)) return kZero;
        if (source) return source->read(x - sx, y - sy);
        const Pixel4* cell = reach(x, y);
        return cell ? *cell : kZero;
    }
    void clip() {
        lx = std::max(lx, source->lx);
        ly = std::max(ly, source->ly);
        hx = std::max(lx, std::min(hx, source->hx));
        hy = std::max(ly, std::min(hy, source->hy));
    }
    void shift(int dx, int dy) {
        lx += dx, hx += dx, ly += dy, hy += dy;
        if (source) {
            sx += dx, sy += dy;
            return;
        }
        std::map<std::pair<int, int>, Pixel4> moved;
        for (const auto& [place, bytes] : cells) moved[{place.first + dx, place.second + dy}] = bytes;
        cells = std::move(moved);
    }
};

/// Up to eight rectangles, each beside its model.
class Play {
  public:
    explicit Play(ByteChoice& choice) : choice_(choice) {
        addStorage();
        addStorage();
        addView();
    }

    void step() {
        const std::size_t i = any();
        switch (choice_.range(0, 9)) {
            case 0:
                return real_.size() < 8 ? addView() : read(i);
            case 1:
                return moveOrigin(i);
            case 2:
                return moveBounds(i);
            case 3:
                return setOne(i);
            case 4:
                return copyOver(i, any());
            case 5:
                return fillAll(i);
            case 6:
                return restart(static_cast<std::size_t>(choice_.range(0, 1)));
            case 7:
                return wrapped(i);
            default:
                return read(i);
        }
    }

    void checkAll() {
        for (std::size_t i = 0; i < real_.size(); ++i) {
            Model& m = *model_[i];
            demand(m.lx == real_[i]->lx() && m.ly == real_[i]->ly() && m.hx == real_[i]->hx() &&
                       m.hy == real_[i]->hy(),
                   "bounds differ from the model");
            for (int y = m.ly - 1; y <= m.hy + 1; ++y)
                for (int x = m.lx - 1; x <= m.hx + 1; ++x) same(i, x, y);
        }
        demand(bytesOf(PixRectBase<ARGBVal>::blackpixel) == kZero, "the zero pixel was written");
    }

  private:
    std::size_t any() {
        return static_cast<std::size_t>(choice_.range(0, static_cast<int>(real_.size()) - 1));
    }
    void same(std::size_t i, int x, int y) {
        demand(model_[i]->read(x, y) == bytesOf(real_[i]->pix(x, y)), "a pixel differs from the model");
    }
    ARGBVal anyPixel() {
        const std::uint32_t bits = choice_.bits();
        return ARGBVal(static_cast<unsigned char>(bits), static_cast<unsigned char>(bits >> 8),
                       static_cast<unsigned char>(bits >> 16), static_cast<unsigned char>(bits >> 24));
    }
    void anyBounds(Model& m, int least) {
        m.lx = choice_.range(-10, 10), m.ly = choice_.range(-10, 10);
        m.hx = m.lx + choice_.range(least, 9), m.hy = m.ly + choice_.range(least, 9);
    }
    void fillAnew(std::size_t i) {
        Model& m = *model_[i];
        m.cells.clear();
        ARGBVal seed = anyPixel();
        for (int y = m.ly; y <= m.hy; ++y) {
            for (int x = m.lx; x <= m.hx; ++x) {
                seed._red = static_cast<unsigned char>(seed._red + 7);
                seed._blue = static_cast<unsigned char>(seed._blue + seed._red);
                real_[i]->set(x, y, seed);
                m.cells[{x, y}] = bytesOf(seed);
            }
        }
    }
    void addStorage() {
        auto m = std::make_unique<Model>();
        anyBounds(*m, 0);
        real_.push_back(std::make_unique<PixRectRW<ARGBVal>>(m->lx, m->ly, m->hx, m->hy));
        model_.push_back(std::move(m));
        fillAnew(real_.size() - 1);
    }
    void addView() {
        const std::size_t on = any();
        auto m = std::make_unique<Model>();
        m->source = model_[on].get();
        anyBounds(*m, -2);
        real_.push_back(std::make_unique<PixRectRWRef<ARGBVal>>(*real_[on], m->lx, m->ly, m->hx, m->hy));
        m->clip();
        model_.push_back(std::move(m));
    }
    void moveOrigin(std::size_t i) {
        Model& m = *model_[i];
        if (!m.source && m.cells.empty()) return;
        const int dx = choice_.range(-50, 50), dy = choice_.range(-50, 50);
        if (std::abs(m.lx) > kFar || std::abs(m.ly) > kFar) return;
        real_[i]->shiftorigin(dx, dy);
        m.shift(dx, dy);
    }
    void moveBounds(std::size_t i) {
        Model& m = *model_[i];
        if (!m.source) return;
        auto& view = dynamic_cast<PixRectRWRef<ARGBVal>&>(*real_[i]);
        anyBounds(m, -2);
        view.setbounds(m.lx, m.ly, m.hx, m.hy);
        m.clip();
    }
    void setOne(std::size_t i) {
        Model& m = *model_[i];
        const int x = choice_.range(m.lx - 2, m.hx + 2), y = choice_.range(m.ly - 2, m.hy + 2);
        const ARGBVal value = anyPixel();
        const SIerrorcode code = real_[i]->set(x, y, value);
        demand((code == IMAGE_OOB_COORD) == !m.within(x, y), "set judges the bounds wrongly");
        if (code != IMAGE_OK) return;
        Pixel4* cell = m.reach(x, y);
        demand(cell != nullptr, "set wrote where there is nothing");
        *cell = bytesOf(value);
    }
    void copyOver(std::size_t i, std::size_t j) {
        Model &a = *model_[i], &b = *model_[j];
        real_[i]->copyfrom(*real_[j]);
        for (int y = std::max(a.ly, b.ly); y <= std::min(a.hy, b.hy); ++y) {
            for (int x = std::max(a.lx, b.lx); x <= std::min(a.hx, b.hx); ++x) {
                Pixel4* to = a.reach(x, y);
                if (!to) continue;
                const Pixel4* from = b.reach(x, y);
                *to = from ? *from : kZero;
            }
        }
    }
    void fillAll(std::size_t i) {
        Model& m = *model_[i];
        const int v = choice_.range(0, 255);
        real_[i]->fillWith(v);
        for (int y = m.ly; y <= m.hy; ++y)
            for (int x = m.lx; x <= m.hx; ++x)
                if (Pixel4* cell = m.reach(x, y)) *cell = {255, v, v, v};
    }
    void restart(std::size_t i) {
        Model& m = *model_[i];
        real_[i]->freestore();
        m.cells.clear();
        if (choice_.once(3)) return;
        anyBounds(m, 0);
        real_[i]->init(m.lx, m.ly, m.hx, m.hy);
        fillAnew(i);
    }
    /// Frame memory seen through a wrapper, its fields, a copy of it, and a tile cache on a rectangle.
    void wrapped(std::size_t i) {
        const int w = choice_.range(1, 12), h = choice_.range(0, 12);
        std::vector<ARGBVal> memory(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) + 1,
                                    anyPixel());
        const auto lines = static_cast<siwraptype>(choice_.range(0, 3));
        PixRectWrap<ARGBVal> wrap(memory.data(), w, h, lines);
        const PixRectWrap<ARGBVal> copy(wrap);
        for (int y = -1; y <= h + 1; ++y)
            for (int x = -1; x <= w + 1; ++x)
                demand(bytesOf(wrap.pix(x, y)) == bytesOf(copy.pix(x, y)), "a copy of a wrapper differs");
        wrap.copyfrom(*real_[i]);
        PixRectC<ARGBVal> cache(*real_[i]);
        cache.initcache(choice_.range(-1, 9), choice_.range(-1, 9));
        for (int n = 0; n < 6; ++n)
            static_cast<void>(cache.pix(choice_.range(-60, 60), choice_.range(-60, 60)));
    }
    void read(std::size_t i) {
        for (int n = 0; n < 4; ++n) same(i, choice_.wild32(), choice_.wild32());
        const double x = choice_.wildReal(), y = choice_.wildReal();
        static_cast<void>(real_[i]->pixdd(x, y));
    }

    ByteChoice& choice_;
    std::vector<std::unique_ptr<Model>> model_;
    std::vector<std::unique_ptr<PixRectRW<ARGBVal>>> real_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteChoice choice({data, size});
    Play play(choice);
    for (int n = 0; n < 60 && !choice.ended(); ++n) {
        play.step();
        if (n % 8 == 7) play.checkAll();
    }
    play.checkAll();
    return 0;
}
