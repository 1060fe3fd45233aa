// The whole-rectangle operations that every rectangle type has, walked over exactly that list of types.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <type_traits>

#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"

namespace {

using tumblewash::reference::pick;

template <class T>
using ChannelOf =
    std::conditional_t<std::is_same_v<T, GreyPixel<float>> || std::is_same_v<T, RGBPixel<float>>, float,
                       std::conditional_t<std::is_same_v<T, GreyPixel<int>>, int, unsigned char>>;

/// The channels that arithmetic touches, in a fixed order; unused places stay 0.
template <class T>
std::array<double, 3> channels(const T& p) {
    if constexpr (std::is_base_of_v<GreyPixelType, T>)
        return {static_cast<double>(p._grey), 0, 0};
    else if constexpr (std::is_base_of_v<HSVPixelType, T>)
        return {static_cast<double>(p._hue), static_cast<double>(p._sat), static_cast<double>(p._val)};
    else
        return {static_cast<double>(p._red), static_cast<double>(p._green), static_cast<double>(p._blue)};
}

template <class T>
constexpr std::size_t channelCount = std::is_base_of_v<GreyPixelType, T> ? 1 : 3;

/// What a channel of the type makes of an exact number: floats keep it, integers truncate and wrap.
template <class C>
double settled(double v) {
    if constexpr (std::is_same_v<C, float>)
        return static_cast<double>(static_cast<float>(v));
    else
        return static_cast<double>(static_cast<C>(static_cast<std::int64_t>(v)));
}

template <class T>
class PixRectArithTyped : public tumblewash::reference::RectTest {
  protected:
    using C = ChannelOf<T>;

    PixRectRW<T> noise() {
        const int lx = pick(rng, -30, 30), ly = pick(rng, -30, 30);
        PixRectRW<T> r(lx, ly, lx + pick(rng, 0, 20), ly + pick(rng, 0, 20));
        for (int y = r.ly(); y <= r.hy(); ++y)
            for (int x = r.lx(); x <= r.hx(); ++x) put(r.pixrefNB(x, y));
        return r;
    }

    void put(T& p) {
        const auto v = [this] { return static_cast<C>(pick(rng, 0, 255)); };
        if constexpr (std::is_same_v<T, ARGBVal>)
            p.set(v(), v(), v(), v());
        else if constexpr (std::is_base_of_v<GreyPixelType, T>)
            p.setgrey(v());
        else
            p.set(v(), v(), v());
    }

    /// Runs an operation on noise and expects every channel to become tell(channel).
    template <class Run, class Tell>
    void sweep(Run run, Tell tell) {
        for (int i = 0; i < 20; ++i) {
            PixRectRW<T> r = noise();
            const PixRectRW<T> before(r);
            ASSERT_EQ(IMAGE_OK, run(r));
            for (int y = r.ly(); y <= r.hy(); ++y) {
                for (int x = r.lx(); x <= r.hx(); ++x) {
                    const auto was = channels(before.pix(x, y)), is = channels(r.pix(x, y));
                    for (std::size_t c = 0; c < channelCount<T>; ++c) ASSERT_EQ(tell(was[c]), is[c]);
                    if constexpr (std::is_same_v<T, ARGBVal>) {
                        ASSERT_EQ(before.pix(x, y)._alpha, r.pix(x, y)._alpha);
                    }
                    if constexpr (std::is_same_v<T, RGBGrVal>) {
                        const RGBGrVal p = r.pix(x, y);
                        ASSERT_EQ((30 * p._red + 59 * p._green + 11 * p._blue) / 100, p._grey);
                    }
                }
            }
        }
    }

    std::mt19937 rng{31};
};

using AllRectTypes =
    ::testing::Types<ARGBVal, RGBGrVal, GreyPixel<float>, GreyPixel<unsigned char>, GreyPixel<int>,
                     RGBPixel<float>, RGBPixel<unsigned char>, HSVPixel<unsigned char>>;
TYPED_TEST_SUITE(PixRectArithTyped, AllRectTypes);

TYPED_TEST(PixRectArithTyped, MultiplyingWrapsIntegersAndKeepsFloats) {
    using C = ChannelOf<TypeParam>;
    for (const double d : {0.0, 0.37, 1.0, 1.9, -2.5}) {
        const auto tell = [d](double c) { return settled<C>(c * d); };
        this->sweep([d](auto& r) { return r.multiplyby(d); }, tell);
        this->sweep([d](auto& r) { return r *= d; }, tell);
    }
}

TYPED_TEST(PixRectArithTyped, DividingMultipliesByTheReciprocal) {
    using C = ChannelOf<TypeParam>;
    for (const double d : {0.5, 3.0, 49.0, -7.0})
        this->sweep([d](auto& r) { return r /= d; }, [d](double c) { return settled<C>(c * (1.0 / d)); });
}

TYPED_TEST(PixRectArithTyped, AddingTruncatesTheStepTowardIntegersOnly) {
    using C = ChannelOf<TypeParam>;
    for (const double d : {0.0, 0.9, -0.9, 5.75, -300.25, 70000.5}) {
        this->sweep(
            [d](auto& r) { return r += d; },
            [d](double c) {
                return settled<C>(c + (std::is_same_v<C, float> ? d : static_cast<double>(std::int64_t(d))));
            });
    }
}

TYPED_TEST(PixRectArithTyped, TheCountRunsInWalkOrder) {
    using C = ChannelOf<TypeParam>;
    for (int i = 0; i < 10; ++i) {
        PixRectRW<TypeParam> r = this->noise();
        ASSERT_EQ(IMAGE_OK, r.fillwithcount());
        double n = 0;
        for (int y = r.ly(); y <= r.hy(); ++y) {
            for (int x = r.lx(); x <= r.hx(); ++x, ++n) {
                const auto is = channels(r.pix(x, y));
                for (std::size_t c = 0; c < channelCount<TypeParam>; ++c) ASSERT_EQ(settled<C>(n), is[c]);
            }
        }
    }
}

TYPED_TEST(PixRectArithTyped, WithoutStorageNothingIsWritten) {
    PixRectRW<TypeParam> none, empty(0, 4);
    PixRectRWRef<TypeParam> nosource, onnone(none);
    for (PixRectRW<TypeParam>* r : {&none, &empty, static_cast<PixRectRW<TypeParam>*>(&nosource),
                                    static_cast<PixRectRW<TypeParam>*>(&onnone)}) {
        EXPECT_EQ(IMAGE_NODATA, r->fillwithcount());
        EXPECT_EQ(IMAGE_NODATA, r->multiplyby(2.0));
        EXPECT_EQ(IMAGE_NODATA, *r *= 2.0);
        EXPECT_EQ(IMAGE_NODATA, *r /= 2.0);
        EXPECT_EQ(IMAGE_NODATA, *r += 2.0);
        EXPECT_EQ(IMAGE_NODATA, r->fillWith(7));
    }
}

TYPED_TEST(PixRectArithTyped, AViewChangesOnlyWhatItShows) {
    PixRectRW<TypeParam> r(9, 8);
    ASSERT_EQ(IMAGE_OK, r.fillWith(0));
    PixRectRWRef<TypeParam> view(r, 2, 3, 5, 6);
    view.shiftorigin(40, -40);
    ASSERT_EQ(IMAGE_OK, view += 9.0);
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 9; ++x) {
            const bool shown = x >= 2 && x <= 5 && y >= 3 && y <= 6;
            EXPECT_EQ(shown ? 9.0 : 0.0, channels(r.pix(x, y))[0]);
        }
    }
}

}  // namespace
