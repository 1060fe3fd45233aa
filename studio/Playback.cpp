#include "studio/Playback.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "edit/render.h"
#include "media/Codecs.h"

namespace tumblewash::studio {
namespace {

/// A third of a full picture's width: it moves, and it is here nine times as soon.
constexpr int kWidest = 640;
constexpr int kTallest = 640;
constexpr std::size_t kKept = 6;

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

/// `bytes=A-B`, `bytes=A-` or `bytes=-N` of a file of `size` bytes. 0: no single range that is understood,
/// 1: it is, -1: it lies outside.
int readRange(std::string_view text, std::uint64_t size, FileBody& body) {
    constexpr std::string_view kUnit = "bytes=";
    if (!text.starts_with(kUnit) || text.find(',') != std::string_view::npos) return 0;
    text.remove_prefix(kUnit.size());
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos) return 0;
    const auto number = [](std::string_view digits, std::uint64_t& value) {
        const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return problem == std::errc{} && end == digits.data() + digits.size();
    };
    if (size == 0) return -1;
    std::uint64_t first = 0;
    std::uint64_t last = size - 1;
    const std::string_view from = text.substr(0, dash);
    const std::string_view to = text.substr(dash + 1);
    if (from.empty()) {
        std::uint64_t count = 0;
        if (!number(to, count)) return 0;
        if (count == 0) return -1;
        first = size - std::min(size, count);
    } else {
        if (!number(from, first) || (!to.empty() && (!number(to, last) || last < first))) return 0;
        last = std::min(last, size - 1);
    }
    if (first >= size) return -1;
    body.first = first;
    body.count = last - first + 1;
    return 1;
}

}  // namespace

Response fileResponse(const Request& request, const std::string& file, const std::string& type) {
    std::error_code problem;
    const std::uint64_t size = std::filesystem::file_size(file, problem);
    if (problem) return refusal(404, "gone", "the file is not there any more");
    Response response;
    response.type = type;
    response.file = {file, 0, size};
    response.headers.emplace_back("Accept-Ranges", "bytes");
    const int range =
        request.headersNamed("Range") == 1 ? readRange(request.header("Range"), size, response.file) : 0;
    if (range > 0) {
        response.status = 206;
        response.headers.emplace_back("Content-Range",
                                      fmt::format("bytes {}-{}/{}", response.file.first,
                                                  response.file.first + response.file.count - 1, size));
    } else if (range < 0) {
        response = refusal(416, "range", "the file has no such bytes");
        response.headers.emplace_back("Content-Range", fmt::format("bytes */{}", size));
    }
    return response;
}

Playback::Playback() : folder_(newFolder()), lane_(std::make_unique<Lane>(5)) {}

Playback::~Playback() {
    cancel_ = true;
    lane_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void Playback::render(const Plan& plan, std::int64_t from, std::int64_t end, const std::string& file) {
    edit::Edit edit = plan.edit;
    edit.output = {};
    edit.output.fit = plan.edit.output.fit;
    edit.output.size = sizeWithin(plan.request.size, kWidest, kTallest);
    edit.output.rate = edit::Written<media::FrameRate>{plan.request.rate, {}};
    edit.output.crf = 20;
    edit.output.preset = "ultrafast";
    edit.output.colour.hdr = media::HdrPolicy::sdr;
    edit.output.colour.toneMap = plan.edit.output.colour.toneMap;
    edit.chapters = false;
    edit::RenderSettings settings;
    settings.output = file;
    settings.force = true;
    settings.shelf = &shelf_;
    settings.cancel = &cancel_;
    const auto frame = [](std::int64_t count) { return edit::TimeSpan{edit::TimeSpan::Unit::Frames, count}; };
    settings.only = edit::RenderRange{frame(from), frame(end)};
    edit::MovieRequest request = prepareMovie(edit, settings);
    edit::Report report = beginReport(edit, settings, request);
    renderMovie(settings, request, report, {});
}

void Playback::play(PlanRef plan, std::int64_t from, std::int64_t end, const Request& request,
                    Answer answer) {
    const std::string file = fmt::format("{}/{}-{}-{}.mp4", folder_, plan->revision, from, end);
    {
        const std::scoped_lock hold(lock_);
        if (wanted_ != file) cancel_ = true;
        wanted_ = file;
    }
    const auto ranges = std::make_shared<const Request>(request);
    lane_->post([=, this](bool run) {
        Response nothing;
        nothing.status = 204;
        {
            const std::scoped_lock hold(lock_);
            if (!run || wanted_ != file) return answer(nothing);
            cancel_ = false;
            const auto known = std::find(ready_.begin(), ready_.end(), file);
            if (known != ready_.end()) return answer(fileResponse(*ranges, file, "video/mp4"));
        }
        try {
            render(*plan, from, end, file);
        } catch (const std::exception& problem) {
            return answer(cancel_ ? nothing : refusal(422, "cannot-play", problem.what()));
        }
        ready_.push_front(file);
        for (; ready_.size() > kKept; ready_.pop_back()) unlink(ready_.back().c_str());
        answer(fileResponse(*ranges, file, "video/mp4"));
    });
}

}  // namespace tumblewash::studio
