#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "edit/Effects.h"
#include "edit/PictureSource.h"
#include "edit/StillRender.h"
#include "media/StillIO.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {

using edit::effectIds;
using edit::findEffect;
using edit::openPlugin;
using edit::PictureSource;
using edit::sessionSettings;
using edit::StillInput;
using edit::TransitionJob;
using host::PluginModule;
using host::Session;
using media::Fit;
using media::PictureRef;
using media::PngAlpha;
using media::readStill;
using media::StillSettings;
using media::writePng;

namespace {

// Two pictures with alpha that differ everywhere.
PictureRef drawn(int width, int height, int salt) {
    PictureRef picture = PictureRef::makeArgb(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = picture.data() + y * picture.stride() + x * 4;
            p[0] = static_cast<std::uint8_t>((x * 7 + y * salt) % 256);
            p[1] = static_cast<std::uint8_t>(x * salt);
            p[2] = static_cast<std::uint8_t>(y * 5 + salt);
            p[3] = static_cast<std::uint8_t>(x + y + salt);
        }
    return picture;
}

// The same picture without transparency.
PictureRef opaque(const PictureRef& picture) {
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x) picture.data()[y * picture.stride() + x * 4] = 255;
    return picture;
}

StillSettings withAlpha() {
    StillSettings settings;
    settings.keepAlpha = true;
    return settings;
}

std::string pixelsOf(const PictureRef& picture) {
    return {reinterpret_cast<const char*>(picture.data()),
            static_cast<std::size_t>(picture.stride() * picture.height())};
}

// What a session gives for the two pictures, without the program.
PictureRef rendered(const std::string& id, const PictureRef& a, const PictureRef& b, int k, int n) {
    const PluginModule module = openPlugin({});
    TransitionJob job;
    job.effect = findEffect(module, id);
    job.size = {a.width(), a.height()};
    job.frames = n;
    job.framesA = job.framesB = n;
    job.direction = kPluginDirectionLeft;
    job.seed = 9;
    PictureSource source;
    source.put({0, k}, a);
    source.put({1, k}, b);
    Session session(module, sessionSettings(job), source);
    session.open();
    PictureRef out = PictureRef::makeArgb(a.width(), a.height());
    EXPECT_TRUE(session.renderFrame(k, {out.data(), out.stride(), out.width(), out.height()}).ok());
    return out;
}

TEST(FrameTest, PicturesOfEqualSizeGiveExactlyThePluginsBytes) {
    const Workshop shop;
    const PictureRef a = opaque(drawn(97, 61, 3));
    const PictureRef b = opaque(drawn(97, 61, 11));
    writePng(shop.file("a.png"), a, PngAlpha::keep);
    writePng(shop.file("b.png"), b, PngAlpha::keep);
    for (const std::string id : {"wash-away", "tilt-reveal", "tumble-away", "wash-reveal"}) {
        const RunResult result = shop.run({"frame", shop.file("a.png"), shop.file("b.png"), "-o",
                                           shop.file("f.png"), "-e", id, "--frame", "7", "--of", "20",
                                           "--alpha", "--direction", "left", "--seed", "9", "--force"});
        ASSERT_EQ(result.code, 0) << result.err;
        const PictureRef made = readStill(shop.file("f.png"), withAlpha());
        ASSERT_EQ(made.width(), 97);
        EXPECT_EQ(pixelsOf(made), pixelsOf(rendered(id, a, b, 7, 20))) << id;
    }
}

TEST(FrameTest, TransparentPicturesMoveWithTheirAlphaAndColours) {
    const Workshop shop;
    const PictureRef a = drawn(97, 61, 3);
    const PictureRef b = drawn(97, 61, 11);
    writePng(shop.file("a.png"), a, PngAlpha::keep);
    writePng(shop.file("b.png"), b, PngAlpha::keep);
    // Where every pixel comes from: opaque pictures that hold their own addresses.
    PictureRef places[2] = {opaque(drawn(97, 61, 1)), opaque(drawn(97, 61, 1))};
    for (int n = 0; n < 2 * 97 * 61; ++n) {
        std::uint8_t* p = places[n % 2].data() + n / 2 * 4;
        for (int c = 1; c < 4; ++c) p[c] = static_cast<std::uint8_t>((n + 1) >> (8 * (c - 1)));
    }
    for (const std::string id : {"wash-away", "tilt-reveal", "wash-reveal"}) {
        const RunResult result = shop.run({"frame", shop.file("a.png"), shop.file("b.png"), "-o",
                                           shop.file("f.png"), "-e", id, "--frame", "7", "--of", "20",
                                           "--alpha", "--direction", "left", "--seed", "9", "--force"});
        ASSERT_EQ(result.code, 0) << result.err;
        const PictureRef made = readStill(shop.file("f.png"), withAlpha());
        const PictureRef from = rendered(id, places[0], places[1], 7, 20);
        std::string moved;
        for (int i = 0; i < 97 * 61; ++i) {
            const std::uint8_t* p = from.data() + i * 4;
            const int n = (p[1] | p[2] << 8 | p[3] << 16) - 1;
            if (n < 0)
                moved.append(4, 0);
            else
                moved.append(reinterpret_cast<const char*>((n % 2 == 0 ? a : b).data() + n / 2 * 4), 4);
        }
        EXPECT_EQ(pixelsOf(made), moved) << id;
    }
}

