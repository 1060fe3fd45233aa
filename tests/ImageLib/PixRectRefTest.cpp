#include <gtest/gtest.h>

#include <memory>

#include "ImageLib/source/PixRectRef.h"
#include "tests/ImageLib/Capture.h"
#include "tests/ImageLib/Pictures.h"

using namespace tumblewash;
using namespace tumblewash::imagelib;

template <class T>
class Views : public ::testing::Test {
  protected:
    void SetUp() override { paint(image); }
    PixRectRW<T> image{10, 10};
};
TYPED_TEST_SUITE(Views, RectPixels);

// Both kinds of view answer alike.
template <class View, class T>
void showsItsWindow(PixRectRW<T>& image) {
    View view(image, 2, 2, 5, 5);
    EXPECT_TRUE(hasBounds(view, 2, 2, 5, 5));
    EXPECT_TRUE(same(view.pix(2, 2), pixelAt<T>(2, 2)));
    EXPECT_TRUE(isBlack(view.pix(1, 1)));
    EXPECT_TRUE(same(view.pixNB(1, 1), pixelAt<T>(1, 1)));
    EXPECT_TRUE(same(view.pixdd(5.9, 2.1), pixelAt<T>(5, 2)));
    EXPECT_TRUE(same(view.pixdd(1.5, 1.5), pixelAt<T>(1, 1)));  // only the source's bounds are tested
    EXPECT_TRUE(isBlack(view.pixdd(10.0, 0.0)));
    EXPECT_EQ(view.src(), &image);
    EXPECT_EQ(view.shiftorigin(-2, -2), IMAGE_OK);
    EXPECT_TRUE(hasBounds(view, 0, 0, 3, 3));
    EXPECT_EQ(view.sx, -2);
    EXPECT_EQ(view.sy, -2);
    for (int y = 0; y <= 3; ++y)
        for (int x = 0; x <= 3; ++x) EXPECT_TRUE(same(view.pix(x, y), pixelAt<T>(x + 2, y + 2)));
    EXPECT_TRUE(isBlack(view.pix(4, 0)));
    EXPECT_TRUE(same(view.pixdd(3.5, 0.5), pixelAt<T>(5, 2)));
    EXPECT_EQ(view.zeroorigin(), IMAGE_OK);
    EXPECT_TRUE(hasBounds(view, 0, 0, 3, 3));
    EXPECT_EQ(view.centreorigin(), IMAGE_OK);
    EXPECT_TRUE(hasBounds(view, -2, -2, 1, 1));
    EXPECT_TRUE(same(view.pix(-2, -2), pixelAt<T>(2, 2)));
    EXPECT_TRUE(hasBounds(image, 0, 0, 9, 9));
}

TYPED_TEST(Views, ShowTheirWindow) {
    showsItsWindow<PixRectRef<TypeParam>>(this->image);
    showsItsWindow<PixRectRWRef<TypeParam>>(this->image);
}

template <class View, class T>
void slidesAndClips(PixRectRW<T>& image) {
    View view(image, 2, 2, 5, 5);
    EXPECT_EQ(view.shiftbounds(3, 0), IMAGE_OK);
    EXPECT_TRUE(hasBounds(view, 5, 2, 8, 5));
    EXPECT_TRUE(same(view.pix(5, 2), pixelAt<T>(5, 2)));
    EXPECT_EQ(view.shiftbounds(3, 6), IMAGE_OK);
    EXPECT_TRUE(hasBounds(view, 8, 8, 9, 9));
    EXPECT_EQ(view.shiftbounds(5, 0), IMAGE_OK);  // off the source: one column at the new left
    EXPECT_TRUE(hasBounds(view, 13, 8, 13, 9));
    EXPECT_TRUE(isBlack(view.pix(13, 8)));
    EXPECT_EQ(view.setbounds(-5, -5, 100, 100), IMAGE_OK);
    EXPECT_TRUE(hasBounds(view, 0, 0, 9, 9));
    View wide(image, -5, -5, 100, 100);
    EXPECT_TRUE(hasBounds(wide, 0, 0, 9, 9));
    // The clip takes the source's bounds as they are, whatever the offsets.
    wide.shiftorigin(4, 4);
    EXPECT_EQ(wide.setbounds(0, 0, 20, 20), IMAGE_OK);
    EXPECT_TRUE(hasBounds(wide, 0, 0, 9, 9));
    EXPECT_TRUE(isBlack(wide.pix(3, 3)));
    EXPECT_TRUE(same(wide.pix(4, 4), pixelAt<T>(0, 0)));
}

