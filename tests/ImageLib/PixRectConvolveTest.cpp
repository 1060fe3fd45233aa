#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <type_traits>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"
#include "tests/ImageLib/reference/Shown.h"

namespace {

namespace reference = tumblewash::reference;
using reference::Bytes;
using reference::bytesOf;
using reference::pick;

struct Kernel {
    float w[5][5] = {};
};

Kernel single(int i, int j) {
    Kernel k;
    k.w[i][j] = 1.0f;
    return k;
}

Kernel ones() {
    Kernel k;
    for (auto& row : k.w)
        for (float& w : row) w = 1.0f;
    return k;
}

class PixRectConvolveTest : public reference::RectTest {
  protected:
    std::mt19937 rng{12};

    PixRectRW<ARGBVal> noise(int lx, int ly, int hx, int hy) {
        PixRectRW<ARGBVal> r(lx, ly, hx, hy);
        reference::fillNoise(r, rng);
        return r;
    }

    Kernel randomKernel(float low, float high) {
        Kernel k;
        for (auto& row : k.w)
            for (float& w : row) w = low + (high - low) * static_cast<float>(pick(rng, 0, 1000)) / 1000.0f;
        return k;
    }
};

/// One interior pixel told from the steps: weighted bytes truncated and wrapped, summed, times 1 / sum.
Bytes filtered(const PixRect<ARGBVal>& src, const Kernel& k, int x, int y) {
    float sum = 0.0f, acc[3] = {0, 0, 0};
    for (const auto& row : k.w)
        for (const float w : row) sum += w;
    for (int i = 0; i < 5; ++i) {
        for (int j = 0; j < 5; ++j) {
            const Bytes p = bytesOf(src.pix(x - 2 + i, y - 2 + j));
            for (std::size_t c = 0; c < 3; ++c)
                acc[c] += static_cast<float>(reference::wrap(
                    static_cast<int>(static_cast<double>(p[c + 1]) * static_cast<double>(k.w[i][j]))));
        }
    }
    Bytes out{255, 0, 0, 0};
    for (std::size_t c = 0; c < 3; ++c) {
        const float v = acc[c] * (1.0f / sum);
        out[c + 1] = !(v > 0.0f) ? 0 : v >= 255.0f ? 255 : static_cast<int>(v);
    }
    return out;
}

bool interior(const PixRect<ARGBVal>& r, int x, int y) {
    return x >= r.lx() + 3 && x <= r.hx() - 3 && y >= r.ly() + 3 && y <= r.hy() - 3;
}

TEST_F(PixRectConvolveTest, ASingleOneInTheMiddleReproducesTheInterior) {
    auto src = noise(-4, 5, 15, 20);
    Kernel k = single(2, 2);
    const PixRectRW<ARGBVal> r(src, k.w);
    for (int y = 8; y <= 17; ++y)
        for (int x = -1; x <= 12; ++x) {
            Bytes want = bytesOf(src.pix(x, y));
            want[0] = 255;
            EXPECT_EQ(want, bytesOf(r.pix(x, y)));
        }
}

TEST_F(PixRectConvolveTest, TheFirstIndexRunsAlongX) {
    auto src = noise(0, 0, 11, 11);
    Kernel right = single(3, 2), down = single(2, 4);
    const PixRectRW<ARGBVal> r(src, right.w), d(src, down.w);
    for (int y = 3; y <= 8; ++y) {
        for (int x = 3; x <= 8; ++x) {
            EXPECT_EQ(src.pix(x + 1, y)._red, r.pix(x, y)._red);
            EXPECT_EQ(src.pix(x, y + 2)._green, d.pix(x, y)._green);
        }
    }
}

TEST_F(PixRectConvolveTest, TheBorderIsThreePixelsWide) {
    auto src = noise(0, 0, 6, 6);
    src.fillWith(ARGBVal(9, 100, 110, 120));
    Kernel k = ones();
    const PixRectRW<ARGBVal> r(src, k.w), fresh(7, 7);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 7; ++x) {
            const bool centre = x == 3 && y == 3;
            EXPECT_EQ(centre ? (Bytes{255, 100, 110, 120}) : bytesOf(fresh.pix(x, y)), bytesOf(r.pix(x, y)));
            EXPECT_EQ(255, r.pix(x, y)._alpha);
        }
    }
}

