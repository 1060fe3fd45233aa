#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "studio/Lane.h"

namespace tumblewash::studio {
namespace {

/// What happened, from any thread.
class Log {
  public:
    void add(const std::string& line) {
        const std::scoped_lock hold(lock_);
        lines_.push_back(line);
    }
    std::vector<std::string> lines() const {
        const std::scoped_lock hold(lock_);
        return lines_;
    }
    Lane::Work note(const std::string& name) {
        return [this, name](bool run) { add(name + (run ? " done" : " dropped")); };
    }

  private:
    mutable std::mutex lock_;
    std::vector<std::string> lines_;
};

/// Keeps a lane busy from the moment when this is made until it is let go.
class Busy {
  public:
    explicit Busy(Lane& lane) {
        lane.post([this](bool) {
            begun_.set_value();
            end_.get_future().wait();
        });
        begun_.get_future().wait();
    }
    void letGo() { end_.set_value(); }

  private:
    std::promise<void> begun_;
    std::promise<void> end_;
};

void finish(Lane& lane) {
    std::promise<void> done;
    lane.post([&](bool) { done.set_value(); });
    done.get_future().wait();
}

TEST(LaneTest, TheNewestOfAnOwnerComesFirstAndItsOlderOnesAreToldSo) {
    Log log;
    Lane lane;
    Busy busy(lane);
    lane.post(log.note("plain"));
    lane.postNewest("a", log.note("a1"));
    lane.postNewest("b", log.note("b1"));
    lane.postNewest("a", log.note("a2"));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"a1 dropped"}));
    busy.letGo();
    finish(lane);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"a1 dropped", "a2 done", "b1 done", "plain done"}));
}

TEST(LaneTest, ALaneBeginsNothingWhileAnotherGoesFirst) {
    Log log;
    Lane first;
    Lane second(0, &first);
    Busy busy(first);
    first.post(log.note("first"));
    second.post(log.note("second"));
    // Time enough to begin too early; one that takes longer for it passes all the same.
    for (int i = 0; i < 5; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_TRUE(log.lines().empty());
    }
    busy.letGo();
    finish(second);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"first done", "second done"}));
}

TEST(LaneTest, WhatWaitsAtTheEndIsToldThatItIsNotRun) {
    Log log;
    std::promise<void> begun;
    std::promise<void> end;
    std::thread ending;
    {
        auto lane = std::make_unique<Lane>();
        lane->post([&](bool) {
            begun.set_value();
            end.get_future().wait();
        });
        begun.get_future().wait();
        lane->post(log.note("late"));
        ending = std::thread([&lane] { lane.reset(); });
        end.set_value();
        ending.join();
    }
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.lines().front().starts_with("late"));
}

}  // namespace
}  // namespace tumblewash::studio
