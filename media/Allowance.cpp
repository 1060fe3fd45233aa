#include "media/detail/Allowance.h"

#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <exception>
#include <map>
#include <mutex>
#include <thread>

#include "media/InputMemory.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kMostSeconds = 8;
// What an input took is forgotten after this time: an editor that opens it again and again may do so.
constexpr auto kMemory = std::chrono::minutes(1);
// Between two looks at the caller's flag and at the clock.
constexpr auto kLook = std::chrono::milliseconds(20);

constexpr long kMostMemory = 896L << 20;
// Peaks that grew by this much tell that the limit was met, and not that the machine has no memory.
constexpr long kTellingMemory = 384L << 20;

double secondsOf(clockid_t clock) noexcept {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// The processor time that inputs took lately, by their names.
class Ledger {
  public:
    double spent(const std::string& path) {
        const std::lock_guard lock(mutex_);
        const auto found = entries_.find(path);
        return found == entries_.end() || Clock::now() - found->second.since > kMemory
                   ? 0
                   : found->second.seconds;
    }
    void add(const std::string& path, double seconds) {
        const std::lock_guard lock(mutex_);
        const Clock::time_point now = Clock::now();
        std::erase_if(entries_, [&](const auto& entry) { return now - entry.second.since > kMemory; });
        Entry& entry = entries_.try_emplace(path, Entry{now, 0}).first->second;
        entry.seconds += seconds;
    }

  private:
    struct Entry {
        Clock::time_point since;
        double seconds;
    };
    std::mutex mutex_;
    std::map<std::string, Entry> entries_;
};

// Never destroyed: a thread that was left behind may still be at work when the program ends.
Ledger& ledger() {
    static auto* const only = new Ledger;
    return *only;
}

/// What the caller and the working thread share, as long as either lives.
struct Attempt {
    std::atomic<bool> givenUp{false};
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    std::exception_ptr problem;
    double seconds = 0;
};

std::atomic<bool> leftBehind{false};

}  // namespace

double threadSeconds() noexcept {
    return secondsOf(CLOCK_THREAD_CPUTIME_ID);
}

bool workLeftBehind() noexcept {
    return leftBehind.load();
}

void runWithinAllowance(const std::string& path, CancelFlag cancel, std::function<void(CancelFlag)> work) {
    throwIfRaised(cancel, path);
    const auto attempt = std::make_shared<Attempt>();
    const double left = kMostSeconds - ledger().spent(path);
    // Nothing between its start and its end may throw.
    std::thread thread([attempt, work = std::move(work)]() mutable {
        std::exception_ptr problem;
        try {
            work(&attempt->givenUp);
        } catch (...) {
            problem = std::current_exception();
        }
        work = nullptr;
        const std::lock_guard lock(attempt->mutex);
        attempt->problem = problem;
        attempt->seconds = threadSeconds();
        attempt->done = true;
        attempt->changed.notify_all();
    });
    clockid_t clock{};
    const bool timed = pthread_getcpuclockid(thread.native_handle(), &clock) == 0;
    std::unique_lock lock(attempt->mutex);
    while (!attempt->changed.wait_for(lock, kLook, [&] { return attempt->done; })) {
        const bool late = timed && secondsOf(clock) > left;
        if (!late && !raised(cancel)) continue;
        attempt->givenUp = true;
        // Most work looks at its flag and ends at once.
        attempt->changed.wait_for(lock, 5 * kLook, [&] { return attempt->done; });
        const bool ended = attempt->done;
        lock.unlock();
        if (ended) {
            thread.join();
        } else {
            leftBehind = true;
            thread.detach();
        }
        throwIfRaised(cancel, path);
        throw MediaError(MediaErrorCode::undecodable, path,
                         "takes more than 8 s of the processor to open; it is damaged or made to be slow, "
                         "save it again with another program");
    }
    lock.unlock();
    thread.join();
    ledger().add(path, attempt->seconds);
    if (attempt->problem) std::rethrow_exception(attempt->problem);
}

namespace {

std::atomic<bool> memoryLimited{false};

/// The limit of the process while inputs are being opened.
struct DataLimit {
    std::mutex mutex;
    int users = 0;
    int mostUsers = 0;  // of this while; each is granted its share until all have ended
    long atStart = 0;
    bool set = false;
    rlimit before{};
};
DataLimit& dataLimit() {
    static auto* const only = new DataLimit;
    return *only;
}

/// A line "NAME:   N kB" of the system's account of this process, in bytes; 0 where there is none.
long accountOf(const char* format) {
    std::FILE* const file = std::fopen("/proc/self/status", "re");
    if (file == nullptr) return 0;
    char line[256];
    long found = 0;
    while (std::fgets(line, sizeof line, file) != nullptr)
        if (std::sscanf(line, format, &found) == 1) break;
    std::fclose(file);
    return found * 1024;
}

}  // namespace

void limitMemoryOfInputs() noexcept {
    memoryLimited = true;
}

MemoryAllowance::MemoryAllowance() {
    if (!memoryLimited.load()) return;
    peak_ = accountOf("VmHWM: %ld");
    DataLimit& limit = dataLimit();
    const std::lock_guard lock(limit.mutex);
    if (limit.users++ == 0) {
        limit.mostUsers = 0;
        limit.atStart = accountOf("VmData: %ld");
        if (getrlimit(RLIMIT_DATA, &limit.before) != 0) limit.atStart = 0;
    }
    if (limit.users <= limit.mostUsers) return;
    limit.mostUsers = limit.users;
    if (limit.atStart == 0) return;
    rlimit wanted = limit.before;
    wanted.rlim_cur = static_cast<rlim_t>(limit.atStart + limit.mostUsers * kMostMemory);
    if (limit.before.rlim_cur != RLIM_INFINITY && limit.before.rlim_cur <= wanted.rlim_cur) return;
    limit.set = setrlimit(RLIMIT_DATA, &wanted) == 0;
}

MemoryAllowance::~MemoryAllowance() {
    if (!memoryLimited.load()) return;
    DataLimit& limit = dataLimit();
    const std::lock_guard lock(limit.mutex);
    if (--limit.users > 0 || !limit.set) return;
    setrlimit(RLIMIT_DATA, &limit.before);
    limit.set = false;
}

bool MemoryAllowance::exceeded() const {
    return peak_ != 0 && accountOf("VmHWM: %ld") - peak_ > kTellingMemory;
}

void runWithMemoryAllowance(const std::string& path, const std::function<void()>& work) {
    const MemoryAllowance allowance;
    try {
        work();
    } catch (const std::bad_alloc&) {
        if (!allowance.exceeded()) throw;
        throw MediaError(MediaErrorCode::undecodable, path,
                         "takes more than 1 GiB of memory to open; it is damaged or made to be large, "
                         "save it again with another program");
    }
}

}  // namespace tumblewash::media
