#include "studio/Studio.h"

#include <algorithm>
#include <filesystem>
#include <new>

#include "edit/Errors.h"
#include "media/MediaError.h"
#include "studio/FileResponse.h"
#include "studio/Gate.h"
#include "studio/Page.h"

namespace tumblewash::studio {

using edit::Problem;
using edit::Refusal;

namespace {

constexpr std::size_t kPlayingPages = 4;
constexpr std::size_t kLargestBody = std::size_t{1} << 20;

Response responseTo(const std::exception_ptr& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const Refused& refused) {
        return refusal(refused.status, refused.code, refused.message);
    } catch (const Refusal& refused) {
        return refusal(422, refused.problem() == Problem::BadInput ? "input" : "cannot-be", refused.what());
    } catch (const media::MediaError& problem) {
        return refusal(422, "media", problem.what());
    } catch (const std::bad_alloc&) {
        return refusal(503, "memory", "memory ran out");
    } catch (const std::exception& problem) {
        return refusal(500, "unforeseen", problem.what());
    }
}

/// True when the client says that it reads gzip.
/// What a browser is told a movie is.
const char* mediaType(const std::string& file) {
    if (file.ends_with(".avi")) return "video/x-msvideo";
    return file.ends_with(".webm") || file.ends_with(".mkv") ? "video/webm" : "video/mp4";
}

bool takesGzip(const Request& request) {
    std::string_view accepted = request.header("Accept-Encoding");
    while (!accepted.empty()) {
        std::string_view one = accepted.substr(0, accepted.find(','));
        accepted.remove_prefix(std::min(accepted.size(), one.size() + 1));
        while (one.starts_with(' ')) one.remove_prefix(1);
        while (one.ends_with(' ')) one.remove_suffix(1);
        // "gzip;q=0" says that it does not.
        if (one == "gzip" || one == "gzip;q=1" || one == "gzip;q=1.0") return true;
    }
    return false;
}

}  // namespace

Studio::Studio(const StudioSettings& settings, std::function<void()> quit)
    : quit_(std::move(quit)),
      token_(randomSecret()),
      invitation_(settings.invitation),
      desk_(settings.document, settings.edit, settings.folders, settings.state, events_, cancel_),
      file_(desk_.document().file()),
      pictures_(settings.cacheBytes, cancel_) {
    // A browser loads the page while the clips are looked at; its first question waits behind this.
    lane_.post([this](bool run) {
        if (!run) return;
        desk_.begin();
        if (const PlanRef plan = desk_.plan()) pictures_.expect(plan, firstLook(*plan));
    });
}

Studio::~Studio() {
    cancel_ = true;
}

std::string Studio::openAddress() {
    const std::scoped_lock hold(codeLock_);
    code_ = randomSecret();
    codeEnds_ = std::chrono::steady_clock::now() + invitation_;
    return "/open/" + code_;
}

Response Studio::opened(const std::string& code) {
    const std::scoped_lock hold(codeLock_);
    Response response;
    response.status = 404;
    response.late = true;
    if (code_.empty() || !equalSecrets(code, code_) || std::chrono::steady_clock::now() >= codeEnds_)
        return response;
    code_.clear();
    response.status = 303;
    response.late = false;
    response.headers.emplace_back("Location", "/" + token_ + "/");
    return response;
}

std::string Studio::file() const {
    const std::scoped_lock hold(factsLock_);
    return file_;
}

bool Studio::unsaved() const {
    const std::scoped_lock hold(factsLock_);
    return unsaved_;
}

void Studio::tend() {
    lane_.post([this](bool run) {
        if (!run) return;
        desk_.tend();
        const std::scoped_lock hold(factsLock_);
        file_ = desk_.document().file();
        unsaved_ =
            desk_.document().saving() == Saving::failed || desk_.document().saving() == Saving::conflict;
    });
}

// Each page plays by itself. What the oldest of too many was making is given up.
std::shared_ptr<Playback> Studio::playbackOf(const Target& target) {
    const auto page = target.query.find("page");
    const std::string name = page == target.query.end() ? std::string() : page->second;
    std::shared_ptr<Playback> oldest;
    const std::scoped_lock hold(playbackLock_);
    const auto found = std::find_if(playbacks_.begin(), playbacks_.end(),
                                    [&](const auto& each) { return each.first == name; });
    if (found != playbacks_.end()) {
        playbacks_.splice(playbacks_.begin(), playbacks_, found);
        return found->second;
    }
    if (playbacks_.size() >= kPlayingPages) {
        oldest = std::move(playbacks_.back().second);
        playbacks_.pop_back();
    }
    playbacks_.emplace_front(name, std::make_shared<Playback>(desk_.shelf(), pictures_.caches()));
    // Its end waits for the picture in hand, and whoever asks must not.
    if (oldest) lane_.post([oldest](bool) {});
    return playbacks_.front().second;
}

