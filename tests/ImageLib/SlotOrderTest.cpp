// Virtual tables keep a fixed order. Slots are read from pointers to members; destructors, which have no
// address, are called through their slots.
#include <gtest/gtest.h>

#include "ImageLib/source/Correlator.h"
#include "ImageLib/source/Iterator.h"
#include "ImageLib/source/PixRectC.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/SamplePixRect.h"
#include "tests/ImageLib/Slots.h"

using tumblewash::imagelib::completeDestructorAt;
using tumblewash::imagelib::deletingDestructorAt;
using tumblewash::imagelib::slotOf;

template <class T>
void pixelSlots() {
    using P = Pixel<T>;
    EXPECT_EQ(slotOf(&P::printInfo), 0);
    EXPECT_EQ(slotOf(static_cast<P& (P::*)(const P&)>(&P::operator<<)), 3);
    EXPECT_EQ(slotOf(static_cast<P& (P::*)(const P&)>(&P::operator=)), 4);
    EXPECT_EQ(slotOf(static_cast<void (P::*)(T)>(&P::set)), 5);
    EXPECT_EQ(slotOf(static_cast<void (P::*)(T, T, T)>(&P::set)), 6);
    EXPECT_EQ(slotOf(static_cast<void (P::*)(const P&)>(&P::set)), 7);
    int slot = 8;
    for (auto get : {&P::getred, &P::getgreen, &P::getblue, &P::getgrey, &P::gethue, &P::getsat, &P::getval})
        EXPECT_EQ(slotOf(get), slot++);
    for (auto set : {&P::setred, &P::setgreen, &P::setblue, &P::sethue, &P::setsat, &P::setval, &P::setgrey})
        EXPECT_EQ(slotOf(set), slot++);
    EXPECT_EQ(slot, 22);
}

TEST(SlotOrderTest, Pixel) {
    pixelSlots<float>();
    pixelSlots<unsigned char>();
    pixelSlots<int>();
    pixelSlots<double>();
}

template <template <class> class P, class T>
void overridesKeepTheFamilySlots() {
    EXPECT_EQ(slotOf(&P<T>::printInfo), 0);
    EXPECT_EQ(slotOf(static_cast<P<T>& (P<T>::*)(const Pixel<T>&)>(&P<T>::operator<<)), 3);
    EXPECT_EQ(slotOf(static_cast<P<T>& (P<T>::*)(const Pixel<T>&)>(&P<T>::operator=)), 4);
    EXPECT_EQ(slotOf(static_cast<void (P<T>::*)(T, T, T)>(&P<T>::set)), 6);
    EXPECT_EQ(slotOf(&P<T>::getred), 8);
    EXPECT_EQ(slotOf(&P<T>::setgrey), 21);
}

TEST(SlotOrderTest, PixelFamilyOverridesInPlace) {
    overridesKeepTheFamilySlots<GreyPixel, float>();
    overridesKeepTheFamilySlots<GreyPixel, int>();
    overridesKeepTheFamilySlots<RGBPixel, unsigned char>();
    overridesKeepTheFamilySlots<RGBPixel, double>();
    overridesKeepTheFamilySlots<HSVPixel, float>();
    overridesKeepTheFamilySlots<HSVPixel, unsigned char>();
}

template <class T>
void greySlots() {
    using G = GreyPixel<T>;
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(T)>(&G::operator=)), 22);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(T)>(&G::operator<<)), 23);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(const ARGBVal&)>(&G::operator+=)), 24);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(const ARGBVal&)>(&G::operator-=)), 25);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(const ARGBVal&)>(&G::operator<<)), 26);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(const RGBGrVal&)>(&G::operator+=)), 27);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(const RGBGrVal&)>(&G::operator-=)), 28);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(const RGBGrVal&)>(&G::operator<<)), 29);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(double)>(&G::operator+=)), 30);
    EXPECT_EQ(slotOf(static_cast<G& (G::*)(double)>(&G::operator*=)), 31);
}

TEST(SlotOrderTest, GreyPixelAddsItsOperatorsAfterTheFamily) {
    greySlots<float>();
    greySlots<unsigned char>();
    greySlots<int>();
}

