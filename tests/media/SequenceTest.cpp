// Numbered runs of pictures: what may be removed, all new or all old, and a run that was ended in the middle.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "media/Descriptor.h"
#include "media/StagedSequence.h"
#include "media/detail/SequenceRecord.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using namespace media;

namespace {

constexpr const char* kList = ".p%d.png.tumblewash";
constexpr const char* kUndo = ".p%d.png.tumblewash-undo";

std::string with(std::string text, int number) {
    return text.append(std::to_string(number));
}

std::string picture(int number) {
    return with("p", number).append(".png");
}

/// Stages `count` pictures that say `what` and their number, and puts them in place.
std::vector<std::string> put(const std::string& pattern, int count, const std::string& what,
                             bool force = true) {
    StagedSequence files(pattern, force);
    for (int i = 1; i <= count; ++i) {
        const std::string bytes = with(what, i);
        files.add(bytes.data(), bytes.size());
    }
    files.commit();
    return files.warnings();
}

void expectPictures(const TempDir& dir, int count, const std::string& what) {
    for (int i = 1; i <= count; ++i) EXPECT_EQ(readFile(dir / picture(i)), with(what, i)) << i;
}

std::vector<std::string> visible(const TempDir& dir) {
    std::vector<std::string> out;
    for (const std::string& name : dir.names())
        if (!name.starts_with(".")) out.push_back(name);
    return out;
}

uint64_t inodeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_ino;
}

}  // namespace

TEST(SequenceTest, NothingIsRemovedThatAnEarlierRunDidNotWrite) {
    const TempDir dir;
    writeFile(dir / "p500.png", "a photo");
    writeFile(dir / "p7.png", "another");
    const std::vector<std::string> said = put(dir / "p%d.png", 3, "new");
    EXPECT_THAT(visible(dir), ::testing::ElementsAre("p1.png", "p2.png", "p3.png", "p500.png", "p7.png"));
    EXPECT_EQ(readFile(dir / "p500.png"), "a photo");
    ASSERT_EQ(said.size(), 1U);
    EXPECT_THAT(said[0], ::testing::HasSubstr("2 pictures of higher numbers stay"));
}

TEST(SequenceTest, AShorterRunRemovesWhatALongerOneWroteAndNobodyChanged) {
    const TempDir dir;
    EXPECT_TRUE(put(dir / "p%d.png", 6, "old").empty());
    writeFile(dir / "p5.png", "retouched by hand");
    std::filesystem::remove(dir / "p6.png");
    std::filesystem::create_directory(dir / "p6.png");
    const std::vector<std::string> said = put(dir / "p%d.png", 2, "new");
    expectPictures(dir, 2, "new");
    EXPECT_THAT(visible(dir), ::testing::ElementsAre("p1.png", "p2.png", "p5.png", "p6.png"));
    EXPECT_EQ(said.size(), 1U);
    // Once let go, they are nobody's.
    put(dir / "p%d.png", 1, "newer");
    EXPECT_THAT(visible(dir), ::testing::ElementsAre("p1.png", "p5.png", "p6.png"));
    EXPECT_EQ(readFile(dir / "p5.png"), "retouched by hand");
}

TEST(SequenceTest, WithoutForceAnyPictureOfTheNameIsAnObstacle) {
    const TempDir dir;
    writeFile(dir / "p40.png", "a photo");
    EXPECT_EQ(failureOf([&] { put(dir / "p%d.png", 2, "new", false); }, "p%d.png"),
              MediaErrorCode::notWritable);
    EXPECT_THAT(dir.names(), ::testing::ElementsAre("p40.png"));
}

TEST(SequenceTest, AFailureInTheMiddlePutsEveryOldPictureBack) {
    const TempDir dir;
    put(dir / "p%d.png", 4, "old");
    std::filesystem::permissions(dir / "p2.png", std::filesystem::perms(0640));
    const std::vector<std::string> before = dir.names();
    // Neither a folder nor a link is replaced; both are met after others.
    for (const bool link : {false, true}) {
        std::filesystem::rename(dir / "p4.png", dir / "aside");
        if (link)
            std::filesystem::create_symlink(dir / "aside", dir / "p4.png");
        else
            std::filesystem::create_directory(dir / "p4.png");
        EXPECT_EQ(failureOf([&] { put(dir / "p%d.png", 5, "new"); }, "p%d.png"), MediaErrorCode::notWritable);
        std::filesystem::remove(dir / "p4.png");
        std::filesystem::rename(dir / "aside", dir / "p4.png");
        EXPECT_EQ(dir.names(), before);
        expectPictures(dir, 4, "old");
    }
}

