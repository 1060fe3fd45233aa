// Effects over pictures of four bytes against the plug-in's own frames, and what alpha means on the way.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>

#include "ImageLib/source/SICommon.h"
#include "effects/Effect.h"
#include "tests/effects/Deep.h"

namespace tumblewash::effects {

using plugin::effectCatalogue;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::FieldMaker;
using plugin::findEffectRecord;

namespace {

using test::Bytes;
using test::noiseFrame;
using test::PluginFrames;

Picture pictureOf(const Bytes& bytes, Alpha alpha = Alpha::opaque) {
    return {bytes.data.data(), std::ptrdiff_t{bytes.width} * 4, bytes.width, bytes.height, alpha};
}
Target targetOf(Bytes& bytes, Alpha alpha = Alpha::straight) {
    return {bytes.data.data(), std::ptrdiff_t{bytes.width} * 4, bytes.width, bytes.height, alpha};
}

/// A frame of random colours and random alpha, some of it full and some of it 0.
Bytes softFrame(int width, int height, std::mt19937& random) {
    Bytes frame = noiseFrame(width, height, random);
    for (std::size_t i = 0; i < frame.data.size(); i += 4) {
        const unsigned drawn = static_cast<unsigned>(random() % 4);
        frame.data[i] = static_cast<unsigned char>(drawn == 0 ? 0 : drawn == 1 ? 255 : random() % 256);
    }
    return frame;
}

Bytes premultipliedFrame(Bytes frame) {
    for (std::size_t i = 0; i < frame.data.size(); i += 4)
        for (std::size_t c = 1; c < 4; ++c)
            frame.data[i + c] = premultiplied(frame.data[i + c], frame.data[i]);
    return frame;
}

Bytes rendered(const Effect& effect, double position, const Bytes& first, const Bytes& last,
               Alpha alpha = Alpha::opaque, Alpha wanted = Alpha::straight) {
    Bytes out(first.width, first.height);
    std::fill(out.data.begin(), out.data.end(), static_cast<unsigned char>(0xA5));
    EXPECT_EQ(
        effect.render(position, {pictureOf(first, alpha), pictureOf(last, alpha)}, targetOf(out, wanted)),
        Outcome::ok);
    return out;
}

std::vector<EffectKnobs> knobsOf(const EffectRecord& effect) {
    if (effect.driver == EffectDriver::tumble) return {{}, {kPluginDirectionRight, 1, true}};
    if (effect.field != FieldMaker::washAway) return {{}};
    return {{kPluginDirectionUp, 3, false},
            {kPluginDirectionDown, 1, false},
            {kPluginDirectionLeft, 4000000000U, false},
            {kPluginDirectionRight, 42, false}};
}

struct Size {
    int width, height;
};

TEST(EffectTest, FramesAreThePluginsOwnForEveryVariantSizeAndPosition) {
    std::mt19937 random(16);
    constexpr int frames = 12;
    int differing = 0;
    for (const EffectRecord& effect : effectCatalogue()) {
        if (effect.driver == EffectDriver::none) continue;
        for (const Size& size : {Size{64, 48}, Size{37, 51}, Size{16, 16}, Size{130, 23}}) {
            const Bytes first = softFrame(size.width, size.height, random);
            const Bytes last = softFrame(size.width, size.height, random);
            for (const EffectKnobs& knobs : knobsOf(effect)) {
                PluginFrames plugin(effect, knobs, frames, first, last);
                const Effect direct(effect, knobs);
                const auto motion = direct.motionBetween({pictureOf(first), pictureOf(last)});
                ASSERT_NE(motion, nullptr);
                for (int k = 0; k < frames; ++k) {
                    const bool morph = effect.driver == EffectDriver::morph;
                    const double position = static_cast<double>(morph ? k + 1 : k) / frames;
                    const Bytes expected = plugin.render(k);
                    Bytes out(size.width, size.height);
                    ASSERT_EQ(direct.renderFrame(position, {pictureOf(first), pictureOf(last)}, targetOf(out),
                                                 k % 2 == 0 ? motion.get() : nullptr),
                              Outcome::ok);
                    ASSERT_TRUE(out.data == expected.data)
                        << effect.id << ' ' << size.width << 'x' << size.height << " direction "
                        << knobs.direction << " frame " << k;
                    differing += out.data != first.data && out.data != last.data ? 1 : 0;
                }
            }
        }
    }
    EXPECT_GT(differing, 1200);
}

TEST(EffectTest, AKeptEffectAndOneMadeAnewGiveTheSameBytes) {
    std::mt19937 random(17);
    for (const EffectRecord& effect : effectCatalogue()) {
        const Effect kept(effect, {kPluginDirectionUp, 5, false});
        for (const Size& size : {Size{40, 30}, Size{33, 47}}) {
            const Bytes first = noiseFrame(size.width, size.height, random);
            const Bytes last = noiseFrame(size.width, size.height, random);
            for (const double position : {0.9, 0.2, 0.5}) {
                const Effect made(effect, {kPluginDirectionUp, 5, false});
                EXPECT_TRUE(rendered(kept, position, first, last).data ==
                            rendered(made, position, first, last).data)
                    << effect.id;
            }
        }
    }
}

TEST(EffectTest, EndsAreThePicturesThemselves) {
    std::mt19937 random(18);
    const Bytes first = softFrame(41, 29, random), last = softFrame(41, 29, random);
    const Bytes nothing(41, 29);
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const EffectRecord& record : effectCatalogue()) {
        const Effect effect(record);
        for (const Alpha alpha : {Alpha::straight, Alpha::premultiplied}) {
            const Bytes a = alpha == Alpha::straight ? first : premultipliedFrame(first);
            const Bytes b = alpha == Alpha::straight ? last : premultipliedFrame(last);
            const Bytes& beginning = pictureArrives(record) ? nothing : a;
            const Bytes& end = joinsTwoClips(record) ? b : pictureArrives(record) ? a : nothing;
            for (const double position : {0.0, -1e30, nan})
                EXPECT_TRUE(rendered(effect, position, a, b, alpha, alpha).data == beginning.data)
                    << record.id;
            for (const double position : {1.0, 7.0})
                EXPECT_TRUE(rendered(effect, position, a, b, alpha, alpha).data == end.data) << record.id;
        }
    }
}

TEST(EffectTest, StraightAndPremultipliedPicturesOfOneSceneGiveOneResult) {
    std::mt19937 random(19);
    const Bytes first = softFrame(48, 37, random), last = softFrame(48, 37, random);
    for (const EffectRecord& record : effectCatalogue()) {
        const Effect effect(record);
        if (record.driver == EffectDriver::none) continue;
        const Bytes fromStraight = rendered(effect, 0.4, first, last, Alpha::straight, Alpha::premultiplied);
        const Bytes fromWeighed = rendered(effect, 0.4, premultipliedFrame(first), premultipliedFrame(last),
                                           Alpha::premultiplied, Alpha::premultiplied);
        EXPECT_TRUE(fromStraight.data == fromWeighed.data) << record.id;
        bool soft = false;
        for (std::size_t i = 0; i < fromWeighed.data.size(); i += 4) {
            soft |= fromWeighed.data[i] != 0 && fromWeighed.data[i] != 255;
            for (std::size_t c = 1; c < 4; ++c)
                ASSERT_LE(fromWeighed.data[i + c], fromWeighed.data[i]) << record.id;
        }
        EXPECT_TRUE(soft) << record.id;
    }
}

TEST(EffectTest, OpaqueMeansOpaqueWhateverItsAlphaBytesHold) {
    std::mt19937 random(20);
    const Bytes first = noiseFrame(48, 36, random), last = noiseFrame(48, 36, random);
    Bytes spoiledFirst = first, spoiledLast = last;
    for (std::size_t i = 0; i < first.data.size(); i += 4)
        spoiledFirst.data[i] = spoiledLast.data[i] = static_cast<unsigned char>(random());
    for (const EffectRecord& record : effectCatalogue()) {
        const Effect effect(record);
        for (const double position : {0.0, 0.3, 0.7, 1.0}) {
            const Bytes expected = rendered(effect, position, first, last);
            EXPECT_TRUE(rendered(effect, position, spoiledFirst, spoiledLast).data == expected.data)
                << record.id << " at " << position;
            const Bytes opaque = rendered(effect, position, first, last, Alpha::opaque, Alpha::opaque);
            for (std::size_t i = 0; i < expected.data.size(); i += 4) {
                if (joinsTwoClips(record)) {
                    ASSERT_EQ(expected.data[i], 255) << record.id;
                }
                ASSERT_EQ(opaque.data[i], 255) << record.id;
            }
        }
    }
}

TEST(EffectTest, RowsMayLieAnywhereAndUpsideDown) {
    std::mt19937 random(21);
    const int width = 38, height = 27;
    const Bytes first = softFrame(width, height, random), last = softFrame(width, height, random);
    constexpr std::ptrdiff_t stride = 38 * 4 + 13;
    const auto spread = [&](const Bytes& frame) {
        std::vector<unsigned char> memory(static_cast<std::size_t>(stride * height), 0x5A);
        for (int y = 0; y < height; ++y)
            std::copy_n(frame.at(0, y), width * 4,
                        &memory[static_cast<std::size_t>((height - 1 - y) * stride)]);
        return memory;
    };
    const auto bottomUp = [&](const std::vector<unsigned char>& memory) {
        return Picture{memory.data() + (height - 1) * stride, -stride, width, height, Alpha::straight};
    };
    const std::vector<unsigned char> a = spread(first), b = spread(last);
    for (const EffectRecord& record : effectCatalogue()) {
        const Effect effect(record);
        const Bytes expected = rendered(effect, 0.6, first, last, Alpha::straight);
        std::vector<unsigned char> out(static_cast<std::size_t>(stride * height), 0x5A);
        ASSERT_EQ(
            effect.render(0.6, {bottomUp(a), bottomUp(b)},
                          {out.data() + (height - 1) * stride, -stride, width, height, Alpha::straight}),
            Outcome::ok);
        for (int y = 0; y < height; ++y) {
            const unsigned char* row = &out[static_cast<std::size_t>((height - 1 - y) * stride)];
            ASSERT_TRUE(std::equal(row, row + width * 4, expected.at(0, y))) << record.id << " row " << y;
            for (std::ptrdiff_t i = width * 4; i < stride; ++i) ASSERT_EQ(row[i], 0x5A);
        }
    }
}

TEST(EffectTest, SourcesAreOnlyReadAndThreadsShareAnEffect) {
    std::mt19937 random(22);
    const Bytes first = softFrame(64, 48, random), last = softFrame(64, 48, random);
    const Bytes firstBefore = first, lastBefore = last;
    for (const EffectRecord& record : effectCatalogue()) {
        const Effect effect(record);
        const Bytes expected = rendered(effect, 0.6, first, last, Alpha::straight);
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                Bytes out(64, 48);
                const Outcome outcome =
                    effect.render(0.6, {pictureOf(first, Alpha::straight), pictureOf(last, Alpha::straight)},
                                  targetOf(out));
                if (outcome != Outcome::ok || out.data != expected.data) ++wrong;
            });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(wrong, 0) << record.id;
        EXPECT_TRUE(first.data == firstBefore.data && last.data == lastBefore.data) << record.id;
    }
}