TEST(SlotOrderTest, PixelDestructors) {
    EXPECT_TRUE((completeDestructorAt<GreyPixel<float>, Pixel<float>>(1)));
    EXPECT_TRUE((deletingDestructorAt<GreyPixel<float>, Pixel<float>>(2)));
    EXPECT_TRUE((completeDestructorAt<RGBPixel<double>, Pixel<double>>(1)));
    EXPECT_TRUE((deletingDestructorAt<HSVPixel<unsigned char>, Pixel<unsigned char>>(2)));
}

template <class T>
class SlotOrder : public ::testing::Test {};
using RectPixels =
    ::testing::Types<ARGBVal, RGBGrVal, GreyPixel<float>, GreyPixel<unsigned char>, GreyPixel<int>,
                     RGBPixel<float>, RGBPixel<unsigned char>, HSVPixel<unsigned char>>;
TYPED_TEST_SUITE(SlotOrder, RectPixels);

TYPED_TEST(SlotOrder, PixRectBaseAndPixRect) {
    using B = PixRectBase<TypeParam>;
    EXPECT_EQ(slotOf(&B::printInfo), 0);
    EXPECT_EQ(slotOf(&B::init), 1);
    EXPECT_TRUE((completeDestructorAt<PixRectRW<TypeParam>, B>(2)));
    EXPECT_TRUE((deletingDestructorAt<PixRectRW<TypeParam>, B>(3)));
    EXPECT_EQ(slotOf(&B::equalbounds), 4);
    EXPECT_EQ(slotOf(&B::equalsize), 5);
    EXPECT_EQ(slotOf(&B::shiftorigin), 6);
    EXPECT_EQ(slotOf(&B::totalLum), 7);
    EXPECT_EQ(slotOf(&B::averageHue), 8);
    EXPECT_EQ(slotOf(&B::zeroorigin), 9);
    EXPECT_EQ(slotOf(&B::centreorigin), 10);
    EXPECT_EQ(slotOf(&B::pix), 11);
    EXPECT_EQ(slotOf(&B::pixNB), 12);
    EXPECT_EQ(slotOf(&B::pixdd), 13);
    using R = PixRect<TypeParam>;
    EXPECT_EQ(slotOf(&R::printInfo), 0);
    EXPECT_EQ(slotOf(&R::init), 1);
    EXPECT_EQ(slotOf(&R::printData), 14);
    EXPECT_EQ(slotOf(&R::printDataLimited), 15);
    EXPECT_EQ(slotOf(&B::duplicate), -1);
}

TYPED_TEST(SlotOrder, PixRectRWHasATableOfItsOwn) {
    using R = PixRectRW<TypeParam>;
    EXPECT_EQ(slotOf(static_cast<void (R::*)()>(&R::init)), 0);
    EXPECT_EQ(slotOf(static_cast<void (R::*)(int, int, int, int)>(&R::init)), 1);
    EXPECT_EQ(slotOf(&R::freestore), 2);
    EXPECT_TRUE(completeDestructorAt<R>(3));
    EXPECT_TRUE(deletingDestructorAt<R>(4));
    EXPECT_EQ(slotOf(&R::pix), 5);
    EXPECT_EQ(slotOf(&R::pixNB), 6);
    EXPECT_EQ(slotOf(&R::pixdd), 7);
    EXPECT_EQ(slotOf(&R::shiftorigin), 8);
    EXPECT_EQ(slotOf(&R::pixref), 9);
    EXPECT_EQ(slotOf(&R::pixrefNB), 10);
    EXPECT_EQ(slotOf(&R::printInfo), 11);
}

TYPED_TEST(SlotOrder, PixRectRef) {
    using R = PixRectRef<TypeParam>;
    EXPECT_EQ(slotOf(&R::init), 0);
    EXPECT_TRUE(completeDestructorAt<R>(1));
    EXPECT_TRUE(deletingDestructorAt<R>(2));
    EXPECT_EQ(slotOf(&R::src), 3);
    EXPECT_EQ(slotOf(&R::pix), 4);
    EXPECT_EQ(slotOf(&R::pixNB), 5);
    EXPECT_EQ(slotOf(&R::pixdd), 6);
    EXPECT_EQ(slotOf(&R::shiftorigin), 7);
    EXPECT_EQ(slotOf(&R::shiftbounds), 8);
    EXPECT_EQ(slotOf(&R::setbounds), 9);
    EXPECT_EQ(slotOf(&R::printInfo), 10);
}

