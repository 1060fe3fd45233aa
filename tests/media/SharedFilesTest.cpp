// No output is an input, and no two outputs are one file, by whatever name they go.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "media/SharedFiles.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

MediaErrorCode refusal(const std::vector<std::string>& inputs, const std::vector<PlannedOutput>& outputs,
                       const std::string& named) {
    return failureOf([&] { refuseSharedFiles(inputs, outputs); }, named);
}

}  // namespace

TEST(SharedFilesTest, TwoOutputsAreOneFileByEveryRoadThatLeadsThere) {
    const TempDir dir;
    std::filesystem::create_directory(dir / "sub");
    std::filesystem::create_directory_symlink(dir.path(), dir / "sub/back");
    writeFile(dir / "old", "x");
    std::filesystem::create_symlink("old", dir / "link");
    std::filesystem::create_hard_link(dir / "old", dir / "hard");
    for (const char* other : {"new", "./new", "sub/../new", "sub/back/new"})
        EXPECT_EQ(refusal({}, {{dir / "new"}, {dir / other}}, "new"), MediaErrorCode::badRequest) << other;
    for (const char* other : {"old", "link", "hard", "sub/back/link"})
        EXPECT_EQ(refusal({}, {{dir / "old"}, {""}, {dir / other}}, "old"), MediaErrorCode::badRequest)
            << other;
    EXPECT_NO_THROW(refuseSharedFiles({}, {{dir / "new"}, {dir / "sub/new"}, {dir / "old"}, {dir / "NEW"}}));
    EXPECT_EQ(dir.names().size(), 4U);
}

TEST(SharedFilesTest, AnOutputIsAnInputByEveryRoadThatLeadsThere) {
    const TempDir dir;
    writeFile(dir / "a.mp4", "x");
    std::filesystem::create_symlink("a.mp4", dir / "link");
    std::filesystem::create_hard_link(dir / "a.mp4", dir / "hard");
    for (const char* output : {"a.mp4", "link", "hard"})
        for (const char* input : {"a.mp4", "link", "hard"})
            EXPECT_EQ(refusal({"pattern:city", dir / input}, {{dir / "fine"}, {dir / output}}, output),
                      MediaErrorCode::badRequest);
    EXPECT_NO_THROW(refuseSharedFiles({dir / "a.mp4", dir / "missing"}, {{dir / "missing"}}));
}

TEST(SharedFilesTest, EveryPictureOfARunIsComparedWithInputsAndOutputs) {
    const TempDir dir;
    for (const char* name : {"p002.png", "p    3.png", "p009.png"}) writeFile(dir / name, "x");
    EXPECT_EQ(refusal({dir / "p002.png"}, {{dir / "p%03d.png", 5}}, "p002.png"), MediaErrorCode::badRequest);
    EXPECT_EQ(refusal({dir / "p    3.png"}, {{dir / "p%5d.png", 5}}, "p    3.png"),
              MediaErrorCode::badRequest);
    EXPECT_NO_THROW(refuseSharedFiles({dir / "p009.png"}, {{dir / "p%03d.png", 5}}));
    EXPECT_EQ(refusal({}, {{dir / "p%03d.png", 5}, {dir / "p004.png"}}, "p004.png"),
              MediaErrorCode::badRequest);
    EXPECT_EQ(
        refusal({}, {{dir / "r.json"}, {dir / "p%03d.png", 5}, {dir / ".p%03d.png.tumblewash"}}, ".p%03d"),
        MediaErrorCode::badRequest);
    EXPECT_NO_THROW(refuseSharedFiles({}, {{dir / "p%03d.png", 5}, {dir / "p006.png"}}));
}

// Needs a file system of its own, which only root may make; elsewhere the names of the first test stand
// alone.
TEST(SharedFilesTest, AFileSystemThatTakesLettersLightlyIsAsked) {
    const TempDir dir;
    const std::string disk = dir / "disk";
    std::filesystem::create_directory(disk);
    const std::string image = dir / "image";
    if (std::system(("(truncate -s 8M " + image + " && mkfs.ext4 -q -O casefold " + image +
                     " && mount -o loop " + image + " " + disk + " && mkdir " + disk +
                     "/light && chattr +F " + disk + "/light) >/dev/null 2>&1")
                        .c_str()) == 0) {
        const std::string light = disk + "/light/";
        EXPECT_EQ(refusal({}, {{light + "out.mp4"}, {light + "OUT.mp4"}}, "OUT.mp4"),
                  MediaErrorCode::badRequest);
        EXPECT_EQ(refusal({}, {{light + "\u00e9.mp4"}, {light + "e\u0301.mp4"}}, ".mp4"),
                  MediaErrorCode::badRequest);
        EXPECT_EQ(refusal({}, {{light + "p%03d.png", 4}, {light + "P002.PNG"}}, "P002.PNG"),
                  MediaErrorCode::badRequest);
        EXPECT_NO_THROW(refuseSharedFiles({}, {{light + "out.mp4"}, {light + "other.mp4"}}));
        EXPECT_NO_THROW(refuseSharedFiles({}, {{disk + "/out.mp4"}, {disk + "/OUT.mp4"}}));
        EXPECT_TRUE(std::filesystem::is_empty(light));
    }
    EXPECT_EQ(std::system(("mountpoint -q " + disk + " && umount " + disk + "; true").c_str()), 0);
}

}  // namespace tumblewash::test
