// One picture by several threads: the bytes of one thread, whatever the size, and threads that are there when
// they are wanted and at no other time.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <thread>

#include "effects/Effect.h"
#include "effects/MorphMotion.h"
#include "effects/RowThreads.h"
#include "tests/effects/Deep.h"
#include "tests/support/Sampled.h"

namespace tumblewash::effects {

using imagelib::LineBand;
using plugin::effectCatalogue;
using plugin::EffectDriver;
using plugin::EffectRecord;
using plugin::FieldMaker;
using plugin::findEffectRecord;

namespace {

using test::Bytes;
using test::Deep;
using test::noiseDeep;
using test::noiseFrame;

/// As many threads for pictures of every size.
Threads always(int count) {
    return {count, 0};
}

struct Size {
    int width, height;
};
constexpr Size kSizes[] = {{48, 34}, {37, 51}, {131, 23}, {9, 2}, {5, 1}, {1, 7}};

std::vector<EffectKnobs> knobsOf(const EffectRecord& effect) {
    if (effect.driver == EffectDriver::tumble) return {{}, {kPluginDirectionRight, 1, true}};
    if (effect.field == FieldMaker::washAway) return {{kPluginDirectionUp, 3, false}, {}};
    return {{}};
}

/// A frame of random colours and random alpha, some of it full and some of it 0, with gaps behind its rows.
class Gapped {
  public:
    Gapped(Size size, int gap, Alpha alpha, std::mt19937& random)
        : bytes_(noiseFrame(size.width + gap, size.height, random)), width_(size.width), alpha_(alpha) {
        for (std::size_t i = 0; alpha != Alpha::opaque && i < bytes_.data.size(); i += 4)
            bytes_.data[i] = static_cast<unsigned char>(random() % 3 == 0 ? 255 : random() % 256);
    }
    Picture picture() const { return {bytes_.data.data(), stride(), width_, bytes_.height, alpha_}; }
    Target target() { return {bytes_.data.data(), stride(), width_, bytes_.height, alpha_}; }
    bool operator==(const Gapped& other) const { return bytes_.data == other.bytes_.data; }

