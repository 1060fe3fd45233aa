// What an MLT project says of an edit, and what it is refused for.
#include <gmock/gmock.h>

#include "edit/Mlt.h"
#include "tests/edit/MediaFolder.h"

namespace tumblewash::edit {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class MltProjectTest : public testing::Test {
  protected:
    static std::string project(const Edit& edit, const RenderSettings& settings = {}) {
        return mltProject(edit, prepareMovie(edit, settings));
    }
    static std::string refusal(const Edit& edit, const RenderSettings& settings = {}) {
        return refusedBy([&] { project(edit, settings); }).words;
    }
    static std::string freeze(int frame, int first, int last) {
        return "      <filter in=\"" + std::to_string(first) + "\" out=\"" + std::to_string(last) +
               "\">\n      <property name=\"mlt_service\">freeze</property>\n"
               "      <property name=\"kdenlive_id\">freeze</property>\n      <property name=\"frame\">" +
               std::to_string(frame) + "</property>\n";
    }

    MediaFolder folder_;
};

TEST_F(MltProjectTest, AMorphHoldsTheInnerPictureOfEachClip) {
    Edit edit = joined({folder_.movie("a.mkv", 20), folder_.movie("b.mkv", 20)}, "morph", 10);
    const std::string text = project(edit);
    EXPECT_THAT(text, HasSubstr("<entry producer=\"clip0\" in=\"0\" out=\"19\">"));
    EXPECT_THAT(text, HasSubstr(freeze(19, 15, 19))) << "the last picture of A over the second half";
    EXPECT_THAT(text, HasSubstr(freeze(0, 0, 4))) << "the first picture of B over the first half";
    // A clip that is cut holds the last picture that is used of it.
    edit.clips[0].in = frames(3);
    edit.clips[0].out = frames(17);
    EXPECT_THAT(project(edit), HasSubstr(freeze(16, 12, 16)));
}

TEST_F(MltProjectTest, OpeningsAndClosingsAreSeamsWithBlack) {
    Edit edit = joined({folder_.movie("a.mkv", 20)});
    edit.opening = EditSeam{};
    edit.opening->effect = "wash-in";
    edit.opening->duration = frames(6);
    edit.closing = EditSeam{};
    edit.closing->effect = "tumble-out";
    edit.closing->duration = frames(8);
    const std::string text = project(edit);
    EXPECT_THAT(text, HasSubstr("frei0r.tumblewash_wash_reveal"));
    EXPECT_THAT(text, HasSubstr("frei0r.tumblewash_tumble_away"));
    EXPECT_THAT(text, HasSubstr("<entry producer=\"black\" in=\"0\" out=\"5\">"));
    EXPECT_THAT(text, HasSubstr("<entry producer=\"black\" in=\"0\" out=\"7\">"));
}

TEST_F(MltProjectTest, CharactersThatXmlHasOtherUsesForAreWrittenByTheirNumbers) {
    const std::string text = project(joined({folder_.photo("a\tb\xC2\x85&<>\"c\x7F.png")}));
    EXPECT_THAT(text, HasSubstr("/a&#9;b&#133;&amp;&lt;&gt;&quot;c&#127;.png</property>"));
}

TEST_F(MltProjectTest, WhatAProjectCannotSayIsRefused) {
    const std::string good = folder_.photo("a.png");
    EXPECT_THAT(refusal(joined({folder_.photo("a\x01.png")})),
                EndsWith("an MLT project cannot hold this name; rename the file or its folder"));
    EXPECT_EQ(refusal(joined({"pattern:city"})),
              "pattern:city: only this program draws it; an MLT project needs files");
    RenderSettings part;
    part.only = RenderRange{TimeSpan{TimeSpan::Unit::Frames, 2}, std::nullopt};
    EXPECT_EQ(refusal(joined({good}), part), "--mlt: a project holds the whole edit; leave --only out");
    Edit cropped = joined({good});
    cropped.output.fit = media::Fit::cover;
    EXPECT_EQ(refusal(cropped), "--mlt: a project shows pictures whole; leave --fit out");
    Edit seeded = joined({good, folder_.photo("b.png")});
    seeded.seams.seed = 1002;
    EXPECT_EQ(refusal(seeded), "--mlt: a project knows the seeds 1 to 1001");
    seeded.seams.seed = 1001;
    EXPECT_THAT(project(seeded), HasSubstr("<property name=\"seed\">1.000</property>"));
}

}  // namespace
}  // namespace tumblewash::edit
