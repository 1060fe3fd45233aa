// A thread that takes items one after the other, behind a short queue whose length bounds the memory. What is
// done with an item is the owner's; this knows no encoder and no file.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "media/detail/Av.h"

namespace tumblewash::media {

/// One thread gives, the worker takes. When `Take` throws, the worker ends, and every later call throws the
/// same.
template <class Item>
class Worker {
  public:
    using Take = std::function<void(const Item&)>;

    /// At most `depth` items wait; `output` is named when `cancel` is raised. Throws std::system_error where
    /// no thread is available.
    Worker(std::string output, size_t depth, CancelFlag cancel, Take take)
        : output_(std::move(output)), depth_(depth), cancel_(cancel), take_(std::move(take)) {
        thread_ = std::thread([this] { work(); });
    }
    /// Items that wait are dropped; the one under way is ended.
    ~Worker() { stop(); }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Hands an item over, and waits while the queue is full. Throws what `take` threw, and MediaError
    /// (cancelled).
    void push(Item item) {
        waitUntil([&] { return queue_.size() < depth_; }, [&] { queue_.push_back(std::move(item)); });
        changed_.notify_all();
    }
    /// Waits until all items are taken; the thread has ended then. Throws as `push`.
    void finish() {
        waitUntil([&] { return queue_.empty() && !busy_; }, [] {});
        stop();
    }

  private:
    // Until asked again whether the work was cancelled.
    static constexpr auto kPatience = std::chrono::milliseconds(100);

    template <class Ready, class Then>
    void waitUntil(Ready ready, Then then) {
        std::unique_lock lock(lock_);
        throwFailure();
        while (!changed_.wait_for(lock, kPatience, [&] { return failure_ || ready(); })) throwFailure();
        throwFailure();
        then();
    }

    void throwFailure() {
        if (failure_) std::rethrow_exception(failure_);
        throwIfRaised(cancel_, output_);
    }

    void work() {
        std::unique_lock lock(lock_);
        while (!failure_) {
            changed_.wait(lock, [&] { return ending_ || !queue_.empty(); });
            if (ending_) return;
            busy_ = true;
            std::exception_ptr problem;
            {
                const Item item = std::move(queue_.front());
                queue_.pop_front();
                changed_.notify_all();
                lock.unlock();
                try {
                    take_(item);
                } catch (...) {
                    problem = std::current_exception();
                }
            }
            lock.lock();
            busy_ = false;
            failure_ = problem;
            if (problem) queue_.clear();
            changed_.notify_all();
        }
    }

    void stop() {
        if (!thread_.joinable()) return;
        {
            const std::lock_guard lock(lock_);
            ending_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }

    const std::string output_;
    const size_t depth_;
    const CancelFlag cancel_;
    const Take take_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Item> queue_;
    std::exception_ptr failure_;
    bool busy_ = false;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace tumblewash::media
