#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "edit/Errors.h"
#include "studio/Folders.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

TEST(FoldersTest, MediaAreListedInNaturalOrderAndNothingElse) {
    const TestFolder folder;
    for (const char* name :
         {"clip10.mp4", "clip9.MP4", "notes.txt", ".hidden.mp4", "photo.jpeg", "list.m3u8"})
        folder.write(name, "x");
    std::filesystem::create_directory(folder.path / "more");
    std::filesystem::create_directory(folder.path / ".git");
    mkfifo(folder.file("pipe.mp4").c_str(), 0600);
    const Folders folders({folder.path.string(), folder.path.string()});
    EXPECT_EQ(folders.paths().size(), 1U);
    std::vector<std::string> names;
    for (const FolderEntry& entry : folders.list(0, "")) names.push_back(entry.name);
    EXPECT_EQ(names, (std::vector<std::string>{"more", "clip9.MP4", "clip10.mp4", "photo.jpeg"}));
}

TEST(FoldersTest, MusicIsWhatHasSoundAndNoPhotos) {
    const TestFolder folder;
    for (const char* name : {"song.MP3", "take.wav", "clip.mp4", "photo.jpeg", "list.m3u", "song.txt"})
        folder.write(name, "x");
    const Folders folders({folder.path.string()});
    std::vector<std::string> names;
    for (const FolderEntry& entry : folders.list(0, "", Wanted::music)) names.push_back(entry.name);
    EXPECT_EQ(names, (std::vector<std::string>{"clip.mp4", "song.MP3", "take.wav"}));
}

TEST(FoldersTest, NothingLeadsOut) {
    const TestFolder outside;
    outside.write("secret.mp4", "x");
    const TestFolder folder;
    folder.write("in.mp4", "x");
    std::filesystem::create_directory(folder.path / "sub");
    std::filesystem::create_symlink(outside.path, folder.path / "link");
    std::filesystem::create_symlink(outside.file("secret.mp4"), folder.file("link.mp4"));
    std::filesystem::create_symlink("../in.mp4", folder.path / "sub" / "inner.mp4");
    const Folders folders({folder.path.string()});
    EXPECT_EQ(folders.file(0, "in.mp4"), folder.file("in.mp4"));
    EXPECT_EQ(folders.file(0, "sub/inner.mp4"), folder.file("in.mp4"));
    for (const std::string& path :
         {std::string("link.mp4"), std::string("link/secret.mp4"), std::string("../x"),
          std::string("sub/../in.mp4"), outside.file("secret.mp4"), std::string("missing.mp4"),
          std::string("sub"), std::string(".hidden"), std::string("in.mp4\0x", 8)})
        EXPECT_THROW(folders.file(0, path), Refused) << path;
    EXPECT_THROW(folders.list(0, "link"), Refused);
    EXPECT_THROW(folders.list(0, ".."), Refused);
    EXPECT_THROW(folders.list(1, ""), Refused);
    EXPECT_TRUE(folders.holds(folder.file("in.mp4")));
    EXPECT_FALSE(folders.holds(folder.file("link.mp4")));
    EXPECT_FALSE(folders.holds(outside.file("secret.mp4")));
    EXPECT_FALSE(folders.holds(folder.path.string() + "2/x.mp4"));
    EXPECT_FALSE(folders.holds(folder.file("sub")));
}

TEST(FoldersTest, AFolderThatIsNotThereIsRefusedByName) {
    try {
        const Folders folders({"/no/such/folder"});
        FAIL();
    } catch (const edit::Refusal& refused) {
        EXPECT_STREQ(refused.what(), "/no/such/folder: this folder cannot be opened");
    }
}

}  // namespace
}  // namespace tumblewash::studio
