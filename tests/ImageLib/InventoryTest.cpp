// The inventory: every class of the library has its members with their types, for every pixel type it is
// provided for. What the members do is the matter of the other files; what cannot be called fails to compile.
#include <gtest/gtest.h>

#include <concepts>
#include <string>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/Correlator.h"
#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "ImageLib/source/ImageStats.h"
#include "ImageLib/source/Iterator.h"
#include "ImageLib/source/PixDiff.h"
#include "ImageLib/source/PixRectC.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/PlanarProj.h"
#include "ImageLib/source/SamplePixRect.h"
#include "tests/ImageLib/Capture.h"
#include "tests/ImageLib/Pictures.h"
#include "tests/ImageLib/Slots.h"

using tumblewash::imagelib::paint;
using tumblewash::imagelib::pixelAt;
using tumblewash::imagelib::printed;
using tumblewash::imagelib::same;
using tumblewash::imagelib::slotOf;

#define SAME(expression, type) \
    { expression } -> std::same_as<type>

template <class S>
concept CommonMembers = requires(S s, const S c, DBGState state, debugclass cat) {
    S(state);
    S(c);
    s = c;
    SAME(c.booltostring(true), const char*);
    SAME(c.debugchk(cat), bool);
    SAME(DBGState(c.dbgstate()), DBGState);
    s.debugon(cat);
    s.debugon(state);
    s.debugoff(cat);
    SAME(c.classtoint(cat), int);
    c._debugi(cat, &c);
    c._debug(cat, "%d", 1);
    SAME(c.runtimenow(), double);
    c.printInfo();
    SAME(state.value(), std::int32_t);
    state.set(cat);
    state.unset(cat);
    SAME(state.chk(cat), bool);
    SAME(s.dbg, DBGState&);
};
static_assert(CommonMembers<SICommon>);
static_assert(std::same_as<DBGClass, debugclass> && std::same_as<decltype(DBGState::dcl), std::int32_t>);

template <class P>
concept PackedMembers = requires(P p, const P c, unsigned char b, double d, float f,
                                 const RGBPixel<float> rgb, const GreyPixel<float> grey,
                                 const Pixel<float>& any) {
    P();
    P(c);
    P(b);
    P(7);
    P(b, b, b, b);
    P(grey);
    P(rgb);
    p.set(b);
    SAME(c.getred(), unsigned char);
    SAME(c.getgreen(), unsigned char);
    SAME(c.getblue(), unsigned char);
    SAME(c.getgrey(), unsigned char);
    p.setred(b);
    p.setgreen(b);
    p.setblue(b);
    p.setgrey(b);
    SAME(p << d, P&);
    SAME(p *= d, P&);
    SAME(p += d, P&);
    SAME(p += any, P&);
    SAME(p << rgb, P&);
    p.averageWith(c);
    p.mixAverageWith(c);
    p.mixInProportion(c, f);
    c.printInfo();
};
static_assert(PackedMembers<ARGBVal> && PackedMembers<RGBGrVal>);
static_assert(requires(ARGBVal p, const ARGBVal c, unsigned char b) {
    p.set(b, b, b, b);
    SAME(c.getalpha(), unsigned char);
    p.setalpha(b);
    SAME(p /= 2.0, ARGBVal&);
    SAME(p -= c, ARGBVal&);
    p.posterize(4);
    p.mixByAlphaSrc(c);
});
static_assert(requires(RGBGrVal p, const ARGBVal c) { SAME(p << c, RGBGrVal&); });
static_assert(std::same_as<decltype(&ScalePixelAdd), unsigned long (*)(unsigned long, float, unsigned long)>);

template <class P, class T>
concept FamilyMembers = std::derived_from<P, Pixel<T>> && requires(P p, const P c, const Pixel<T>& any, T v) {
    p << any;
    p = any;
    p.set(v);
    p.set(v, v, v);
    p.set(any);
    SAME(c.getred(), T);
    SAME(c.getgreen(), T);
    SAME(c.getblue(), T);
    SAME(c.getgrey(), T);
    SAME(c.gethue(), T);
    SAME(c.getsat(), T);
    SAME(c.getval(), T);
    p.setred(v);
    p.setgreen(v);
    p.setblue(v);
    p.sethue(v);
    p.setsat(v);
    p.setval(v);
    p.setgrey(v);
    c.printInfo();
    p << ARGBVal();
    p << RGBGrVal();
};
static_assert(FamilyMembers<GreyPixel<float>, float> &&
              FamilyMembers<GreyPixel<unsigned char>, unsigned char> && FamilyMembers<GreyPixel<int>, int>);
