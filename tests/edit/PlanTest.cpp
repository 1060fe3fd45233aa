#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "edit/Errors.h"
#include "edit/Plan.h"
#include "host/AudioMix.h"

namespace tumblewash::edit {

using host::samplesBefore;
using media::FrameRate;

namespace {

PlannedTransition wash(std::int64_t n) {
    return {"wash-away", Placement::Overlap, n};
}
PlannedTransition morph(std::int64_t n) {
    return {"morph", Placement::Halves, n};
}
PlannedTransition cut() {
    return {"none", Placement::Cut, 0};
}

std::string refusalOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.problem(), Problem::BadRequest);
        return refusal.what();
    }
    return "";
}

FramePlan planSingle(const PlannedClip& clip, const PlannedTransition& t) {
    if (t.placement == Placement::Before) return planJoin({clip}, {}, t);
    return planJoin({clip}, {}, {}, t);
}

TEST(PlanTest, AnOverlapShortensTheJoinByItsFrames) {
    const FramePlan plan = planJoin({{"a", 100}, {"b", 80}}, {wash(30)});
    EXPECT_EQ(plan.frames, 100 + 80 - 30);
    ASSERT_EQ(plan.segments.size(), 3U);
    EXPECT_EQ(plan.segments[0], (Segment{0, 70, Segment::kNone, 0, 0, Segment::kNone, 0, 70}));
    EXPECT_EQ(plan.segments[1], (Segment{70, 30, 0, 0, 70, 1, 0, 30}));
    EXPECT_EQ(plan.segments[2], (Segment{100, 50, Segment::kNone, 1, 30, Segment::kNone, 0, 50}));
    EXPECT_THAT(plan.clipOrigins, testing::ElementsAre(0, 70));
}

TEST(PlanTest, TheMorphKeepsTheSumOfLengths) {
    const FramePlan plan = planJoin({{"a", 100}, {"b", 80}}, {morph(30)});
    EXPECT_EQ(plan.frames, 180);
    ASSERT_EQ(plan.segments.size(), 3U);
    EXPECT_EQ(plan.segments[1], (Segment{85, 30, 0, 0, 85, 1, 0, 15}));
    EXPECT_EQ(plan.segments[2], (Segment{115, 65, Segment::kNone, 1, 15, Segment::kNone, 0, 65}));
    EXPECT_THAT(plan.clipOrigins, testing::ElementsAre(0, 100));
}

TEST(PlanTest, ACutPutsClipsEndToEnd) {
    const FramePlan plan = planJoin({{"a", 10}, {"b", 7}}, {cut()});
    EXPECT_EQ(plan.frames, 17);
    EXPECT_EQ(plan.segments.size(), 2U);
    EXPECT_THAT(plan.clipOrigins, testing::ElementsAre(0, 10));
}

TEST(PlanTest, AMiddleClipHoldsBothOfItsSeams) {
    const FramePlan plan = planJoin({{"a", 50}, {"b", 40}, {"c", 60}}, {wash(20), wash(20)});
    EXPECT_EQ(plan.frames, 50 + 40 + 60 - 40);
    EXPECT_EQ(plan.segments.size(), 4U) << "nothing of the middle clip is left between its seams";
    const std::string words = refusalOf([] {
        planJoin({{"a", 50}, {"mid.mp4", 39}, {"c", 60}}, {wash(20), wash(20)});
    });
    EXPECT_THAT(words, testing::AllOf(testing::HasSubstr("mid.mp4: 39 frames"),
                                      testing::HasSubstr("takes 20"), testing::HasSubstr("40 in all")));
}

TEST(PlanTest, AClipShorterThanItsSeamIsRefusedWithTheNumbers) {
    EXPECT_THAT(
        refusalOf([] {
            planJoin({{"a.mp4", 19}, {"b", 60}}, {wash(20)});
        }),
        testing::AllOf(testing::HasSubstr("a.mp4: 19 frames"), testing::HasSubstr("wash-away takes 20")));
    EXPECT_THAT(refusalOf([] {
                    planJoin({{"a", 60}, {"b.mp4", 9}}, {morph(20)});
                }),
                testing::AllOf(testing::HasSubstr("b.mp4: 9 frames"), testing::HasSubstr("morph takes 10")));
    EXPECT_EQ(refusalOf([] { planJoin({{"a", 20}, {"b", 20}}, {wash(20)}); }), "");
    EXPECT_EQ(refusalOf([] { planJoin({{"a", 10}, {"b", 10}}, {morph(20)}); }), "");
}