TEST(FrameTest, ARampOfAlphaKeepsItsOrderAndItsColourWherePixelsAreMixed) {
    const Workshop shop;
    PictureRef ramp = PictureRef::makeArgb(96, 64);
    for (int i = 0; i < 96 * 64; ++i) {
        std::uint8_t* p = ramp.data() + i * 4;
        p[0] = static_cast<std::uint8_t>(i % 96 * 255 / 95);
        p[1] = p[2] = p[3] = 255;
    }
    writePng(shop.file("r.png"), ramp, PngAlpha::keep);
    for (const std::string id : {"morph", "tumble-away"}) {
        const RunResult result =
            shop.run({"frame", shop.file("r.png"), shop.file("r.png"), "-o", shop.file("f.png"), "-e", id,
                      "--frame", "2", "--of", "40", "--alpha", "--force"});
        ASSERT_EQ(result.code, 0) << result.err;
        const PictureRef made = readStill(shop.file("f.png"), withAlpha());
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 96; ++x) {
                const std::uint8_t* p = made.data() + y * made.stride() + x * 4;
                if (p[0] > 2) {
                    ASSERT_GE(p[1], 254) << id << ": a dark fringe at " << x << ',' << y;
                }
                if (id != "morph" || x == 0 || y > 61) continue;
                ASSERT_GE(p[0] + 2, p[-4]) << "the ramp turns round at " << x << ',' << y;
                ASSERT_NEAR(p[0], x * 255 / 95, 2) << x << ',' << y;
            }
        }
    }
}

TEST(FrameTest, WithoutAlphaPicturesLieOnBlackAndColoursAreThePlugins) {
    const Workshop shop;
    const PictureRef a = drawn(64, 48, 3);
    const PictureRef b = drawn(64, 48, 11);
    writePng(shop.file("a.png"), a, PngAlpha::drop);
    writePng(shop.file("b.png"), b, PngAlpha::drop);
    ASSERT_EQ(shop.run({"frame", shop.file("a.png"), shop.file("b.png"), "-o", shop.file("f.png"), "-e",
                        "wash-away", "--frame", "7", "--of", "20", "--direction", "left", "--seed", "9"})
                  .code,
              0);
    const PictureRef made = readStill(shop.file("f.png"));
    const PictureRef expected =
        rendered("wash-away", readStill(shop.file("a.png")), readStill(shop.file("b.png")), 7, 20);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            ASSERT_EQ(0, std::memcmp(made.data() + y * made.stride() + x * 4 + 1,
                                     expected.data() + y * expected.stride() + x * 4 + 1, 3))
                << x << ',' << y;
}

TEST(FrameTest, AFrameOfTwoClipsIsTheFrameOfTheirJoin) {
    const Workshop shop;
    for (const std::string id : {"tumble-away", "morph", "wash-reveal"}) {
        ASSERT_EQ(shop.run({"join", scene("harbour", 1), scene("city", 1), "-o", shop.file("j%03d.png"), "-e",
                            id, "-d", "10f", "-f"})
                      .code,
                  0);
        ASSERT_EQ(shop.run({"frame", scene("harbour", 1), scene("city", 1), "-o", shop.file("f.png"), "-e",
                            id, "--frame", "6", "--of", "10", "-f"})
                      .code,
                  0);
        // The transition begins at frame 15, or at 20 for the morph; files count from 1.
        const std::string same = shop.file(id == "morph" ? "j027.png" : "j022.png");
        EXPECT_EQ(pixelsOf(readStill(same)), pixelsOf(readStill(shop.file("f.png")))) << id;
    }
}

