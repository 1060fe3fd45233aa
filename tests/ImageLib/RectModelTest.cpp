// Rectangles and views driven by random operation sequences against a naive model that keeps one map of cells
// per storage and walks chains of views by hand.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <vector>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"

namespace {

namespace reference = tumblewash::reference;
using reference::Bytes;
using reference::bytesOf;
using reference::pick;

const Bytes zero{0, 0, 0, 0};

/// One rectangle of the model. A storage keeps cells by its present coordinates; a view has a source and
/// offsets.
struct Model {
    int lx = 0, ly = 0, hx = 0, hy = 0;
    Model* src = nullptr;
    int sx = 0, sy = 0;
    bool view = false;
    std::map<std::pair<int, int>, Bytes> cells;

    bool within(int x, int y) const { return lx <= x && x <= hx && ly <= y && y <= hy; }
    /// The cell that an untested access reaches, null where there is none.
    Bytes* reach(int x, int y) {
        if (view) return src == nullptr ? nullptr : src->reach(x - sx, y - sy);
        const auto it = cells.find({x, y});
        return it == cells.end() ? nullptr : &it->second;
    }
    Bytes read(int x, int y) {
        if (!within(x, y)) return zero;
        if (view) return src == nullptr ? zero : src->read(x - sx, y - sy);
        const Bytes* b = reach(x, y);
        return b == nullptr ? zero : *b;
    }
    bool hasdata() const { return view ? src != nullptr && src->hasdata() : !cells.empty(); }
    void clip() {
        lx = std::max(lx, src->lx);
        ly = std::max(ly, src->ly);
        hx = std::max(lx, std::min(hx, src->hx));
        hy = std::max(ly, std::min(hy, src->hy));
    }
    void shift(int dx, int dy) {
        lx += dx, hx += dx, ly += dy, hy += dy;
        if (view) {
            sx += dx, sy += dy;
            return;
        }
        std::map<std::pair<int, int>, Bytes> moved;
        for (const auto& [place, b] : cells) moved[{place.first + dx, place.second + dy}] = b;
        cells = std::move(moved);
    }
};

/// A handful of storages and views, each beside its model, and the moves that a sequence is made of.
class Play {
  public:
    explicit Play(unsigned seed) : rng(seed) {
        for (int i = 0; i < 3; ++i) addStorage();
        for (int i = 0; i < 4; ++i) addView();
    }

    void step() {
        const std::size_t i = any();
        switch (pick(rng, 0, 11)) {
            case 0:
                return moveOrigin(i);
            case 1:
                return moveBounds(i);
            case 2:
                return setOne(i);
            case 3:
                return combine(i, any());
            case 4:
                return combine(i, any());
            case 5:
                return wholeRect(i);
            case 6:
                return copied(i);
            case 7:
                return restart(pick(rng, 0, 2));
            default:
                return readSome(i);
        }
    }

    void checkAll() {
        for (std::size_t i = 0; i < real.size(); ++i) {
            Model& m = *model[i];
            const PixRectRW<ARGBVal>& r = *real[i];
            ASSERT_EQ(m.lx, r.lx());
            ASSERT_EQ(m.ly, r.ly());
            ASSERT_EQ(m.hx, r.hx());
            ASSERT_EQ(m.hy, r.hy());
            for (int y = m.ly - 1; y <= m.hy + 1; ++y)
                for (int x = m.lx - 1; x <= m.hx + 1; ++x)
                    ASSERT_EQ(m.read(x, y), bytesOf(r.pix(x, y)))
                        << "rectangle " << i << " at " << x << "," << y;
        }
    }

  private:
    std::size_t any() { return static_cast<std::size_t>(pick(rng, 0, static_cast<int>(real.size()) - 1)); }
    bool isView(std::size_t i) const { return model[i]->view; }
    PixRectRWRef<ARGBVal>& viewAt(std::size_t i) { return dynamic_cast<PixRectRWRef<ARGBVal>&>(*real[i]); }

    void fill(std::size_t i) {
        reference::fillNoise(*real[i], rng);
        Model& m = *model[i];
        m.cells.clear();
        for (int y = m.ly; y <= m.hy; ++y)
            for (int x = m.lx; x <= m.hx; ++x) m.cells[{x, y}] = bytesOf(real[i]->pix(x, y));
    }

