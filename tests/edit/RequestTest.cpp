// What an edit is refused for before anything is rendered, in which words.
#include <gmock/gmock.h>

#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class RequestTest : public testing::Test {
  protected:
    static std::string refusal(const Edit& edit, const RenderSettings& settings = {}) {
        const Refused refused = refusedBy([&] { prepareMovie(edit, settings); });
        EXPECT_EQ(refused.problem, Problem::BadRequest) << refused.words;
        return refused.words;
    }
    static RenderSettings to(const std::string& output) {
        RenderSettings settings;
        settings.output = output;
        return settings;
    }

    MediaFolder folder_;
};

TEST_F(RequestTest, AStillLastsAtLeastAFrame) {
    Edit edit = joined({folder_.photo("a.png")});
    edit.still = {{TimeSpan::Unit::Microseconds, 10000}, "10ms"};
    EXPECT_THAT(refusal(edit),
                EndsWith("a.png: 10ms is shorter than one frame at 25 frames per second; give a "
                         "longer time"));
    edit.clips[0].in = frames(2);
    edit.clips[0].out = frames(12);
    EXPECT_EQ(prepareMovie(edit, {}).clips[0].frames(), 10);
    edit.clips[0].out = frames(2);
    EXPECT_THAT(refusal(edit), EndsWith("a.png: nothing is left between in and out"));
}

TEST_F(RequestTest, AMovieIsUsedBetweenInAndOut) {
    Edit edit = joined({folder_.movie("a.mkv", 20)});
    edit.clips[0].in = frames(4);
    edit.clips[0].out = frames(9);
    EXPECT_EQ(prepareMovie(edit, {}).clips[0].frames(), 5);
    EXPECT_EQ(prepareMovie(edit, {}).clips[0].in(), 4);
    edit.clips[0].in = frames(9);
    EXPECT_THAT(refusal(edit), EndsWith("a.mkv: nothing is left between in 9f and out 9f"));
    edit.clips[0].in.reset();
    edit.clips[0].out = frames(0);
    EXPECT_THAT(refusal(edit), EndsWith("a.mkv: nothing is left between in 0 and out 0f"));
    edit.clips[0].out.reset();
    edit.clips[0].length = frames(5);
    EXPECT_THAT(refusal(edit), EndsWith("a.mkv: length is for stills and black; give in and out"));
}

TEST_F(RequestTest, SizesOutsideTheLimitsAreRefusedWithOneThatFits) {
    Edit edit = joined({folder_.photo("a.png"), folder_.photo("b.png")});
    edit.output.size = PixelSize{10, 40};
    EXPECT_EQ(refusal(edit), "--size 10x40: both edges must be 16 or more; give a larger --size");
    edit.output.size = PixelSize{8190, 400};
    EXPECT_EQ(refusal(edit),
              "--size 8190x400: effects reach 4095 pixels across and 16384 down; give --size 4094x200");
    edit.output.size = PixelSize{65, 48};
    EXPECT_EQ(refusal(edit, to(folder_.path("out.mp4"))),
              "--size 65x48: movies need even edges; give --size 66x48");
    edit.seams.effect = "none";
    edit.output.size = PixelSize{8190, 400};
    EXPECT_EQ(prepareMovie(edit, {}).size, (PixelSize{8190, 400})) << "cuts are copied, whatever their size";
    edit.output.size = PixelSize{20000, 100};
    EXPECT_EQ(refusal(edit),
              "--size 20000x100: pictures reach 16384 pixels across and 16384 down; give --size 16384x80");
}

TEST_F(RequestTest, BlackAloneNeedsASize) {
    Edit edit = joined({""});
    edit.clips[0].length = frames(5);
    EXPECT_EQ(refusal(edit), "black alone has no size; give --size");
    edit.output.size = PixelSize{64, 48};
    EXPECT_EQ(prepareMovie(edit, {}).plan.frames, 5);
}

TEST_F(RequestTest, AResultHasALimitOfItsLength) {
    Edit edit = joined({folder_.photo("a.png")});
    edit.still = {{TimeSpan::Unit::Microseconds, 3725000000}, {}};
    RenderSettings settings;
    settings.longest = {TimeSpan::Unit::Microseconds, 3600000000};
    EXPECT_EQ(refusal(edit, settings),
              "the result would last 1:02:05 (93125 frames), more than 1:00:00; raise "
              "--max-duration if that is intended");
    settings.only = RenderRange{std::nullopt, TimeSpan{TimeSpan::Unit::Frames, 90000}};
    EXPECT_EQ(prepareMovie(edit, settings).end, 90000) << "what is left out does not count";
}

TEST_F(RequestTest, AnEffectForAnotherPlaceSaysWhereItBelongs) {
    const std::vector<std::string> files{folder_.photo("a.png"), folder_.photo("b.png")};
    EXPECT_EQ(refusal(joined(files, "wash-out")),
              "wash-out works at the end of a single clip; use tumblewash out, or a closing");
    EXPECT_EQ(refusal(joined(files, "tilt-in")),
              "tilt-in works at the start of a single clip; use tumblewash in, or an opening");
    Edit edit = joined(files);
    edit.opening = EditSeam{};
    edit.opening->effect = "morph";
    EXPECT_EQ(refusal(edit), "morph works between two clips; use tumblewash join");
    edit.opening.reset();
    edit.closing = EditSeam{};
    edit.closing->effect = "wash-in";
    EXPECT_EQ(refusal(edit), "wash-in works at the start of a single clip; use tumblewash in, or an opening");
}

TEST_F(RequestTest, ASpeedInPlaceOfALengthIsThePluginsOwn) {
    Edit edit = joined({folder_.movie("a.mkv", 100), folder_.movie("b.mkv", 100)});
    edit.seams.duration.reset();
    for (const float speed : {0.25F, 0.5F}) {
        edit.seams.speed = Written<float>{speed, {}};
        const MovieRequest request = prepareMovie(edit, {});
        EXPECT_EQ(request.seams[0].frames, findEffect(openPlugin(""), "wash-away", speed).info.frames);
        EXPECT_EQ(request.plan.frames, 200 - request.seams[0].frames);
    }
}

TEST_F(RequestTest, AModuleThatIsNoneIsRefusedAsAnInput) {
    Edit edit = joined({folder_.photo("a.png")});
    RenderSettings settings;
    settings.plugin = folder_.path("nowhere.so");
    const Refused refused = refusedBy([&] { prepareMovie(edit, settings); });
    EXPECT_EQ(refused.problem, Problem::BadInput);
    EXPECT_THAT(refused.words, HasSubstr("nowhere.so"));
}

}  // namespace
}  // namespace tumblewash::edit
