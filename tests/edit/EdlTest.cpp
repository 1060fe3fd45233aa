#include <gtest/gtest.h>

#include "edit/Edl.h"
#include "edit/Errors.h"
#include "tests/edit/ExchangeFolder.h"

namespace tumblewash::edit {
namespace {

constexpr const char* kExample25 = R"(TITLE: EXAMPLE 1
FCM: NON-DROP FRAME
001  A        V     C        00:00:00:00 00:00:04:00 01:00:00:00 01:00:04:00
* FROM CLIP NAME: A.mp4
002  B        V     C        00:00:00:10 00:00:03:09 01:00:04:00 01:00:06:24
* FROM CLIP NAME: B.mp4
003  B        V     C        00:00:03:09 00:00:03:09 01:00:06:24 01:00:06:24
003  C        V     D 026    00:00:00:05 00:00:03:10 01:00:06:24 01:00:10:04
* FROM CLIP NAME: B.mp4
* TO CLIP NAME: C.mp4
)";

constexpr const char* kExampleDrop = R"(TITLE: EXAMPLE 2
FCM: DROP FRAME
001  BL       V     C        00:00:00;00 00:00:00;00 01:00:58;00 01:00:58;00
001  A        V     D 030    00:00:00;00 00:00:04;00 01:00:58;00 01:01:02;02
* TO CLIP NAME: A.mp4
002  A        V     C        00:00:04;00 00:00:04;00 01:01:02;02 01:01:02;02
002  B        V     W001 030 00:00:10;00 00:00:14;00 01:01:02;02 01:01:06;02
* FROM CLIP NAME: A.mp4
* TO CLIP NAME: B.mp4
)";

class EdlTest : public testing::Test {
  protected:
    CutList read(const std::string& text, const ExchangeSettings& settings = {}) {
        MediaFinder finder = folder_.finder(settings.media);
        return readEdl(text, "x.edl", settings, finder, remarks_);
    }
    std::string refusal(const std::string& text, const ExchangeSettings& settings = {}) {
        try {
            read(text, settings);
        } catch (const Refusal& problem) {
            return problem.what();
        }
        return "";
    }
    static ExchangeSettings at(std::int64_t num, std::int64_t den = 1) {
        ExchangeSettings settings;
        settings.fps = media::FrameRate{num, den};
        return settings;
    }

    ExchangeFolder folder_{{"A.mp4", "B.mp4", "C.mp4", "Tape one.mov"}};
    std::vector<std::string> remarks_;
};

TEST_F(EdlTest, ADissolveRunsOnFromTheEventBefore) {
    const CutList list = read(kExample25, at(25));
    EXPECT_EQ(list.frames(), 254);
    EXPECT_EQ(trimsOf(editOf(list, moviesOf(1000), remarks_)), "A 0..100 B 10..110 C 5..85 <26>");
}

TEST_F(EdlTest, DropFrameTellsTheRateAndBlackOpens) {
    const CutList list = read(kExampleDrop);
    EXPECT_EQ(list.rate, (media::FrameRate{30000, 1001}));
    EXPECT_EQ(list.frames(), 240);
    ASSERT_TRUE(list.opening);
    EXPECT_EQ(list.opening->frames(), 30);
    EXPECT_EQ(trimsOf(editOf(list, moviesOf(1000), remarks_)), "A 0..150 B 300..420 <30>");
}

TEST_F(EdlTest, WrittenAsOldEditorsTakeIt) {
    CutList list = read(kExample25, at(25));
    // As the edit has it: half of the seam on each side of the cut.
    list.clips[1].out = 97;
    list.clips[2].in = 18;
    list.seams[1]->before = list.seams[1]->after = 13;
    list.seams[1]->effect = "wash-away";
    std::vector<std::string> said;
    EXPECT_EQ(edlText(list, said), R"(TITLE: EXAMPLE 1
FCM: NON-DROP FRAME
001  A        V     C       00:00:00:00 00:00:04:00 01:00:00:00 01:00:04:00
* FROM CLIP NAME: A.mp4
* TUMBLEWASH: rate=25
002  B        V     C       00:00:00:10 00:00:03:09 01:00:04:00 01:00:06:24
* FROM CLIP NAME: B.mp4
003  B        V     C       00:00:03:09 00:00:03:09 01:00:06:24 01:00:06:24
003  C        V     D 026   00:00:00:05 00:00:03:10 01:00:06:24 01:00:10:04
* FROM CLIP NAME: B.mp4
* TO CLIP NAME: C.mp4
* TUMBLEWASH: effect=wash-away placement=overlap
)");
}