TEST_F(PixRectConvolveTest, BelowSevenPixelsThereIsNoInterior) {
    Kernel k = ones();
    for (const auto& [w, h] : {std::pair{6, 20}, {20, 6}, {1, 1}}) {
        auto src = noise(0, 0, w - 1, h - 1);
        const PixRectRW<ARGBVal> r(src, k.w), fresh(w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) EXPECT_EQ(bytesOf(fresh.pix(x, y)), bytesOf(r.pix(x, y)));
    }
    PixRectRW<ARGBVal> empty(0, 0), none;
    EXPECT_EQ(nullptr, (PixRectRW<ARGBVal>(empty, k.w).rasters()));
    EXPECT_NE(nullptr, (PixRectRW<ARGBVal>(none, k.w).rasters()));
}

TEST_F(PixRectConvolveTest, OnesLeaveAConstantInteriorConstant) {
    PixRectRW<ARGBVal> src(9, 9);
    Kernel k = ones();
    for (int v = 0; v < 256; ++v) {
        src.fillWith(ARGBVal(static_cast<unsigned char>(v)));
        const PixRectRW<ARGBVal> r(src, k.w);
        EXPECT_EQ((Bytes{255, v, v, v}), bytesOf(r.pix(4, 4)));
    }
}

TEST_F(PixRectConvolveTest, BoundsScaleAndDebugStateComeFromTheSource) {
    auto src = noise(-9, 7, 3, 30);
    src.setscale(2.0, 0.5);
    src.dbg = DBGState(DBGRect);
    Kernel k = ones();
    const PixRectRW<ARGBVal> r(src, k.w);
    EXPECT_EQ(-9, r.lx());
    EXPECT_EQ(7, r.ly());
    EXPECT_EQ(3, r.hx());
    EXPECT_EQ(30, r.hy());
    EXPECT_EQ(2.0, r.xs());
    EXPECT_EQ(0.5, r.ys());
    EXPECT_EQ(DBGRect, r.dbgstate().value());
}

TEST_F(PixRectConvolveTest, WeightedBytesAreTruncatedAndWrappedBeforeTheyAreSummed) {
    PixRectRW<ARGBVal> src(7, 7);
    src.fillWith(ARGBVal(255, 3, 200, 10));
    Kernel k;
    k.w[1][1] = 0.5f;   // 3 -> 1, 200 -> 100, 10 -> 5
    k.w[2][3] = 2.0f;   // 6, 400 -> 144, 20
    k.w[4][0] = -0.5f;  // -1 -> 255, -100 -> 156, -5 -> 251
    const PixRectRW<ARGBVal> r(src, k.w);
    EXPECT_EQ((Bytes{255, 262 / 2, 200, 276 / 2}), bytesOf(r.pix(3, 3)));
}

TEST_F(PixRectConvolveTest, EqualsThePlainTellingOverKernelsSizesAndOrigins) {
    for (int n = 0; n < 60; ++n) {
        const int lx = pick(rng, -20, 20), ly = pick(rng, -20, 20);
        auto src = noise(lx, ly, lx + pick(rng, 5, 25), ly + pick(rng, 5, 25));
        Kernel k = n % 3 == 0   ? randomKernel(0.0f, 0.2f)
                   : n % 3 == 1 ? randomKernel(-0.4f, 1.1f)
                                : randomKernel(0, 9);
        const PixRectRW<ARGBVal> r(src, k.w);
        for (int y = src.ly(); y <= src.hy(); ++y)
            for (int x = src.lx(); x <= src.hx(); ++x)
                if (interior(src, x, y)) {
                    ASSERT_EQ(filtered(src, k, x, y), bytesOf(r.pix(x, y))) << "kernel " << n;
                }
    }
}

