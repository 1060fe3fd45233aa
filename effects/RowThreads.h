// The threads that share the lines of one effect's pictures, and the handing out of work to them. It knows no
// pixels.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "ImageLib/source/LineBand.h"
#include "effects/Threads.h"

namespace tumblewash::effects {

/// The threads of one effect. Any number of calls may be under way at once and share them: one that finds all
/// of them busy does its work itself.
class RowThreads {
  public:
    /// Starts none yet. Throws std::bad_alloc.
    explicit RowThreads(const Threads& threads);
    /// Ends them. No call may be under way.
    ~RowThreads();
    RowThreads(const RowThreads&) = delete;
    RowThreads& operator=(const RowThreads&) = delete;

    /// Calls `work` with bands that make up the lines of a picture of this size, each line once, some of them
    /// at the same time; a small picture is one band, in the calling thread. Returns when all are done. What
    /// `work` throws, the first of it, is thrown here once nothing is under way any more; bands not begun by
    /// then are left out.
    void eachBand(int width, int height, const std::function<void(const imagelib::LineBand&)>& work) const;

    /// The same for `parts` pieces of work over a picture of this size, numbered from 0.
    void eachPart(int parts, int width, int height, const std::function<void(int)>& work) const;

  private:
    class Pool;
    [[nodiscard]] bool shares(int width, int height) const noexcept;

    std::int64_t above_;
    pid_t owner_;
    std::unique_ptr<Pool> pool_;  ///< null for one thread
};

}  // namespace tumblewash::effects