TEST_F(EdlTest, WrittenAndReadAgainKeepsEveryFrame) {
    for (const media::FrameRate rate : {media::FrameRate{24000, 1001}, media::FrameRate{25, 1},
                                        media::FrameRate{30000, 1001}, media::FrameRate{60000, 1001}}) {
        CutList list;
        list.rate = rate;
        const auto put = [&](const std::string& file, std::int64_t in, std::int64_t out) {
            CutClip clip;
            clip.name = file.empty() ? "black" : file;
            clip.file = file.empty() ? "" : folder_.path(file);
            clip.in = in;
            clip.out = out;
            list.clips.push_back(clip);
        };
        put("A.mp4", 0, 1823);
        put("B.mp4", 40, 40 + 17982);
        put("", 0, 37);
        put("C.mp4", 30, 3001);
        CutSeam wash{"wash-away", false, 12, 12, kPluginDirectionLeft, 7, host::AudioPolicy::natural};
        CutSeam morph{"morph", true, 10, 10, {}, 3, {}};
        list.seams = {wash, std::nullopt, wash};
        list.opening = CutSeam{"tumble-in", false, 0, 30, {}, 1, {}};
        list.closing = CutSeam{"wash-out", false, 16, 0, {}, 1, {}};
        std::vector<std::string> said;
        const CutList got = read(edlText(list, said));
        ASSERT_EQ(got.clips.size(), list.clips.size());
        EXPECT_EQ(got.rate, rate);
        EXPECT_EQ(got.frames(), list.frames());
        const Edit before = editOf(list, moviesOf(100000), said);
        const Edit after = editOf(got, moviesOf(100000), said);
        EXPECT_EQ(trimsOf(after), trimsOf(before));
        EXPECT_EQ(after.clips[1].seam, before.clips[1].seam);
        EXPECT_EQ(after.opening, before.opening);
        EXPECT_EQ(after.closing, before.closing);

        list.seams = {morph, std::nullopt, std::nullopt};
        const Edit halves = editOf(read(edlText(list, said)), moviesOf(100000), said);
        EXPECT_EQ(halves.clips[1].seam, editOf(list, moviesOf(100000), said).clips[1].seam);
    }
}

TEST_F(EdlTest, GapsAreBlackAndOverlapsAreRefused) {
    const CutList list = read(
        "001 A V C 00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00\n* FROM CLIP NAME: A.mp4\n"
        "002 B V C 00:00:00:00 00:00:01:00 01:00:03:00 01:00:04:00\n* FROM CLIP NAME: B.mp4\n",
        at(25));
    EXPECT_EQ(trimsOf(editOf(list, moviesOf(1000), remarks_)), "A 0..25 black for 50 B 0..25");
    EXPECT_NE(refusal("001 A V C 00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00\n"
                      "002 A V C 00:00:00:00 00:00:01:00 01:00:00:20 01:00:01:20\n",
                      at(25))
                  .find("x.edl:2: begins 5 frames before the end"),
              std::string::npos);
}

