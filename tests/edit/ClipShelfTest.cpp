#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "edit/ClipShelf.h"

namespace tumblewash::edit {
namespace {

/// A file that goes away, and a clip that claims to be it.
class ClipShelfTest : public testing::Test {
  protected:
    ClipShelfTest() {
        std::string name = (std::filesystem::temp_directory_path() / "tumblewash-shelf-XXXXXX").string();
        const int file = mkstemp(name.data());
        EXPECT_GE(file, 0);
        if (file >= 0) close(file);
        path_ = name;
    }
    ~ClipShelfTest() override { std::filesystem::remove(path_); }

    Clip clip() const {
        struct stat now {};
        EXPECT_EQ(stat(path_.c_str(), &now), 0);
        media::MediaInfo info;
        info.path = path_;
        info.identity =
            media::FileIdentity{now.st_dev, now.st_ino, now.st_size, now.st_mtim.tv_sec, now.st_mtim.tv_nsec};
        return {info, {}, 0, 100};
    }

    std::string path_;
};

TEST_F(ClipShelfTest, LoudnessBelongsToTheStretchThatWasHeard) {
    ClipShelf shelf;
    const HeardStretch stretch{5, 50, {25, 1}, 48000, 2};
    EXPECT_FALSE(shelf.loudness(clip(), stretch));
    media::Loudness heard;
    heard.integrated = -19.5;
    shelf.keepLoudness(clip(), stretch, heard);
    ASSERT_TRUE(shelf.loudness(clip(), stretch));
    EXPECT_EQ(shelf.loudness(clip(), stretch)->integrated, -19.5);
    for (const HeardStretch& other :
         {HeardStretch{4, 50, {25, 1}, 48000, 2}, HeardStretch{5, 51, {25, 1}, 48000, 2},
          HeardStretch{5, 50, {24, 1}, 48000, 2}, HeardStretch{5, 50, {25, 1}, 44100, 2},
          HeardStretch{5, 50, {25, 1}, 48000, 1}})
        EXPECT_FALSE(shelf.loudness(clip(), other));
}

TEST_F(ClipShelfTest, LoudnessOfAChangedFileIsNotKnown) {
    ClipShelf shelf;
    const HeardStretch stretch{0, 50, {25, 1}, 48000, 2};
    const Clip before = clip();
    shelf.keepLoudness(before, stretch, {});
    std::ofstream(path_) << "another take";
    EXPECT_FALSE(shelf.loudness(before, stretch));
    EXPECT_FALSE(shelf.loudness(clip(), stretch));
    // A drawn scene is no file, and is measured again.
    media::MediaInfo drawn;
    drawn.path = "pattern:city";
    const Clip scene(drawn, {}, 0, 100);
    shelf.keepLoudness(scene, stretch, {});
    EXPECT_FALSE(shelf.loudness(scene, stretch));
}

}  // namespace
}  // namespace tumblewash::edit
