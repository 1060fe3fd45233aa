#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "edit/Document.h"
#include "studio/Document.h"
#include "studio/History.h"
#include "studio/Http.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

constexpr const char* kSetSeed = R"([{"op":"add","path":"/clips/1/seam","value":{"seed":7}}])";

void apply(Document& document, const std::string& patch, const std::string& gesture = {}) {
    document.change(document.patched(patch), "change", gesture);
    document.save();
}

TEST(DocumentTest, AChangeIsSavedAtOnceAndUndoneToTheByte) {
    const TestFolder folder;
    folder.write("my.edit.json", documentOf(2));
    Document document(folder.file("my.edit.json"), {});
    EXPECT_EQ(document.saving(), Saving::saved);
    apply(document, kSetSeed);
    EXPECT_EQ(document.revision(), 2U);
    EXPECT_NE(folder.read("my.edit.json").find("\"seed\": 7"), std::string::npos);
    document.undo();
    document.save();
    EXPECT_EQ(folder.read("my.edit.json"), documentOf(2));
    document.redo();
    document.save();
    EXPECT_EQ(document.edit().clips[1].seam->seed, 7U);
    EXPECT_EQ(document.revision(), 4U);
    EXPECT_THROW((void)document.after(), Refused);
}

TEST(DocumentTest, StepsOutliveTheProgramAndEndWhereAnotherChangedTheFile) {
    const TestFolder folder;
    const std::string file = folder.file("my.edit.json");
    const std::string state = folder.path.string();
    folder.write("my.edit.json", documentOf(2));
    {
        Document document(file, {}, state);
        apply(document, kSetSeed);
        apply(document, R"([{"op":"add","path":"/title","value":"one"}])");
        document.undo();
        document.save();
    }
    {
        Document again(file, {}, state);
        EXPECT_EQ(again.undoLabel(), "change");
        EXPECT_EQ(again.redoLabel(), "change");
        EXPECT_EQ(again.after().title, "one");
        again.redo();
        again.undo();
        again.undo();
        EXPECT_THROW((void)again.before(), Refused);
        again.save();
        EXPECT_EQ(folder.read("my.edit.json"), documentOf(2));
    }
    // Another document beside it has steps of its own; without a folder there are none.
    folder.write("other.edit.json", documentOf(2));
    EXPECT_EQ(Document(folder.file("other.edit.json"), {}, state).redoLabel(), "");
    EXPECT_EQ(Document(file, {}).redoLabel(), "");
    EXPECT_EQ(Document(file, {}, state).redoLabel(), "change");
    folder.write("my.edit.json", documentOf(3));
    EXPECT_EQ(Document(file, {}, state).redoLabel(), "");
}

TEST(DocumentTest, AHistoryThatIsDamagedOrTooLongIsLeftOut) {
    const TestFolder folder;
    const std::string file = folder.file("my.edit.json");
    const std::string state = folder.path.string();
    const std::string large(kMostHistoryBytes / 3, 'x');
    KeptSteps steps;
    for (const char* label : {"a", "b", "c", "d"}) steps.past.push_back({label, large});
    writeHistory(state, file, "text", steps);
    const KeptSteps kept = readHistory(state, file, "text");
    ASSERT_EQ(kept.past.size(), 3U);
    EXPECT_EQ(kept.past.front().label, "b");
    EXPECT_EQ(kept.past.back().label, "d");
    EXPECT_TRUE(readHistory(state, file, "another").past.empty());
    // What is no document takes no step with it.
    folder.write("my.edit.json", documentOf(2));
    writeHistory(state, file, documentOf(2), steps);
    EXPECT_EQ(Document(file, {}, state).undoLabel(), "");
    for (const auto& entry : std::filesystem::directory_iterator(folder.path))
        if (entry.path().string().ends_with(".history.json"))
            folder.write(entry.path().filename().string(), "{\"history\": 1, \"past\": 7");
    EXPECT_TRUE(readHistory(state, file, documentOf(2)).past.empty());
}

TEST(DocumentTest, OneGestureIsOneStep) {
    const TestFolder folder;
    folder.write("my.edit.json", documentOf(2));
    Document document(folder.file("my.edit.json"), {});
    apply(document, kSetSeed, "drag-1");
    apply(document, R"([{"op":"replace","path":"/clips/1/seam/seed","value":8}])", "drag-1");
    apply(document, R"([{"op":"replace","path":"/clips/1/seam/seed","value":9}])", "drag-2");
    document.undo();
    EXPECT_EQ(document.edit().clips[1].seam->seed, 8U);
    document.undo();
    EXPECT_FALSE(document.edit().clips[1].seam);
    EXPECT_THROW((void)document.before(), Refused);
}