TEST_F(EdlTest, ImpossibleEventsAreRefusedWithTheirLine) {
    const auto one = [](const std::string& kind, const std::string& times) {
        return "TITLE: X\n001  A  V  " + kind + "  " + times + "\n";
    };
    const std::string plain = "00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00";
    EXPECT_NE(refusal(one("K B", plain), at(25)).find("x.edl:2: keys"), std::string::npos);
    EXPECT_NE(refusal(one("D 010", plain), at(25)).find("x.edl:2: event 1 has a transition but no line"),
              std::string::npos);
    EXPECT_NE(refusal(one("C", "00:00:00:00 00:00:01:00 01:00:00:00 01:00:02:00"), at(25))
                  .find("the source lasts 25 frames and the record 50"),
              std::string::npos);
    EXPECT_NE(refusal(one("C", "00:00:00:25 00:00:01:25 01:00:00:00 01:00:01:00"), at(25))
                  .find("frame 25 does not exist at 25 frames per second"),
              std::string::npos);
    EXPECT_NE(refusal(one("C", "00:00:00:00 00:00:01:00 01:00:00:00"), at(25)).find("x.edl:2:"),
              std::string::npos);
    EXPECT_NE(refusal("FCM: DROP FRAME\n001 A V C 00:01:00;00 00:01:01;00 01:00:00;00 01:00:00;28\n")
                  .find("one that drop-frame"),
              std::string::npos);
    EXPECT_NE(refusal("FCM: DROP FRAME\n" + one("C", plain), at(25))
                  .find("drop-frame time codes do not exist at 25"),
              std::string::npos);
    EXPECT_NE(refusal("nothing\n", at(25)).find("no event"), std::string::npos);
    EXPECT_NE(refusal("001 A V C 00:00:00:00 00:00:00:10 01:00:00:00 01:00:00:10\n001 B V D 020 00:00:00:00 "
                      "00:00:00:10 01:00:00:10 01:00:00:20\n",
                      at(25))
                  .find("x.edl:2: the transition of 20 frames is longer than its event of 10"),
              std::string::npos);
}

TEST_F(EdlTest, ClipsAreFoundByNameOrReel) {
    const CutList list = read(
        "001 TAPEONE V C 00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00\n"
        "002 AX V C 00:00:00:00 00:00:01:00 01:00:01:00 01:00:02:00\n* SOURCE FILE: C\n"
        "003 R 12 V C 00:00:00:00 00:00:01:00 01:00:02:00 01:00:03:00\n*FROM CLIP NAME : B.mxf\n",
        at(25));
    EXPECT_EQ(list.clips[0].file, folder_.path("Tape one.mov"));
    EXPECT_EQ(list.clips[1].file, folder_.path("C.mp4"));
    EXPECT_EQ(list.clips[2].file, folder_.path("B.mp4"));
    const std::string missing =
        refusal("001 ZZZ V C 00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00\n", at(25));
    EXPECT_NE(missing.find("reel ZZZ: no such file; say where the files are: --media FOLDER"),
              std::string::npos)
        << missing;
}

TEST_F(EdlTest, WhatIsReadOverIsSaid) {
    read(
        "001 A V C 00:00:00:00 00:00:01:00 01:00:00:00 01:00:02:00\n* FROM CLIP NAME: A.mp4\nM2   A   012.5  "
        " 00:00:00:00\n"
        "* ASC_SOP (1 1 1)\n002 A A C 00:00:00:00 00:00:01:00 01:00:02:00 01:00:03:00\n",
        at(25));
    EXPECT_EQ(remarks_,
              (std::vector<std::string>{"2 lines of the list are ignored: sound, notes and colour",
                                        "changes of speed are ignored: 1 clip plays at normal speed"}));
}

TEST_F(EdlTest, CommentsNameTheFileInSeveralWays) {
    const auto fileOf = [&](const std::string& comment) {
        remarks_.clear();
        const std::string event =
            "001 AX V C 00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00\n* FROM CLIP NAME: A.mp4\n";
        return read(event + comment + "\n", at(25)).clips[0].file;
    };
    EXPECT_EQ(fileOf("* FROM CLIP: B.mp4"), folder_.path("B.mp4"));
    EXPECT_EQ(fileOf("* FROM FILE: C.mp4"), folder_.path("C.mp4"));
    EXPECT_TRUE(remarks_.empty());
    for (const char* other : {"*", "* SOURCE FILES ELSEWHERE", "* a note"}) {
        EXPECT_EQ(fileOf(other), folder_.path("A.mp4")) << other;
        EXPECT_EQ(remarks_,
                  std::vector<std::string>{"1 line of the list is ignored: sound, notes and colour"});
    }
    for (const char* slow : {"* FREEZE FRAME", "M2 AX 012.5 00:00:00:00", "M2 OTHER 012.5 00:00:00:00"}) {
        EXPECT_EQ(fileOf(slow), folder_.path("A.mp4")) << slow;
        EXPECT_EQ(remarks_,
                  std::vector<std::string>{"changes of speed are ignored: 1 clip plays at normal speed"});
    }
}