static_assert(FamilyMembers<RGBPixel<float>, float> &&
              FamilyMembers<RGBPixel<unsigned char>, unsigned char> &&
              FamilyMembers<RGBPixel<double>, double>);
static_assert(FamilyMembers<HSVPixel<float>, float> && FamilyMembers<HSVPixel<unsigned char>, unsigned char>);
static_assert(std::derived_from<GreyPixel<int>, GreyPixelType> &&
              std::derived_from<RGBPixel<double>, RGBPixelType> &&
              std::derived_from<HSVPixel<float>, HSVPixelType> && std::derived_from<ARGBVal, RGBPixelType> &&
              std::derived_from<RGBGrVal, RGBPixelType> && std::derived_from<Pixel<int>, SICommon>);
static_assert(requires(HSVPixel<float> p, unsigned char b) {
    p.makeFromRGB(b, b, b);
    p.makeFromRGB(1, 2, 3);
    p.makeFromRGB(1.0F, 2.0F, 3.0F);
    p.makeRGB(&b, &b, &b);
});

template <class R, class T>
concept ReadMembers = std::derived_from<R, PixRect<T>> && std::derived_from<R, SICommon> &&
    requires(R r, const R c, const PixRectBase<T>& base, PixRectBase<T>* other) {
    SAME(c.lx() + c.ly() + c.hx() + c.hy() + c.width() + c.height() + c.cx() + c.cy(), int);
    SAME(c.xs() + c.ys(), double);
    SAME(c.withinbounds(0, 0), bool);
    SAME(c.validatebounds(0, 0, 1, 1), bool);
    SAME(c.equalbounds(base, base), bool);
    SAME(c.equalsize(base, base), bool);
    SAME(r.shiftorigin(1, 1), SIerrorcode);
    SAME(r.zeroorigin(), SIerrorcode);
    SAME(r.centreorigin(), SIerrorcode);
    SAME(c.totalLum(), double);
    SAME(c.averageHue(), float);
    SAME(c.pix(0, 0), T);
    SAME(c.pixNB(0, 0), T);
    SAME(c.pixdd(0.0, 0.0), T);
    SAME(c.duplicate(), PixRectBase<T>*);
    r.setbounds(0, 0, 1, 1);
    r.setwidth(3);
    r.setscale(1.0, 2.0);
    r.intersect(other);
    r.init();
    c.printInfo();
    c.printData();
    c.printDataLimited(3);
    SAME((R::blackpixel), T&);
};

template <class R, class T>
concept StoreMembers = ReadMembers<R, T> && requires(R r, const R c, const PixRect<T>& src, T v) {
    SAME(c.pixref(0, 0), T&);
    SAME(c.pixrefNB(0, 0), T&);
    SAME(c.rasters(), T**);
    r.init(0, 0, 1, 1);
    r.freestore();
    SAME(r.set(0, 0, v), SIerrorcode);
    SAME(r.copyfrom(src), SIerrorcode);
    SAME(r.fillWith(v), SIerrorcode);
    SAME(r.fillwithcount(), SIerrorcode);
    SAME(r.multiplyby(2.0), SIerrorcode);
    r *= 2.0;
    r /= 2.0;
    r += 2.0;
    r = src;
};

template <class V, class T>
concept ViewMembers = ReadMembers<V, T> && requires(V v, const V c) {
    V();
    V(DBGState());
    SAME(c.src(), PixRect<T>*);
    SAME(v.setbounds(0, 0, 1, 1), SIerrorcode);
    SAME(v.shiftbounds(1, 1), SIerrorcode);
    SAME(v.sx, int&);
    SAME(v.sy, int&);
};

