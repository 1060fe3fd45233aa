// The same edit through every format of other programs; cut lists; start time codes.
#include <gmock/gmock.h>

#include <fstream>

#include "edit/Exchange.h"
#include "edit/StartCode.h"
#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

class ExchangeTest : public testing::Test {
  protected:
    std::string written(const std::string& name, const Edit& edit) {
        const std::string text = exchangeText(folder_.path(name), edit, prepareMovie(edit, {}), remarks_);
        std::ofstream(folder_.path(name)) << text;
        return text;
    }
    Edit again(const std::string& name) {
        std::vector<std::string> said;
        return readExchange(folder_.path(name), {}, said);
    }

    MediaFolder folder_;
    std::vector<std::string> remarks_;
};

TEST_F(ExchangeTest, CutsAndTrimsComeBackFromEveryFormat) {
    Edit edit = joined({folder_.movie("A.mkv", 30), folder_.movie("B.mkv", 40)}, "none");
    edit.clips[0].in = frames(5);
    edit.clips[1].out = frames(22);
    const std::int64_t whole = prepareMovie(edit, {}).plan.frames;
    EXPECT_EQ(whole, 47);
    for (const char* name : {"e.otio", "e.edl", "e.ffconcat", "E2.EDL"}) {
        written(name, edit);
        const MovieRequest request = prepareMovie(again(name), {});
        EXPECT_EQ(request.plan.frames, whole) << name;
        EXPECT_EQ(request.clips[0].in(), 5) << name;
        EXPECT_EQ(request.clips[1].frames(), 22) << name;
        EXPECT_EQ(request.rate, (media::FrameRate{25, 1})) << name;
    }
    EXPECT_THAT(written("e.ffconcat", edit), HasSubstr("file 'A.mkv'\ninpoint 0.200000\n"));
    const Refused refused = refusedBy([&] { written("e.xml", edit); });
    EXPECT_THAT(refused.words, EndsWith("e.xml: use one of .otio, .edl, .ffconcat"));
}

TEST_F(ExchangeTest, ASeamStandsOverItsCutInEveryFormatThatKnowsSeams) {
    const Edit edit = joined({folder_.movie("A.mkv", 30), folder_.movie("B.mkv", 40)}, "tumble-away", 8);
    for (const char* name : {"s.otio", "s.edl"}) {
        written(name, edit);
        const Edit got = again(name);
        const MovieRequest request = prepareMovie(got, {});
        EXPECT_EQ(request.plan.frames, 62) << name;
        EXPECT_EQ(request.seams[0].effect.id, "tumble-away") << name;
        EXPECT_EQ(request.seams[0].frames, 8) << name;
    }
    remarks_.clear();
    written("s.ffconcat", edit);
    EXPECT_EQ(remarks_.front(), "a concat list has cuts alone: seams become cuts in their middle");
    EXPECT_EQ(prepareMovie(again("s.ffconcat"), {}).plan.frames, 62);
}

TEST_F(ExchangeTest, AConcatListIsReadAtTheRateAskedFor) {
    folder_.movie("A.mkv", 30);
    std::ofstream(folder_.path("l.ffconcat")) << "ffconcat version 1.0\nfile A.mkv\n";
    ExchangeSettings settings;
    settings.fps = media::FrameRate{50, 1};
    const Edit edit = readExchange(folder_.path("l.ffconcat"), settings, remarks_);
    EXPECT_EQ(prepareMovie(edit, {}).plan.frames, 60);
    EXPECT_EQ(edit.output.rate->words, "50");
}

TEST_F(ExchangeTest, AStartTimeCodeIsAFrameNumberAtAnyRate) {
    const std::string coded = folder_.path("coded.mov"), plain = folder_.movie("plain.mkv", 2);
    ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i color=size=32x32:rate=25 -frames:v 5 -c:v mjpeg "
                           "-timecode 01:00:00:05 '" +
                           coded + "'")
                              .c_str()),
              0);
    EXPECT_EQ(startFrameOf(coded, {25, 1}), 90005);
    EXPECT_EQ(startFrameOf(coded, {50, 1}), 180010);
    EXPECT_EQ(startFrameOf(plain, {25, 1}), 0);
    EXPECT_EQ(startFrameOf("pattern:city", {25, 1}), 0);
    // What an EDL calls by the code is the file's first picture, and comes back as it.
    Edit edit = joined({coded}, "none");
    edit.clips[0].in = frames(2);
    EXPECT_THAT(written("c.edl", edit), HasSubstr("01:00:00:07 01:00:00:10 01:00:00:00 01:00:00:03"));
    EXPECT_EQ(prepareMovie(again("c.edl"), {}).clips[0].in(), 2);
}

class CutListTest : public testing::Test {
  protected:
    static CutClip clip(const std::string& name, std::int64_t in, std::int64_t out) {
        CutClip made;
        made.name = made.file = name;
        made.in = in;
        made.out = out;
        return made;
    }
    /// A and B of `framesA` and 100 frames, joined by a seam of `before` and `after` frames.
    Edit seamed(std::int64_t framesA, std::int64_t inB, std::int64_t before, std::int64_t after) {
        CutList list;
        list.clips = {clip("A", 0, 50), clip("B", inB, 60)};
        list.seams = {CutSeam{"wash-away", false, before, after, {}, {}, {}}};
        const AskFile ask = [&](const std::string& file, media::FrameRate) {
            return FileFacts{false, file == "A" ? framesA : 100};
        };
        return editOf(list, ask, remarks_);
    }

    std::vector<std::string> remarks_;
};

TEST_F(CutListTest, AnOddSeamThatCannotGrowLosesAFrame) {
    EXPECT_EQ(trimsOf(seamed(53, 2, 2, 3)), "A 0..52 B 0..60 <4>");
    EXPECT_THAT(remarks_, ElementsAre("seam 1: 4 frames instead of 5: effects need an even number"));
    EXPECT_EQ(trimsOf(seamed(52, 3, 3, 2)), "A 0..end B 1..60 <4>");
    EXPECT_EQ(trimsOf(seamed(53, 9, 2, 3)), "A 0..end B 6..60 <6>") << "one more where one is left";
}

TEST_F(CutListTest, TrimsBeyondAFileAreRefusedWithBothNumbers) {
    EXPECT_EQ(refusedBy([&] { seamed(40, 2, 2, 2); }).words,
              "A: frames 0 to 50 are wanted, and the file has 40 at 25 frames per second");
}

TEST_F(CutListTest, AnOddFadeAtAnEndLosesAFrame) {
    CutList list;
    list.clips = {clip("A", 0, 50)};
    list.opening = CutSeam{"wash-in", false, 0, 21, {}, {}, {}};
    list.closing = CutSeam{"wash-out", false, 1, 0, {}, {}, {}};
    const Edit edit = editOf(list, moviesOf(50), remarks_);
    EXPECT_EQ(edit.opening->duration->value.count, 20);
    EXPECT_FALSE(edit.closing) << "a single frame is a cut";
    EXPECT_THAT(remarks_, ElementsAre("opening: 20 frames instead of 21: effects need an even number",
                                      "closing: 0 frames instead of 1: effects need an even number"));
}

}  // namespace
}  // namespace tumblewash::edit
