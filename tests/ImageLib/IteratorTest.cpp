#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ImageLib/source/Iterator.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "tests/ImageLib/Capture.h"
#include "tests/ImageLib/Pictures.h"

using namespace tumblewash;
using namespace tumblewash::imagelib;

template <class T>
class Walks : public ::testing::Test {};
using WalkedPixels = ::testing::Types<ARGBVal, RGBPixel<float>, GreyPixel<float>, GreyPixel<unsigned char>>;
TYPED_TEST_SUITE(Walks, WalkedPixels);

TYPED_TEST(Walks, PointersVisitEveryPixelOnceInRasterOrder) {
    for (int w = 1; w <= 5; ++w)
        for (int h = 1; h <= 4; ++h) {
            PixRectRW<TypeParam> r(10, 20, 10 + w - 1, 20 + h - 1);
            paint(r);
            PixRectRWIterator<TypeParam> it(r);
            int visited = 0;
            for (TypeParam* p = it.firstptr(); p != nullptr; p = it.nextptr(), ++visited) {
                EXPECT_EQ(it.getx(), 10 + visited % w);
                EXPECT_EQ(it.gety(), 20 + visited / w);
                EXPECT_EQ(p, &r.pixref(it.getx(), it.gety()));
                EXPECT_EQ(it.currentItemPtr(), p);
                EXPECT_EQ(&it.currentItemRef(), p);
                EXPECT_TRUE(same(it.currentItem(), pixelAt<TypeParam>(it.getx(), it.gety())));
            }
            EXPECT_EQ(visited, w * h);
            EXPECT_TRUE(it.isDone());
            for (int more = 0; more < 2 * w + 1; ++more) EXPECT_EQ(it.nextptr(), nullptr);
        }
}

TYPED_TEST(Walks, TheSixthStepOnSixPixelsIsAlreadyNull) {
    PixRectRW<TypeParam> r(10, 20, 12, 21);
    PixRectRWIterator<TypeParam> it(&r);
    ASSERT_NE(it.firstptr(), nullptr);
    for (int step = 1; step <= 5; ++step) EXPECT_NE(it.nextptr(), nullptr) << step;
    EXPECT_EQ(it.nextptr(), nullptr);
    EXPECT_EQ(it.nextptr(), nullptr);
}

TYPED_TEST(Walks, CoordinatesVisitTheSamePixelsThroughAView) {
    PixRectRW<TypeParam> r(8, 8);
    paint(r);
    PixRectRef<TypeParam> view(r, 3, 2, 5, 6);
    view.shiftorigin(-1, 1);
    PixRectIterator<TypeParam> it(view);
    EXPECT_TRUE(it.getx() == 0 && it.gety() == 0);
    int visited = 0;
    for (it.first(); !it.isDone(); it.next(), ++visited) {
        EXPECT_EQ(it.getx(), 2 + visited % 3);
        EXPECT_EQ(it.gety(), 3 + visited / 3);
        EXPECT_TRUE(same(it.currentItem(), pixelAt<TypeParam>(it.getx() + 1, it.gety() - 1)));
    }
    EXPECT_EQ(visited, 15);
}

TYPED_TEST(Walks, AWritableViewsPointersReachItsSource) {
    PixRectRW<TypeParam> r(6, 6);
    paint(r);
    PixRectRWRef<TypeParam> view(r, 1, 2, 3, 4);
    PixRectRWIterator<TypeParam> it(view);
    for (TypeParam* p = it.firstptr(); p != nullptr; p = it.nextptr()) {
        EXPECT_EQ(p, &r.pixref(it.getx(), it.gety()));
        *p = pixelAt<TypeParam>(40, 50);
    }
    EXPECT_TRUE(same(r.pix(3, 4), pixelAt<TypeParam>(40, 50)));
    EXPECT_TRUE(same(r.pix(4, 4), pixelAt<TypeParam>(4, 4)));
    EXPECT_TRUE(same(r.pix(0, 3), pixelAt<TypeParam>(0, 3)));
}

TYPED_TEST(Walks, WithoutStorageTheFirstPointerIsTheZeroPixel) {
    const PixRectRW<TypeParam> none;
    PixRectRWIterator<TypeParam> it(none);
    EXPECT_EQ(it.currentItemPtr(), nullptr);
    EXPECT_EQ(it.firstptr(), &PixRectBase<TypeParam>::blackpixel);
    EXPECT_EQ(it.nextptr(), nullptr);
}

TYPED_TEST(Walks, AnEmptyRectangleHasNoFirstPointer) {
    const PixRectRW<TypeParam> flat(4, 0), thin(0, 4);
    PixRectRWIterator<TypeParam> over(flat), under(thin);
    EXPECT_EQ(over.firstptr(), nullptr);
    EXPECT_EQ(under.firstptr(), nullptr);
    EXPECT_EQ(over.nextptr(), nullptr);
}

TYPED_TEST(Walks, CopyTheRectanglesDebugState) {
    PixRectRW<TypeParam> r(2, 2);
    r.debugon(DBGIter);
    EXPECT_EQ(PixRectIterator<TypeParam>(&r).dbg.value(), DBGIter);
    EXPECT_EQ(PixRectRWIterator<TypeParam>(r).dbg.value(), DBGIter);
}

TEST(WalkTest, RowsOfAFieldLieTwoFrameLinesApart) {
    std::vector<ARGBVal> f(5 * 7);
    PixRectWrap<ARGBVal> odd(f.data(), 5, 7, SIOddLines);
    PixRectRWIterator<ARGBVal> it(odd);
    int visited = 0;
    for (ARGBVal* p = it.firstptr(); p != nullptr; p = it.nextptr(), ++visited)
        EXPECT_EQ(p, f.data() + 5 * (2 * it.gety() + 1) + it.getx());
    EXPECT_EQ(visited, 15);
}

TEST(WalkTest, PrintsItsPosition) {
    PixRectRW<ARGBVal> r(3, 4, 6, 6);
    PixRectRWIterator<ARGBVal> it(r);
    it.firstptr();
    it.nextptr();
    EXPECT_EQ(printed([&] { it.printInfo(); }),
              "PixRectRWIterator x(4) y(4) SRC:\n" + printed([&] { r.printInfo(); }));
    PixRectIterator<ARGBVal> reader(r);
    reader.first();
    char text[64];
    std::snprintf(text, sizeof text, "PixRectIterator pr(%x) x(3) y(4)\n",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(reader.pr)));
    EXPECT_EQ(printed([&] { reader.printInfo(); }), text);
}