template <class T>
class Inventory : public ::testing::Test {};
TYPED_TEST_SUITE(Inventory, tumblewash::imagelib::RectPixels);

TYPED_TEST(Inventory, EveryRectangleTypeHasItsMembersAndHoldsData) {
    using T = TypeParam;
    static_assert(StoreMembers<PixRectRW<T>, T>);
    static_assert(ViewMembers<PixRectRef<T>, T>);
    static_assert(ViewMembers<PixRectRWRef<T>, T> && StoreMembers<PixRectRWRef<T>, T>);
    static_assert(std::is_constructible_v<PixRectRW<T>, int, int> &&
                  std::is_constructible_v<PixRectRW<T>, int, int, int, int> &&
                  std::is_constructible_v<PixRectRW<T>, const DBGState&> &&
                  std::is_constructible_v<PixRectRW<T>, const PixRectRW<T>&> &&
                  std::is_constructible_v<PixRectRW<T>, const PixRect<ARGBVal>&> &&
                  std::is_constructible_v<PixRectRW<T>, PixRectRW<T>&, float(&)[5][5]>);
    PixRectRW<T> image(9, 8);
    paint(image);
    PixRectRef<T> view(image, 2, 2, 6, 6);
    PixRectRWRef<T> writable(image, 2, 2, 6, 6);
    float kernel[5][5] = {};
    kernel[2][2] = 1.0F;
    const PixRectRW<T> filtered(image, kernel);
    EXPECT_TRUE(same(view.pix(4, 3), pixelAt<T>(4, 3)));
    EXPECT_TRUE(same(writable.pixref(4, 3), pixelAt<T>(4, 3)));
    EXPECT_EQ(filtered.width(), 9);
    const PixRect<T>& plain = image;
    const PixRectRW<T> copy(plain);
    EXPECT_TRUE(same(copy.pix(8, 7), pixelAt<T>(8, 7)));
}

TYPED_TEST(Inventory, ConstructorsFromADebugStateKeepItAndTellIt) {
    using T = TypeParam;
    std::string text = printed([] { EXPECT_EQ(PixRectRW<T>(DBGState(DBGCache)).dbg.value(), DBGCache); });
    EXPECT_NE(text.find("PixRectRW(const DBGState &s=256) now dbg=256\n"), std::string::npos) << text;
    EXPECT_EQ(PixRectRef<T>(DBGState(DBGUI)).dbg.value(), DBGUI);
    EXPECT_EQ(PixRectRWRef<T>(DBGState(DBGUI)).dbg.value(), DBGUI);
    EXPECT_TRUE(same(PixRectRef<T>(DBGState(DBGUI)).pix(0, 0), PixRectBase<T>::blackpixel));
}

TEST(InventoryTest, WrappersCachesAndWalksHaveTheirMembers) {
    using W = PixRectWrap<ARGBVal>;
    static_assert(StoreMembers<W, ARGBVal>);
    static_assert(requires(W w, const W c, ARGBVal* data) {
        W(data, 1, 1, SIAllLines);
        W(&w);
        W(w);
        w.makerows();
        w.copyfromwrapped(&w);
        w.freewrapdata();
        SAME(c.getwrapdata(), ARGBVal*);
        SAME(c.owndata(), bool);
        SAME(c.typetoname(SIAllLines), const char*);
    });
    const auto cache = []<class T>(T) {
        static_assert(ReadMembers<PixRectC<T>, T>);
        static_assert(requires(PixRectC<T> r, const PixRectC<T> c) {
            SAME(r.initcache(8, 8), bool);
            SAME(c.cachetile(0, 0), PixRectRW<T>*);
            c.cacheref(0, 0);
            r.deletetile(0, 0);
            r.clearoldest();
            r.clearcache();
            r.deletecache();
            SAME(c.percused(), int);
            SAME(c.cachesize(), int);
            SAME(c.src(), PixRect<T>*);
        });
        EXPECT_EQ(PixRectC<T>::defaultcachesize, 65536);
        PixRectC<T> r(DBGState{DBGCache});
        EXPECT_EQ(r._cachelimit, 65536);
        EXPECT_TRUE(same(r.pix(0, 0), PixRectBase<T>::blackpixel));
    };
    cache(ARGBVal());
    cache(GreyPixel<unsigned char>());
    EXPECT_EQ(W(DBGState(DBGMem)).dbg.value(), DBGMem);
}