    void addStorage() {
        auto m = std::make_unique<Model>();
        m->lx = pick(rng, -8, 8), m->ly = pick(rng, -8, 8);
        m->hx = m->lx + pick(rng, 0, 9), m->hy = m->ly + pick(rng, 0, 9);
        real.push_back(std::make_unique<PixRectRW<ARGBVal>>(m->lx, m->ly, m->hx, m->hy));
        model.push_back(std::move(m));
        fill(real.size() - 1);
    }

    void addView() {
        const std::size_t on = any();
        auto m = std::make_unique<Model>();
        m->view = true;
        m->src = model[on].get();
        m->lx = pick(rng, -12, 12), m->ly = pick(rng, -12, 12);
        m->hx = m->lx + pick(rng, -2, 9), m->hy = m->ly + pick(rng, -2, 9);
        real.push_back(std::make_unique<PixRectRWRef<ARGBVal>>(*real[on], m->lx, m->ly, m->hx, m->hy));
        m->clip();
        model.push_back(std::move(m));
    }

    void moveOrigin(std::size_t i) {
        Model& m = *model[i];
        int dx = pick(rng, -5, 5), dy = pick(rng, -5, 5);
        SIerrorcode code = IMAGE_OK;
        switch (pick(rng, 0, 2)) {
            case 0:
                code = real[i]->shiftorigin(dx, dy);
                break;
            case 1:
                dx = -m.lx, dy = -m.ly;
                code = real[i]->zeroorigin();
                break;
            default:
                dx = -((m.hx - m.lx + 1) / 2) - m.lx, dy = -((m.hy - m.ly + 1) / 2) - m.ly;
                code = real[i]->centreorigin();
        }
        EXPECT_EQ(!m.view && m.cells.empty() ? IMAGE_NODATA : IMAGE_OK, code);
        m.shift(dx, dy);
    }

    void moveBounds(std::size_t i) {
        if (!isView(i)) return;
        Model& m = *model[i];
        if (pick(rng, 0, 1) == 0) {
            const int dx = pick(rng, -4, 4), dy = pick(rng, -4, 4);
            EXPECT_EQ(IMAGE_OK, viewAt(i).shiftbounds(dx, dy));
            m.lx += dx, m.hx += dx, m.ly += dy, m.hy += dy;
        } else {
            m.lx = pick(rng, -12, 12), m.ly = pick(rng, -12, 12);
            m.hx = m.lx + pick(rng, -2, 12), m.hy = m.ly + pick(rng, -2, 12);
            EXPECT_EQ(IMAGE_OK, viewAt(i).setbounds(m.lx, m.ly, m.hx, m.hy));
        }
        m.clip();
    }

    void setOne(std::size_t i) {
        Model& m = *model[i];
        const int x = pick(rng, m.lx - 2, m.hx + 2), y = pick(rng, m.ly - 2, m.hy + 2);
        const ARGBVal v(static_cast<unsigned char>(rng()), static_cast<unsigned char>(rng()),
                        static_cast<unsigned char>(rng()), static_cast<unsigned char>(rng()));
        const SIerrorcode code = real[i]->set(x, y, v);
        if (!m.within(x, y)) {
            EXPECT_EQ(IMAGE_OOB_COORD, code);
        } else if (code == IMAGE_OK) {
            Bytes* cell = m.reach(x, y);
            ASSERT_NE(nullptr, cell);
            *cell = bytesOf(v);
        } else {
            EXPECT_EQ(IMAGE_NODATA, code);
            EXPECT_EQ(zero, m.read(x, y));
        }
    }

