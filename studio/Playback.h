// Stretches of the movie for the page to play: small pictures, and the sound of the pass that makes movies,
// as a live movie whose bytes the page fetches while it is made. The newest few are kept.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "edit/ClipShelf.h"
#include "media/LiveMovie.h"
#include "studio/Frames.h"
#include "studio/Http.h"
#include "studio/Lane.h"
#include "studio/Plan.h"

namespace tumblewash::studio {

/// Makes stretches, one at a time.
class Playback {
  public:
    /// Makes its folder. Shelf and caches outlive this. Throws std::system_error.
    Playback(edit::ClipShelf& shelf, PictureCaches& caches);
    /// Stops what is under way and removes the folder.
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /// Answers with frames [from, end) of the movie as fragmented MP4, from byte `at` on as far as it is
    /// made, as soon as there is something. `X-Rest` says `more` or `none`, `X-Type` what a browser must be
    /// able to play. Another stretch than the newest that was asked for is given up (204); a stretch that
    /// nobody fetches waits, and is given up in the end.
    void play(PlanRef plan, std::int64_t from, std::int64_t end, std::size_t at, Answer answer);

  private:
    /// What is made of a stretch; under the lock.
    struct Stretch {
        std::string key;
        std::string type;
        std::string bytes;
        bool ended = false;
        std::size_t asked = 0;  ///< the first byte that was not asked for yet
        std::vector<std::pair<std::size_t, Answer>> waiting;
    };
    using StretchRef = std::shared_ptr<Stretch>;

    StretchRef find(const std::string& key) const;
    void make(const Plan& plan, std::int64_t from, std::int64_t end, const StretchRef& stretch);
    void render(const Plan& plan, std::int64_t from, std::int64_t end, Stretch& stretch);
    media::LiveSettings soundOf(const Plan& plan, std::int64_t from, std::int64_t end);
    void hand(Stretch& stretch, std::string& bytes);
    void waitForReader(Stretch& stretch);
    void giveUp(const StretchRef& stretch, const Response& answer);

    std::string folder_;
    edit::ClipShelf& shelf_;
    std::atomic<bool> cancel_{false};
    Frames frames_;
    std::mutex lock_;
    std::condition_variable changed_;
    StretchRef newest_;
    StretchRef running_;
    std::list<StretchRef> kept_;  ///< the newest first
    std::unique_ptr<Lane> lane_;
};

}  // namespace tumblewash::studio