TYPED_TEST(Views, SlideAndClipInSourceCoordinates) {
    slidesAndClips<PixRectRef<TypeParam>>(this->image);
    slidesAndClips<PixRectRWRef<TypeParam>>(this->image);
}

TYPED_TEST(Views, CarryTheSourcesScaleAndDebugState) {
    this->image.setscale(2.0, 0.5);
    this->image.debugon(DBGCache);
    const PixRectRef<TypeParam> view(this->image, 0, 0, 1, 1);
    EXPECT_EQ(view.xs(), 2.0);
    EXPECT_EQ(view.ys(), 0.5);
    EXPECT_EQ(view.dbg.value(), DBGCache);
    const PixRectRWRef<TypeParam> rw(this->image, 0, 0, 1, 1);
    EXPECT_EQ(rw.xs(), 2.0);
    EXPECT_EQ(rw.dbg.value(), DBGCache);
    const PixRectRWRef<TypeParam> copy(rw);
    EXPECT_EQ(copy.xs(), 2.0);
    EXPECT_EQ(copy.dbg.value(), DBGCache);
}

TYPED_TEST(Views, ValidateBothThemselvesAndTheSource) {
    PixRectRef<TypeParam> view(this->image, 2, 2, 5, 5);
    EXPECT_TRUE(view.validatebounds(2, 2, 5, 5));
    EXPECT_FALSE(view.validatebounds(1, 2, 5, 5));
    EXPECT_FALSE(view.validatebounds(2, 2, 5, 6));
    view.shiftorigin(4, 0);
    EXPECT_TRUE(view.validatebounds(6, 2, 9, 5));
    view.setbounds(0, 0, 9, 9);
    EXPECT_FALSE(view.validatebounds(3, 0, 9, 9));  // shows source column -1
    EXPECT_TRUE(view.validatebounds(4, 0, 9, 9));
}

template <class View>
void answersWithoutASource() {
    View view;
    EXPECT_EQ(view.src(), nullptr);
    EXPECT_TRUE(isBlack(view.pix(0, 0)) && isBlack(view.pixNB(7, 7)) && isBlack(view.pixdd(0.5, 0.5)));
    EXPECT_EQ(view.setbounds(1, 2, 3, 4), IMAGE_NODATA);
    EXPECT_EQ(view.shiftorigin(1, 1), IMAGE_NODATA);
    EXPECT_EQ(view.shiftbounds(1, 1), IMAGE_NODATA);
    EXPECT_EQ(view.zeroorigin(), IMAGE_NODATA);
    EXPECT_TRUE(hasBounds(view, 0, 0, 0, 0));
    EXPECT_FALSE(view.validatebounds(0, 0, 0, 0));
    EXPECT_EQ(view.totalLum(), 0.0);
    EXPECT_EQ(View(DBGState(DBGUI)).dbg.value(), DBGUI);
}

