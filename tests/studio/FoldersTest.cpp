#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <iterator>

#include "edit/Errors.h"
#include "media/detail/InputBytes.h"
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

/// A folder with a file, links out of it, and one that stays in it.
void fillWithLinks(const TestFolder& folder, const TestFolder& outside) {
    outside.write("secret.mp4", "x");
    folder.write("in.mp4", "x");
    std::filesystem::create_directory(folder.path / "sub");
    std::filesystem::create_symlink(outside.path, folder.path / "link");
    std::filesystem::create_symlink(outside.file("secret.mp4"), folder.file("link.mp4"));
    std::filesystem::create_symlink("../in.mp4", folder.path / "sub" / "inner.mp4");
}

void expectNothingLeadsOut(const TestFolder& folder, const TestFolder& outside) {
    const Folders folders({folder.path.string()});
    EXPECT_EQ(folders.list(0, "sub").size(), 1U);
    for (const std::string& path : {std::string("link"), std::string(".."), std::string("sub/.."),
                                    std::string("sub/../sub"), std::string("."), outside.path.string(),
                                    std::string("missing"), std::string("in.mp4"), std::string("sub\0x", 5)})
        EXPECT_THROW(folders.list(0, path), Refused) << path;
    EXPECT_THROW(folders.list(1, ""), Refused);
    for (const char* name : {"in.mp4", "sub/inner.mp4", "sub/../in.mp4"})
        EXPECT_TRUE(folders.find(folder.file(name))) << name;
    for (const std::string& file :
         {folder.file("link.mp4"), folder.file("link/secret.mp4"), outside.file("secret.mp4"),
          folder.path.string() + "2/x.mp4", folder.file("sub"), folder.file("missing.mp4")})
        EXPECT_FALSE(folders.find(file)) << file;
}

/// From here on this process is told that there is no openat2.
void forbidOpenat2() {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{std::size(steps), steps};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    ASSERT_EQ(syscall(SYS_openat2, AT_FDCWD, ".", nullptr, 0), -1);
    ASSERT_EQ(errno, ENOSYS);
}

TEST(FoldersTest, NothingLeadsOut) {
    const TestFolder outside;
    const TestFolder folder;
    fillWithLinks(folder, outside);
    expectNothingLeadsOut(folder, outside);
}

// Kernels before 5.6 and some containers do not have the call that resolves below a folder.
TEST(FoldersTest, NothingLeadsOutWhereTheKernelDoesNotHelp) {
    const TestFolder outside;
    const TestFolder folder;
    fillWithLinks(folder, outside);
    const int child = fork();
    if (child == 0) {
        forbidOpenat2();
        expectNothingLeadsOut(folder, outside);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(FoldersTest, AFileIsKnownByWhatItIs) {
    const TestFolder folder;
    for (const char* name : {"a.mp4", "b.mp4"}) folder.write(name, "x");
    const Folders folders({folder.path.string()});
    EXPECT_EQ(folders.find(folder.file("a.mp4")), media::InputBytes(folder.file("a.mp4")).identity());
    EXPECT_NE(folders.find(folder.file("a.mp4")), folders.find(folder.file("b.mp4")));
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
