// Stills that move: where they stand at each moment, and that edges glide by equal steps between pixels.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <set>
#include <utility>

#include "edit/Clips.h"
#include "edit/StillMove.h"
#include "media/Enlarge.h"
#include "media/StillIO.h"

namespace tumblewash::edit {
namespace {

using media::PictureRef;

constexpr PixelSize kSize{160, 96};

/// A deep picture: `left` of its width is black, the rest white; or `down`, its upper part.
PictureRef edgeAt(PixelSize size, double part, bool down) {
    const PictureRef out = PictureRef::makeDeep(size.width, size.height);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            // The pixel that the edge crosses has its share of both.
            const double at = down ? y - part * size.height : x - part * size.width;
            const double white = std::clamp(at + 1, 0.0, 1.0);
            const auto code = static_cast<std::uint16_t>(
                std::lround(media::kDeepBlack + white * (media::kDeepWhite - media::kDeepBlack)));
            std::uint16_t* pixel = out.words() + y * out.stride() / 2 + 4 * x;
            pixel[0] = media::kDeepOpaque;
            for (int c = 1; c < 4; ++c) pixel[c] = code;
        }
    return out;
}

/// Where the edge stands in the middle row or column: the black part's length.
double edgeOf(const PictureRef& picture, bool down) {
    const int length = down ? picture.height() : picture.width();
    double black = 0;
    for (int i = 0; i < length; ++i) {
        const int x = down ? picture.width() / 2 : i;
        const int y = down ? i : picture.height() / 2;
        const int code = (picture.words() + y * picture.stride() / 2 + 4 * x)[2];
        black += static_cast<double>(media::kDeepWhite - code) / (media::kDeepWhite - media::kDeepBlack);
    }
    return black;
}

TEST(StillMoveTest, EveryEdgeAdvancesByEqualStepsBetweenPixels) {
    constexpr int kFrames = 90;
    for (const StillMotion motion : {StillMotion::zoom, StillMotion::pan})
        for (std::uint32_t seed = 1; seed <= 4; ++seed)
            for (const bool down : {false, true}) {
                const StillMove move = drawMove(motion, seed, 0, 3);
                const MovingStill still(edgeAt(readSizeOf(kSize, move), 0.3, down), kSize, move, false);
                const auto at = [&](int k) {
                    return edgeOf(still.at(static_cast<double>(k) / (kFrames - 1)), down);
                };
                const double first = at(0), last = at(kFrames - 1);
                const double step = (last - first) / (kFrames - 1);
                EXPECT_LT(std::abs(step), 0.2) << "it moves slowly";
                double before = first;
                for (int k = 1; k < kFrames; ++k) {
                    const double now = at(k);
                    ASSERT_NEAR(now - before, step, 0.02) << static_cast<int>(motion) << seed << " " << k;
                    before = now;
                }
                const double side = down ? kSize.height : kSize.width;
                if (motion == StillMotion::pan) continue;
                EXPECT_NEAR(std::abs(last - first), 0.2 * 0.09 * side, 0.05);
            }
}

TEST(StillMoveTest, PansGoToAllFourSidesAndZoomsBothWaysByTheSeed) {
    std::set<std::pair<double, double>> ways;
    std::set<double> scales;
    for (std::size_t i = 0; i < 40; ++i) {
        const StillMove pan = drawMove(StillMotion::pan, 7, i, 4);
        EXPECT_EQ(pan, drawMove(StillMotion::pan, 7, i, 4));
        ways.insert({pan.to.x - pan.from.x, pan.to.y - pan.from.y});
        EXPECT_DOUBLE_EQ(pan.from.scale, 1.12);
        scales.insert(drawMove(StillMotion::zoom, 7, i, 4).to.scale);
    }
    EXPECT_EQ(ways.size(), 4U);
    EXPECT_EQ(scales, (std::set<double>{1, 1.12}));
    EXPECT_DOUBLE_EQ(drawMove(StillMotion::zoom, 1, 0, 60).largest(), 1.15);
    EXPECT_EQ(drawMove(StillMotion::none, 1, 0, 60), StillMove());
}

TEST(StillMoveTest, ThePictureFillsTheFrameAllTheWay) {
    for (const StillMotion motion : {StillMotion::zoom, StillMotion::pan})
        for (std::uint32_t seed = 1; seed <= 4; ++seed) {
            const StillMove move = drawMove(motion, seed, 3, 60);
            const MovingStill still(edgeAt(readSizeOf(kSize, move), 0, false), kSize, move, false);
            for (const double part : {0.0, 0.37, 1.0}) {
                const PictureRef picture = still.at(part);
                for (const int y : {0, kSize.height / 2, kSize.height - 1})
                    for (int x = 0; x < kSize.width; ++x) {
                        const std::uint16_t* pixel = picture.words() + y * picture.stride() / 2 + 4 * x;
                        ASSERT_EQ(pixel[0], media::kDeepOpaque) << x << "," << y;
                        ASSERT_NEAR(pixel[1], media::kDeepWhite, 2) << x << "," << y;
                    }
            }
        }
}

TEST(StillMoveTest, HiddenColoursDoNotBleedIntoEdges) {
    const StillMove move{{1.1, 0, 0}, {1.1, 0, 0}};
    const PixelSize large = readSizeOf(kSize, move);
    const PictureRef picture = PictureRef::makeDeep(large.width, large.height);
    for (int y = 0; y < large.height; ++y)
        for (int x = 0; x < large.width; ++x) {
            std::uint16_t* pixel = picture.words() + y * picture.stride() / 2 + 4 * x;
            const bool seen = x > large.width / 2;
            pixel[0] = seen ? media::kDeepOpaque : 0;
            for (int c = 1; c < 4; ++c) pixel[c] = seen ? media::kDeepBlack : media::kDeepWhite;
        }
    const PictureRef moved = MovingStill(picture, kSize, move, true).at(0.5);
    for (int x = 0; x < kSize.width; ++x) {
        const std::uint16_t* pixel = moved.words() + 40 * moved.stride() / 2 + 4 * x;
        if (pixel[0] <= 600) continue;
        EXPECT_NEAR(pixel[1], media::kDeepBlack, 257) << x;
    }
}

TEST(StillMoveTest, EnlargingKeepsFlatPicturesAndPlaces) {
    const PictureRef flat = media::enlarged(edgeAt({20, 10}, 0, false), 43, 19);
    for (int y = 0; y < 19; ++y)
        for (int x = 0; x < 4 * 43; ++x)
            ASSERT_NEAR((flat.words() + y * flat.stride() / 2)[x],
                        x % 4 == 0 ? media::kDeepOpaque : media::kDeepWhite, 2);
    EXPECT_NEAR(edgeOf(media::enlarged(edgeAt({40, 20}, 0.3, false), 80, 40), false), 24, 0.05);
    EXPECT_THROW(media::enlarged(PictureRef::makeArgb(4, 4), 8, 8), media::MediaError);
}

}  // namespace
}  // namespace tumblewash::edit