TYPED_TEST(Views, WithoutASourceAnswerZeroAndReportNoData) {
    answersWithoutASource<PixRectRef<TypeParam>>();
    answersWithoutASource<PixRectRWRef<TypeParam>>();
    PixRectRWRef<TypeParam> view;
    EXPECT_EQ(&view.pixref(0, 0), &PixRectBase<TypeParam>::blackpixel);
    EXPECT_EQ(&view.pixrefNB(0, 0), &PixRectBase<TypeParam>::blackpixel);
    EXPECT_EQ(view.set(0, 0, pixelAt<TypeParam>(1, 1)), IMAGE_NODATA);
    EXPECT_EQ(view.copyfrom(this->image), IMAGE_NODATA);
    EXPECT_EQ(view.fillwithcount(), IMAGE_NODATA);
}

TYPED_TEST(Views, OverARectangleWithoutStorageHaveNoData) {
    PixRectRW<TypeParam> empty;
    PixRectRWRef<TypeParam> view(empty, 0, 0, 0, 0);
    EXPECT_EQ(view.set(0, 0, pixelAt<TypeParam>(1, 1)), IMAGE_NODATA);
    EXPECT_EQ(view.copyfrom(this->image), IMAGE_NODATA);
    EXPECT_TRUE(isBlack(view.pix(0, 0)));
}

TYPED_TEST(Views, WritableOnesWriteTheSourceInPlace) {
    PixRectRWRef<TypeParam> view(this->image, 2, 3, 6, 7);
    view.shiftorigin(-2, -3);
    EXPECT_EQ(view.rasters(), nullptr);
    EXPECT_EQ(&view.pixref(0, 0), &this->image.pixref(2, 3));
    EXPECT_EQ(&view.pixrefNB(4, 4), &this->image.pixref(6, 7));
    EXPECT_EQ(&view.pixref(5, 0), &PixRectBase<TypeParam>::blackpixel);
    EXPECT_EQ(view.set(5, 0, pixelAt<TypeParam>(1, 1, 4)), IMAGE_OOB_COORD);
    EXPECT_EQ(view.set(1, 1, pixelAt<TypeParam>(1, 1, 4)), IMAGE_OK);
    EXPECT_TRUE(same(this->image.pix(3, 4), pixelAt<TypeParam>(1, 1, 4)));

    PixRectRW<TypeParam> other(1, 1, 3, 30);
    paint(other, 5);
    EXPECT_EQ(view.copyfrom(other), IMAGE_OK);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 10; ++x) {
            const bool copied = x >= 3 && x <= 5 && y >= 4 && y <= 7;
            EXPECT_TRUE(same(this->image.pix(x, y),
                             copied ? pixelAt<TypeParam>(x - 2, y - 3, 5) : pixelAt<TypeParam>(x, y)));
        }
}

TYPED_TEST(Views, AssignmentBetweenWritableViewsCopiesPixels) {
    PixRectRW<TypeParam> second(10, 10);
    paint(second, 8);
    PixRectRWRef<TypeParam> a(this->image, 0, 0, 4, 4), b(second, 3, 3, 9, 9);
    a = b;
    EXPECT_EQ(a.src(), &this->image);
    EXPECT_TRUE(hasBounds(a, 0, 0, 4, 4));
    EXPECT_TRUE(same(this->image.pix(4, 4), pixelAt<TypeParam>(4, 4, 8)));
    EXPECT_TRUE(same(this->image.pix(2, 2), pixelAt<TypeParam>(2, 2)));
    EXPECT_TRUE(same(this->image.pix(5, 5), pixelAt<TypeParam>(5, 5)));
}

