// The movie being made: one at a time, in a thread of its own, over a copy of the document. It goes on when
// every page is closed, its end stays known until the next one begins, and its file as long as it lies there.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <thread>
#include <vector>

#include "edit/Edit.h"

namespace tumblewash::studio {

/// Makes movies.
class Job {
  public:
    /// `told` is called from any thread whenever something has changed, four times a second at most while
    /// frames are made.
    explicit Job(std::function<void()> told) : told_(std::move(told)) {}
    /// Cancels what is under way and waits for its end.
    ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Begins; `reads` must not be overwritten, `copy` takes what lies between seams as it is coded where the
    /// clips allow it. False when one is under way.
    bool start(const edit::Edit& edit, const std::string& output, bool force, bool copy,
               const std::string& reads);
    /// Cancels movie `id`; false when it is not under way.
    bool cancel(std::uint64_t id);
    bool running() const;

    /// The finished movie with this number, while no other has taken its place; empty where there is none.
    std::string outputOf(std::uint64_t id) const;

    /// id, state, frames, total, fps, left (seconds), output, warnings, error.
    nlohmann::ordered_json json() const;

  private:
    struct Facts {
        std::uint64_t id = 0;
        std::string state = "idle";
        std::string output;
        std::int64_t frames = 0;
        std::int64_t total = 0;
        double fps = 0;
        double left = -1;
        double seconds = 0;
        std::vector<std::string> warnings;
        std::string error;
    };
    void run(edit::Edit edit, bool force, bool copy, std::string reads);
    void set(const std::function<void(Facts&)>& change);

    std::function<void()> told_;
    mutable std::mutex lock_;
    Facts facts_;
    std::map<std::uint64_t, std::string> finished_;  ///< movies by their number
    std::atomic<bool> cancel_{false};
    std::thread thread_;
};

}  // namespace tumblewash::studio
