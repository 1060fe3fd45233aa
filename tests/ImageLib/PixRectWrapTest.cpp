#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "tests/ImageLib/Capture.h"
#include "tests/ImageLib/Pictures.h"

using namespace tumblewash;
using namespace tumblewash::imagelib;
using Wrap = PixRectWrap<ARGBVal>;

namespace {

/// Frame memory of w x h place pixels, line 0 first.
std::vector<ARGBVal> frame(int w, int h) {
    std::vector<ARGBVal> f;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) f.push_back(placePixel(x, y));
    return f;
}

}  // namespace

TEST(PixRectWrapTest, FieldsOfAFullFrame) {
    std::vector<ARGBVal> f = frame(720, 480);
    Wrap odd(f.data(), 720, 480, SIOddLines), even(f.data(), 720, 480, SIEvenLines),
        all(f.data(), 720, 480, SIAllLines);
    EXPECT_TRUE(hasBounds(odd, 0, 0, 719, 239));
    EXPECT_EQ(&odd.pixref(0, 0), f.data() + 720);
    EXPECT_TRUE(hasBounds(even, 0, 0, 719, 239));
    EXPECT_EQ(&even.pixref(0, 0), f.data());
    EXPECT_EQ(&even.pixref(0, 1), f.data() + 1440);
    EXPECT_TRUE(hasBounds(all, 0, 0, 719, 479));
    EXPECT_EQ(&all.pixref(719, 479), f.data() + 720 * 480 - 1);
    EXPECT_FALSE(odd.owndata());
    EXPECT_EQ(odd.getwrapdata(), f.data());
}

TEST(PixRectWrapTest, AnOddHeightGivesTheEvenFieldTheExtraRow) {
    std::vector<ARGBVal> f = frame(3, 481);
    EXPECT_EQ(Wrap(f.data(), 3, 481, SIEvenLines).height(), 241);
    EXPECT_EQ(Wrap(f.data(), 3, 481, SIOddLines).height(), 240);
}

TEST(PixRectWrapTest, EverySizeShowsItsLinesInPlace) {
    for (int w = 1; w <= 9; ++w)
        for (int h = 1; h <= 9; ++h) {
            std::vector<ARGBVal> f = frame(w, h);
            Wrap odd(f.data(), w, h, SIOddLines), even(f.data(), w, h, SIEvenLines),
                all(f.data(), w, h, SIAllLines);
            EXPECT_EQ(odd.height() + even.height(), h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    EXPECT_TRUE(same(all.pix(x, y), placePixel(x, y)));
                    EXPECT_TRUE(same((y % 2 == 0 ? even : odd).pix(x, y / 2), placePixel(x, y)));
                }
            odd.fillWith(ARGBVal(1, 2, 3, 4));
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    EXPECT_TRUE(same(all.pix(x, y), y % 2 == 1 ? ARGBVal(1, 2, 3, 4) : placePixel(x, y)));
            EXPECT_TRUE(isBlack(odd.pix(0, odd.height())) && isBlack(even.pix(w, 0)));
        }
}

TEST(PixRectWrapTest, OneLineHasNoOddField) {
    std::vector<ARGBVal> f = frame(4, 1);
    Wrap odd(f.data(), 4, 1, SIOddLines);
    EXPECT_EQ(odd.height(), 0);
    EXPECT_EQ(odd.rasters(), nullptr);
    EXPECT_TRUE(isBlack(odd.pix(0, 0)));
    EXPECT_EQ(odd.fillWith(ARGBVal(1, 2, 3, 4)), IMAGE_NODATA);
}

TEST(PixRectWrapTest, TablesAreKeptAsTheSelectionSays) {
    std::vector<ARGBVal> f = frame(4, 4);
    const Wrap even(f.data(), 4, 4, SIEvenLines), all(f.data(), 4, 4, SIAllLines);
    EXPECT_EQ(even._firstrast, even.rasters());
    EXPECT_EQ(even._firstpixel, f.data());
    EXPECT_EQ(all._firstrast, nullptr);
    EXPECT_EQ(all._firstpixel, f.data());
}

