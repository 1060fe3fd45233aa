#include <gtest/gtest.h>

#include "edit/ConcatList.h"
#include "edit/Errors.h"
#include "media/StillIO.h"
#include "media/Writer.h"
#include "tests/edit/ExchangeFolder.h"

namespace tumblewash::edit {
namespace {

class ConcatListTest : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"A.mkv", "it's B.mkv"}) {
            media::WriterSettings settings;
            settings.width = settings.height = 32;
            settings.sound = false;
            media::Writer writer = media::Writer::open(folder_.path(name), settings);
            for (int i = 0; i < 50; ++i) writer.writePicture(media::PictureRef::makeArgb(32, 32));
            writer.commit();
        }
    }
    Edit read(const std::string& lines, bool unsafe = false) {
        ExchangeSettings settings;
        settings.unsafePaths = unsafe;
        return readConcat("ffconcat version 1.0\n" + lines, folder_.path("list.ffconcat"), settings,
                          remarks_);
    }
    std::string refusal(const std::string& lines) {
        try {
            read(lines);
        } catch (const Refusal& problem) {
            const std::string words = problem.what();
            return words.substr(folder_.path("list.ffconcat").size());
        }
        return "";
    }

    ExchangeFolder folder_{{"sub/notes.txt"}};
    std::vector<std::string> remarks_;
};

TEST_F(ConcatListTest, FilesAreJoinedByCutsWithInAndOutPoints) {
    const Edit edit = read(
        "# a comment\nfile A.mkv\ninpoint 0.4\noutpoint 00:00:01.2 # ignored\n\nfile 'it'\\''s "
        "B.mkv'\ninpoint 200ms\n");
    ASSERT_EQ(edit.clips.size(), 2U);
    EXPECT_EQ(edit.clips[0].in->value.count, 400000);
    EXPECT_EQ(edit.clips[0].out->value.count, 1200000);
    EXPECT_EQ(edit.clips[1].file, folder_.path("it's B.mkv"));
    EXPECT_EQ(edit.clips[1].in->value.count, 200000);
    EXPECT_EQ(edit.clips[1].seam->effect, "none");
}

TEST_F(ConcatListTest, NamesThatLeadOutOfTheFolderAreRefused) {
    std::filesystem::create_symlink("/etc/hostname", folder_.path("link.mkv"));
    EXPECT_NE(refusal("file /etc/hostname\n")
                  .find(":2: /etc/hostname: the name does not begin in the list's folder; --unsafe-paths"),
              std::string::npos);
    EXPECT_NE(refusal("file link.mkv\n").find("it lies outside the list's folder"), std::string::npos);
    EXPECT_NE(refusal("file ../" + std::filesystem::path(folder_.path()).filename().string() + "x/A.mkv\n")
                  .find("outside"),
              std::string::npos);
    EXPECT_NE(refusal("file http://example.org/a.mkv\n").find("an address, not a file"), std::string::npos);
    EXPECT_NE(refusal("file sub\n").find("not a regular file"), std::string::npos);
    EXPECT_EQ(read("file " + folder_.path("A.mkv") + "\n", true).clips.size(), 1U);
}

TEST_F(ConcatListTest, WhatIsNoListIsRefusedWithItsLine) {
    EXPECT_NE(refusal("fiel A.mkv\n").find(":2: fiel is not a directive of a concat list"),
              std::string::npos);
    EXPECT_NE(refusal("option x y\n").find(":2: the option directive"), std::string::npos);
    EXPECT_NE(refusal("inpoint 1\n").find(":2: inpoint stands before any file"), std::string::npos);
    EXPECT_NE(refusal("file A.mkv\ninpoint -1\n").find(":3: inpoint is negative"), std::string::npos);
    EXPECT_NE(refusal("file A.mkv\ninpoint abc\n").find(":3: abc is not a time"), std::string::npos);
    EXPECT_NE(refusal("file A.mkv\ninpoint 1\noutpoint 1\n").find("not after the inpoint"),
              std::string::npos);
    EXPECT_NE(refusal("file 'A.mkv\n").find(":2:"), std::string::npos);
    EXPECT_NE(refusal("").find("names no file"), std::string::npos);
    EXPECT_THROW(readConcat("file A.mkv\n", "x.ffconcat", {}, remarks_), Refusal);
    EXPECT_THROW(readConcat("\xEF\xBB\xBF"
                            "ffconcat version 1.0\nfile A.mkv\n",
                            "x.ffconcat", {}, remarks_),
                 Refusal);
}

