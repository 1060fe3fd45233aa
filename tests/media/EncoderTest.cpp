// What is asked of encoders, and that they give all of it.
#include "media/Writer.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::FieldOrder;
using media::MediaError;
using media::MediaErrorCode;
using media::PictureRef;
using media::PixelLayout;
using media::Reader;
using media::Writer;
using media::WriterSettings;

TEST(EncoderTest, WhatACodecHasNotIsRefusedBeforeAnythingIsMade) {
    const TempDir dir;
    const auto refusal = [&](const std::string& name, const WriterSettings& settings) {
        try {
            Writer::check(dir / name, settings);
        } catch (const MediaError& error) {
            EXPECT_EQ(error.code(), MediaErrorCode::badRequest);
            return std::string(error.what()).substr((dir / name).size());
        }
        return std::string();
    };
    WriterSettings settings = smallMovie();
    settings.colour.emplace();
    settings.colour->codec = media::Codec::prores;
    settings.colour->depth = 10;
    EXPECT_EQ(refusal("a.mov", settings), ": ProRes has no presets; leave out --preset");
    settings.preset.clear();
    EXPECT_EQ(refusal("a.mov", settings), "");
    settings.crf = 20;
    EXPECT_EQ(refusal("a.mov", settings), ": ProRes has one quality; leave out --crf");
    settings.colour->codec = media::Codec::h264;
    settings.colour->depth = 8;
    settings.crf = 52;
    EXPECT_EQ(refusal("a.mov", settings), ": --crf goes from 0 to 51 here");
    settings.crf = -1;
    settings.preset = "slowest";
    EXPECT_THAT(refusal("a.mov", settings), ::testing::HasSubstr(": unknown preset slowest; choose one of "));
    settings.preset.clear();
    settings.keepAlpha = true;
    settings.colour->depth = 10;
    EXPECT_EQ(refusal("a.webm", settings), ": VP9 holds transparency with 8 bits; leave out --depth 10");
    settings.colour.reset();
    settings.fields = FieldOrder::topFirst;
    EXPECT_EQ(refusal("a.mov", settings), ": pictures with transparency are not interlaced");
    settings.fields = FieldOrder::progressive;
    settings.crf = 20;
    EXPECT_EQ(refusal("a.mov", settings),
              ": transparency goes into ProRes 4444 here, which has no --crf; leave it out");
    settings.crf = -1;
    settings.preset = "slow";
    EXPECT_EQ(refusal("a.mkv", settings), ": FFV1 has no presets; leave out --preset");
    settings.preset.clear();
    settings.keepAlpha = false;
    EXPECT_EQ(refusal("a.avi", settings), "");
    settings.chapters = {{0, "one"}, {2, "two"}};
    EXPECT_EQ(refusal("a.avi", settings), ": .avi files hold no chapters; leave out --chapters");
    EXPECT_EQ(refusal("a.mkv", settings), "");
    settings.chapters.clear();
    settings.colour.emplace();
    settings.colour->codec = media::Codec::mjpeg;
    settings.colour->matrix = media::ColourMatrix::bt709;
    EXPECT_EQ(refusal("a.avi", settings), ": Motion JPEG has colours of BT.601");
    settings.colour->matrix = media::ColourMatrix::bt601;
    EXPECT_EQ(refusal("a.avi", settings), "");
    settings.colour->depth = 10;
    EXPECT_EQ(refusal("a.avi", settings),
              ": Motion JPEG holds 8 bits here; choose .mp4, .mov, .mkv or .webm for 10");
    for (const char* name : {"a.xyz", "mp4", "a.png"})
        EXPECT_THAT(refusal(name, smallMovie()), ::testing::HasSubstr("unsupported output type")) << name;
    EXPECT_TRUE(dir.names().empty());
}

TEST(EncoderTest, AThoroughPresetKeepsEveryPicture) {
    const TempDir dir;
    WriterSettings settings = smallMovie();
    settings.preset = "slow";
    settings.sound = false;
    Writer writer = Writer::open(dir / "a.mp4", settings);
    for (int i = 0; i < 40; ++i) writer.writePicture(solid(64, 48, {6 * i, 80, 200}));
    writer.commit();
    Reader reader = Reader::open(dir / "a.mp4");
    EXPECT_EQ(allPictures(reader).size(), 40U);
}

TEST(EncoderTest, TransparencyOfWebmComesBack) {
    const TempDir dir;
    WriterSettings settings = smallMovie();
    settings.keepAlpha = true;
    settings.sound = false;
    Writer writer = Writer::open(dir / "a.webm", settings);
    EXPECT_EQ(writer.preferredLayout(), PixelLayout::argb);
    for (int i = 0; i < 4; ++i) writer.writePicture(solid(64, 48, {200, 80, 20}, 60 * i));
    writer.commit();
    media::ReaderSettings reading;
    reading.keepAlpha = true;
    reading.layout = PixelLayout::argb;
    Reader reader = Reader::open(dir / "a.webm", reading);
    EXPECT_TRUE(reader.info().hasAlpha);
    for (int i = 0; i < 4; ++i) {
        const PictureRef back = reader.readPicture();
        ASSERT_TRUE(back) << i;
        EXPECT_NEAR(back.data()[0], 60 * i, 1) << i;
        if (i > 1) {
            EXPECT_NEAR(pixel(back, 20, 20)[0], 200, 4) << i;
        }
    }
}

TEST(EncoderTest, NoLengthOfSoundLeavesTheEncoderAPacketShort) {
    const TempDir dir;
    for (const char* name : {"a.mp4", "a.webm"})
        for (const int rate : {8000, 48000})
            for (const int pictures : {1, 2, 3, 7}) {
                WriterSettings settings = smallMovie();
                settings.rate = {30000, 1001};
                settings.sampleRate = rate;
                settings.force = true;
                Writer writer = Writer::open(dir / name, settings);
                const std::vector<float> second(2 * static_cast<size_t>(rate), 0.25F);
                for (int i = 0; i < pictures; ++i) writer.writePicture(solid(64, 48, {30 * i, 80, 200}));
                writer.writeSamples(second.data(), second.size() / 2);
                writer.commit();
                EXPECT_EQ(Reader::open(dir / name).frameCount(), pictures) << name;
            }
}

}  // namespace tumblewash::test
