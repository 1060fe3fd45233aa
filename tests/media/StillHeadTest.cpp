// A photo's head says what decoding it says, or nothing.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "media/StillHead.h"
#include "tests/media/StillFiles.h"
#include "tests/media/Support.h"

namespace tumblewash::media {
namespace {

void expectAlike(const std::string& file) {
    const std::optional<MediaInfo> head = probeHead(file);
    ASSERT_TRUE(head) << file;
    const MediaInfo whole = probe(file);
    EXPECT_EQ(head->kind, whole.kind) << file;
    EXPECT_EQ(head->width, whole.width) << file;
    EXPECT_EQ(head->height, whole.height) << file;
    EXPECT_EQ(head->codedWidth, whole.codedWidth) << file;
    EXPECT_EQ(head->codedHeight, whole.codedHeight) << file;
    EXPECT_EQ(head->orientation, whole.orientation) << file;
    EXPECT_EQ(head->hasAlpha, whole.hasAlpha) << file;
    EXPECT_EQ(head->fullRange, whole.fullRange) << file;
    EXPECT_EQ(head->colour.fullRange, whole.colour.fullRange) << file;
    EXPECT_EQ(head->colour.depth, whole.colour.depth) << file;
    EXPECT_EQ(head->colour.chroma, whole.colour.chroma) << file;
    EXPECT_EQ(head->colour.alpha, whole.colour.alpha) << file;
    EXPECT_EQ(head->videoCodec, whole.videoCodec) << file;
    EXPECT_EQ(head->container, whole.container) << file;
    EXPECT_EQ(head->frameCount, whole.frameCount) << file;
    EXPECT_FALSE(head->rate) << file;
}

class StillHeadTest : public testing::Test {
  protected:
    StillHeadTest()
        : folder_(std::filesystem::temp_directory_path() / ("stillhead" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(folder_);
    }
    ~StillHeadTest() override { std::filesystem::remove_all(folder_); }

    std::string made(const std::string& name, const std::string& options) const {
        const std::string file = (folder_ / name).string();
        const std::string command = "ffmpeg -v error -y -f lavfi -i testsrc2=size=46x34:rate=1:duration=1 " +
                                    options + " -frames:v 1 " + file;
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return file;
    }

    std::filesystem::path folder_;
};

TEST_F(StillHeadTest, OrdinaryPhotosAreToldByTheirHead) {
    expectAlike(made("a.jpg", ""));
    expectAlike(made("grey.jpg", "-pix_fmt gray"));
    expectAlike(made("a.png", "-pix_fmt rgb24"));
    expectAlike(made("half.jpg", "-pix_fmt yuvj422p"));
    expectAlike(made("whole.jpg", "-pix_fmt yuvj444p"));
    expectAlike(made("grey.png", "-pix_fmt gray"));
}

TEST_F(StillHeadTest, EveryTurnOfACameraIsTold) {
    const std::string plain = test::readFile(made("a.jpg", ""));
    for (int turn = 0; turn <= 9; ++turn)
        for (const bool bigEndian : {false, true}) {
            const std::string file = (folder_ / "turned.jpg").string();
            test::writeFile(file, test::withBlocksJpeg(plain, {{}, test::exifBlock(turn, bigEndian)}));
            expectAlike(file);
            EXPECT_EQ(probeHead(file)->orientation, turn >= 1 && turn <= 8 ? turn : 1);
        }
}

TEST_F(StillHeadTest, WhatIsNotUsualIsLeftToTheDecoder) {
    for (const auto& [name, options] :
         std::vector<std::pair<std::string, std::string>>{{"deep.png", "-pix_fmt rgb48be"},
                                                          {"alpha.png", "-pix_fmt rgba"},
                                                          {"palette.png", "-pix_fmt pal8"},
                                                          {"wide.png", "-vf setsar=2"},
                                                          {"wide.jpg", "-vf setsar=2"},
                                                          {"a.bmp", ""},
                                                          {"a.webp", ""},
                                                          {"a.mp4", "-c:v mpeg4"}})
        EXPECT_FALSE(probeHead(made(name, options))) << name;
    EXPECT_FALSE(probeHead((folder_ / "nothing").string()));
    EXPECT_FALSE(probeHead(folder_.string()));
}

TEST_F(StillHeadTest, APhotoThatIsCutOffAnywhereIsLeftToTheDecoder) {
    for (const char* name : {"a.jpg", "a.png"}) {
        const std::string file = made(name, "");
        const auto size = std::filesystem::file_size(file);
        for (std::uintmax_t left = 0; left < size; left += 1 + size / 97) {
            std::filesystem::copy_file(file, folder_ / "cut",
                                       std::filesystem::copy_options::overwrite_existing);
            std::filesystem::resize_file(folder_ / "cut", left);
            EXPECT_FALSE(probeHead((folder_ / "cut").string())) << name << " of " << left << " bytes";
        }
    }
}

}  // namespace
}  // namespace tumblewash::media