TEST(SequenceTest, PicturesKeepTheRightsOfThoseTheyReplace) {
    const TempDir dir;
    put(dir / "p%d.png", 2, "old");
    std::filesystem::permissions(dir / "p2.png", std::filesystem::perms(0600));
    put(dir / "p%d.png", 3, "new");
    EXPECT_EQ(std::filesystem::status(dir / "p2.png").permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(std::filesystem::status(dir / "p3.png").permissions(),
              std::filesystem::status(dir / "p1.png").permissions());
}

TEST(SequenceTest, ARunEndedInTheMiddleIsPutBackByTheNextCheck) {
    // Every state that an end can leave: so many steps done, the last one perhaps by half.
    for (int steps = 0; steps <= 8; ++steps) {
        const TempDir dir;
        put(dir / "p%d.png", 3, "old");
        const std::string hidden = dir / ".p%d.png.abcdefghijkm.part";
        std::filesystem::create_directory(hidden);
        SequenceUndo undo{".p%d.png.abcdefghijkm.part", {}};
        for (int i = 1; i <= 4; ++i) {
            writeFile(with(hidden + "/", i), with("new", i));
            undo.steps[i] = {inodeOf(with(hidden + "/", i)), i <= 3};
        }
        const std::vector<std::string> before = [&] {
            std::vector<std::string> names = dir.names();
            std::erase(names, ".p%d.png.abcdefghijkm.part");
            return names;
        }();
        writeFile(dir / kUndo, textOf(undo));
        for (int half = 0, i = 1; i <= 4; ++i) {
            const std::string name = dir / picture(i);
            if (i <= 3 && half++ < steps) std::filesystem::rename(name, with(hidden + "/old-", i));
            if (half++ < steps) std::filesystem::rename(with(hidden + "/", i), name);
        }
        EXPECT_EQ(failureOf([&] { checkSequenceTarget(dir / "p%d.png", false); }, "p%d.png"),
                  MediaErrorCode::notWritable);
        EXPECT_EQ(dir.names(), before) << steps;
        expectPictures(dir, 3, "old");
    }
}

TEST(SequenceTest, ARunThatWasCompleteIsLeftAlone) {
    const TempDir dir;
    put(dir / "p%d.png", 2, "new");
    // Its record is still there, but the old pictures are gone already.
    std::filesystem::create_directory(dir / ".p%d.png.abcdefghijkm.part");
    SequenceUndo undo{".p%d.png.abcdefghijkm.part", {}};
    for (int i = 1; i <= 2; ++i) undo.steps[i] = {inodeOf(dir / picture(i)), true};
    writeFile(dir / kUndo, textOf(undo));
    EXPECT_ANY_THROW(checkSequenceTarget(dir / "p%d.png", false));
    expectPictures(dir, 2, "new");
    EXPECT_THAT(dir.names(), ::testing::ElementsAre(kList, "p1.png", "p2.png"));
}

TEST(SequenceTest, RecordsThatOthersCouldHaveWrittenAreNotBelieved) {
    const TempDir dir;
    put(dir / "p%d.png", 3, "old");
    const std::string list = readFile(dir / kList);
    const auto stays = [&](const char* why) {
        put(dir / "p%d.png", 1, "new");
        EXPECT_EQ(readFile(dir / "p3.png"), "old3") << why;
    };
    std::filesystem::permissions(dir / kList, std::filesystem::perms(0666));
    stays("others may write it");
    std::filesystem::remove(dir / kList);
    writeFile(dir / "elsewhere", list);
    std::filesystem::create_symlink(dir / "elsewhere", dir / kList);
    stays("a link");
    std::filesystem::remove(dir / kList);
    writeFile(dir / kList, list.substr(0, list.size() - 3));
    stays("cut off");
    if (geteuid() == 0) {
        writeFile(dir / kList, list);
        ASSERT_EQ(chown((dir / kList).c_str(), 12345, 0), 0);
        stays("somebody else's");
    }
}

TEST(SequenceTest, LongNamesAndBlankPaddingHaveTheirRecordsToo) {
    const TempDir dir;
    const std::string longName(240, 'n');
    put(dir / (longName + "%5d.png"), 2, "old");
    put(dir / (longName + "%5d.png"), 1, "new");
    EXPECT_THAT(visible(dir), ::testing::ElementsAre(longName + "    1.png"));
    EXPECT_THAT(filesOfSequence(dir / "q%5d.png", 2),
                ::testing::IsSupersetOf({"q    1.png", "q    2.png", ".q%5d.png.tumblewash"}));
}

TEST(SequenceTest, TheFilesOfARunAreAlsoThoseThatItWouldRemove) {
    const TempDir dir;
    put(dir / "p%d.png", 4, "old");
    writeFile(dir / "p9.png", "a photo");
    const std::vector<std::string> files = filesOfSequence(dir / "p%d.png", 2);
    EXPECT_THAT(files, ::testing::IsSupersetOf({"p1.png", "p2.png", "p3.png", "p4.png"}));
    EXPECT_THAT(files, ::testing::Not(::testing::Contains("p9.png")));
}

TEST(SequenceTest, AnotherRunAtItsLastStepIsWaitedFor) {
    const TempDir dir;
    put(dir / "p%d.png", 2, "old");
    const Descriptor folder(::open(dir.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(folder.get(), LOCK_EX), 0);
    StagedSequence files(dir / "p%d.png", true);
    files.add("new1", 4);
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        writeFile(dir / "p1.png", "another run's");
        flock(folder.get(), LOCK_UN);
    });
    files.commit();
    other.join();
    EXPECT_EQ(readFile(dir / "p1.png"), "new1") << "the later one stands";
}

TEST(SequenceTest, APictureThatAppearsMeanwhileIsAnObstacleWithoutForce) {
    const TempDir dir;
    StagedSequence files(dir / "p%d.png", false);
    files.add("new1", 4);
    writeFile(dir / "p3.png", "another's");
    EXPECT_EQ(failureOf([&] { files.commit(); }, "p%d.png"), MediaErrorCode::notWritable);
    EXPECT_THAT(visible(dir), ::testing::ElementsAre("p3.png"));
}

TEST(SequenceTest, ARecordThatCannotBeReplacedKeepsTheOldPictures) {
    const TempDir dir;
    put(dir / "p%d.png", 2, "old");
    std::filesystem::create_directory(dir / kUndo);
    EXPECT_EQ(failureOf([&] { put(dir / "p%d.png", 2, "new"); }, "p%d.png"), MediaErrorCode::notWritable);
    expectPictures(dir, 2, "old");
    std::filesystem::remove(dir / kUndo);
    put(dir / "p%d.png", 2, "new");
    expectPictures(dir, 2, "new");
}

}  // namespace tumblewash::test
