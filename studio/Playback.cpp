#include "studio/Playback.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <system_error>

#include "edit/Render.h"

namespace tumblewash::studio {
namespace {

/// A third of a full picture's width: it moves, and it is here nine times as soon.
constexpr int kWidest = 640;
constexpr int kTallest = 640;
constexpr std::size_t kKept = 6;
/// What is made before it is fetched: a few seconds.
constexpr std::size_t kAhead = std::size_t{1} << 20;
constexpr std::chrono::seconds kPatience{30};

std::string newFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::string name = (runtime && *runtime == '/' ? std::string(runtime)
                                                   : std::filesystem::temp_directory_path().string()) +
                       "/tumblewash-studio-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(),
                                name + ": no folder can be made for previews");
    return name;
}

Response nothing() {
    Response response;
    response.status = 204;
    return response;
}

}  // namespace

Playback::Playback(edit::ClipShelf& shelf, PictureCaches& caches)
    : folder_(newFolder()), shelf_(shelf), frames_(caches, &cancel_), lane_(std::make_unique<Lane>()) {}

Playback::~Playback() {
    {
        const std::scoped_lock hold(lock_);
        newest_.reset();
        cancel_ = true;
    }
    changed_.notify_all();
    lane_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

media::LiveSettings Playback::soundOf(const Plan& plan, std::int64_t from, std::int64_t end) {
    edit::Edit edit = plan.edit;
    edit.output = {};
    edit.output.size = sizeWithin(plan.request.size, kWidest, kTallest);
    edit.output.rate = edit::Written<media::FrameRate>{plan.request.rate, {}};
    edit.output.colour.hdr = media::HdrPolicy::sdr;
    edit.chapters = false;
    edit::RenderSettings settings;
    settings.output = folder_ + "/sound.mp4";
    settings.force = true;
    settings.soundOnly = true;
    settings.shelf = &shelf_;
    settings.cancel = &cancel_;
    const auto frame = [](std::int64_t count) { return edit::TimeSpan{edit::TimeSpan::Unit::Frames, count}; };
    settings.only = edit::RenderRange{frame(from), frame(end)};
    edit::MovieRequest request = prepareMovie(edit, settings);
    request.writer.piece = media::Piece::sound;
    request.writer.pieceFile = folder_ + "/sound";
    edit::Report report = beginReport(edit, settings, request);
    renderMovie(settings, request, report, {});
    media::LiveSettings live;
    live.sound = request.writer.pieceFile;
    live.sampleRate = request.writer.sampleRate;
    live.channels = request.writer.channels;
    return live;
}

void Playback::hand(Stretch& stretch, std::string& bytes) {
    std::vector<std::pair<Answer, Response>> answers;
    {
        const std::scoped_lock hold(lock_);
        stretch.bytes += bytes;
        bytes.clear();
        std::erase_if(stretch.waiting, [&](const std::pair<std::size_t, Answer>& waiting) {
            if (waiting.first >= stretch.bytes.size() && !stretch.ended) return false;
            Response response;
            response.type = "video/mp4";
            response.body = stretch.bytes.substr(std::min(waiting.first, stretch.bytes.size()));
            response.headers.emplace_back("X-Type", stretch.type);
            response.headers.emplace_back("X-Rest", stretch.ended ? "none" : "more");
            stretch.asked = stretch.bytes.size();
            answers.emplace_back(waiting.second, std::move(response));
            return true;
        });
    }
    for (auto& [answer, response] : answers) answer(std::move(response));
}

void Playback::waitForReader(Stretch& stretch) {
    std::unique_lock hold(lock_);
    const bool read = changed_.wait_for(
        hold, kPatience, [&] { return cancel_ || stretch.bytes.size() <= stretch.asked + kAhead; });
    if (!read || cancel_) throw Refused{204, "given-up", "nobody watches"};
}

// The sound of the stretch is made beside the first picture, for which a decoder has to be brought to its
// place.
void Playback::render(const Plan& plan, std::int64_t from, std::int64_t end, Stretch& stretch) {
    const edit::PixelSize size = sizeWithin(plan.request.size, kWidest, kTallest);
    std::future<media::LiveSettings> sound;
    if (plan.request.sound) sound = std::async(std::launch::async, [&] { return soundOf(plan, from, end); });
    media::PictureRef picture = frames_.ofMovie(plan, from, size, Keep::nothing);
    media::LiveSettings settings = sound.valid() ? sound.get() : media::LiveSettings();
    settings.width = size.width;
    settings.height = size.height;
    settings.rate = plan.request.rate;
    std::string bytes;
    media::LiveMovie movie(settings, [&bytes](std::string_view more) { bytes += more; });
    {
        const std::scoped_lock hold(lock_);
        stretch.type = movie.type();
    }
    for (std::int64_t frame = from; frame < end; ++frame) {
        if (frame > from) picture = frames_.ofMovie(plan, frame, size, Keep::nothing);
        movie.picture(picture);
        if (!bytes.empty()) hand(stretch, bytes);
        waitForReader(stretch);
    }
    movie.finish();
    {
        const std::scoped_lock hold(lock_);
        stretch.ended = true;
    }
    hand(stretch, bytes);
}

Playback::StretchRef Playback::find(const std::string& key) const {
    const auto found = std::find_if(kept_.begin(), kept_.end(),
                                    [&](const StretchRef& stretch) { return stretch->key == key; });
    return found == kept_.end() ? nullptr : *found;
}

void Playback::giveUp(const StretchRef& stretch, const Response& answer) {
    std::vector<std::pair<std::size_t, Answer>> waiting;
    {
        const std::scoped_lock hold(lock_);
        kept_.remove(stretch);
        waiting.swap(stretch->waiting);
    }
    for (const auto& each : waiting) each.second(answer);
}

void Playback::make(const Plan& plan, std::int64_t from, std::int64_t end, const StretchRef& stretch) {
    const bool wanted = [&] {
        const std::scoped_lock hold(lock_);
        if (newest_ != stretch) return false;
        running_ = stretch;
        cancel_ = false;
        return true;
    }();
    Response problem = nothing();
    if (wanted) {
        try {
            render(plan, from, end, *stretch);
        } catch (const Refused& refused) {
            if (refused.status != 204) problem = refusal(refused.status, refused.code, refused.message);
        } catch (const std::exception& failed) {
            if (!cancel_) problem = refusal(422, "cannot-play", failed.what());
        }
        frames_.close();
        const std::scoped_lock hold(lock_);
        running_.reset();
        if (stretch->ended) return;
    }
    giveUp(stretch, problem);
}

void Playback::play(PlanRef plan, std::int64_t from, std::int64_t end, std::size_t at, Answer answer) {
    const std::string key = fmt::format("{}|{}|{}", plan->revision, from, end);
    StretchRef stretch;
    bool fresh = false;
    {
        const std::scoped_lock hold(lock_);
        stretch = find(key);
        fresh = !stretch;
        if (fresh) {
            stretch = std::make_shared<Stretch>();
            stretch->key = key;
        } else {
            kept_.remove(stretch);
        }
        kept_.push_front(stretch);
        if (kept_.size() > kKept) kept_.pop_back();
        newest_ = stretch;
        if (running_ && running_ != stretch) cancel_ = true;
        stretch->asked = std::max(stretch->asked, at);
        stretch->waiting.emplace_back(at, std::move(answer));
    }
    changed_.notify_all();
    if (fresh) {
        lane_->post([=, this](bool run) {
            if (run)
                make(*plan, from, end, stretch);
            else
                giveUp(stretch, nothing());
        });
    } else {
        std::string none;
        hand(*stretch, none);
    }
}

}  // namespace tumblewash::studio
