#include "app/Progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace tumblewash::app {

using edit::microsecondsOf;
using edit::secondsOf;
using media::FrameRate;

namespace {

double framesPerSecond(const ProgressState& s) {
    return s.elapsed > 0 ? static_cast<double>(s.frame) / s.elapsed : 0.0;
}

double speedOf(const ProgressState& s) {
    return s.elapsed > 0 ? secondsOf(s.frame, s.rate) / s.elapsed : 0.0;
}

/// How wide the terminal is now; it may have been resized since the last line.
int terminalColumns() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    return 80;
}

std::string clockText(double seconds) {
    const auto whole = static_cast<std::int64_t>(seconds + 0.5);
    if (whole >= 3600) return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
    return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

std::string progressLine(const std::string& title, const ProgressState& s, int columns) {
    const std::int64_t frames = std::max<std::int64_t>(1, s.frames);
    const std::int64_t done = std::clamp<std::int64_t>(s.frame, 0, frames);
    std::string left = "--:--";
    if (done > 0)
        left = clockText(s.elapsed * static_cast<double>(frames - done) / static_cast<double>(done));
    const std::string parts[] = {fmt::format("{} {:3}%", title, done * 100 / frames),
                                 fmt::format("  {:.1f}x", speedOf(s)), fmt::format("  {} left", left)};
    // The last column stays free: terminals differ in what they do there.
    const auto room = static_cast<std::size_t>(std::max(1, columns - 1));
    std::string line;
    for (const std::string& part : parts) {
        if (line.size() + part.size() > room) break;
        line += part;
    }
    if (line.empty()) line = parts[0].substr(parts[0].size() - std::min(parts[0].size(), room));
    constexpr std::size_t kWidest = 24;
    constexpr std::size_t kNarrowest = 6;
    const bool whole = line.size() > parts[0].size() + parts[1].size();
    const std::size_t bar = whole && room > line.size() + 1 ? std::min(kWidest, room - line.size() - 1) : 0;
    if (bar < kNarrowest) return line;
    const auto filled = static_cast<std::size_t>(done) * bar / static_cast<std::size_t>(frames);
    std::string drawn;
    for (std::size_t i = 0; i < bar; ++i) drawn += i < filled ? "━" : "╌";
    return line.insert(title.size(), " " + drawn);
}

std::string progressBlock(const ProgressState& s, bool end) {
    return fmt::format("frame={}\ntotal_frames={}\nfps={:.2f}\nout_time_us={}\nspeed={:.3f}x\nprogress={}\n",
                       s.frame, s.frames, framesPerSecond(s), microsecondsOf(s.frame, s.rate), speedOf(s),
                       end ? "end" : "continue");
}

std::string progressJson(const ProgressState& s, bool end) {
    return fmt::format(
        "{{\"frame\":{},\"total_frames\":{},\"fps\":{:.2f},\"out_time_us\":{},\"speed\":{:.3f},"
        "\"progress\":\"{}\"}}\n",
        s.frame, s.frames, framesPerSecond(s), microsecondsOf(s.frame, s.rate), speedOf(s),
        end ? "end" : "continue");
}

Progress::Progress(const Options& options, std::string title, std::int64_t frames, FrameRate rate,
                   bool keysToError)
    : style_(options.quiet && options.progress == ProgressStyle::Auto ? ProgressStyle::None
                                                                      : options.progress),
      title_(std::move(title)),
      keys_(keysToError ? stderr : stdout),
      start_(std::chrono::steady_clock::now()),
      last_(start_) {
    state_.frames = frames;
    state_.rate = rate;
    if (style_ == ProgressStyle::Auto && isatty(STDERR_FILENO) == 0) style_ = ProgressStyle::None;
}

Progress::~Progress() {
    if (shown_) std::fputs("\r\033[K", stderr);
}

void Progress::advance(std::int64_t done) {
    state_.frame = done;
    const auto now = std::chrono::steady_clock::now();
    const auto pause = std::chrono::milliseconds(style_ == ProgressStyle::Auto ? 100 : 500);
    if (style_ == ProgressStyle::None || now - last_ < pause) return;
    last_ = now;
    show(false);
}

void Progress::finish() {
    show(true);
}

double Progress::elapsed() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Progress::show(bool end) {
    state_.elapsed = elapsed();
    if (style_ == ProgressStyle::KeyValue || style_ == ProgressStyle::Json) {
        const bool json = style_ == ProgressStyle::Json;
        std::fputs((json ? progressJson(state_, end) : progressBlock(state_, end)).c_str(), keys_);
        std::fflush(keys_);
    } else if (style_ == ProgressStyle::Auto) {
        std::fputs(end ? "\r\033[K"
                       : fmt::format("\r{}\033[K", progressLine(title_, state_, terminalColumns())).c_str(),
                   stderr);
        std::fflush(stderr);
        shown_ = !end;
    }
}

}  // namespace tumblewash::app
