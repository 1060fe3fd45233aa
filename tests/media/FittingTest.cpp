#include <gtest/gtest.h>

#include "media/Fitting.h"

namespace tumblewash::media {

namespace {

void expectPlace(const Placement& got, const Placement& wanted) {
    EXPECT_EQ(got.width, wanted.width);
    EXPECT_EQ(got.height, wanted.height);
    EXPECT_EQ(got.cropX, wanted.cropX);
    EXPECT_EQ(got.cropY, wanted.cropY);
    EXPECT_EQ(got.padX, wanted.padX);
    EXPECT_EQ(got.padY, wanted.padY);
}

TEST(FittingTest, EachWayToFitKeepsItsPromise) {
    expectPlace(placeOf(540, 960, 480, 272, Fit::contain, {}), {154, 272, 0, 0, 162, 0});
    expectPlace(placeOf(540, 960, 480, 272, Fit::contain, {false, false}), {153, 272, 0, 0, 163, 0});
    expectPlace(placeOf(540, 960, 480, 272, Fit::blur, {}), {154, 272, 0, 0, 162, 0});
    expectPlace(placeOf(540, 960, 480, 272, Fit::cover, {}), {480, 854, 0, 290, 0, 0});
    expectPlace(placeOf(540, 960, 480, 272, Fit::stretch, {}), {480, 272, 0, 0, 0, 0});
}

TEST(FittingTest, SliversAreFilledAndLinesStayInTheirField) {
    expectPlace(placeOf(1138, 640, 480, 271, Fit::contain, {}), {480, 271, 0, 0, 0, 0});
    expectPlace(placeOf(640, 400, 320, 214, Fit::contain, {}), {320, 200, 0, 0, 0, 6});
    expectPlace(placeOf(640, 400, 320, 214, Fit::contain, {true, true}), {320, 200, 0, 0, 0, 4});
    expectPlace(placeOf(4000, 2, 320, 240, Fit::contain, {}), {320, 2, 0, 0, 0, 118});
}

}  // namespace
}  // namespace tumblewash::media