TEST(DocumentTest, WhatIsNoChangeIsRefusedAndNothingIsLost) {
    const TestFolder folder;
    folder.write("my.edit.json", documentOf(1));
    const Document document(folder.file("my.edit.json"), {});
    for (const char* patch :
         {R"([{"op":"remove","path":"/clips/0"}])", R"([{"op":"remove","path":"/clips"}])",
          R"([{"op":"remove","path":"/clips/7"}])", R"([{"op":"fly","path":"/clips"}])",
          R"([{"op":"add","path":"/clips/0/colour","value":"red"}])", R"([7])", "7",
          R"([{"op":"replace","path":"","value":7}])", R"([{"op":"test","path":"/tumblewash","value":2}])"})
        EXPECT_THROW((void)document.patched(patch), Refused) << patch;
    EXPECT_EQ(document.revision(), 1U);
    EXPECT_EQ(folder.read("my.edit.json"), documentOf(1));
}

TEST(DocumentTest, AFileChangedByAnotherProgramIsNeverOverwrittenUnasked) {
    const TestFolder folder;
    folder.write("my.edit.json", documentOf(2));
    Document document(folder.file("my.edit.json"), {});
    folder.write("my.edit.json", documentOf(3));
    apply(document, kSetSeed);
    EXPECT_EQ(document.saving(), Saving::conflict);
    EXPECT_EQ(folder.read("my.edit.json"), documentOf(3));
    document.resolve(Choice::both);
    EXPECT_EQ(document.saving(), Saving::saved);
    EXPECT_EQ(document.file(), folder.file("my-2.edit.json"));
    EXPECT_EQ(folder.read("my.edit.json"), documentOf(3));
    EXPECT_NE(folder.read("my-2.edit.json").find("\"seed\": 7"), std::string::npos);
}

TEST(DocumentTest, TheirsIsAStepThatCanBeUndoneAndMineWins) {
    const TestFolder folder;
    folder.write("my.edit.json", documentOf(2));
    Document document(folder.file("my.edit.json"), {});
    folder.write("my.edit.json", documentOf(3));
    EXPECT_TRUE(document.look());
    document.resolve(Choice::theirs);
    EXPECT_EQ(document.edit().clips.size(), 3U);
    document.undo();
    document.save();
    EXPECT_EQ(folder.read("my.edit.json"), documentOf(2));

    folder.write("my.edit.json", documentOf(3));
    EXPECT_TRUE(document.look());
    document.resolve(Choice::mine);
    EXPECT_EQ(folder.read("my.edit.json"), documentOf(2));
}

TEST(DocumentTest, WhatCannotBeSavedIsKeptAndSavedLater) {
    const TestFolder folder;
    std::filesystem::create_directory(folder.path / "sub");
    folder.write("sub/my.edit.json", documentOf(2));
    Document document(folder.file("sub/my.edit.json"), {});
    std::filesystem::rename(folder.path / "sub", folder.path / "away");
    apply(document, kSetSeed);
    EXPECT_EQ(document.saving(), Saving::failed);
    EXPECT_NE(document.problem(), "");
    std::filesystem::rename(folder.path / "away", folder.path / "sub");
    document.save();
    EXPECT_EQ(document.saving(), Saving::saved);
    EXPECT_NE(folder.read("sub/my.edit.json").find("\"seed\": 7"), std::string::npos);
}

TEST(DocumentTest, AnEmptyEditIsNotSavedAndAFileThatCameMeanwhileStays) {
    const TestFolder folder;
    Document document(folder.file("my.edit.json"), {});
    document.save();
    EXPECT_EQ(document.saving(), Saving::none);
    EXPECT_FALSE(std::filesystem::exists(folder.file("my.edit.json")));
    folder.write("my.edit.json", "somebody's");
    apply(document, R"([{"op":"add","path":"/clips/-","value":{"black":"1s"}}])");
    EXPECT_EQ(document.saving(), Saving::failed);
    EXPECT_EQ(folder.read("my.edit.json"), "somebody's");
}

}  // namespace
}  // namespace tumblewash::studio
