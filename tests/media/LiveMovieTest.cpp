#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "media/LiveMovie.h"
#include "media/MediaError.h"
#include "media/Pattern.h"
#include "media/Reader.h"
#include "media/Writer.h"

namespace tumblewash::media {
namespace {

PictureRef sceneAt(double position) {
    DrawnScene scene;
    scene.name = "harbour";
    scene.width = 64;
    scene.height = 48;
    const PictureRef picture = PictureRef::makeArgb(64, 48);
    drawPattern(scene, position, picture.data(), picture.stride());
    return picture;
}

class LiveMovieTest : public ::testing::Test {
  protected:
    LiveMovieTest() {
        std::string name = (std::filesystem::temp_directory_path() / "tumblewash-live-XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    ~LiveMovieTest() override { std::filesystem::remove_all(folder); }

    /// A piece of sound of so many pictures.
    std::string piece(int pictures) const {
        WriterSettings settings;
        settings.width = 64;
        settings.height = 48;
        settings.piece = Piece::sound;
        settings.pieceFile = (folder / "sound").string();
        Writer writer = Writer::open((folder / "whole.mp4").string(), settings);
        for (int i = 0; i < pictures; ++i) {
            writer.skipPicture();
            const std::vector<float> samples(2 * 1920, 0.25F);
            writer.writeSamples(samples.data(), 1920);
        }
        writer.commit();
        return settings.pieceFile;
    }

    std::filesystem::path folder;
};

TEST_F(LiveMovieTest, BytesComeWithEachFragmentAndMakeAMovie) {
    LiveSettings settings;
    settings.width = 64;
    settings.height = 48;
    settings.sound = piece(12);
    std::string all;
    std::vector<std::size_t> sizes;
    {
        LiveMovie movie(settings, [&](std::string_view bytes) { all += bytes; });
        EXPECT_TRUE(movie.type().starts_with("video/mp4; codecs=\"avc1.42")) << movie.type();
        EXPECT_TRUE(movie.type().ends_with(", mp4a.40.2\"")) << movie.type();
        EXPECT_EQ(all.substr(4, 4), "ftyp");
        EXPECT_NE(all.find("moov"), std::string::npos);
        for (int i = 0; i < 12; ++i) {
            sizes.push_back(all.size());
            movie.picture(sceneAt(i / 12.0));
        }
        movie.finish();
    }
    // The header, then something new with the fifth picture, the tenth and the end.
    EXPECT_EQ(sizes[0], sizes[4]);
    EXPECT_LT(sizes[4], sizes[5]);
    EXPECT_EQ(sizes[5], sizes[9]);
    EXPECT_LT(sizes[9], sizes[10]);
    EXPECT_EQ(sizes[10], sizes[11]);
    EXPECT_LT(sizes[11], all.size());

    const std::string file = (folder / "live.mp4").string();
    std::ofstream(file, std::ios::binary) << all;
    ReaderSettings reading;
    reading.sampleRate = 48000;
    Reader reader = Reader::open(file, reading);
    EXPECT_EQ(reader.frameCount(), 12);
    EXPECT_TRUE(reader.info().hasAudio);
    std::vector<float> samples(2 * 1920);
    reader.seek(6);
    reader.readSamples(samples.data(), 1920);
    EXPECT_NEAR(samples[1920], 0.25, 0.02);
}

TEST_F(LiveMovieTest, WithoutSoundItHasPicturesAlone) {
    LiveSettings settings;
    settings.width = 64;
    settings.height = 48;
    settings.rate = {30000, 1001};
    std::string all;
    LiveMovie movie(settings, [&](std::string_view bytes) { all += bytes; });
    EXPECT_EQ(movie.type().find("mp4a"), std::string::npos);
    movie.picture(sceneAt(0));
    movie.finish();
    EXPECT_NE(all.find("moof"), std::string::npos);
}

TEST_F(LiveMovieTest, SizesAndPiecesThatCannotBeAreRefused) {
    LiveSettings settings;
    settings.width = 63;
    settings.height = 48;
    EXPECT_THROW(LiveMovie(settings, [](std::string_view) {}), MediaError);
    settings.width = 64;
    settings.sound = (folder / "missing").string();
    EXPECT_THROW(LiveMovie(settings, [](std::string_view) {}), MediaError);
}

}  // namespace
}  // namespace tumblewash::media
