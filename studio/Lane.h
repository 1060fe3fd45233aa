// One thread with a queue. Work of the same owner that has not begun is replaced by newer work and told so;
// work that has begun is always finished.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tumblewash::studio {

/// A queue and the thread that works it off. Any thread may post.
class Lane {
  public:
    /// Work; `run` is false when it was superseded, the queue was full or the lane ends, and then nothing is
    /// to be done but to say so. Must not throw.
    using Work = std::function<void(bool run)>;

    /// Starts the thread with this much niceness, 0 to 19. It begins nothing while `before`, which outlives
    /// this, has work.
    explicit Lane(int nice = 0, Lane* before = nullptr);
    /// Lets the work in hand finish; what waits is told that it is not run.
    ~Lane();
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;

    /// Puts work at the end of the queue.
    void post(Work work);
    /// Puts work first; of the same owner nothing else waits afterwards.
    void postNewest(const std::string& owner, Work work);

  private:
    struct Item {
        std::string owner;
        Work work;
    };
    void work(int nice, Lane* before);
    void waitUntilIdle();

    std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Item> items_;
    bool working_ = false;
    bool ends_ = false;
    std::thread thread_;
};

}  // namespace tumblewash::studio
