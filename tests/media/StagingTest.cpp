// Outputs on their way into place: what others may do to names and links meanwhile, who may read what comes
// of it, and which folders will do.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>

#include "media/Staging.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

constexpr uid_t kNobody = 65534;
constexpr const char* kAccessList = "system.posix_acl_access";

void stage(const std::string& path, bool force = true) {
    StagedFile file(path, force);
    file.write("new", 3);
    file.commit();
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t modeOf(const std::string& path) {
    return statusOf(path).st_mode & 07777;
}

/// Runs `work` in a process that is not root; its result is the exit code.
template <typename Work>
int asNobody(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(99);
        int code = 98;
        try {
            code = work();
        } catch (const std::exception& problem) {
            std::fprintf(stderr, "%s\n", problem.what());
        }
        _exit(code);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// The one hidden name in `dir`.
std::string hiddenIn(const TempDir& dir) {
    std::string found;
    for (const std::string& name : dir.names())
        if (name.ends_with(".part")) {
            EXPECT_EQ(found, "");
            found = name;
        }
    return found;
}

/// An access list as the system keeps it: the owner all, user 4711 `named`, group, mask and others given.
std::string accessList(uint16_t named, uint16_t group, uint16_t mask, uint16_t others) {
    std::string list("\2\0\0\0", 4);
    const auto entry = [&](uint16_t tag, uint16_t rights, uint32_t id) {
        for (const uint16_t half : {tag, rights, static_cast<uint16_t>(id), static_cast<uint16_t>(id >> 16)})
            list.append({static_cast<char>(half & 255), static_cast<char>(half >> 8)});
    };
    constexpr uint32_t none = 0xFFFFFFFF;
    entry(0x01, 7, none);
    entry(0x02, named, 4711);
    entry(0x04, group, none);
    entry(0x10, mask, none);
    entry(0x20, others, none);
    return list;
}

std::string listOf(const std::string& path) {
    char bytes[256];
    const ssize_t length = lgetxattr(path.c_str(), kAccessList, bytes, sizeof bytes);
    return length > 0 ? std::string(bytes, static_cast<size_t>(length)) : "";
}

}  // namespace

TEST(StagingTest, HiddenNamesOfAnEarlierRunWithThisNumberAreInNobodysWay) {
    const TempDir dir;
    for (int i = 0; i < 500; ++i)
        writeFile(dir / (".a." + std::to_string(getpid()) + "-" + std::to_string(i) + ".part"), "left");
    stage(dir / "a");
    EXPECT_EQ(readFile(dir / "a"), "new");
    EXPECT_EQ(dir.names().size(), 501U);
}

TEST(StagingTest, HiddenNamesCannotBeForeseenAndAreForTheOwnerWhereAFileIsReplaced) {
    const TempDir dir;
    writeFile(dir / "a", "old");
    const StagedFile first(dir / "a", true);
    const std::string name = hiddenIn(dir);
    EXPECT_THAT(name, ::testing::MatchesRegex("\\.a\\.[a-z2-9]{12}\\.part"));
    EXPECT_EQ(modeOf(dir / name), 0600);
    const StagedFile second(dir / "b", true);
    EXPECT_EQ(dir.names().size(), 3U);
}

TEST(StagingTest, AHiddenNameGivenToAnotherFileIsNotPutInPlace) {
    const TempDir dir;
    writeFile(dir / "a", "old");
    writeFile(dir / "victim", "precious");
    for (const bool link : {false, true}) {
        StagedFile file(dir / "a", true);
        const std::string hidden = dir / hiddenIn(dir);
        std::filesystem::remove(hidden);
        if (link)
            std::filesystem::create_symlink(dir / "victim", hidden);
        else
            std::filesystem::copy_file(dir / "victim", hidden);
        file.write("new", 3);
        EXPECT_EQ(failureOf([&] { file.commit(); }, dir / "a"), MediaErrorCode::notWritable);
        EXPECT_EQ(readFile(dir / "victim"), "precious");
        EXPECT_EQ(readFile(dir / "a"), "old");
    }
}

TEST(StagingTest, MoviesGoThroughTheOpenFileAlsoWhereTheIndexMovesToTheFront) {
    const TempDir dir;
    writeFile(dir / "victim", "precious");
    for (const char* name : {"a.mp4", "a.mov", "a.mkv", "a.webm"}) {
        Writer writer = Writer::open(dir / name, smallMovie());
        const std::string hidden = dir / hiddenIn(dir);
        // Whoever opens the hidden name from here on opens another file.
        std::filesystem::rename(hidden, dir / "aside");
        std::filesystem::create_symlink(dir / "victim", hidden);
        for (int i = 0; i < 3; ++i) writer.writePicture(solid(64, 48, {i, 2, 3}));
        EXPECT_EQ(failureOf([&] { writer.commit(); }, name), MediaErrorCode::notWritable);
        EXPECT_EQ(readFile(dir / "victim"), "precious") << name;
        EXPECT_GT(readFile(dir / "aside").size(), 500U) << name;
    }
}

TEST(StagingTest, AFolderSwappedMeanwhileRedirectsNothing) {
    const TempDir dir;
    std::filesystem::create_directory(dir / "real");
    std::filesystem::create_directory(dir / "other");
    writeFile(dir / "other/a", "precious");
    std::filesystem::create_directory_symlink(dir / "real", dir / "way");
    StagedFile file(dir / "way/a", true);
    std::filesystem::remove(dir / "way");
    std::filesystem::create_directory_symlink(dir / "other", dir / "way");
    file.write("new", 3);
    file.commit();
    EXPECT_EQ(readFile(dir / "real/a"), "new");
    EXPECT_EQ(readFile(dir / "other/a"), "precious");
}

TEST(StagingTest, LinksThatLeadNowhereOrInACircleAreRefusedAtOnce) {
    const TempDir dir;
    std::filesystem::create_symlink(dir / "missing", dir / "dangling");
    std::filesystem::create_symlink("dangling", dir / "second");
    std::filesystem::create_symlink(dir / "circle", dir / "circle");
    std::filesystem::create_symlink("nowhere/x", dir / "lost");
    for (const char* name : {"dangling", "second", "circle", "lost"})
        for (const bool force : {false, true}) {
            EXPECT_EQ(failureOf([&] { checkTarget(dir / name, force); }, name), MediaErrorCode::notWritable);
            EXPECT_EQ(failureOf([&] { StagedFile file(dir / name, force); }, name),
                      MediaErrorCode::notWritable);
        }
    EXPECT_EQ(dir.names().size(), 4U);
}

TEST(StagingTest, LinksAreFollowedFromTheirOwnFolder) {
    const TempDir dir;
    std::filesystem::create_directories(dir / "one/two");
    writeFile(dir / "one/file", "old");
    std::filesystem::create_symlink("../file", dir / "one/two/up");
    std::filesystem::create_symlink("one/two/up", dir / "far");
    stage(dir / "far");
    EXPECT_EQ(readFile(dir / "one/file"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "far"));
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "one/two/up"));
}

