// The frei0r files under hosts with threads: pictures in any order, in one instance for each thread or in one
// that threads hand round, are those of one thread that works in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <numeric>
#include <random>
#include <thread>

#include "tests/adapters/Frei0rFile.h"
#include "tests/adapters/Scene.h"
#include "tests/faults/LongForm.h"

namespace tumblewash::test {

using plugin::EffectRecord;
using plugin::effectRecord;

namespace {

constexpr int kWidth = 96, kHeight = 64, kThreads = 8, kSteps = 16;
using Picture = std::vector<std::uint8_t>;

/// One picture that a host may ask for.
struct Request {
    double position = 0;
    const char* direction = "right";
    double seed = 0;
};

/// Every step of the way with the knobs as they stand, some with others, as users turn them while it plays.
std::vector<Request> requests(const EffectRecord& effect) {
    std::vector<Request> all;
    for (int k = 0; k <= kSteps; ++k) all.push_back({static_cast<double>(k) / kSteps});
    if (adapters::hasKnobs(effect))
        for (const char* direction : {"up", "down", "left"})
            for (const double seed : {0.0, 0.041, 0.7})
                for (const double position : {0.125, 0.25, 0.5, 0.75})
                    all.push_back({position, direction, seed});
    return all;
}

/// Two pictures under a file, and what one thread that works in order makes of them.
class Play {
  public:
    Play(const Frei0rFile& file, const std::vector<Request>& wishes, int first, SceneAlpha alpha)
        : file_(file),
          wishes_(wishes),
          a_(scene(first, kWidth, kHeight, alpha)),
          b_(scene(1 - first, kWidth, kHeight, alpha)) {
        const f0r_instance_t instance = file.construct(kWidth, kHeight);
        for (const Request& wish : wishes) wanted_.push_back(draw(instance, wish));
        file.destruct(instance);
    }
    /// True when the instance's picture is another one.
    [[nodiscard]] bool differs(f0r_instance_t instance, std::size_t wish) const {
        return draw(instance, wishes_[wish]) != wanted_[wish];
    }

  private:
    [[nodiscard]] Picture draw(f0r_instance_t instance, const Request& wish) const {
        file_.set(instance, 0, wish.position);
        file_.set(instance, 1, wish.direction);
        file_.set(instance, 2, wish.seed);
        return file_.update(instance, a_, b_);
    }

    const Frei0rFile& file_;
    const std::vector<Request>& wishes_;
    Picture a_, b_;
    std::vector<Picture> wanted_;
};

/// The requests, each round in another order.
std::vector<std::size_t> shuffled(std::size_t count, unsigned seed) {
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    return order;
}

template <class Work>
void inThreads(Work work) {
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) threads.emplace_back([&work, t] { work(static_cast<unsigned>(t)); });
    for (std::thread& thread : threads) thread.join();
}

/// Neighbouring threads work on different pictures, so that nothing they might share goes unnoticed.
class Frei0rThreadsTest : public testing::TestWithParam<int> {
  protected:
    std::array<Play, 2> plays(SceneAlpha alpha) const {
        return {Play(file, wishes, 0, alpha), Play(file, wishes, 1, alpha)};
    }

    const EffectRecord& effect = effectRecord(static_cast<short>(GetParam()));
    const Frei0rFile file{effect};
    const std::vector<Request> wishes = requests(effect);
    const int rounds = faults::amount(1, 10);
};
INSTANTIATE_TEST_SUITE_P(Catalogue, Frei0rThreadsTest, testing::Range(1, 14));

TEST_P(Frei0rThreadsTest, AnInstanceForEachThreadGivesThePicturesOfOne) {
    for (const SceneAlpha alpha : {SceneAlpha::opaque, SceneAlpha::soft}) {
        const auto play = plays(alpha);
        std::atomic<int> wrong = 0;
        for (int round = 0; round < rounds; ++round)
            inThreads([&](unsigned t) {
                const f0r_instance_t instance = file.construct(kWidth, kHeight);
                for (const std::size_t i : shuffled(wishes.size(), static_cast<unsigned>(round) * 100 + t))
                    wrong += play[t % 2].differs(instance, i);
                file.destruct(instance);
            });
        EXPECT_EQ(wrong, 0) << effect.id;
    }
}

// A host may keep one instance and let whichever thread is free turn its knobs and draw, one after the other.
TEST_P(Frei0rThreadsTest, AnInstanceThatThreadsHandRoundGivesThePicturesOfOne) {
    const auto play = plays(SceneAlpha::opaque);
    const f0r_instance_t instance = file.construct(kWidth, kHeight);
    std::mutex turn;
    std::atomic<int> wrong = 0;
    for (int round = 0; round < rounds; ++round)
        inThreads([&](unsigned t) {
            for (const std::size_t i : shuffled(wishes.size(), static_cast<unsigned>(round) * 100 + t)) {
                const std::lock_guard lock(turn);
                wrong += play[t % 2].differs(instance, i);
            }
        });
    file.destruct(instance);
    EXPECT_EQ(wrong, 0) << effect.id;
}

// The host's program seeds and draws from the C library all the time: fields are the file's own.
TEST_P(Frei0rThreadsTest, RandomNumbersOfTheHostDisturbNothing) {
    if (!adapters::hasKnobs(effect)) return;
    const auto play = plays(SceneAlpha::opaque);
    std::atomic<bool> ended = false;
    std::atomic<int> wrong = 0;
    std::thread host([&ended] {
        for (unsigned n = 0; !ended; ++n)
            if (std::rand() % 7 == 0) std::srand(n);
    });
    inThreads([&](unsigned t) {
        for (const std::size_t i : shuffled(wishes.size(), t)) {
            const f0r_instance_t instance = file.construct(kWidth, kHeight);
            wrong += play[t % 2].differs(instance, i);
            file.destruct(instance);
        }
    });
    ended = true;
    host.join();
    EXPECT_EQ(wrong, 0) << effect.id;
}

// Different files hold different locks: fields must be the same all the same.
TEST(Frei0rFilesTest, AllFilesSideBySideGiveTheirOwnPixels) {
    struct Loaded {
        explicit Loaded(short index) : effect(effectRecord(index)), file(effect), wishes(requests(effect)) {}
        const EffectRecord& effect;
        const Frei0rFile file;
        const std::vector<Request> wishes;
        const Play play{file, wishes, 0, SceneAlpha::opaque};
        std::atomic<int> wrong = 0;
    };
    std::vector<std::unique_ptr<Loaded>> files;
    for (short index = 1; index < 14; ++index) files.push_back(std::make_unique<Loaded>(index));
    std::vector<std::thread> threads;
    for (const auto& loaded : files)
        threads.emplace_back([&one = *loaded] {
            const f0r_instance_t instance = one.file.construct(kWidth, kHeight);
            for (const std::size_t i : shuffled(one.wishes.size(), static_cast<unsigned>(one.effect.index)))
                one.wrong += one.play.differs(instance, i);
            one.file.destruct(instance);
        });
    for (std::thread& thread : threads) thread.join();
    for (const auto& loaded : files) EXPECT_EQ(loaded->wrong, 0) << loaded->effect.id;
}

}  // namespace
}  // namespace tumblewash::test