TEST(EffectTest, NoNumberIsDrawnFromTheProcess) {
    std::mt19937 random(23);
    const Bytes first = noiseFrame(32, 32, random), last = noiseFrame(32, 32, random);
    std::srand(99);
    const int expected = std::rand();
    std::srand(99);
    for (const EffectRecord& record : effectCatalogue())
        static_cast<void>(rendered(Effect(record, {kPluginDirectionUp, 7, false}), 0.5, first, last));
    EXPECT_EQ(std::rand(), expected);
}

TEST(EffectTest, PicturesThatDoNotFitAreRefused) {
    std::mt19937 random(24);
    const Bytes good = noiseFrame(32, 24, random), wide = noiseFrame(33, 24, random);
    Bytes out(32, 24);
    const Bytes before = out;
    const Effect away(*findEffectRecord("wash-away")), leaving(*findEffectRecord("wash-out"));
    const auto outcome = [&](const Picture& first, const Picture& last) {
        return away.render(0.5, {first, last}, targetOf(out));
    };
    Picture hollow = pictureOf(good), narrow = pictureOf(good), empty = pictureOf(good);
    Picture farUp = pictureOf(good), farDown = pictureOf(good);
    farUp.stride = std::numeric_limits<std::ptrdiff_t>::min();
    farDown.stride = std::numeric_limits<std::ptrdiff_t>::max();
    hollow.pixels = nullptr;
    narrow.stride = 31 * 4;
    empty.width = 0;
    for (const Picture& bad : {hollow, narrow, empty, farUp, farDown, pictureOf(wide), Picture{}}) {
        EXPECT_EQ(outcome(bad, pictureOf(good)), Outcome::badPicture);
        EXPECT_EQ(outcome(pictureOf(good), bad), Outcome::badPicture);
        EXPECT_EQ(away.motionBetween({bad, pictureOf(good)}), nullptr);
    }
    Target none = targetOf(out);
    none.pixels = nullptr;
    EXPECT_EQ(away.render(0.5, {pictureOf(good), pictureOf(good)}, none), Outcome::badPicture);
    EXPECT_EQ(away.renderFrame(0.5, {pictureOf(good), pictureOf(good)}, none), Outcome::badPicture);
    EXPECT_TRUE(out.data == before.data);
    EXPECT_EQ(leaving.render(0.5, {pictureOf(good), Picture{}}, targetOf(out)), Outcome::ok);
}