TEST_F(ConcatListTest, WrittenAndReadAgainKeepsTheTrims) {
    CutList list;
    list.rate = {25, 1};
    CutClip a;
    a.file = folder_.path("A.mkv");
    a.in = 5;
    a.out = 37;
    CutClip b;
    b.file = folder_.path("it's B.mkv");
    b.out = 50;
    list.clips = {a, b};
    list.seams = {std::nullopt};
    std::vector<std::string> said;
    const std::string text = concatText(list, folder_.path(), said);
    EXPECT_NE(text.find("file 'it'\\''s B.mkv'\n"), std::string::npos) << text;
    EXPECT_EQ(said.back(), "ffmpeg takes these names only with -safe 0");
    const Edit edit = readConcat(text, folder_.path("list.ffconcat"), {}, said);
    EXPECT_EQ(edit.clips[0].in->value.frames(list.rate), 5);
    EXPECT_EQ(edit.clips[0].out->value.frames(list.rate), 37);
    EXPECT_EQ(edit.clips[1].out->value.frames(list.rate), 50);
}

TEST_F(ConcatListTest, StillsLastTheirDurationAndTheLastMayStandTwice) {
    writePng(folder_.path("p.png"), media::PictureRef::makeArgb(32, 32));
    const Edit edit =
        read("file p.png\nduration 1.5\nfile A.mkv\nduration 3\nfile p.png\nduration 2\nfile p.png\n");
    ASSERT_EQ(edit.clips.size(), 3U) << "ffmpeg needs the last picture once more; it lasts no time";
    EXPECT_EQ(edit.clips[0].length->value.count, 1500000);
    EXPECT_FALSE(edit.clips[1].length);
    EXPECT_EQ(edit.clips[2].length->value.count, 2000000);
    EXPECT_EQ(remarks_, std::vector<std::string>{"duration cuts nothing from a movie; outpoint does"});
    EXPECT_EQ(refusal("file p.png\nduration 0\n"), ":2: a still that lasts no time");
}

TEST_F(ConcatListTest, DirectivesThatChangeNoPictureAreLeftOutAndSaidOnce) {
    const Edit edit = read("file A.mkv\nstream\nstream\nfile_packet_meta a b\nfile missing.mkv\n");
    EXPECT_EQ(remarks_, (std::vector<std::string>{"stream of the list is left out",
                                                  "file_packet_meta of the list is left out"}));
    EXPECT_EQ(edit.clips[1].file, folder_.path("missing.mkv")) << "refused with all others that are missing";
    EXPECT_NE(refusal("file ../missing.mkv\n").find("it lies outside the list's folder"), std::string::npos);
}

TEST_F(ConcatListTest, WhatAListCannotSayIsRefused) {
    CutList list;
    CutClip clip;
    clip.out = 5;
    list.clips = {clip};
    const auto refused = [&](const std::string& file) {
        list.clips[0].file = file;
        try {
            concatText(list, folder_.path(), remarks_);
        } catch (const Refusal& problem) {
            return std::string(problem.what());
        }
        return std::string();
    };
    EXPECT_EQ(refused(""), "a concat list cannot hold black; use .otio or .edl");
    EXPECT_EQ(refused("pattern:city"),
              "pattern:city: this program draws it itself; other programs need a file");
    EXPECT_EQ(refused("a\nb.mkv"), "a\\nb.mkv: a concat list cannot hold a name with a line break");
    list.clips[0].still = true;
    list.clips[0].file = folder_.path("p.png");
    EXPECT_NE(concatText(list, folder_.path(), remarks_).find("file 'p.png'\nduration 0.200000\n"),
              std::string::npos);
}

}  // namespace
}  // namespace tumblewash::edit