template <class T>
class InventoryWalks : public ::testing::Test {};
using WalkedPixels = ::testing::Types<ARGBVal, RGBPixel<float>, GreyPixel<float>, GreyPixel<unsigned char>>;
TYPED_TEST_SUITE(InventoryWalks, WalkedPixels);

TYPED_TEST(InventoryWalks, HaveTheirMembers) {
    using T = TypeParam;
    static_assert(std::derived_from<PixRectRWIterator<T>, PixRectIterator<T>> &&
                  std::derived_from<PixRectIterator<T>, Iterator<T>> &&
                  std::derived_from<Iterator<T>, SICommon>);
    static_assert(requires(PixRectRWIterator<T> w, const PixRectRWIterator<T> c) {
        w.first();
        w.next();
        SAME(c.isDone(), bool);
        SAME(c.currentItem(), T);
        SAME(c.getx() + c.gety(), int);
        SAME(w.firstptr(), T*);
        SAME(w.nextptr(), T*);
        SAME(c.currentItemRef(), T&);
        SAME(c.currentItemPtr(), T*);
    });
    EXPECT_NE(printed([] { Iterator<T>().printInfo(); }), "");
}

template <class P>
class InventorySamples : public ::testing::Test {};
using SampledPairs =
    ::testing::Types<std::pair<ARGBVal, ARGBVal>, std::pair<RGBGrVal, ARGBVal>,
                     std::pair<GreyPixel<float>, ARGBVal>, std::pair<GreyPixel<unsigned char>, ARGBVal>,
                     std::pair<ARGBVal, GreyPixel<float>>, std::pair<GreyPixel<float>, GreyPixel<float>>,
                     std::pair<GreyPixel<float>, GreyPixel<unsigned char>>,
                     std::pair<GreyPixel<unsigned char>, GreyPixel<float>>,
                     std::pair<GreyPixel<unsigned char>, GreyPixel<unsigned char>>,
                     std::pair<RGBPixel<float>, RGBPixel<float>>>;
TYPED_TEST_SUITE(InventorySamples, SampledPairs);

TYPED_TEST(InventorySamples, BothFormsHaveTheirMembersAndPrint) {
    using D = typename TypeParam::first_type;
    using S = typename TypeParam::second_type;
    using V = SamplePixRectNC<D, S>;
    using R = SamplePixRect<D, S>;
    static_assert(ReadMembers<V, D> && std::derived_from<R, V> && std::derived_from<R, PixRectRW<D>>);
    EXPECT_LT(slotOf(&V::superlookup), slotOf(&V::sublookup));
    EXPECT_LT(slotOf(&V::sublookup), slotOf(&V::lookup));
    EXPECT_EQ(slotOf(&R::makeFrom), -1);
    PixRectRW<S> source(12, 12);
    paint(source);
    V view(source, 3, 3, SIBestSample);
    const R stored(source, 3, 3, SIBestSample);
    EXPECT_EQ(view.xscale(), 3.0F);
    EXPECT_EQ(view.yscale(), 3.0F);
    EXPECT_EQ(view.type(), SIBestSample);
    EXPECT_FALSE(view.scaleInvariant());
    EXPECT_EQ(view.src(), &source);
    EXPECT_TRUE(same(view.pix(3, 2), stored.pix(3, 2)));
    EXPECT_NE(printed([&] { view.printInfo(); }).find("3"), std::string::npos);
    EXPECT_NE(printed([&] { stored.printInfo(); }), "");
}

template <class T>
class InventoryContinuous : public ::testing::Test {};
using ContinuousPixels =
    ::testing::Types<ARGBVal, GreyPixel<float>, GreyPixel<unsigned char>, RGBPixel<float>>;
TYPED_TEST_SUITE(InventoryContinuous, ContinuousPixels);

