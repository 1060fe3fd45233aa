#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>

#include "ImageLib/source/Correlator.h"
#include "ImageLib/source/PixDiff.h"
#include "tests/ImageLib/reference/Metrics.h"
#include "tests/ImageLib/reference/PackedModel.h"
#include "tests/ImageLib/reference/RectTest.h"

namespace {

using tumblewash::reference::fillNoise;
using tumblewash::reference::pick;
using tumblewash::reference::TraceCatcher;
using Grey = GreyPixel<float>;
using Surface = std::unique_ptr<PixRectRW<Grey>>;

class CorrelatorTest : public tumblewash::reference::RectTest {
  protected:
    PixRectRW<ARGBVal> noise(int w, int h) {
        PixRectRW<ARGBVal> r(w, h);
        fillNoise(r, rng);
        return r;
    }
    std::mt19937 rng{21};
};

Surface make(int range, int fx, int fy, sicomparator how, PixRectRW<ARGBVal>& feature,
             PixRectRW<ARGBVal>& search) {
    Correlator<ARGBVal> c(range, fx, fy, how);
    return Surface(c.makesurface(feature, search));
}

TEST_F(CorrelatorTest, RangeZeroScoresTheCentredBlockOnly) {
    auto feature = noise(3, 3), search = noise(7, 7);
    const Surface s = make(0, 3, 3, ComparePixDiff, feature, search);
    EXPECT_EQ(0, s->lx());
    EXPECT_EQ(0, s->hy());
    EXPECT_EQ(tumblewash::reference::correlate(feature, search, 0)[0], s->pix(0, 0)._grey);
}

TEST_F(CorrelatorTest, TrialsCoverTheSearchRectangleExactly) {
    auto search = noise(7, 7);
    for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
            PixRectRWRef<ARGBVal> feature(search, 2 + dx, 2 + dy, 4 + dx, 4 + dy);
            const Surface s = make(2, 3, 3, ComparePixDiff, feature, search);
            EXPECT_EQ(-2, s->lx());
            EXPECT_EQ(2, s->hy());
            int x = 9, y = 9;
            Correlator<ARGBVal> c(2, 3, 3, ComparePixDiff);
            EXPECT_EQ(0.0f, c.getmin(s.get(), x, y)._grey);
            EXPECT_EQ(dx, x);
            EXPECT_EQ(dy, y);
        }
    }
}

TEST_F(CorrelatorTest, EqualsThePlainTelling) {
    for (int i = 0; i < 40; ++i) {
        const int range = pick(rng, 0, 3), fx = pick(rng, 1, 6), fy = pick(rng, 1, 6);
        auto feature = noise(fx, fy);
        auto search = noise(fx + 2 * range + pick(rng, 0, 3), fy + 2 * range + pick(rng, 0, 3));
        feature.shiftorigin(pick(rng, -20, 20), pick(rng, -20, 20));
        search.shiftorigin(pick(rng, 0, 20), pick(rng, 0, 20));
        const Surface s = make(range, fx, fy, ComparePixDiff, feature, search);
        const auto want = tumblewash::reference::correlate(feature, search, range);
        std::size_t cell = 0;
        for (int dy = -range; dy <= range; ++dy)
            for (int dx = -range; dx <= range; ++dx) EXPECT_EQ(want[cell++], s->pix(dx, dy)._grey);
    }
}

TEST_F(CorrelatorTest, ALargerFeatureIsMatchedThroughItsCentre) {
    auto feature = noise(5, 5), search = noise(7, 7);
    PixRectRWRef<ARGBVal> centre(feature, 1, 1, 3, 3);
    const Surface whole = make(2, 3, 3, ComparePixDiff, feature, search);
    const Surface inner = make(2, 3, 3, ComparePixDiff, centre, search);
    for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx) EXPECT_EQ(inner->pix(dx, dy)._grey, whole->pix(dx, dy)._grey);
}

TEST_F(CorrelatorTest, PlacementTruncatesTowardZeroLeftOfTheOrigin) {
    // A 3 x 1 block in a 6 x 1 search at -5: -1.5 + 3.0 - 5 = -3.5, truncated to -3.
    PixRectRW<ARGBVal> search(-5, 0, 0, 0), feature(3, 1);
    for (int x = -5; x <= 0; ++x) search.pixrefNB(x, 0).setgrey(static_cast<unsigned char>(100 + 10 * x));
    for (int x = 0; x < 3; ++x) feature.pixrefNB(x, 0).setgrey(static_cast<unsigned char>(70 + 10 * x));
    const Surface s = make(0, 3, 1, ComparePixDiff, feature, search);
    EXPECT_EQ(0.0f, s->pix(0, 0)._grey);
}