TYPED_TEST(Views, StackAndDeepCopy) {
    PixRectRWRef<TypeParam> outer(this->image, 1, 1, 8, 8);
    outer.shiftorigin(10, 10);
    PixRectRWRef<TypeParam> inner(static_cast<PixRectRW<TypeParam>&>(outer), 12, 12, 15, 15);
    inner.zeroorigin();
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            EXPECT_TRUE(same(inner.pix(x, y), pixelAt<TypeParam>(x + 2, y + 2)));
            EXPECT_EQ(&inner.pixref(x, y), &this->image.pixref(x + 2, y + 2));
        }
    const PixRectRW<TypeParam> copy(inner);
    EXPECT_TRUE(hasBounds(copy, 0, 0, 3, 3));
    EXPECT_TRUE(same(copy.pix(3, 3), pixelAt<TypeParam>(5, 5)));
    EXPECT_NE(&copy.pixref(3, 3), &this->image.pixref(5, 5));
    const PixRectRWRef<TypeParam> twin(inner);
    EXPECT_EQ(&twin.pixref(1, 1), &inner.pixref(1, 1));
    const PixRectRef<TypeParam> readtwin(static_cast<const PixRectRef<TypeParam>&>(inner));
    EXPECT_TRUE(same(readtwin.pix(1, 1), inner.pix(1, 1)));
}

TEST(ViewTest, MeasuresRunOverTheViewsBounds) {
    PixRectRW<ARGBVal> image(6, 6);
    image.fillWith(ARGBVal(0, 255, 0, 0));
    PixRectRWRef<ARGBVal> view(image, 1, 1, 2, 3);
    view.fillWith(ARGBVal(0, 0, 0, 255));
    EXPECT_EQ(view.totalLum(), 6 * 28.0);
    EXPECT_EQ(view.averageHue(), 170.0f);
    EXPECT_EQ(image.totalLum(), 6 * 28.0 + 30 * 76.0);
}

TEST(ViewTest, ACollapsedViewBesideItsSourceWritesNothing) {
    PixRectRW<ARGBVal> image(4, 4);
    paint(image);
    PixRectRWRef<ARGBVal> view(image, 100, 200, 150, 250);
    EXPECT_TRUE(hasBounds(view, 100, 200, 100, 200));
    EXPECT_EQ(view.set(100, 200, ARGBVal(1, 2, 3, 4)), IMAGE_NODATA);
    view.fillWith(ARGBVal(1, 2, 3, 4));
    PixRectRW<ARGBVal> over(100, 200, 101, 201);
    paint(over, 4);
    view.copyfrom(over);
    EXPECT_TRUE(isBlack(view.pix(100, 200)));
    EXPECT_EQ(view.totalLum(), 0.0);
    EXPECT_EQ(view.averageHue(), 0.0f);
    const std::unique_ptr<PixRectBase<ARGBVal>> copy(view.duplicate());
    EXPECT_TRUE(isBlack(copy->pix(100, 200)));
    printed([&] { view.printData(); });
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_TRUE(same(image.pix(x, y), placePixel(x, y)));
}

TEST(ViewTraceTest, PrintsItsTexts) {
    PixRectRW<ARGBVal> image(1, 2, 4, 6);
    EXPECT_EQ(printed([&] { const PixRectRef<ARGBVal> view(static_cast<PixRect<ARGBVal>&>(image)); }),
              "PixRectRef copy constructor1:PixRectRef<PixType>::PixRectRef( PixRect<PixType> &src) 1 2 4 6 "
              "-> 1 2 4 6\n");
    PixRectRWRef<ARGBVal> view(image, 2, 2, 3, 3);
    view.shiftorigin(5, -7);
    const std::string source = printed([&] { image.printInfo(); });
    EXPECT_EQ(printed([&] { view.PixRectRef<ARGBVal>::printInfo(); }),
              "PixRectRef<PixType> sx=5 sy=-7:SRC:" + source);
    EXPECT_EQ(printed([&] { view.printInfo(); }),
              "PixRectRWRef():PixRectRef<PixType> sx=5 sy=-7:SRC:" + source);
    EXPECT_EQ(printed([] { PixRectRef<ARGBVal>().printInfo(); }), "PixRectRef<PixType> sx=0 sy=0:SRC:");
    EXPECT_EQ(printed([] { const PixRectRef<ARGBVal> v{DBGState(DBGMatch)}; }),
              "PixRect(const DBGState &s=2) now dbg=2\n");
}