TYPED_TEST(InventoryContinuous, HasItsMembersAndPrintsItsName) {
    using T = TypeParam;
    static_assert(ViewMembers<PixRectRef<T>, T> && std::derived_from<ContImageRef<T>, PixRectRef<T>>);
    PixRectRW<T> source(5, 5);
    paint(source);
    for (const siinterpcode code : {SIInterpBilinear, SIInterpSmooth, SIInterpPyramid, SIInterpBicubic}) {
        const ContImageRef<T> image(source, 0, 0, 4, 4, code);
        EXPECT_EQ(image.type(), code);
        EXPECT_TRUE(same(image.interpPix(1.5, 2.25), image.pixdd(1.5, 2.25)));
        EXPECT_TRUE(same(image.pix(2, 2), image.interpPix(2.0, 2.0)));
        EXPECT_EQ(printed([&] { image.printInfo(); }).rfind("ContImageRef :", 0), 0U);
    }
    static_assert(std::same_as<decltype(&cubic_bspline), float (*)(double)>);
}

TEST(InventoryTest, MatchingHasItsMembers) {
    using Surface = PixRectRW<GreyPixel<float>>;
    using C = Correlator<ARGBVal>;
    static_assert(requires(C c, PixRectRW<ARGBVal> & r, Surface * s, int i, GreyPixel<float> g) {
        C(1, 2, 3, CompareHue);
        SAME(c.makesurface(r, r), Surface*);
        SAME(c.getmin(s, i, i), GreyPixel<float>);
        SAME(c.getminmax(s, i, i, g, g), bool);
        SAME(c.range, int&);
        SAME(c.fxsize, int&);
        SAME(c.fysize, int&);
        SAME(c.comparator, sicomparator&);
    });
    EXPECT_EQ(slotOf(&C::printInfo), 0);
    EXPECT_EQ(slotOf(&C::makesurface), -1);
    const auto stats = []<class T>(T) {
        static_assert(std::derived_from<ImageStats<T>, PixRectRef<T>>);
        static_assert(requires(ImageStats<T> s) {
            ImageStats<T>();
            ImageStats<T>(DBGState());
            s.calc();
            s.calcme();
            SAME(s.min, T&);
            SAME(s.max, T&);
            SAME(s.minx, int&);
            SAME(s.miny, int&);
            SAME(s.maxx, int&);
            SAME(s.maxy, int&);
        });
    };
    stats(ARGBVal());
    stats(GreyPixel<unsigned char>());
    stats(GreyPixel<float>());
    using A = const PixRectRW<ARGBVal>&;
    using G = const PixRectRW<GreyPixel<unsigned char>>&;
    EXPECT_NE(static_cast<SIerrorcode (*)(A, A, double&)>(&sumdiff), nullptr);
    EXPECT_NE(static_cast<SIerrorcode (*)(G, G, double&)>(&sumdiff<GreyPixel<unsigned char>>), nullptr);
    static_assert(std::same_as<decltype(&sumdiffn), SIerrorcode (*)(A, A, double&)>);
    static_assert(std::same_as<decltype(&sumdiffx), SIerrorcode (*)(A, A, double&)>);
    static_assert(
        std::same_as<decltype(&sumdiffrms), SIerrorcode (*)(A, A, double&, unsigned char&, unsigned char&)>);
}

TEST(InventoryTest, WarpsHaveTheirSignatures) {
    using Field = PixRectRW<RGBPixel<float>>;
    using W = PixRectWrap<ARGBVal>;
    static_assert(std::same_as<decltype(&DistortUsingFlow),
                               void (*)(unsigned char*, unsigned char*, int, int, int, Field*, float)>);
    static_assert(std::same_as<decltype(&MorphBetween), void (*)(W&, W&, W&, Field*, float)>);
    static_assert(
        std::same_as<decltype(&PlanarProj::solvefor), void (PlanarProj::*)(float*, float*, float*, float*)>);
    static_assert(
        std::same_as<decltype(&PlanarProj::proj), void (PlanarProj::*)(float, float, float&, float&) const>);
    PlanarProj pp;
    EXPECT_EQ(std::size(pp.A), 64U);
    EXPECT_EQ(std::size(pp.At), 64U);
    EXPECT_EQ(std::size(pp.B), 8U);
}