TEST(StagingTest, WhatReplacesAFileMayBeReadByTheSamePeopleAndHasNoSetIdBits) {
    const TempDir dir;
    const mode_t before = umask(077);
    for (const auto& [old, expected] : {std::pair<mode_t, mode_t>{0644, 0644},
                                        {0600, 0600},
                                        {0640, 0640},
                                        {0666, 0666},
                                        {04755, 0755},
                                        {02775, 0775},
                                        {01644, 0644}}) {
        writeFile(dir / "a", "old");
        ASSERT_EQ(chmod((dir / "a").c_str(), old), 0);
        stage(dir / "a");
        EXPECT_EQ(readFile(dir / "a"), "new");
        EXPECT_EQ(modeOf(dir / "a"), expected) << std::oct << old;
    }
    umask(027);
    stage(dir / "fresh");
    umask(before);
    EXPECT_EQ(modeOf(dir / "fresh"), 0640);
}

TEST(StagingTest, AnAccessListIsKeptAndAFoldersDefaultWidensNothing) {
    const TempDir dir;
    writeFile(dir / "a", "old");
    const std::string list = accessList(0, 4, 6, 4);
    // Where the file system has no such lists there is nothing to keep.
    if (lsetxattr((dir / "a").c_str(), kAccessList, list.data(), list.size(), 0) != 0) {
        EXPECT_EQ(errno, EOPNOTSUPP);
        return;
    }
    const mode_t mode = modeOf(dir / "a");
    stage(dir / "a");
    EXPECT_EQ(listOf(dir / "a"), list);
    EXPECT_EQ(modeOf(dir / "a"), mode);

    writeFile(dir / "plain", "old");
    ASSERT_EQ(chmod((dir / "plain").c_str(), 0644), 0);
    const std::string wide = accessList(7, 7, 7, 4);
    ASSERT_EQ(lsetxattr(dir.path().c_str(), "system.posix_acl_default", wide.data(), wide.size(), 0), 0);
    stage(dir / "plain");
    EXPECT_EQ(listOf(dir / "plain"), "");
    EXPECT_EQ(modeOf(dir / "plain"), 0644);
}

