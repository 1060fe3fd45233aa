// The studio without its sockets: a request goes in, an answer comes out, now or later. It holds the rules of
// who may speak, the page, the desk and everything that makes pictures.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "studio/Desk.h"
#include "studio/Events.h"
#include "studio/Http.h"
#include "studio/Lane.h"
#include "studio/Pictures.h"
#include "studio/Playback.h"

namespace tumblewash::studio {

/// What a studio is opened over.
struct StudioSettings {
    std::string document;                             ///< a name that ends in .edit.json; it need not exist
    edit::Edit edit;                                  ///< what to begin with where it does not
    std::vector<std::string> folders;                 ///< clips may be chosen below these
    std::string state;                                ///< steps are kept here; empty: not after the end
    std::size_t cacheBytes = std::size_t{512} << 20;  ///< decoded pictures that are kept
    std::chrono::seconds invitation{60};              ///< how long the browser's address is good
};

/// A studio.
class Studio {
  public:
    /// Opens document and folders. `quit` is called, from any thread, when the page asks for the end. Throws
    /// Refusal.
    Studio(const StudioSettings& settings, std::function<void()> quit);
    ~Studio();
    Studio(const Studio&) = delete;
    Studio& operator=(const Studio&) = delete;

    /// Answers a request. From any thread; never throws.
    void handle(const Request& request, const Answer& answer);

    /// Who listens to events.
    Events& events() noexcept { return events_; }
    /// The first part of every address.
    const std::string& token() const noexcept { return token_; }
    /// An address for a browser that others may see: it is good once, for a minute, and leads to the page.
    std::string openAddress();
    /// Looks after the document's file; to be called about once a second.
    void tend();
    /// The document's file by now.
    std::string file() const;
    /// True when the file lacks the newest change.
    bool unsaved() const;

  private:
    void route(const Request& request, const Target& target, const Answer& answer);
    Response page(const Request& request, const std::string& name) const;
    PlanRef planOrRefuse() const;
    Response opened(const std::string& code);
    std::shared_ptr<Playback> playbackOf(const Target& target);

    std::function<void()> quit_;
    const std::string token_;
    const std::chrono::seconds invitation_;
    std::mutex codeLock_;
    std::string code_;
    std::chrono::steady_clock::time_point codeEnds_;
    std::atomic<bool> cancel_{false};
    Events events_;
    Desk desk_;
    mutable std::mutex factsLock_;
    std::string file_;
    bool unsaved_ = false;
    Pictures pictures_;
    std::mutex playbackLock_;
    std::list<std::pair<std::string, std::shared_ptr<Playback>>> playbacks_;  ///< by page, the newest first
    Lane lane_;                                                               ///< of the desk; ends first
};

}  // namespace tumblewash::studio