TEST_F(PixRectConvolveTest, ViewsAndFieldsAreFilteredAsTheyShow) {
    for (int n = 0; n < 60; ++n) {
        auto shown = reference::showWritable(rng);
        Kernel k = randomKernel(-0.2f, 0.8f);
        const PixRectRW<ARGBVal> r(shown.writable(), k.w);
        for (int y = r.ly(); y <= r.hy(); ++y)
            for (int x = r.lx(); x <= r.hx(); ++x)
                if (interior(r, x, y)) {
                    ASSERT_EQ(filtered(shown.readable(), k, x, y), bytesOf(r.pix(x, y)));
                }
    }
    PixRectRW<ARGBVal> small(8, 8);
    small.fillWith(ARGBVal(255, 50, 60, 70));
    PixRectRWRef<ARGBVal> half(small);
    half.shiftorigin(-4, 0);
    half.setbounds(0, 0, 7, 7);  // columns 4 and up lie past the source and are zero pixels
    Kernel k = ones();
    const PixRectRW<ARGBVal> r(half, k.w);
    EXPECT_EQ((Bytes{255, 30, 36, 42}), bytesOf(r.pix(3, 3)));  // columns 1, 2, 3 of 1..5
    EXPECT_EQ((Bytes{255, 20, 24, 28}), bytesOf(r.pix(4, 4)));
}

TEST_F(PixRectConvolveTest, WithoutStorageTheSourceIsZeroPixels) {
    PixRectRW<ARGBVal> none;
    none.setbounds(0, 0, 8, 8);
    Kernel k = ones();
    const PixRectRW<ARGBVal> r(none, k.w);
    EXPECT_EQ((Bytes{255, 0, 0, 0}), bytesOf(r.pix(4, 4)));
}

TEST_F(PixRectConvolveTest, AKernelThatSumsToZeroFiltersNothing) {
    auto src = noise(0, 0, 8, 8);
    src.dbg = DBGState(DBGProblem);
    const PixRectRW<ARGBVal> fresh(9, 9);
    Kernel empty, edges;
    edges.w[2][2] = 2.0f;
    edges.w[1][2] = edges.w[3][2] = -1.0f;
    for (Kernel* k : {&empty, &edges}) {
        const reference::TraceCatcher trace;
        const PixRectRW<ARGBVal> r(src, k->w);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 9; ++x) EXPECT_EQ(bytesOf(fresh.pix(x, y)), bytesOf(r.pix(x, y)));
        EXPECT_NE(std::string::npos, trace.text().find("sum to zero"));
    }
}

TEST_F(PixRectConvolveTest, WeightsThatAreNoNumbersGiveBlack) {
    auto src = noise(0, 0, 8, 8);
    Kernel k = ones();
    k.w[0][0] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ((Bytes{255, 0, 0, 0}), bytesOf(PixRectRW<ARGBVal>(src, k.w).pix(4, 4)));
    k.w[0][0] = std::numeric_limits<float>::infinity();  // a product of 0x7fffffff, normalised by 1 / inf
    EXPECT_EQ((Bytes{255, 0, 0, 0}), bytesOf(PixRectRW<ARGBVal>(src, k.w).pix(4, 4)));
}

// The other pixel types: the same laws, told channel by channel.
template <class T>
class PixRectConvolveTyped : public reference::RectTest {
  protected:
    std::mt19937 rng{90};

    void put(T& p) {
        const auto v = [this] { return pick(rng, 0, 255); };
        if constexpr (std::is_same_v<T, ARGBVal>) {
            p.set(static_cast<unsigned char>(v()), static_cast<unsigned char>(v()),
                  static_cast<unsigned char>(v()), static_cast<unsigned char>(v()));
        } else {
            using C = decltype(p.getgrey());
            if constexpr (std::is_base_of_v<GreyPixelType, T>)
                p.setgrey(static_cast<C>(v()));
            else
                p.set(static_cast<C>(v()), static_cast<C>(v()), static_cast<C>(v()));
        }
    }

    static std::array<float, 3> channels(const T& p) {
        if constexpr (std::is_base_of_v<GreyPixelType, T>)
            return {static_cast<float>(p._grey), 0, 0};
        else if constexpr (std::is_base_of_v<HSVPixelType, T>)
            return {static_cast<float>(p._hue), static_cast<float>(p._sat), static_cast<float>(p._val)};
        else
            return {static_cast<float>(p._red), static_cast<float>(p._green), static_cast<float>(p._blue)};
    }