TEST(EffectTest, EverySizeFromOnePixelOnIsRendered) {
    std::mt19937 random(25);
    for (const EffectRecord& record : effectCatalogue()) {
        const Effect effect(record);
        for (const Size& size : {Size{1, 1}, Size{1, 9}, Size{9, 1}, Size{2, 2}, Size{3, 5}, Size{4101, 3}}) {
            const Bytes first = softFrame(size.width, size.height, random);
            const Bytes last = softFrame(size.width, size.height, random);
            for (const Alpha alpha : {Alpha::opaque, Alpha::straight})
                EXPECT_EQ(rendered(effect, 0.5, first, last, alpha).width, size.width);
        }
    }
}

TEST(EffectTest, ThePlainCutChangesInTheMiddle) {
    std::mt19937 random(26);
    const Bytes first = noiseFrame(20, 20, random), last = noiseFrame(20, 20, random);
    const Effect cut(*findEffectRecord("none"));
    EXPECT_TRUE(rendered(cut, 0.49, first, last).data == first.data);
    EXPECT_TRUE(rendered(cut, 0.5, first, last).data == last.data);
}

TEST(EffectTest, FieldsAreInPixelsOfThePicture) {
    const Effect wash(*findEffectRecord("wash-away"), {kPluginDirectionLeft, 1, false});
    const VectorField field = wash.field(640, 480);
    ASSERT_EQ(field.columns, 64);
    ASSERT_EQ(field.rows, 64);
    ASSERT_EQ(field.cells.size(), 64U * 64U);
    EXPECT_EQ(field.cells[0].x, 5.0);
    EXPECT_EQ(field.cells[0].y, 3.75);
    for (const FieldVector& cell : field.cells) {
        ASSERT_GT(cell.dx, 0);
        ASSERT_EQ(cell.dy, 0);
    }
    EXPECT_EQ(Effect(*findEffectRecord("tumble-in")).field(640, 480).columns, 0);

    // A picture moved by six columns: the motion is what the thumbnails can tell of it.
    std::mt19937 random(27);
    Bytes first(160, 120), last(160, 120);
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x)
            for (int c = 1; c < 4; ++c) {
                first.at(x, y)[c] = static_cast<unsigned char>((x / 8 * 91 + y / 8 * 57 + c * 13) % 256);
                last.at(x, y)[c] = static_cast<unsigned char>(((x + 8) / 8 * 91 + y / 8 * 57 + c * 13) % 256);
            }
    const Effect morph(*findEffectRecord("morph"));
    EXPECT_EQ(morph.field(160, 120).columns, 0);
    const auto motion = morph.motionBetween({pictureOf(first), pictureOf(last)});
    const VectorField moved = morph.field(160, 120, motion.get());
    ASSERT_EQ(moved.columns, 40);
    EXPECT_TRUE(std::any_of(moved.cells.begin(), moved.cells.end(),
                            [](const FieldVector& cell) { return std::abs(cell.dx) == 8; }));
}