TEST(PixRectWrapTest, AnAllLinesWrapMovesItsOrigin) {
    std::vector<ARGBVal> f = frame(5, 4);
    Wrap all(f.data(), 5, 4, SIAllLines);
    EXPECT_EQ(all.shiftorigin(10, -3), IMAGE_OK);
    EXPECT_EQ(&all.pixref(10, -3), f.data());
    EXPECT_EQ(&all.pixref(14, 0), f.data() + 19);
    all.init();  // rebuilt for the moved bounds, the old table freed
    EXPECT_EQ(&all.pixref(14, 0), f.data() + 19);
    const Wrap copy(all);
    EXPECT_TRUE(hasBounds(copy, 10, -3, 14, 0));
    EXPECT_TRUE(same(copy.pix(14, 0), placePixel(4, 3)));
}

TEST(PixRectWrapTest, ACopyIsACompactImageOfItsOwn) {
    std::vector<ARGBVal> f = frame(720, 480);
    Wrap odd(f.data(), 720, 480, SIOddLines);
    odd.setscale(2.0, 3.0);
    odd.debugon(DBGProblem);
    Wrap copy(odd);
    EXPECT_TRUE(copy.owndata());
    EXPECT_EQ(copy._type, SIAllLines);
    EXPECT_TRUE(hasBounds(copy, 0, 0, 719, 239));
    EXPECT_EQ(copy.xs(), 2.0);
    EXPECT_EQ(copy.dbg.value(), DBGProblem);
    for (int y = 0; y < 240; ++y) {
        EXPECT_EQ(&copy.pixref(0, y), copy.getwrapdata() + y * 720);
        for (int x = 0; x < 720; x += 37) EXPECT_TRUE(same(copy.pix(x, y), placePixel(x, 2 * y + 1)));
    }
    f.assign(f.size(), ARGBVal(0, 0, 0, 0));
    EXPECT_TRUE(same(copy.pix(0, 0), placePixel(0, 1)));
    const Wrap again(&copy);
    EXPECT_TRUE(same(again.pix(719, 239), placePixel(719, 479)));
    EXPECT_NE(again.getwrapdata(), copy.getwrapdata());
}

TEST(PixRectWrapTest, ALineSelectionOutsideTheThreeHasNoRows) {
    std::vector<ARGBVal> f = frame(4, 4);
    Wrap strange(f.data(), 4, 4, static_cast<siwraptype>(3));
    EXPECT_TRUE(hasBounds(strange, 0, 0, 0, 0));
    EXPECT_EQ(strange.rasters(), nullptr);
    EXPECT_TRUE(isBlack(strange.pix(0, 0)) && isBlack(strange.pixNB(2, 2)));
    EXPECT_EQ(strange.set(0, 0, ARGBVal(1, 2, 3, 4)), IMAGE_NODATA);
    const Wrap copy(strange);
    EXPECT_EQ(copy.getwrapdata(), nullptr);
    EXPECT_EQ(copy.rasters(), nullptr);
    EXPECT_TRUE(isBlack(copy.pix(0, 0)));
    EXPECT_STREQ(Wrap::typetoname(static_cast<siwraptype>(200)), "");
}

TEST(PixRectWrapTest, WithoutDataThereAreNoRows) {
    Wrap none;
    EXPECT_EQ(none.getwrapdata(), nullptr);
    EXPECT_EQ(none.rasters(), nullptr);
    none.init();
    none.makerows();
    none.freestore();
    none.freewrapdata();
    EXPECT_TRUE(isBlack(none.pix(0, 0)));
    const Wrap copy(none);
    EXPECT_EQ(copy.getwrapdata(), nullptr);
    const Wrap null(nullptr, 4, 4, SIEvenLines);
    EXPECT_TRUE(isBlack(null.pix(0, 0)));
    EXPECT_EQ(Wrap(DBGState(DBGMem)).dbg.value(), DBGMem);
}

TEST(PixRectWrapTest, FreeingTouchesOnlyWhatTheObjectOwns) {
    std::vector<ARGBVal> f = frame(6, 4);
    Wrap even(f.data(), 6, 4, SIEvenLines);
    Wrap copy(even);
    even.freestore();
    EXPECT_EQ(even.rasters(), nullptr);
    EXPECT_EQ(even._firstpixel, nullptr);
    EXPECT_EQ(even._firstrast, nullptr);
    EXPECT_EQ(even.getwrapdata(), f.data());
    EXPECT_TRUE(isBlack(even.pix(0, 0)));
    even.makerows();
    EXPECT_TRUE(same(even.pix(5, 1), placePixel(5, 2)));
    even.freewrapdata();
    EXPECT_EQ(even.getwrapdata(), nullptr);
    EXPECT_TRUE(isBlack(even.pix(0, 0)));
    EXPECT_TRUE(same(f[0], placePixel(0, 0)));
    copy.freewrapdata();
    EXPECT_EQ(copy.getwrapdata(), nullptr);
    EXPECT_TRUE(isBlack(copy.pix(0, 0)));
    copy.freestore();
}

