// A thread behind a short queue: items in order and whole, and what goes wrong on either side ends both.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <numeric>
#include <stdexcept>
#include <vector>

#include "media/detail/Worker.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::MediaErrorCode;
using media::Worker;

TEST(WorkerTest, ItemsAreTakenInOrderAndAllBeforeTheEnd) {
    std::vector<int> taken;
    Worker<int> worker("out", 3, nullptr, [&](const int& item) { taken.push_back(item); });
    std::vector<int> given(200);
    std::iota(given.begin(), given.end(), 0);
    for (const int item : given) worker.push(item);
    worker.finish();
    EXPECT_EQ(taken, given);
}

TEST(WorkerTest, NoMoreThanItsDepthWaits) {
    std::promise<void> go;
    const std::shared_future<void> gone = go.get_future().share();
    std::promise<void> full;
    std::atomic<int> given{0};
    Worker<int> worker("out", 2, nullptr, [&](const int&) { gone.wait(); });
    auto giver = std::async(std::launch::async, [&] {
        for (int i = 0; i < 10; ++i) {
            worker.push(i);
            if (++given == 3) full.set_value();
        }
    });
    full.get_future().wait();
    // One is under way and two wait: the giver does now.
    EXPECT_EQ(giver.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(given, 3);
    go.set_value();
    giver.get();
    worker.finish();
    EXPECT_EQ(given, 10);
}

TEST(WorkerTest, WhatItThrowsIsThrownByTheNextCallAndAtTheEnd) {
    int calls = 0;
    Worker<int> worker("out", 16, nullptr, [&](const int&) {
        ++calls;
        throw std::runtime_error("mine");
    });
    // Items may still be put into the queue before the first one is looked at, but no more than it holds.
    EXPECT_THROW(
        {
            for (int i = 0; i < 1000; ++i) worker.push(i);
        },
        std::runtime_error);
    EXPECT_THROW(worker.finish(), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST(WorkerTest, ARaisedFlagEndsTheWait) {
    std::atomic<bool> cancel{false};
    std::promise<void> go;
    const std::shared_future<void> gone = go.get_future().share();
    Worker<int> worker("out", 16, &cancel, [&](const int&) { gone.wait(); });
    std::promise<void> given;
    auto giver = std::async(std::launch::async, [&] {
        worker.push(0);
        given.set_value();
        // More than may wait, and nothing is taken.
        for (int i = 0; i < 1000; ++i) worker.push(i);
    });
    given.get_future().wait();
    cancel = true;
    EXPECT_EQ(failureOf([&] { giver.get(); }, "out"), MediaErrorCode::cancelled);
    EXPECT_EQ(failureOf([&] { worker.finish(); }, "out"), MediaErrorCode::cancelled);
    go.set_value();
}

}  // namespace tumblewash::test