TEST(EffectTest, AWashPullsFarthestNearItsEdge) {
    const Effect up(*findEffectRecord("wash-away"), {kPluginDirectionUp, 1, false});
    const VectorField field = up.field(640, 480);
    for (std::size_t i = 0; i < field.cells.size(); ++i) {
        ASSERT_EQ(field.cells[i].dx, 0);
        const double row = 65.0 - static_cast<double>(i / 64);
        ASSERT_GE(field.cells[i].dy, row / 64 * 28 / 26 * 480 - 0.01);
        ASSERT_LE(field.cells[i].dy, row / 64 * 2 * 480 + 0.01);
    }
}

TEST(EffectTest, ThePlateFillsThePictureAtTheStartAndShrinksToTheMiddle) {
    const Effect away(*findEffectRecord("tumble-away"));
    const plugin::Plate start = away.plateAt(0, 720, 480), end = away.plateAt(0.999, 720, 480);
    constexpr int corners[4][2] = {{0, 0}, {720, 0}, {720, 480}, {0, 480}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(start[i].x, corners[i][0]);
        EXPECT_EQ(start[i].y, corners[i][1]);
        EXPECT_NEAR(end[i].x, 360, 20);
        EXPECT_NEAR(end[i].y, 240, 20);
    }
}

// The plate that is told is the one that is drawn: the trace of the drawing holds its corners.
TEST(EffectTest, PlatesAreWhereTheTumbleDrawsThem) {
    std::mt19937 random(28);
    const Bytes first = noiseFrame(120, 90, random), last = noiseFrame(120, 90, random);
    for (const char* id : {"tumble-away", "tumble-in", "tumble-reveal"}) {
        const Effect effect(*findEffectRecord(id), {kPluginDirectionRight, 1, true});
        for (const double position : {0.1, 0.35, 0.5, 0.9}) {
            char* text = nullptr;
            std::size_t size = 0;
            std::FILE* file = open_memstream(&text, &size);
            ASSERT_NE(file, nullptr);
            SICommon_H::traceto(file);
            static_cast<void>(rendered(effect, position, first, last));
            SICommon_H::traceto(nullptr);
            std::fclose(file);
            const plugin::Plate plate = effect.plateAt(position, 120, 90);
            char corners[160];
            std::snprintf(corners, sizeof corners, "Tumble corners R %d,%d  %d,%d  %d,%d  %d,%d", plate[0].x,
                          plate[0].y, plate[1].x, plate[1].y, plate[2].x, plate[2].y, plate[3].x, plate[3].y);
            EXPECT_NE(std::string(text, size).find(corners), std::string::npos) << corners;
            std::free(text);
        }
    }
}

}  // namespace
}  // namespace tumblewash::effects