TEST_F(EdlTest, LinesThatMeanNothingAreRefused) {
    const std::string plain = "00:00:00:00 00:00:01:00 01:00:00:00 01:00:01:00\n";
    EXPECT_EQ(refusal("FCM: SOMETIMES\n001 A V C " + plain, at(25)),
              "x.edl:1: FCM is DROP FRAME or NON-DROP FRAME, not SOMETIMES");
    EXPECT_EQ(refusal("001 A V X " + plain, at(25)), "x.edl:1: unknown event type X; use C, D or W");
    EXPECT_EQ(refusal("001 A V D " + plain, at(25)),
              "x.edl:1: a dissolve or wipe needs its length in frames");
    EXPECT_EQ(refusal("001 BARS V C " + plain, at(25)),
              "x.edl:1: the reel BARS is a test picture of the editing system; replace it");
    EXPECT_EQ(refusal("M2 A 012.5 00:00:00:00\n", at(25)), "x.edl:1: M2 without an event before it");
}

TEST_F(EdlTest, ADissolvesFirstLineMayHaveALengthOfItsOwn) {
    const CutList list = read(
        "001 A V C     00:00:00:00 00:00:04:00 01:00:00:00 01:00:04:00\n"
        "001 B V D 026 00:00:00:05 00:00:03:10 01:00:04:00 01:00:07:05\n"
        "* FROM CLIP NAME: A.mp4\n* TO CLIP NAME: B.mp4\n",
        at(25));
    EXPECT_EQ(list.frames(), 180);
    EXPECT_EQ(trimsOf(editOf(list, moviesOf(1000), remarks_)), "A 0..126 B 5..85 <26>");
}

TEST_F(EdlTest, ADissolveFromAnotherClipThanTheOneBeforeBeginsWithACut) {
    const auto text = [](const std::string& from) {
        return "001 A  V C     00:00:00:00 00:00:02:00 01:00:00:00 01:00:02:00\n* FROM CLIP NAME: A.mp4\n"
               "002 AX V C     00:00:05:00 00:00:05:00 01:00:02:00 01:00:02:00\n"
               "002 C  V D 010 00:00:00:05 00:00:01:05 01:00:02:00 01:00:03:00\n" +
               from + "* TO CLIP NAME: C.mp4\n";
    };
    const CutList list = read(text("* FROM CLIP NAME: B.mp4\n"), at(25));
    EXPECT_EQ(list.frames(), 75);
    EXPECT_EQ(trimsOf(editOf(list, moviesOf(1000), remarks_)), "A 0..50 B 125..135 C 5..30 <10>");
    EXPECT_EQ(refusal(text(""), at(25)),
              "x.edl:3: the previous clip does not continue here, and no other is named; add FROM CLIP NAME");
}

TEST_F(EdlTest, EachFileHasAReelOfItsOwn) {
    CutList list;
    for (const char* file : {"/one/A.mp4", "/two/A.mov", "/one/BL.mp4", "/one/AX.mp4", "/three/a.mp4"}) {
        CutClip clip;
        clip.file = file;
        clip.out = 10;
        list.clips.push_back(clip);
    }
    list.seams.resize(4);
    std::vector<std::string> said;
    const std::string text = edlText(list, said);
    for (const char* line :
         {"001  A        V", "002  A2       V", "003  CLIP     V", "004  AX2      V", "005  A3       V"})
        EXPECT_NE(text.find(line), std::string::npos) << line << '\n' << text;
}

TEST_F(EdlTest, WhatAListCannotSayIsRefused) {
    CutList list;
    CutClip clip;
    clip.file = folder_.path("A.mp4");
    clip.out = 10;
    list.clips = {clip};
    list.rate = {120, 1};
    std::vector<std::string> said;
    const auto refused = [&] {
        try {
            edlText(list, said);
        } catch (const Refusal& problem) {
            return std::string(problem.what());
        }
        return std::string();
    };
    EXPECT_EQ(refused(), "an EDL counts frames in two digits; 120 frames per second are too many");
    list.rate = {25, 1};
    EXPECT_EQ(refused(), "");
    list.clips[0].file = "pattern:city";
    EXPECT_EQ(refused(), "pattern:city: this program draws it itself; other programs need a file");
}

}  // namespace
}  // namespace tumblewash::edit
