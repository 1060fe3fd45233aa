#include "effects/RowThreads.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace tumblewash::effects {

namespace {

/// Bands for every thread: a thread that comes late finds some left, and none waits long for the last one.
constexpr int kBandsPerThread = 4;

/// Blocks signals while it lives: threads begun meanwhile leave them to those of the program. Not those that
/// answer to what a thread does itself, such as a read of memory that is not there: they cannot wait.
class SignalsBlocked {
  public:
    SignalsBlocked() noexcept {
        sigset_t others;
        sigfillset(&others);
        for (const int own : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
            sigdelset(&others, own);
        pthread_sigmask(SIG_SETMASK, &others, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t before_;
};

}  // namespace

/// Threads that wait, and the calls under way that they may help. A call works through its own parts; whoever
/// of the others is free takes some of them.
class RowThreads::Pool {
  public:
    explicit Pool(int count) : count_(count) { helpers_.reserve(static_cast<std::size_t>(count) - 1); }
    ~Pool() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        wake_.notify_all();
        for (std::thread& helper : helpers_) helper.join();
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    int count() const noexcept { return count_; }

    void run(int parts, const std::function<void(int)>& work) {
        Job job{work, parts};
        std::unique_lock lock(mutex_);
        start();
        Job** end = &jobs_;
        while (*end != nullptr) end = &(*end)->following;
        *end = &job;
        wake_.notify_all();
        while (job.left()) takePart(job, lock);
        finished_.wait(lock, [&job] { return job.busy == 0; });
        Job** at = &jobs_;
        while (*at != &job) at = &(*at)->following;
        *at = job.following;
        lock.unlock();
        if (job.failure) std::rethrow_exception(job.failure);
    }

  private:
    /// A call under way. Its owner's until the end, and changed under the lock only.
    struct Job {
        const std::function<void(int)>& work;
        int parts;
        int begun = 0;
        int busy = 0;
        std::exception_ptr failure = nullptr;
        Job* following = nullptr;

        bool left() const noexcept { return begun < parts && !failure; }
    };

    /// Without memory or threads to be had, those there are do the work.
    void start() noexcept {
        if (started_) return;
        started_ = true;
        const SignalsBlocked blocked;
        try {
            for (int i = 1; i < count_; ++i) helpers_.emplace_back([this] { help(); });
        } catch (...) {
        }
    }

    Job* findWork() const noexcept {
        Job* job = jobs_;
        while (job != nullptr && !job->left()) job = job->following;
        return job;
    }

    void help() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [this] { return ended_ || findWork() != nullptr; });
            if (ended_) return;
            takePart(*findWork(), lock);
        }
    }

    /// Does the next part of a job that has one left. The job may be gone afterwards, unless it is the
    /// caller's.
    void takePart(Job& job, std::unique_lock<std::mutex>& lock) {
        const int part = job.begun++;
        ++job.busy;
        lock.unlock();
        std::exception_ptr failure;
        try {
            job.work(part);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure && !job.failure) job.failure = failure;
        if (--job.busy == 0 && !job.left()) finished_.notify_all();
    }

    const int count_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable finished_;
    Job* jobs_ = nullptr;
    std::vector<std::thread> helpers_;
    bool started_ = false;
    bool ended_ = false;
};

RowThreads::RowThreads(const Threads& threads) : above_(threads.above), owner_(getpid()) {
    const int count = std::clamp(threads.count, 1, kMostThreads);
    if (count > 1) pool_ = std::make_unique<Pool>(count);
}

RowThreads::~RowThreads() {
    // Nobody is there to be waited for in a process that was forked off.
    if (getpid() != owner_) static_cast<void>(pool_.release());
}

bool RowThreads::shares(int width, int height) const noexcept {
    return pool_ != nullptr && std::int64_t{width} * height > above_ && getpid() == owner_;
}

void RowThreads::eachBand(int width, int height,
                          const std::function<void(const imagelib::LineBand&)>& work) const {
    if (!shares(width, height)) return work({0, height});
    const int pairs = height / 2 + height % 2;
    const int bands = std::min(pairs, pool_->count() * kBandsPerThread);
    const auto line = [&](int band) {
        return band == bands ? height : static_cast<int>(std::int64_t{pairs} * band / bands) * 2;
    };
    pool_->run(bands, [&](int band) { work({line(band), line(band + 1)}); });
}

void RowThreads::eachPart(int parts, int width, int height, const std::function<void(int)>& work) const {
    if (shares(width, height)) return pool_->run(parts, work);
    for (int part = 0; part < parts; ++part) work(part);
}

}  // namespace tumblewash::effects
