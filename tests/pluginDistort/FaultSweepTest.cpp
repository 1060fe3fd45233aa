// Every callback fails at its first, second, third and every call with every code: the answer and what is
// left lent, locked or allocated must be the documented row, and the same frame asked for again must come out
// right.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "pluginDistort/v1/Catalogue.h"
#include "tests/pluginDistort/FakeHost.h"
#include "tests/support/Sampled.h"

namespace {

using namespace tumblewash;
using namespace tumblewash::plugin;
using test::FakeHost;

/// What one request answers and leaves behind.
struct Row {
    int result = kPluginOK;
    int lent = 0;
    bool keptWorld = false;
};

/// The documented row for a frame whose `nth` call (0: every call) of `callback` fails with `code`.
Row rowOf(const EffectRecord& effect, bool makesKeys, const std::string& callback, int nth, int code) {
    const bool first = nth == 0 || nth == 1, second = nth == 0 || nth == 2;
    if (effect.driver == EffectDriver::none) return {};
    if (effect.driver == EffectDriver::morph) {
        if (callback == "GetFrame" && first) return {code, 0, false};
        if (callback == "ReleaseFrame" && (first || (second && makesKeys))) return {code, 0, false};
        return {};
    }
    const int frames = effect.overnext ? 2 : 1;
    if (callback == "GetFrame" && first) return {code, 0, false};
    if (callback == "GetFrame" && second && effect.overnext) return {code, 1, false};
    if (callback == "MixAudio" && (first || (second && effect.overnext))) return {code, frames, true};
    if (callback == "ReleaseFrame" && (nth == 0 || nth == frames)) return {code, 0, false};
    return {};
}

class FaultSweepTest : public testing::TestWithParam<std::tuple<int, int>> {
  protected:
    static int which() { return std::get<0>(GetParam()); }
    static const EffectRecord& effect() { return effectRecord(static_cast<short>(which())); }
    static std::pair<int, int> size() {
        static constexpr std::pair<int, int> sizes[] = {{16, 16}, {33, 21}, {48, 40}};
        return sizes[std::get<1>(GetParam())];
    }
    static std::unique_ptr<FakeHost> host() {
        std::srand(3);
        return std::make_unique<FakeHost>(size().first, size().second, 6);
    }
};

INSTANTIATE_TEST_SUITE_P(All, FaultSweepTest, testing::Combine(testing::Range(0, 14), testing::Range(0, 3)),
                         [](const auto& info) {
                             return "Effect" + std::to_string(std::get<0>(info.param)) + "Size" +
                                    std::to_string(std::get<1>(info.param));
                         });

const char* const kAllCallbacks[] = {
    "NewPtrClear", "DisposePtr",  "pstrcpy", "GetLocalizedString", "GetFrame", "ReleaseFrame",
    "GetClipInfo", "SetClipInfo", "Blit",    "GetTransitionInfo",  "MixAudio", "ReleaseTransitionInfo"};

/// Every code at the first size; at the others, and where programs run slowly, the ends and one between.
std::vector<int> codesAt(int size) {
    return size == 0 && !test::sampled() ? std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255}
                                         : std::vector<int>{1, 6, 255};
}

TEST_P(FaultSweepTest, FramesLeaveExactlyTheirRow) {
    auto plain = host();
    plain->call(which(), kPlugInitialize);
    std::vector<std::vector<std::uint8_t>> pictures;
    for (int frame = 0; frame < 2; ++frame) {
        ASSERT_EQ(plain->render(which(), frame), kPluginOK);
        pictures.push_back(plain->destination().bytes());
    }
    plain->call(which(), kPlugTerminate);

    for (const char* callback : kAllCallbacks) {
        const bool asked = std::string(callback) == "GetFrame" || std::string(callback) == "ReleaseFrame" ||
                           std::string(callback) == "MixAudio" || std::string(callback) == "Blit";
        for (const int nth : {0, 1, 2, 3}) {
            for (const int code : codesAt(std::get<1>(GetParam()))) {
                if (!asked && code != 6) continue;
                SCOPED_TRACE(std::string(callback) + " " + std::to_string(nth) + " code " +
                             std::to_string(code));
                auto h = host();
                ASSERT_EQ(h->call(which(), kPlugInitialize), kPluginOK);
                for (int frame = 0; frame < 2; ++frame) {
                    h->forget();
                    h->fail(callback, nth, static_cast<HYPluginResult>(code));
                    const Row row = rowOf(effect(), frame == 0, callback, nth, code);
                    EXPECT_EQ(h->render(which(), frame), row.result);
                    EXPECT_EQ(h->framesLent(), row.lent);
                    EXPECT_EQ(h->lockedFrames(), 0);
                    EXPECT_FALSE(h->destinationLocked());
                    EXPECT_EQ(h->effectWorldKept(), row.keptWorld);
                    EXPECT_EQ(h->transitionsLent(), 0);
                    EXPECT_EQ(h->blocksAllocated(), 1);
                    h->takeEverythingBack();
                    h->failNothing();
                    EXPECT_EQ(h->render(which(), frame), kPluginOK);
                    EXPECT_EQ(h->destination().bytes(), pictures[static_cast<std::size_t>(frame)]);
                    EXPECT_TRUE(h->clean());
                }
                ASSERT_EQ(h->call(which(), kPlugTerminate), kPluginOK);
                ASSERT_EQ(h->blocksAllocated(), 0);
            }
        }
    }
}

TEST_P(FaultSweepTest, OtherRequestsLeaveExactlyTheirRow) {
    for (const char* callback : kAllCallbacks) {
        const std::string name = callback;
        for (const int nth : {0, 1, 2}) {
            for (const int code : codesAt(std::get<1>(GetParam()))) {
                SCOPED_TRACE(name + " " + std::to_string(nth) + " code " + std::to_string(code));
                auto h = host();
                const auto ask = [&](HYPluginSelector selector, int expected) {
                    h->forget();
                    h->fail(name, nth, static_cast<HYPluginResult>(code));
                    EXPECT_EQ(h->call(which(), selector), expected);
                    EXPECT_EQ(h->framesLent(), 0);
                    EXPECT_FALSE(h->destinationLocked());
                    EXPECT_EQ(h->transitionsLent(), 0);
                    h->failNothing();
                };
                const bool hit = nth != 2;
                const int released = hit && name == "ReleaseTransitionInfo" ? code : kPluginOK;
                ask(kPlugGetInfo, hit && name == "GetTransitionInfo" ? code : released);
                ask(kPlugFilePlaceHolder, kPluginOK);
                const bool noBlock = hit && name == "NewPtrClear";
                ask(kPlugInitialize, noBlock ? static_cast<int>(kPluginOutOfMemory) : released);
                EXPECT_EQ(h->blocksAllocated(), noBlock ? 0 : 1);
                if (noBlock) {
                    EXPECT_EQ(h->render(which(), 0), kPluginBadParams);
                    EXPECT_EQ(h->call(which(), kPlugInitialize), kPluginOK);
                }
                EXPECT_EQ(h->render(which(), 0), kPluginOK);
                ask(kPlugTerminate, kPluginOK);
                EXPECT_EQ(h->blocksAllocated(), 0);
                EXPECT_EQ(h->params.clientData, nullptr);
                EXPECT_EQ(h->count("SetClipInfo"), 1);
            }
        }
    }
    SetGWorld(nullptr, nullptr);
}

}  // namespace