TEST(PixRectWrapTest, TheTableIsFreedWhateverTheBoundsSay) {
    std::vector<ARGBVal> f = frame(6, 4);
    const std::vector<ARGBVal> before = f;
    Wrap all(f.data(), 6, 4, SIAllLines);
    EXPECT_NE(all.rasters(), nullptr);
    all.setbounds(3, 7, 2, 1);
    all.freestore();
    EXPECT_EQ(all.rasters(), nullptr);
    {
        Wrap again(f.data(), 6, 4, SIAllLines);
        again.setbounds(0, 3, 5, 3);  // the destructor frees the table it made
    }
    // The pixels are the caller's.
    EXPECT_EQ(std::memcmp(f.data(), before.data(), f.size() * sizeof(ARGBVal)), 0);
}

TEST(PixRectWrapTest, CopyfromwrappedReplacesWhateverTheObjectShowed) {
    std::vector<ARGBVal> f = frame(4, 6), g = frame(3, 3);
    Wrap target(g.data(), 3, 3, SIOddLines);
    Wrap even(f.data(), 4, 6, SIEvenLines);
    target.copyfromwrapped(&even);
    EXPECT_TRUE(target.owndata());
    EXPECT_TRUE(hasBounds(target, 0, 0, 3, 2));
    EXPECT_TRUE(same(target.pix(3, 2), placePixel(3, 4)));
    EXPECT_TRUE(same(g[3], placePixel(0, 1)));
    target.copyfromwrapped(&target);
    EXPECT_TRUE(same(target.pix(3, 2), placePixel(3, 4)));
}

TEST(PixRectWrapTest, AssignmentCopiesPixelsIntoTheFrame) {
    std::vector<ARGBVal> f = frame(4, 4);
    std::vector<ARGBVal> g(16, ARGBVal(9, 9, 9, 9));
    Wrap to(f.data(), 4, 4, SIOddLines);
    const Wrap from(g.data(), 4, 4, SIEvenLines);
    to = from;
    EXPECT_TRUE(same(f[4], ARGBVal(9, 9, 9, 9)) && same(f[15], ARGBVal(9, 9, 9, 9)));
    EXPECT_TRUE(same(f[0], placePixel(0, 0)) && same(f[8], placePixel(0, 2)));
}

TEST(PixRectWrapTest, ViewsOverAFieldReachTheFrame) {
    std::vector<ARGBVal> f = frame(8, 8);
    Wrap odd(f.data(), 8, 8, SIOddLines);
    PixRectRWRef<ARGBVal> view(odd, 2, 1, 4, 2);
    view.fillWith(ARGBVal(1, 2, 3, 4));
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const bool filled = x >= 2 && x <= 4 && (y == 3 || y == 5);
            EXPECT_TRUE(same(f[static_cast<std::size_t>(y * 8 + x)],
                             filled ? ARGBVal(1, 2, 3, 4) : placePixel(x, y)));
        }
}

TEST(PixRectWrapTest, PrintsItsSelection) {
    EXPECT_STREQ(Wrap::typetoname(SIOddLines), "SIOddLines");
    EXPECT_STREQ(Wrap::typetoname(SIEvenLines), "SIEvenLines");
    EXPECT_STREQ(Wrap::typetoname(SIAllLines), "SIAllLines");
    std::vector<ARGBVal> f = frame(4, 4);
    const Wrap even(f.data(), 4, 4, SIEvenLines);
    EXPECT_EQ(printed([&] { even.printInfo(); }),
              "PixRectWrap:(_type=SIEvenLines)" + printed([&] { even.PixRectRW<ARGBVal>::printInfo(); }));
    EXPECT_EQ(printed([] { const Wrap w{DBGState(DBGUI)}; }),
              "PixRect(const DBGState &s=32) now dbg=32\nPixRectRW(const DBGState &s=32) now dbg=32\n");
}