TEST(FrameTest, EffectsOfOneClipTakeTheClipThatLeavesOrArrives) {
    const Workshop shop;
    const auto frame = [&](const std::vector<std::string>& inputs, const std::string& id) {
        std::vector<std::string> words{"frame", "-o", shop.file("f.png"), "-e", id, "--of", "10", "-f"};
        words.insert(words.end(), inputs.begin(), inputs.end());
        EXPECT_EQ(shop.run(words).code, 0);
        return tumblewash::app::bytesOf(shop.file("f.png"));
    };
    const std::string a = scene("harbour", 1);
    const std::string b = scene("city", 1);
    EXPECT_EQ(frame({a, b}, "wash-out"), frame({a}, "wash-out"));
    EXPECT_EQ(frame({a, b}, "wash-in"), frame({b}, "wash-in"));
    EXPECT_NE(frame({a}, "wash-in"), frame({b}, "wash-in"));
}

TEST(SheetTest, OneRowPerEffectAndOneTilePerStep) {
    const Workshop shop;
    const std::string a = scene("harbour", 2, "96x64");
    const std::string b = scene("city", 2, "96x64");
    ASSERT_EQ(shop.run({"sheet", a, b, "-o", shop.file("all.png"), "-d", "20f"}).code, 0);
    ASSERT_EQ(shop.run({"sheet", a, b, "-o", shop.file("two.png"), "-d", "20f", "-e", "wash-away,morph",
                        "--theme", "light"})
                  .code,
              0);
    const PictureRef all = readStill(shop.file("all.png"));
    const PictureRef two = readStill(shop.file("two.png"));
    EXPECT_EQ(all.width(), two.width());
    EXPECT_GT(all.height(), 4 * two.height());
    EXPECT_LE(all.width(), 4095);
    ASSERT_EQ(shop.run({"sheet", a, b, "-o", shop.file("again.png"), "-d", "20f", "--threads", "1"}).code, 0);
    EXPECT_EQ(tumblewash::app::bytesOf(shop.file("all.png")),
              tumblewash::app::bytesOf(shop.file("again.png")));
}

TEST(FieldTest, EveryEffectHasAPicture) {
    for (const std::string& id : effectIds()) {
        if (id == "none") continue;
        const Workshop shop;
        const RunResult result = shop.run({"field", scene("harbour", 3, "160x120"),
                                           scene("city", 3, "160x120"), "-o", shop.file("f.png"), "-e", id});
        EXPECT_EQ(result.code, 0) << id << ": " << result.err;
        EXPECT_GT(readStill(shop.file("f.png")).width(), 160);
    }
}

TEST(FieldTest, AModuleIsNotAskedForItsFields) {
    const Workshop shop;
    const RunResult result = shop.run({"field", scene("harbour", 3, "64x48"), scene("city", 3, "64x48"), "-o",
                                       shop.file("f.png"), "--plugin", "nowhere.so"});
    EXPECT_EQ(result.code, 2);
    EXPECT_NE(result.err.find("leave --plugin out"), std::string::npos) << result.err;
    EXPECT_FALSE(std::filesystem::exists(shop.file("f.png")));
}

TEST(DemoTest, MakesTwoMoviesAndASheet) {
    const Workshop shop;
    const RunResult result = shop.run({"demo", shop.file("demo"), "--size", "96x64"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(linesOf(result.out).size(), 3U);
    EXPECT_FALSE(streamOf(probeJson(shop.file("demo/wash-away.mp4")), "audio").is_null());
    EXPECT_EQ(streamOf(probeJson(shop.file("demo/wash-away.mp4")), "video")["width"], 96);
    EXPECT_GT(readStill(shop.file("demo/sheet.png")).height(), 1000);
    const std::string movie = app::bytesOf(shop.file("demo/wash-away.mp4"));
    std::filesystem::remove(shop.file("demo/four-effects.mp4"));
    const RunResult again = shop.run({"demo", shop.file("demo"), "--size", "64x48", "-q"});
    EXPECT_EQ(again.code, 4) << again.err;
    EXPECT_EQ(app::bytesOf(shop.file("demo/wash-away.mp4")), movie);
    EXPECT_FALSE(std::filesystem::exists(shop.file("demo/four-effects.mp4")));
    EXPECT_EQ(shop.run({"demo", shop.file("demo"), "--size", "64x48", "-q", "--force"}).code, 0);
    EXPECT_NE(app::bytesOf(shop.file("demo/wash-away.mp4")), movie);
}

}  // namespace
}  // namespace tumblewash::app
