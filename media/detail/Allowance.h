// What looking into one input may cost: seconds of the processor and, for a program that asks for it, memory.
// Libraries that take longer or more cannot be interrupted from inside: they run in a thread that is left
// behind. It knows nothing of files beyond their names, which stand in its messages.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "media/MediaError.h"

namespace tumblewash::media {

/// Seconds of processor time that the calling thread has had.
double threadSeconds() noexcept;

/// Calls `work` with a flag in place of `cancel`, in a thread of its own, and waits for its end; throws what
/// it throws. MediaError (undecodable) when all the work on `path` within a minute takes more than 8 s of the
/// processor, MediaError (cancelled) soon after `cancel` is raised; the thread goes on for itself then, with
/// nothing but what `work` holds. Throws std::system_error when no thread can be started.
void runWithinAllowance(const std::string& path, CancelFlag cancel, std::function<void(CancelFlag)> work);

/// The same for work with a result.
template <typename Result>
Result withinAllowance(const std::string& path, CancelFlag cancel, std::function<Result(CancelFlag)> work) {
    const auto result = std::make_shared<Result>();
    runWithinAllowance(path, cancel,
                       [result, work = std::move(work)](CancelFlag flag) { *result = work(flag); });
    return std::move(*result);
}

/// While one lives, the process gets 896 MiB more memory at most, where `limitMemoryOfInputs` was called. Any
/// number at a time, from any thread, each with as much; the first sets the limit, the last lifts it.
class MemoryAllowance {
  public:
    MemoryAllowance();
    ~MemoryAllowance();
    MemoryAllowance(const MemoryAllowance&) = delete;
    MemoryAllowance& operator=(const MemoryAllowance&) = delete;
    /// True when memory has been running out because of this limit.
    bool exceeded() const;

  private:
    long peak_ = 0;
};

/// Calls `work` with a MemoryAllowance. What fails for it is a MediaError (undecodable) about `path`.
void runWithMemoryAllowance(const std::string& path, const std::function<void()>& work);

}  // namespace tumblewash::media
