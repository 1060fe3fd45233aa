#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "edit/Errors.h"
#include "edit/SeamLengths.h"

namespace tumblewash::edit {
namespace {

using testing::ElementsAre;

constexpr std::int64_t kUsual = 26;

std::vector<PlannedClip> clips(const std::vector<std::int64_t>& lengths) {
    std::vector<PlannedClip> clips;
    for (const std::int64_t length : lengths) clips.push_back({"clip", length});
    return clips;
}

std::vector<std::int64_t> washes(const std::vector<std::int64_t>& lengths) {
    return fitSeams(clips(lengths),
                    std::vector<SeamWish>(lengths.size() - 1, {"wash-away", Placement::Overlap, {}}), {}, {},
                    kUsual);
}

TEST(SeamLengthsTest, SeamsShareWhatTheirClipsHave) {
    EXPECT_THAT(washes({50, 50, 50}), ElementsAre(24, 24));
    EXPECT_THAT(washes({100, 7, 100}), ElementsAre(2, 2));
    EXPECT_THAT(washes({51, 52, 9, 300}), ElementsAre(26, 4, 4));
    EXPECT_THAT(washes({100, 100}), ElementsAre(26));
}

TEST(SeamLengthsTest, AShareOfLessThanTwoFramesIsRefusedWithTheNumbers) {
    try {
        washes({100, 3, 100});
        FAIL();
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.problem(), Problem::BadRequest);
        EXPECT_THAT(refusal.what(), testing::StartsWith("clip: 3 frames are too few: 2 seams share them"));
    }
}

TEST(SeamLengthsTest, TheMorphTakesHalfFromEachSide) {
    const SeamWish morph{"morph", Placement::Halves, {}};
    EXPECT_THAT(fitSeams(clips({7, 100}), {morph}, {}, {}, kUsual), ElementsAre(14));
    EXPECT_THAT(fitSeams(clips({1, 100}), {morph}, {}, {}, kUsual), ElementsAre(2));
}

TEST(SeamLengthsTest, GivenLengthsStayAndAreTakenFirst) {
    const SeamWish given{"wash-away", Placement::Overlap, 40};
    const SeamWish open{"wash-away", Placement::Overlap, {}};
    EXPECT_THAT(fitSeams(clips({100, 50, 100}), {given, open}, {}, {}, kUsual), ElementsAre(40, 10));
}

TEST(SeamLengthsTest, CutsTakeNothingOpeningsAndClosingsTakeFromOneClip) {
    const SeamWish cut{"none", Placement::Cut, {}};
    const SeamWish in{"wash-in", Placement::Before, {}};
    const SeamWish out{"wash-out", Placement::After, {}};
    EXPECT_THAT(fitSeams(clips({20, 30}), {cut}, in, out, kUsual), ElementsAre(0, 20, 26));
    EXPECT_THAT(fitSeams(clips({21}), {}, in, out, kUsual), ElementsAre(10, 10));
}

TEST(SeamLengthsTest, AMirroredEditHasMirroredLengths) {
    const std::vector<std::int64_t> lengths{51, 52, 9, 300, 17, 40};
    std::vector<std::int64_t> there = washes(lengths);
    const std::vector<std::int64_t> back = washes({lengths.rbegin(), lengths.rend()});
    std::reverse(there.begin(), there.end());
    EXPECT_EQ(there, back);
}

}  // namespace
}  // namespace tumblewash::edit