PlanRef Studio::planOrRefuse() const {
    PlanRef plan = desk_.plan();
    if (!plan) throw Refused{409, "no-plan", "the edit cannot be shown as it is"};
    return plan;
}

Response Studio::page(const Request& request, const std::string& name) const {
    const PageFile* file = pageFile(name);
    if (file == nullptr) throw Refused{404, "no-such-address", "there is no such address"};
    Response response;
    response.headers.emplace_back("ETag", std::string(file->mark));
    response.headers.emplace_back("Cache-Control", "no-cache");
    if (request.header("If-None-Match") == file->mark) {
        response.status = 304;
        return response;
    }
    response.type = std::string(file->type);
    response.headers.emplace_back("Vary", "Accept-Encoding");
    if (takesGzip(request)) {
        response.headers.emplace_back("Content-Encoding", "gzip");
        response.body = std::string(file->packed);
    } else {
        response.body = std::string(file->text);
    }
    return response;
}

void Studio::handle(const Request& request, const Answer& answer) {
    try {
        if (request.body.size() > kLargestBody) throw Refused{413, "too-large", "the request is too large"};
        // The gate comes before everything else, even for addresses that are none.
        Target target;
        std::exception_ptr unreadable;
        try {
            target = parseTarget(request.target);
        } catch (const Refused&) {
            unreadable = std::current_exception();
        }
        if (target.parts.size() == 2 && target.parts.front() == "open") {
            std::optional<Response> refused = refusedAtTheDoor(request);
            return answer(refused ? *std::move(refused) : opened(target.parts.back()));
        }
        if (std::optional<Response> refused = refusedAtTheGate(request, target, token_))
            return answer(*std::move(refused));
        if (unreadable) std::rethrow_exception(unreadable);
        target.parts.erase(target.parts.begin());
        route(request, target, answer);
    } catch (...) {
        answer(responseTo(std::current_exception()));
    }
}

void Studio::route(const Request& request, const Target& target, const Answer& answer) {
    const bool post = request.method == "POST";
    if (target.parts.size() == 2 && target.parts.front() == "api") {
        const std::string& word = target.parts.back();
        if (word == "events" && !post) {
            Response response;
            response.type = "text/event-stream";
            response.events = true;
            return answer(response);
        }
        if (word == "quit" && post) {
            if (desk_.rendering() && request.body.find("\"cancel\":true") == std::string::npos)
                throw Refused{409, "rendering", "a movie is being made"};
            Response response;
            response.status = 202;
            answer(response);
            return quit_();
        }
        return lane_.post([=, this](bool run) {
            if (!run) return answer(refusal(503, "ending", "the studio is ending, or asked for too much"));
            Response response;
            try {
                response = desk_.answer(word, request, target);
            } catch (...) {
                response = responseTo(std::current_exception());
            }
            answer(response);
        });
    }
    if (post) throw Refused{405, "method", "this address is read, nothing else"};
    if (target.parts.empty()) {
        if (!target.folder) {
            Response response;
            response.status = 303;
            response.headers.emplace_back("Location", "/" + token_ + "/");
            return answer(response);
        }
        return answer(page(request, "index.html"));
    }
    const std::string& name = target.parts.front();
    if (target.parts.size() == 2 && name == "output") {
        Target number;
        number.query["id"] = target.parts.back();
        const std::string file =
            desk_.movie(static_cast<std::uint64_t>(number.whole("id", 1, std::int64_t{1} << 40, 0)));
        if (file.empty()) throw Refused{404, "no-movie", "there is no such movie"};
        return answer(fileResponse(request, file, mediaType(file)));
    }
    if (target.parts.size() != 1) throw Refused{404, "no-such-address", "there is no such address"};
    if (name == "frame") return pictures_.frame(planOrRefuse(), target, answer);
    if (name == "field") return pictures_.field(planOrRefuse(), target, answer);
    if (name == "near") return pictures_.near(planOrRefuse(), target, answer);
    if (name == "clip") return pictures_.clip(planOrRefuse(), target, answer);
    if (name == "card") return pictures_.card(planOrRefuse(), target, answer);
    if (name == "play") {
        PlanRef plan = planOrRefuse();
        const std::int64_t frames = plan->request.plan.frames;
        const std::int64_t from = target.whole("from", 0, frames - 1, 0);
        const std::int64_t end = target.whole("end", from + 1, frames, frames);
        // More than a look: that is what the movie is for.
        const auto longest = static_cast<std::int64_t>(60 * plan->request.rate.value()) + 1;
        const auto at = static_cast<std::size_t>(target.whole("at", 0, std::int64_t{1} << 40, 0));
        return playbackOf(target)->play(std::move(plan), from, std::min(end, from + longest), at, answer);
    }
    answer(page(request, name));
}

}  // namespace tumblewash::studio