TYPED_TEST(SlotOrder, PixRectRWRef) {
    using R = PixRectRWRef<TypeParam>;
    EXPECT_EQ(slotOf(static_cast<void (R::*)()>(&R::init)), 0);
    EXPECT_TRUE(completeDestructorAt<R>(1));
    EXPECT_TRUE(deletingDestructorAt<R>(2));
    EXPECT_EQ(slotOf(&R::src), 3);
    EXPECT_EQ(slotOf(&R::pix), 4);
    EXPECT_EQ(slotOf(&R::pixNB), 5);
    EXPECT_EQ(slotOf(&R::pixdd), 6);
    EXPECT_EQ(slotOf(&R::shiftorigin), 7);
    EXPECT_EQ(slotOf(&R::shiftbounds), 8);
    EXPECT_EQ(slotOf(&R::setbounds), 9);
    EXPECT_EQ(slotOf(&R::printInfo), 10);
    EXPECT_EQ(slotOf(&R::pixref), 11);
    EXPECT_EQ(slotOf(&R::pixrefNB), 12);
    EXPECT_EQ(slotOf(&R::totalLum), 13);
    EXPECT_EQ(slotOf(&R::averageHue), 14);
    EXPECT_EQ(slotOf(&R::zeroorigin), 15);
    EXPECT_EQ(slotOf(&R::centreorigin), 16);
}

TEST(SlotOrderTest, PixRectWrapOverridesInPlace) {
    using W = PixRectWrap<ARGBVal>;
    EXPECT_EQ(slotOf(static_cast<void (W::*)()>(&W::init)), 0);
    EXPECT_EQ(slotOf(&W::freestore), 2);
    EXPECT_TRUE(completeDestructorAt<W>(3));
    EXPECT_TRUE(deletingDestructorAt<W>(4));
    EXPECT_EQ(slotOf(&W::printInfo), 11);
    EXPECT_EQ(slotOf(&W::makerows), -1);
}

TEST(SlotOrderTest, IteratorsHaveOneSlot) {
    EXPECT_EQ(slotOf(&Iterator<ARGBVal>::printInfo), 0);
    EXPECT_EQ(slotOf(&PixRectIterator<ARGBVal>::printInfo), 0);
    EXPECT_EQ(slotOf(&PixRectRWIterator<ARGBVal>::printInfo), 0);
    EXPECT_EQ(slotOf(&PixRectIterator<ARGBVal>::next), -1);
    EXPECT_EQ(slotOf(&PixRectRWIterator<ARGBVal>::nextptr), -1);
    EXPECT_FALSE(std::has_virtual_destructor_v<PixRectRWIterator<ARGBVal>>);
}

// Fields follow the table pointer in a fixed order.
template <class Object, class Field>
std::ptrdiff_t offsetIn(const Object& object, const Field& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object);
}

TEST(FieldOrderTest, PixelsAndRectanglesKeepTheirFieldOrder) {
    constexpr auto word = static_cast<std::ptrdiff_t>(sizeof(void*));
    const RGBPixel<float> rgb;
    EXPECT_EQ(offsetIn(rgb, rgb.dbg), word);
    EXPECT_EQ(offsetIn(rgb, rgb._grey), word + 4);
    EXPECT_EQ(offsetIn(rgb, rgb._red), word + 8);
    EXPECT_EQ(offsetIn(rgb, rgb._green), word + 12);
    EXPECT_EQ(offsetIn(rgb, rgb._blue), word + 16);
    const GreyPixel<unsigned char> grey;
    EXPECT_EQ(offsetIn(grey, grey._grey), word + 4);
    const HSVPixel<float> hsv;
    EXPECT_LT(&hsv._hue, &hsv._sat);
    EXPECT_LT(&hsv._sat, &hsv._val);

    const PixRectRW<ARGBVal> r;
    EXPECT_EQ(offsetIn(r, r._rast), word);
    EXPECT_EQ(offsetIn(r, r._firstrast), 2 * word);
    EXPECT_EQ(offsetIn(r, r._firstpixel), 3 * word);
    const PixRectBase<ARGBVal>& b = r;
    EXPECT_EQ(offsetIn(b._xs, b._ys), 8);
    EXPECT_EQ(offsetIn(b._xs, b._lx), 16);
    EXPECT_EQ(offsetIn(b._xs, b._ly), 20);
    EXPECT_EQ(offsetIn(b._xs, b._hx), 24);
    EXPECT_EQ(offsetIn(b._xs, b._hy), 28);

    const PixRectRef<ARGBVal> v;
    EXPECT_EQ(offsetIn(v, v._src), word);
    EXPECT_EQ(offsetIn(v, v.sx), 2 * word);
    EXPECT_EQ(offsetIn(v, v.sy), 2 * word + 4);
    const PixRectWrap<ARGBVal> w;
    EXPECT_EQ(offsetIn(w, w._data), 4 * word);
    EXPECT_EQ(offsetIn(w, w._type), 5 * word);
    EXPECT_EQ(offsetIn(w, w._owndata), 5 * word + 1);
}