TEST_F(CorrelatorTest, OneColourGivesAFlatSurfaceAndTheFirstOffset) {
    auto feature = noise(3, 3);
    PixRectRW<ARGBVal> search(7, 7);
    search.fillWith(ARGBVal(255, 40, 50, 60));
    const Surface s = make(2, 3, 3, ComparePixDiff, feature, search);
    Correlator<ARGBVal> c(2, 3, 3, ComparePixDiff);
    int x = 9, y = 9;
    Grey min, max;
    EXPECT_TRUE(c.getminmax(s.get(), x, y, min, max));
    EXPECT_EQ(-2, x);
    EXPECT_EQ(-2, y);
    EXPECT_EQ(min._grey, max._grey);
}

TEST_F(CorrelatorTest, MinAndMaxAreTheExtremesOfTheSurface) {
    PixRectRW<Grey> s(-1, -1, 1, 1);
    for (int y = -1; y <= 1; ++y)
        for (int x = -1; x <= 1; ++x) s.pixrefNB(x, y).setgrey(5.0f);
    s.pixrefNB(1, -1).setgrey(2.0f);
    s.pixrefNB(-1, 0).setgrey(2.0f);
    s.pixrefNB(0, 1).setgrey(11.0f);
    Correlator<ARGBVal> c(1, 1, 1, ComparePixDiff);
    int x = 0, y = 0;
    Grey min, max;
    c.getminmax(&s, x, y, min, max);
    EXPECT_EQ(1, x);
    EXPECT_EQ(-1, y);
    EXPECT_EQ(2.0f, min._grey);
    EXPECT_EQ(11.0f, max._grey);
    x = y = 7;
    EXPECT_EQ(2.0f, c.getmin(&s, x, y)._grey);
    EXPECT_EQ(1, x);
    EXPECT_EQ(-1, y);
}

TEST_F(CorrelatorTest, UncomputedComparatorsLeaveTheCellsAsMade) {
    auto feature = noise(3, 3), search = noise(7, 7);
    for (const sicomparator how : {CompareFFT, CompareEdgeCount}) {
        const Surface s = make(2, 3, 3, how, feature, search);
        for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx) EXPECT_EQ(Grey()._grey, s->pix(dx, dy)._grey);
    }
}

TEST_F(CorrelatorTest, TotalValComparesWholeLuminances) {
    auto feature = noise(4, 3), search = noise(8, 7);
    const Surface s = make(2, 4, 3, CompareTotalVal, feature, search);
    for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
            PixRectRWRef<ARGBVal> block(search, 2 + dx, 2 + dy, 5 + dx, 4 + dy);
            EXPECT_EQ(static_cast<float>(std::abs(static_cast<int>(feature.totalLum()) -
                                                  static_cast<int>(block.totalLum()))),
                      s->pix(dx, dy)._grey);
        }
    }
}

TEST_F(CorrelatorTest, HueDifferencesAreTruncatedAfterTheAbsoluteValue) {
    auto feature = noise(3, 3), search = noise(5, 5);
    const Surface s = make(1, 3, 3, CompareHue, feature, search);
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            PixRectRWRef<ARGBVal> block(search, 1 + dx, 1 + dy, 3 + dx, 3 + dy);
            const float d = feature.averageHue() - block.averageHue();
            EXPECT_EQ(static_cast<float>(static_cast<int>(std::fabs(d))), s->pix(dx, dy)._grey);
        }
    }
}

TEST_F(CorrelatorTest, CrossAndLatticeComparatorsCallTheirMetrics) {
    auto feature = noise(18, 17), search = noise(20, 19);
    const Surface cross = make(1, 18, 17, ComparePixDiffX, feature, search);
    const Surface lattice = make(1, 18, 17, ComparePixDiffN, feature, search);
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            PixRectRWRef<ARGBVal> block(search, 1 + dx, 1 + dy, 18 + dx, 17 + dy);
            EXPECT_EQ(static_cast<float>(tumblewash::reference::sumdiffx(feature, block)),
                      cross->pix(dx, dy)._grey);
            EXPECT_EQ(static_cast<float>(tumblewash::reference::sumdiffn(feature, block)),
                      lattice->pix(dx, dy)._grey);
        }
    }
}

