#include <gtest/gtest.h>

#include "edit/Document.h"
#include "edit/Request.h"
#include "studio/Frames.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

/// Two drawn scenes of 320x240 with a wash of ten frames between them.
PlanRef planOfTwo() {
    edit::Edit edit = edit::readEdit(
        R"({"tumblewash": 1, "clips": [{"file": "pattern:harbour?size=320x240&seconds=2"},
            {"file": "pattern:city?size=320x240&seconds=2", "seam": {"effect": "wash-away", "duration": "10f"}}]})",
        "two.edit.json");
    edit::RenderSettings settings;
    settings.planOnly = true;
    return std::make_shared<const Plan>(1, edit, prepareMovie(edit, settings));
}

TEST(FramesTest, ThumbnailsOutliveALongSeam) {
    const PlanRef plan = planOfTwo();
    PictureCaches caches(std::size_t{3} << 20);
    Frames frames(caches, nullptr);
    const edit::PixelSize small = sizeWithin(plan->request.size, Frames::kThumbnail, Frames::kThumbnail);
    for (const std::size_t clip : {0U, 1U}) frames.ofClip(*plan, clip, 3, small, Keep::made);
    const media::PictureRef before = frames.nearMovie(*plan, 45, small);
    ASSERT_TRUE(before);
    // More pictures than there is room for.
    for (int k = 0; k < 40; ++k) frames.ofClip(*plan, 0, k, plan->request.size);
    EXPECT_LE(caches.pictures.bytes(), caches.pictures.room());
    const media::PictureRef after = frames.nearMovie(*plan, 45, small);
    ASSERT_TRUE(after);
    EXPECT_EQ(after.width(), small.width);
}

TEST(FramesTest, APageLooksAtTheMiddleOfTheFirstSeam) {
    const PlanRef plan = planOfTwo();
    EXPECT_EQ(firstLook(*plan), 45);
}

}  // namespace
}  // namespace tumblewash::studio