    void combine(std::size_t i, std::size_t j) {
        Model &a = *model[i], &b = *model[j];
        const int how = pick(rng, 0, 2);
        const SIerrorcode code = how == 0   ? real[i]->copyfrom(*real[j])
                                 : how == 1 ? real[i]->add(*real[j])
                                            : real[i]->blendwith(*real[j], 1.0f);
        EXPECT_EQ(a.hasdata() ? IMAGE_OK : IMAGE_NODATA, code);
        for (int y = std::max(a.ly, b.ly); y <= std::min(a.hy, b.hy); ++y) {
            for (int x = std::max(a.lx, b.lx); x <= std::min(a.hx, b.hx); ++x) {
                Bytes* to = a.reach(x, y);
                if (to == nullptr) continue;
                const Bytes* found = b.reach(x, y);
                const Bytes from = found == nullptr ? zero : *found;
                if (how == 0) *to = from;
                for (std::size_t c = 0; c < 4 && how == 1; ++c) (*to)[c] = ((*to)[c] + from[c]) % 256;
                for (std::size_t c = 1; c < 4 && how == 2; ++c) (*to)[c] = ((*to)[c] + from[c]) / 2;
            }
        }
    }

    void wholeRect(std::size_t i) {
        Model& m = *model[i];
        const int how = pick(rng, 0, 2), v = pick(rng, 0, 255);
        const SIerrorcode code = how == 0   ? real[i]->fillWith(v)
                                 : how == 1 ? real[i]->incrementby(v)
                                            : real[i]->multiplyby(0.5);
        EXPECT_EQ(m.hasdata() ? IMAGE_OK : IMAGE_NODATA, code);
        for (int y = m.ly; y <= m.hy; ++y) {
            for (int x = m.lx; x <= m.hx; ++x) {
                Bytes* p = m.reach(x, y);
                if (p == nullptr) continue;
                if (how == 0) *p = {255, v, v, v};
                for (std::size_t c = 1; c < 4 && how > 0; ++c)
                    (*p)[c] = how == 1 ? ((*p)[c] + v) % 256 : (*p)[c] / 2;
            }
        }
    }

    void copied(std::size_t i) {
        Model& m = *model[i];
        const PixRectRW<ARGBVal> copy(static_cast<const PixRect<ARGBVal>&>(*real[i]));
        for (int y = m.ly; y <= m.hy; ++y) {
            for (int x = m.lx; x <= m.hx; ++x) {
                const Bytes* found = m.reach(x, y);
                ASSERT_EQ(found == nullptr ? zero : *found, bytesOf(copy.pix(x, y)));
            }
        }
    }

    /// Frees a storage, now and then for good, or lays it out anew; views on it stay.
    void restart(int which) {
        const auto i = static_cast<std::size_t>(which);
        Model& m = *model[i];
        real[i]->freestore();
        m.cells.clear();
        if (pick(rng, 0, 3) == 0) return;
        m.lx = pick(rng, -8, 8), m.ly = pick(rng, -8, 8);
        m.hx = m.lx + pick(rng, 0, 9), m.hy = m.ly + pick(rng, 0, 9);
        real[i]->init(m.lx, m.ly, m.hx, m.hy);
        fill(i);
    }

    void readSome(std::size_t i) {
        Model& m = *model[i];
        for (int n = 0; n < 8; ++n) {
            const int x = pick(rng, m.lx - 3, m.hx + 3), y = pick(rng, m.ly - 3, m.hy + 3);
            ASSERT_EQ(m.read(x, y), bytesOf(real[i]->pix(x, y)));
            ASSERT_EQ(m.within(x, y), real[i]->withinbounds(x, y));
            if (!m.view) {
                const double fx = x + (x >= 0 ? 0.75 : -0.75), fy = y + (y >= 0 ? 0.25 : -0.25);
                ASSERT_EQ(m.read(x, y), bytesOf(real[i]->pixdd(fx, fy)));
            }
        }
    }

    std::mt19937 rng;
    std::vector<std::unique_ptr<Model>> model;
    std::vector<std::unique_ptr<PixRectRW<ARGBVal>>> real;
};

class RectModelTest : public reference::RectTest {};

TEST_F(RectModelTest, RandomSequencesOverStoragesAndViewsFollowTheModel) {
    for (unsigned seed = 1; seed <= 150; ++seed) {
        Play play(seed);
        for (int n = 0; n < 120; ++n) {
            play.step();
            if (n % 10 == 9) play.checkAll();
            if (HasFailure()) FAIL() << "seed " << seed << ", step " << n;
        }
    }
}

}  // namespace