TEST_F(CorrelatorTest, ATrialCutOffByTheSearchKeepsThePresetScore) {
    auto feature = noise(3, 3), search = noise(5, 5);
    const Surface s = make(2, 3, 3, ComparePixDiff, feature, search);
    for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
            const bool inside = std::abs(dx) <= 1 && std::abs(dy) <= 1;
            EXPECT_EQ(!inside, s->pix(dx, dy)._grey == 4294967296.0f) << dx << "," << dy;
        }
    }
    // The lattice has no step below 16 columns: every trial keeps the preset, and no offset stands out.
    const Surface n = make(1, 3, 3, ComparePixDiffN, feature, search);
    EXPECT_EQ(4294967296.0f, n->pix(0, 0)._grey);
    Correlator<ARGBVal> c(1, 3, 3, ComparePixDiffN);
    int x = 5, y = 5;
    EXPECT_EQ(4294967296.0f, c.getmin(n.get(), x, y)._grey);
    EXPECT_EQ(-1, x);
    EXPECT_EQ(-1, y);
}

TEST_F(CorrelatorTest, ATrialThatMissesTheSearchIsUnmatchedUnderEveryScore) {
    auto feature = noise(1, 1), search = noise(1, 1);
    for (const sicomparator how :
         {ComparePixDiff, CompareTotalVal, CompareHue, ComparePixDiffX, ComparePixDiffN}) {
        const Surface s = make(3, 1, 1, how, feature, search);
        EXPECT_EQ(4294967296.0f, s->pix(2, 0)._grey) << int(how);
        EXPECT_EQ(4294967296.0f, s->pix(0, -1)._grey) << int(how);
    }
}

TEST_F(CorrelatorTest, AFailingMetricEndsTheSurface) {
    PixRectRW<Grey> s(-1, -1, 1, 1);
    auto search = noise(5, 5);
    int calls = 0;
    tumblewash::imagelib::scoreOffsets(s, search, 3, 3, [&](PixRectRW<ARGBVal>& trial, double& result) {
        EXPECT_EQ(3, trial.width());
        EXPECT_EQ(4294967295.0, result);
        result = 10.0 + calls;
        return ++calls == 5 ? IMAGE_UNIMP : IMAGE_OK;
    });
    EXPECT_EQ(5, calls);
    EXPECT_EQ(10.0f, s.pix(-1, -1)._grey);
    EXPECT_EQ(13.0f, s.pix(-1, 0)._grey);
    EXPECT_EQ(4294967296.0f, s.pix(0, 0)._grey);
    EXPECT_EQ(0.0f, s.pix(1, 0)._grey);
    EXPECT_EQ(0.0f, s.pix(1, 1)._grey);
}

TEST_F(CorrelatorTest, TheFeaturesDebugStateIsOverwritten) {
    auto feature = noise(3, 3), search = noise(7, 7);
    feature.dbg = DBGState(DBGCache);
    Correlator<ARGBVal> c(2, 3, 3, ComparePixDiff);
    c.debugon(DBGMatch);
    c.debugon(DBGProblem);
    delete c.makesurface(feature, search);
    EXPECT_EQ(DBGMatch | DBGProblem, feature.dbg.value());
    // Through a centre view it is the view that is overwritten.
    auto larger = noise(5, 5);
    larger.dbg = DBGState(DBGCache);
    delete c.makesurface(larger, search);
    EXPECT_EQ(DBGCache, larger.dbg.value());
}

TEST_F(CorrelatorTest, ProblemStatePrintsBothPixelsAtTheFeaturesCorner) {
    PixRectRW<ARGBVal> feature(2, 1, 2, 1), search(3, 3);
    feature.pixrefNB(2, 1).set(1, 2, 3, 4);
    search.fillWith(ARGBVal(9, 9, 9, 9));
    search.pixrefNB(2, 1).set(5, 6, 7, 8);
    Correlator<ARGBVal> c(0, 1, 1, CompareFFT);
    TraceCatcher trace;
    delete c.makesurface(feature, search);
    EXPECT_EQ("", trace.text());
    c.debugon(DBGProblem);
    delete c.makesurface(feature, search);
    EXPECT_EQ("ARGBVal 1,2,3,4 \nARGBVal 5,6,7,8 \n", trace.text());
}

TEST_F(CorrelatorTest, CopiesAndPrintsItsParameters) {
    const Correlator<ARGBVal> c(2, 3, 4, CompareHue);
    const Correlator<ARGBVal> copy(c);
    EXPECT_EQ(0, copy.dbgstate().value());
    EXPECT_EQ(2, copy.range);
    EXPECT_EQ(3, copy.fxsize);
    EXPECT_EQ(4, copy.fysize);
    EXPECT_EQ(CompareHue, copy.comparator);
    TraceCatcher trace;
    copy.printInfo();
    EXPECT_EQ("Correlator:: range(2) fxsize(3) fysize(4)\n", trace.text());
}

}  // namespace