TEST(StagingTest, RootKeepsOwnerAndGroupAndOthersTightenWhatTheyCannotKeep) {
    const TempDir dir;
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    writeFile(dir / "a", "old");
    if (geteuid() == 0) {
        ASSERT_EQ(chown((dir / "a").c_str(), 12345, 23456), 0);
        ASSERT_EQ(chmod((dir / "a").c_str(), 0640), 0);
        stage(dir / "a");
        EXPECT_EQ(statusOf(dir / "a").st_uid, 12345U);
        EXPECT_EQ(statusOf(dir / "a").st_gid, 23456U);
        EXPECT_EQ(modeOf(dir / "a"), 0640);
        // Everybody may write it; the group, who may only read it, are others from now on.
        ASSERT_EQ(chmod((dir / "a").c_str(), 0646), 0);
        EXPECT_EQ(asNobody([&] {
                      stage(dir / "a");
                      return 0;
                  }),
                  0);
        EXPECT_EQ(statusOf(dir / "a").st_uid, kNobody);
        EXPECT_EQ(modeOf(dir / "a"), 0644);
        EXPECT_EQ(readFile(dir / "a"), "new");
    }
    ASSERT_EQ(chmod((dir / "a").c_str(), 0444), 0);
    EXPECT_EQ(
        asNobody([&] {
            return static_cast<int>(failureOf([&] { checkTarget(dir / "a", true); }, "write-protected"));
        }),
        static_cast<int>(MediaErrorCode::notWritable));
}

TEST(StagingTest, AFolderThatMayBeWrittenButNotReadIsGoodEnough) {
    const TempDir dir;
    std::filesystem::create_directory(dir / "drop");
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod((dir / "drop").c_str(), 0333), 0);
    for (const char* name : {"drop/a.mkv", "drop/p%d.png", "md5:drop/sums"})
        EXPECT_EQ(asNobody([&] {
                      const std::string output = std::string(name).starts_with("md5:")
                                                     ? "md5:" + dir / std::string(name).substr(4)
                                                     : dir / name;
                      for (const bool force : {false, true}) {
                          WriterSettings settings = smallMovie();
                          settings.force = force;
                          Writer writer = Writer::open(output, settings);
                          writer.writePicture(solid(64, 48, {1, 2, 3}));
                          writer.commit();
                      }
                      return 0;
                  }),
                  0)
            << name;
    ASSERT_EQ(chmod((dir / "drop").c_str(), 0755), 0);
    EXPECT_GT(readFile(dir / "drop/a.mkv").size(), 500U);
    EXPECT_GT(readFile(dir / "drop/p1.png").size(), 50U);
    EXPECT_GT(readFile(dir / "drop/sums").size(), 50U);
}

TEST(StagingTest, NothingIsLeftBehindAndAVanishedOldFileIsNoObstacle) {
    const TempDir dir;
    writeFile(dir / "a", "old");
    ASSERT_EQ(chmod((dir / "a").c_str(), 0640), 0);
    { const StagedFile abandoned(dir / "a", true); }
    EXPECT_THAT(dir.names(), ::testing::ElementsAre("a"));
    StagedFile file(dir / "a", true);
    file.write("new", 3);
    std::filesystem::remove(dir / "a");
    file.commit();
    EXPECT_EQ(readFile(dir / "a"), "new");
    EXPECT_EQ(modeOf(dir / "a"), 0640);
    StagedFile blocked(dir / "b", true);
    std::filesystem::create_symlink(dir / "a", dir / "b");
    EXPECT_EQ(failureOf([&] { blocked.commit(); }, dir / "b"), MediaErrorCode::notWritable);
    EXPECT_EQ(readFile(dir / "a"), "new");
}

}  // namespace tumblewash::test