    /// The weighed channel before it is summed: packed bytes wrap, other bytes are held to 0..255, ints
    /// truncate.
    static float weigh(float c, float w) {
        const double v = static_cast<double>(c) * static_cast<double>(w);
        if constexpr (!std::is_base_of_v<SICommon, T>)
            return static_cast<float>(reference::wrap(static_cast<int>(v)));
        if constexpr (std::is_same_v<T, GreyPixel<float>> || std::is_same_v<T, RGBPixel<float>>)
            return static_cast<float>(v);
        if constexpr (std::is_same_v<T, GreyPixel<int>>) return static_cast<float>(static_cast<int>(v));
        return static_cast<float>(static_cast<int>(std::fmin(255.0, std::fmax(0.0, v))));
    }

    static float settle(float v) {
        if constexpr (std::is_same_v<T, GreyPixel<float>> || std::is_same_v<T, RGBPixel<float>>) return v;
        if constexpr (std::is_same_v<T, GreyPixel<int>>) return std::trunc(v);
        return std::trunc(std::fmin(255.0f, std::fmax(0.0f, v)));
    }
};

using FilteredTypes =
    ::testing::Types<ARGBVal, RGBGrVal, RGBPixel<unsigned char>, RGBPixel<float>, GreyPixel<unsigned char>,
                     GreyPixel<int>, GreyPixel<float>, HSVPixel<unsigned char>>;
TYPED_TEST_SUITE(PixRectConvolveTyped, FilteredTypes);

TYPED_TEST(PixRectConvolveTyped, EqualsThePlainTelling) {
    for (int n = 0; n < 25; ++n) {
        const int lx = pick(this->rng, -20, 20), ly = pick(this->rng, -20, 20);
        PixRectRW<TypeParam> src(lx, ly, lx + pick(this->rng, 6, 14), ly + pick(this->rng, 6, 14));
        for (int y = src.ly(); y <= src.hy(); ++y)
            for (int x = src.lx(); x <= src.hx(); ++x) this->put(src.pixrefNB(x, y));
        Kernel k;
        float sum = 0.0f;
        for (auto& row : k.w) {
            for (float& w : row) {
                w = static_cast<float>(pick(this->rng, -100, 400)) / 300.0f;
                sum += w;
            }
        }
        const PixRectRW<TypeParam> r(src, k.w);
        for (int y = src.ly() + 3; y <= src.hy() - 3; ++y) {
            for (int x = src.lx() + 3; x <= src.hx() - 3; ++x) {
                std::array<float, 3> acc{};
                for (int i = 0; i < 5; ++i) {
                    for (int j = 0; j < 5; ++j) {
                        const auto p = this->channels(src.pix(x - 2 + i, y - 2 + j));
                        for (std::size_t c = 0; c < 3; ++c) acc[c] += this->weigh(p[c], k.w[i][j]);
                    }
                }
                const auto got = this->channels(r.pix(x, y));
                for (std::size_t c = 0; c < 3; ++c) ASSERT_EQ(this->settle(acc[c] * (1.0f / sum)), got[c]);
            }
        }
    }
}

TYPED_TEST(PixRectConvolveTyped, ASingleOneReproducesAndTheBorderStaysFresh) {
    PixRectRW<TypeParam> src(10, 9);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 10; ++x) this->put(src.pixrefNB(x, y));
    Kernel middle = single(2, 2), right = single(3, 2);
    const PixRectRW<TypeParam> same(src, middle.w), shifted(src, right.w), fresh(10, 9);
    for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 10; ++x) {
            const bool inside = x >= 3 && x <= 6 && y >= 3 && y <= 5;
            const auto want = this->channels(inside ? src.pix(x, y) : fresh.pix(x, y));
            EXPECT_EQ(want, this->channels(same.pix(x, y)));
            if (inside) {
                EXPECT_EQ(this->channels(src.pix(x + 1, y)), this->channels(shifted.pix(x, y)));
            }
        }
    }
}

}  // namespace