namespace {

/// A sampled view that shows where its fields lie.
struct OpenSample : SamplePixRectNC<ARGBVal, ARGBVal> {
    using Base = SamplePixRectNC<ARGBVal, ARGBVal>;
    using Base::_scaleInvariant, Base::_src, Base::_type, Base::xsl, Base::ysl;
    explicit OpenSample(const PixRect<ARGBVal>& src) : Base(src, 2.0, 3.0, SISingleSample) {}
};

}  // namespace

TEST(FieldOrderTest, CachesWalksMatchersAndSamplesKeepTheirFieldOrder) {
    const auto before = [](const auto& first, const auto& second) { return offsetIn(first, second) > 0; };
    const PixRectC<ARGBVal> c;
    EXPECT_TRUE(before(c._tiles, c._ages) && before(c._ages, c._src) && before(c._src, c._ncols));
    EXPECT_EQ(offsetIn(c._ncols, c._nrows), 4);
    EXPECT_EQ(offsetIn(c._ncols, c._tilew), 8);
    EXPECT_EQ(offsetIn(c._ncols, c._tileh), 12);
    EXPECT_EQ(offsetIn(c._ncols, c._ntiles), 16);
    EXPECT_EQ(offsetIn(c._ncols, c._clock), 20);
    EXPECT_EQ(offsetIn(c._ncols, c._cachelimit), 24);

    constexpr auto word = static_cast<std::ptrdiff_t>(sizeof(void*));
    PixRectRW<ARGBVal> image(6, 6);
    const PixRectRWIterator<ARGBVal> walk(image);
    const PixRectIterator<ARGBVal>& plain = walk;
    EXPECT_EQ(offsetIn(plain.pr, plain.x), word);
    EXPECT_EQ(offsetIn(plain.pr, plain.y), word + 4);
    EXPECT_TRUE(before(plain.y, walk.ptr));
    EXPECT_EQ(offsetIn(walk.ptr, walk.pr), word);

    const Correlator<ARGBVal> matcher(1, 2, 3, CompareHue);
    EXPECT_EQ(offsetIn(matcher, matcher.range), word + 4);
    EXPECT_EQ(offsetIn(matcher, matcher.fxsize), word + 8);
    EXPECT_EQ(offsetIn(matcher, matcher.fysize), word + 12);
    EXPECT_EQ(offsetIn(matcher, matcher.comparator), word + 16);

    const OpenSample sample(image);
    EXPECT_TRUE(before(sample._scaleInvariant, sample._src) && before(sample._src, sample._type) &&
                before(sample._type, sample.xsl));
    EXPECT_EQ(offsetIn(sample.xsl, sample.ysl), 4);
    EXPECT_EQ(sample.xsl, 2.0F);
    EXPECT_EQ(sample.ysl, 3.0F);
}

TEST(FieldOrderTest, CombinedClassesShareOneSetOfBounds) {
    PixRectRW<ARGBVal> image(4, 4);
    PixRectRWRef<ARGBVal> view(image, 1, 1, 2, 2);
    EXPECT_EQ(&static_cast<PixRectRef<ARGBVal>&>(view)._lx, &static_cast<PixRectRW<ARGBVal>&>(view)._lx);
}
