// The drivers' bands of lines: each writes its own lines and no others, and these as the whole frame has
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/FlowWarp.h"
#include "platform/CopyBits.h"
#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "tests/effects/Deep.h"

namespace tumblewash::imagelib {

namespace {

using test::Bytes;
using test::Deep;
using test::noiseDeep;
using test::noiseFrame;

constexpr int kWidth = 45;

/// Draws lines of a frame that holds something already.
using Draw = std::function<void(unsigned char* frame, const LineBand& band)>;

/// Bands of a frame: the first lines, some in the middle, the last ones.
void expectOwnLinesOnly(int height, std::size_t lineBytes, const Draw& draw) {
    const std::size_t bytes = lineBytes * static_cast<std::size_t>(height);
    const std::vector<unsigned char> before(bytes, 0x5A);
    std::vector<unsigned char> whole = before;
    draw(whole.data(), {});
    ASSERT_NE(whole, before);
    for (const LineBand& band :
         {LineBand{0, 2}, LineBand{4, 10}, LineBand{10, height}, LineBand{0, height}}) {
        std::vector<unsigned char> expected = before, made = before;
        const auto first = static_cast<std::ptrdiff_t>(lineBytes) * band.first;
        const auto end = static_cast<std::ptrdiff_t>(lineBytes) * band.end;
        std::copy(whole.begin() + first, whole.begin() + end, expected.begin() + first);
        draw(made.data(), band);
        EXPECT_TRUE(made == expected) << "lines " << band.first << " to " << band.end << " of " << height;
    }
}

TEST(BandsTest, OfFramesAreTheirOwnLinesAlone) {
    std::mt19937 random(51);
    const auto wash = plugin::seededWashAway(kPluginDirectionUp, 3);
    for (const int height : {24, 31}) {
        Bytes first = noiseFrame(kWidth, height, random), last = noiseFrame(kWidth, height, random);
        const std::size_t lineBytes = std::size_t{kWidth} * 4;
        expectOwnLinesOnly(height, lineBytes, [&](unsigned char* out, const LineBand& band) {
            warpFrame(first.data.data(), out, kWidth, height, *wash, 0.2F, band);
        });
        const FrameMorph both = {first.data.data(), last.data.data(),    kWidth, height, wash.get(),
                                 wash.get(),        platform::BlendBytes};
        expectOwnLinesOnly(height, lineBytes, [&](unsigned char* out, const LineBand& band) {
            morphFrame(both, out, 7.0F, -4.0F, 90, band);
        });
        for (const bool progressive : {false, true})
            expectOwnLinesOnly(height, lineBytes, [&](unsigned char* out, const LineBand& band) {
                plugin::tumbleBand(first.data.data(), out, kWidth, kWidth, height, 0.1F, progressive, band);
            });
    }
}

TEST(BandsTest, OfDeepPicturesAreTheirOwnLinesAlone) {
    std::mt19937 random(52);
    const auto wash = plugin::seededWashAway(kPluginDirectionUp, 3);
    constexpr std::size_t lineBytes = std::size_t{kWidth} * 8;
    for (const int height : {24, 31}) {
        const Deep first = noiseDeep(kWidth, height, 0, random), last = noiseDeep(kWidth, height, 0, random);
        const auto drawing = [&](const std::function<void(const DeepTarget&, const LineBand&)>& draw) {
            expectOwnLinesOnly(height, lineBytes, [&](unsigned char* out, const LineBand& band) {
                draw({reinterpret_cast<std::uint16_t*>(out), static_cast<std::ptrdiff_t>(lineBytes), kWidth,
                      height},
                     band);
            });
        };
        drawing([&](const DeepTarget& out, const LineBand& band) {
            warpDeep(first.view(), out, *wash, 0.2F, {}, band);
        });
        const DeepMorph both = {first.view(), last.view(), wash.get(), wash.get()};
        drawing([&](const DeepTarget& out, const LineBand& band) {
            morphDeep(both, out, 7.0F, -4.0F, 90, {}, band);
        });
        for (const bool progressive : {false, true})
            drawing([&](const DeepTarget& out, const LineBand& band) {
                plugin::tumbleDeep(first.view(), out, 0.1F, progressive, {}, {}, band);
            });
    }
}

}  // namespace
}  // namespace tumblewash::imagelib