TEST(PlanTest, SegmentsFollowWithoutGapsForAnyMixture) {
    const std::vector<PlannedTransition> kinds{wash(6), morph(8), cut(), wash(2)};
    for (std::size_t first = 0; first < kinds.size(); ++first)
        for (std::size_t second = 0; second < kinds.size(); ++second)
            for (std::int64_t length = 14; length < 20; ++length) {
                const std::vector<PlannedTransition> seams{kinds[first], kinds[second]};
                const FramePlan plan = planJoin({{"a", 14}, {"b", length}, {"c", 15}}, seams);
                std::int64_t overlapped = 0;
                for (const PlannedTransition& t : seams)
                    if (t.placement == Placement::Overlap) overlapped += t.frames;
                EXPECT_EQ(plan.frames, 14 + length + 15 - overlapped);
                std::int64_t next = 0;
                std::vector<std::int64_t> used(3, 0);
                for (const Segment& s : plan.segments) {
                    EXPECT_EQ(s.first, next);
                    EXPECT_GE(s.count, 1);
                    next += s.count;
                    // Each clip is read from its start to its end without a hole.
                    EXPECT_EQ(s.firstA, used[static_cast<std::size_t>(s.clipA)]);
                    used[static_cast<std::size_t>(s.clipA)] += s.countA;
                    EXPECT_EQ(plan.clipOrigins[static_cast<std::size_t>(s.clipA)] + s.firstA, s.first);
                    if (s.clipB < 0) continue;
                    EXPECT_EQ(s.firstB, 0);
                    const bool halves = s.countA < s.count;
                    used[static_cast<std::size_t>(s.clipB)] += halves ? s.count - s.countA : s.count;
                }
                EXPECT_EQ(next, plan.frames);
                EXPECT_THAT(used, testing::ElementsAre(14, length, 15));
            }
}

TEST(PlanTest, OneClipKeepsItsLength) {
    const FramePlan out = planSingle({"a", 50}, {"wash-out", Placement::After, 20});
    EXPECT_EQ(out.frames, 50);
    ASSERT_EQ(out.segments.size(), 2U);
    EXPECT_EQ(out.segments[1].first, 30);
    EXPECT_EQ(out.segments[1].firstA, 30);
    const FramePlan in = planSingle({"a", 50}, {"wash-in", Placement::Before, 20});
    EXPECT_EQ(in.frames, 50);
    ASSERT_EQ(in.segments.size(), 2U);
    EXPECT_EQ(in.segments[0].transition, 0);
    EXPECT_EQ(in.segments[1].firstA, 20);
    EXPECT_EQ(planSingle({"a", 20}, {"wash-in", Placement::Before, 20}).segments.size(), 1U);
    EXPECT_THAT(refusalOf([] {
                    planSingle({"a", 19}, {"wash-out", Placement::After, 20});
                }),
                testing::HasSubstr("wash-out takes 20"));
}

TEST(PlanTest, LengthsAreEvenAndAtLeastTwo) {
    EXPECT_EQ(evenFrames(2), 2);
    EXPECT_EQ(evenFrames(45), 46);
    EXPECT_EQ(evenFrames(46), 46);
    EXPECT_THROW(evenFrames(1), Refusal);
    EXPECT_THROW(evenFrames(0), Refusal);
}

TEST(PlanTest, SamplesOfAllFramesAddUpExactly) {
    for (const FrameRate rate : {FrameRate{30000, 1001}, FrameRate{25, 1}, FrameRate{24000, 1001}}) {
        std::int64_t sum = 0;
        for (std::int64_t k = 0; k < 1000; ++k)
            sum += samplesBefore(k + 1, 48000, int(rate.num), int(rate.den)) -
                   samplesBefore(k, 48000, int(rate.num), int(rate.den));
        EXPECT_EQ(sum, 1000 * 48000 * rate.den / rate.num);
    }
}

}  // namespace
}  // namespace tumblewash::edit