  private:
    std::ptrdiff_t stride() const { return std::ptrdiff_t{bytes_.width} * 4; }
    Bytes bytes_;
    int width_;
    Alpha alpha_;
};

constexpr int kThreads[] = {2, 3, 5};
/// Tiny pictures have fewer lines than there are bands: the most threads will do.
std::vector<std::size_t> threadsFor(const Size& size) {
    if (size.width * size.height < 100) return {2};
    if (test::sampled()) return {static_cast<std::size_t>(size.width) % 3};
    return {0, 1, 2};
}

std::vector<double> positions() {
    if (test::sampled()) return {0, 0.41};
    return {0, 0.03, 0.41, 0.94};
}

/// One picture, by one effect and by another.
bool sameRendered(const Effect& alone, const Effect& shared, double position, const Pictures& pictures,
                  const Gapped& blank) {
    Gapped expected = blank, made = blank;
    bool opaque = false, madeOpaque = true;
    EXPECT_EQ(alone.render(position, pictures, expected.target(), nullptr, &opaque), Outcome::ok);
    EXPECT_EQ(shared.render(position, pictures, made.target(), nullptr, &madeOpaque), Outcome::ok);
    return made == expected && opaque == madeOpaque && !(made == blank);
}

bool sameFrames(const Effect& alone, const Effect& shared, double position, const Pictures& pictures,
                const Gapped& blank) {
    Gapped expected = blank, made = blank;
    EXPECT_EQ(alone.renderFrame(position, pictures, expected.target()), Outcome::ok);
    EXPECT_EQ(shared.renderFrame(position, pictures, made.target()), Outcome::ok);
    return made == expected && !(made == blank);
}

TEST(ThreadsTest, AnyNumberOfThreadsMakesTheSameBytes) {
    std::mt19937 random(31);
    int gap = 0;
    for (const EffectRecord& effect : effectCatalogue()) {
        for (const EffectKnobs& knobs : knobsOf(effect)) {
            const Effect alone(effect, knobs);
            const Effect shared[] = {Effect(effect, knobs, always(kThreads[0])),
                                     Effect(effect, knobs, always(kThreads[1])),
                                     Effect(effect, knobs, always(kThreads[2]))};
            for (const Size& size : kSizes) {
                gap = 3 - gap;
                for (const Alpha alpha : {Alpha::opaque, Alpha::straight}) {
                    const Gapped first(size, gap, alpha, random), last(size, 3 - gap, alpha, random);
                    const Pictures pictures{first.picture(), last.picture()};
                    const Gapped blank(size, gap, Alpha::straight, random);
                    for (const std::size_t which : threadsFor(size)) {
                        const Effect& other = shared[which];
                        for (const double position : positions()) {
                            ASSERT_TRUE(sameRendered(alone, other, position, pictures, blank) &&
                                        (alpha != Alpha::opaque ||
                                         sameFrames(alone, other, position, pictures, blank)))
                                << effect.id << ' ' << size.width << 'x' << size.height << " at " << position
                                << " by " << kThreads[which];
                        }
                    }
                }
            }
        }
    }
}

TEST(ThreadsTest, AnyNumberOfThreadsMakesTheSameDeepPixels) {
    std::mt19937 random(32);
    for (const EffectRecord& effect : effectCatalogue()) {
        for (const EffectKnobs& knobs : knobsOf(effect)) {
            for (const Size& size : kSizes) {
                const Deep first = noiseDeep(size.width, size.height, 0, random);
                const Deep last = noiseDeep(size.width, size.height, 2, random);
                const DeepPictures pictures{first.view(), last.view(), size.width == 48};
                const DeepEffect alone(effect, size.width, size.height, knobs);
                for (const std::size_t which : threadsFor(size)) {
                    const int threads = kThreads[which];
                    const DeepEffect shared(effect, size.width, size.height, knobs, {}, always(threads));
                    for (const double position : positions()) {
                        Deep expected(size.width, size.height, 1), made(size.width, size.height, 1);
                        alone.render(position, pictures, expected.target());
                        shared.render(position, pictures, made.target());
                        ASSERT_TRUE(made == expected) << effect.id << ' ' << size.width << 'x' << size.height
                                                      << " at " << position << " by " << threads;
                        ASSERT_TRUE(made.guardsIntact());
                    }
                }
            }
        }
    }
}

TEST(ThreadsTest, BothMotionsOfAMorphAreThoseOfOneThread) {
    std::mt19937 random(33);
    const Bytes first = noiseFrame(90, 77, random), last = noiseFrame(90, 77, random);
    const Pictures pictures{{first.data.data(), 360, 90, 77, Alpha::opaque},
                            {last.data.data(), 360, 90, 77, Alpha::opaque}};
    const EffectRecord& morph = *findEffectRecord("morph");
    const Effect alone(morph), shared(morph, {}, always(2));
    const auto expected = alone.motionBetween(pictures), made = shared.motionBetween(pictures);
    ASSERT_TRUE(expected != nullptr && made != nullptr);
    bool moves = false;
    for (const bool backward : {false, true}) {
        const auto& a = backward ? expected->fields.backward : expected->fields.forward;
        const auto& b = backward ? made->fields.backward : made->fields.forward;
        for (int y = 0; y < a->height(); ++y)
            for (int x = 0; x < a->width(); ++x) {
                ASSERT_EQ(a->pixref(x, y)._red, b->pixref(x, y)._red);
                ASSERT_EQ(a->pixref(x, y)._green, b->pixref(x, y)._green);
                moves |= a->pixref(x, y)._red != 0;
            }
    }
    EXPECT_TRUE(moves);
}

TEST(ThreadsTest, BandsAreAllLinesOnceInWholePairs) {
    const RowThreads threads(always(3));
    for (int height = 1; height < 80; ++height) {
        std::mutex mutex;
        std::vector<int> lines(static_cast<std::size_t>(height));
        threads.eachBand(3, height, [&](const LineBand& band) {
            const std::lock_guard lock(mutex);
            EXPECT_EQ(band.first % 2, 0);
            EXPECT_TRUE(band.end % 2 == 0 || band.end == height);
            for (int y = band.first; y < band.end; ++y) ++lines[static_cast<std::size_t>(y)];
        });
        EXPECT_EQ(std::count(lines.begin(), lines.end(), 1), height);
    }
}

std::set<std::string> threadsNow() {
    std::set<std::string> names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        names.insert(task.path().filename().string());
    return names;
}

/// How many threads began since these were all.
std::ptrdiff_t threadsSince(const std::set<std::string>& earlier) {
    const std::set<std::string> now = threadsNow();
    return std::count_if(now.begin(), now.end(), [&](const auto& name) { return !earlier.contains(name); });
}

/// The same, once those that ended are off the list, which may name them for a moment more.
std::ptrdiff_t threadsLeftSince(const std::set<std::string>& earlier) {
    constexpr int looks = 1000;
    for (int look = 0; look < looks && threadsSince(earlier) > 0; ++look)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return threadsSince(earlier);
}

TEST(ThreadsTest, ThreadsBeginWithTheFirstLargePictureAndEndWithTheEffect) {
    // One that a sanitizer keeps for itself begins with the first thread of the program.
    std::thread([] {}).join();
    const std::set<std::string> usual = threadsNow();
    std::mt19937 random(34);
    const auto render = [&](const Effect& effect, int width, int height) {
        const Bytes first = noiseFrame(width, height, random), last = noiseFrame(width, height, random);
        Bytes out(width, height);
        const std::ptrdiff_t stride = std::ptrdiff_t{width} * 4;
        ASSERT_EQ(effect.render(0.4,
                                {{first.data.data(), stride, width, height, Alpha::opaque},
                                 {last.data.data(), stride, width, height, Alpha::opaque}},
                                {out.data.data(), stride, width, height, Alpha::opaque}),
                  Outcome::ok);
    };
    const EffectRecord& wash = *findEffectRecord("wash-away");
    {
        const Effect effect(wash, {}, {3, 50 * 40});
        EXPECT_EQ(threadsSince(usual), 0);
        render(effect, 50, 40);
        EXPECT_EQ(threadsSince(usual), 0);
        render(effect, 50, 41);
        EXPECT_EQ(threadsSince(usual), 2);
        render(effect, 60, 60);
        render(effect, 20, 20);
        EXPECT_EQ(threadsSince(usual), 2);
    }
    EXPECT_EQ(threadsLeftSince(usual), 0);
    {
        const Effect one(wash, {}, always(1)), none(wash, {}, always(-5)), plain(wash);
        for (const Effect* effect : {&one, &none, &plain}) render(*effect, 50, 41);
        EXPECT_EQ(threadsSince(usual), 0);
    }
    {
        const Effect many(wash, {}, always(100000));
        render(many, 50, 41);
        EXPECT_EQ(threadsSince(usual), kMostThreads - 1);
    }
    EXPECT_EQ(threadsLeftSince(usual), 0);
}

TEST(ThreadsTest, OneMegapixelIsTheCallersAlone) {
    EXPECT_EQ(Threads{}.above, 1000000);
    const RowThreads threads({2});
    int bands = 0;
    threads.eachBand(1000, 1000, [&](const LineBand&) { ++bands; });
    EXPECT_EQ(bands, 1);
    std::mutex mutex;
    threads.eachBand(1001, 1000, [&](const LineBand&) {
        const std::lock_guard lock(mutex);
        ++bands;
    });
    EXPECT_GT(bands, 2);
}

/// Where threads wait for each other.
class Meeting {
  public:
    /// Returns when as many threads as `wanted` have come; false when they never do.
    bool arrive(std::size_t wanted) {
        std::unique_lock lock(mutex_);
        here_.insert(std::this_thread::get_id());
        change_.notify_all();
        return change_.wait_for(lock, std::chrono::minutes(5), [&] { return here_.size() >= wanted; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable change_;
    std::set<std::thread::id> here_;
};

TEST(ThreadsTest, AllThreadsTakePartAndTheHelpersLeaveSignalsToTheProgram) {
    const RowThreads threads(always(3));
    const auto caller = std::this_thread::get_id();
    Meeting meeting;
    threads.eachBand(64, 64, [&](const LineBand&) {
        EXPECT_TRUE(meeting.arrive(3));
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        EXPECT_EQ(sigismember(&blocked, SIGINT), std::this_thread::get_id() == caller ? 0 : 1);
        EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
    });
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    EXPECT_EQ(sigismember(&blocked, SIGINT), 0);
}

TEST(ThreadsTest, WhatOneThreadThrowsEndsTheCallAndNothingElse) {
    const RowThreads threads(always(2));
    const auto caller = std::this_thread::get_id();
    for (const bool inHelper : {false, true}) {
        Meeting meeting;
        std::mutex mutex;
        int begun = 0, underWay = 0;
        const auto work = [&](const LineBand&) {
            {
                const std::lock_guard lock(mutex);
                ++begun;
                ++underWay;
            }
            // Both have a band each, and one of them throws.
            EXPECT_TRUE(meeting.arrive(2));
            const bool throws = (std::this_thread::get_id() != caller) == inHelper;
            {
                const std::lock_guard lock(mutex);
                --underWay;
            }
            if (throws) throw std::bad_alloc();
        };
        EXPECT_THROW(threads.eachBand(40, 400, work), std::bad_alloc);
        EXPECT_EQ(underWay, 0);
        EXPECT_GE(begun, 2);
        int bands = 0;
        threads.eachBand(40, 400, [&](const LineBand&) {
            const std::lock_guard lock(mutex);
            ++bands;
        });
        EXPECT_EQ(bands, 8);
    }
}

TEST(ThreadsTest, CallsSideBySideShareAnEffectAndItsThreads) {
    std::mt19937 random(35);
    const Bytes first = noiseFrame(70, 61, random), last = noiseFrame(70, 61, random);
    const Pictures pictures{{first.data.data(), 280, 70, 61, Alpha::opaque},
                            {last.data.data(), 280, 70, 61, Alpha::opaque}};
    const Effect shared(*findEffectRecord("tumble-reveal"), {}, always(2));
    const Effect other(*findEffectRecord("morph"), {}, always(2));
    const auto picture = [&](const Effect& effect, int k) {
        Bytes out(70, 61);
        EXPECT_EQ(effect.render((k + 0.5) / 12, pictures, {out.data.data(), 280, 70, 61, Alpha::opaque}),
                  Outcome::ok);
        return out.data;
    };
    std::vector<std::vector<unsigned char>> expected[2];
    for (int k = 0; k < 12; ++k) {
        expected[0].push_back(picture(Effect(shared.record()), k));
        expected[1].push_back(picture(Effect(other.record()), k));
    }
    std::vector<std::jthread> callers;
    for (const int which : {0, 0, 1, 1})
        callers.emplace_back([&, which] {
            for (int k = 0; k < 12; ++k)
                EXPECT_TRUE(picture(which == 0 ? shared : other, k) ==
                            expected[which][static_cast<std::size_t>(k)]);
        });
}

// A host that forks has none of its threads in the child, where nobody may wait for them.
TEST(ThreadsTest, AForkedProcessRendersByItself) {
    std::mt19937 random(36);
    const Bytes first = noiseFrame(70, 61, random), last = noiseFrame(70, 61, random);
    const Pictures pictures{{first.data.data(), 280, 70, 61, Alpha::opaque},
                            {last.data.data(), 280, 70, 61, Alpha::opaque}};
    auto effect = std::make_unique<Effect>(*findEffectRecord("tumble-away"), EffectKnobs{}, always(3));
    Bytes expected(70, 61), made(70, 61);
    ASSERT_EQ(effect->render(0.3, pictures, {expected.data.data(), 280, 70, 61, Alpha::opaque}), Outcome::ok);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        alarm(300);
        const Outcome outcome = effect->render(0.3, pictures, {made.data.data(), 280, 70, 61, Alpha::opaque});
        effect.reset();
        _exit(outcome == Outcome::ok && made.data == expected.data ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
}  // namespace tumblewash::effects
