// Results that cannot be written are failures of the run, and old files stay.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "edit/Outputs.h"
#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using media::MediaError;
using media::MediaErrorCode;
using testing::HasSubstr;

std::string bytesOf(const std::string& path) {
    std::ostringstream out;
    out << std::ifstream(path).rdbuf();
    return out.str();
}

TEST(OutputsTest, WhatFailsWhileWorkingIsToldApart) {
    const auto kindOf = [](MediaErrorCode code) {
        return refusedBy([&] { failWhileWorking(MediaError(code, "a.mp4", "is wrong")); }).problem;
    };
    EXPECT_EQ(kindOf(MediaErrorCode::cancelled), Problem::Interrupted);
    EXPECT_EQ(kindOf(MediaErrorCode::notWritable), Problem::RenderFailed);
    EXPECT_EQ(kindOf(MediaErrorCode::encoding), Problem::RenderFailed);
    EXPECT_THROW(failWhileWorking(MediaError(MediaErrorCode::undecodable, "a.mp4", "is wrong")), MediaError)
        << "a damaged input stays one";
}

TEST(OutputsTest, TheFileOfAnOutputIsBehindItsWords) {
    EXPECT_EQ(outputFile("null:"), "");
    EXPECT_EQ(outputFile("md5:"), "");
    EXPECT_EQ(outputFile("md5:a/b"), "a/b");
    EXPECT_EQ(outputFile("a.mp4"), "a.mp4");
}

TEST(OutputsTest, TextsStandOnlyOnceTheyAreCommitted) {
    const MediaFolder folder;
    {
        TextFile text(folder.path("r.json"), "{}", false);
        EXPECT_EQ(bytesOf(folder.path("r.json")), "");
        text.commit();
    }
    EXPECT_EQ(bytesOf(folder.path("r.json")), "{}");
    { TextFile abandoned(folder.path("r.json"), "[]", true); }
    EXPECT_EQ(bytesOf(folder.path("r.json")), "{}");
}

TEST(OutputsTest, TextsAndPicturesThatCannotBeWrittenLeaveTheOldOnes) {
    const MediaFolder folder;
    const std::string photo = folder.photo("a.png");
    const std::string before = bytesOf(photo);
    const auto write = [&] {
        writeResultPng(photo, MediaFolder::picture(16, 7), media::PngAlpha::drop, false);
    };
    EXPECT_EQ(refusedBy(write).problem, Problem::RenderFailed);
    EXPECT_EQ(bytesOf(photo), before);
    const Refused missing = refusedBy([&] { TextFile(folder.path("sub/r.json"), "{}", false); });
    EXPECT_EQ(missing.problem, Problem::RenderFailed);
    EXPECT_THAT(missing.words, HasSubstr("its folder does not exist"));
    std::filesystem::create_directory(folder.path("sub"));
    TextFile late(folder.path("sub/r.json"), "{}", false);
    std::ofstream(folder.path("sub/r.json")) << "another run's";
    EXPECT_EQ(refusedBy([&] { late.commit(); }).problem, Problem::RenderFailed);
    EXPECT_EQ(bytesOf(folder.path("sub/r.json")), "another run's");
}

}  // namespace
}  // namespace tumblewash::edit
