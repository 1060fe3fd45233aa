// Stretches of the movie for the page to play: rendered small and quickly into files of the studio's own, by
// the same pass that makes movies. The newest few are kept.
#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "edit/clipshelf.h"
#include "studio/Http.h"
#include "studio/Lane.h"
#include "studio/Plan.h"

namespace tumblewash::studio {

/// Renders stretches, one at a time.
class Playback {
  public:
    /// Makes its folder. Throws std::system_error.
    Playback();
    /// Stops what is under way and removes the folder.
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /// Answers with frames [from, end) of the movie as mp4, whole or the range that is asked for. Another
    /// stretch than the newest that was asked for is given up, under way or not (204).
    void play(PlanRef plan, std::int64_t from, std::int64_t end, const Request& request, Answer answer);

  private:
    void render(const Plan& plan, std::int64_t from, std::int64_t end, const std::string& file);

    std::string folder_;
    std::atomic<bool> cancel_{false};
    std::mutex lock_;
    std::string wanted_;            ///< the file that was asked for last
    std::list<std::string> ready_;  ///< the newest first
    edit::ClipShelf shelf_;
    std::unique_ptr<Lane> lane_;
};

/// An answer that holds a file, or the one range of it that the request asks for; several ranges give the
/// whole file. 404 where it cannot be opened, 416 where the range lies outside.
Response fileResponse(const Request& request, const std::string& file, const std::string& type);

}  // namespace tumblewash::studio
