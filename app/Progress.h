// How far a run is: a line redrawn on a terminal, or key=value lines for programs.
// It is told about frames and looks at the clock; it changes nothing about the run.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "app/Options.h"
#include "edit/Times.h"

namespace tumblewash::app {

/// What the line shows at one moment.
struct ProgressState {
    std::int64_t frame = 0;        ///< frames done
    std::int64_t frames = 1;       ///< frames in all
    double elapsed = 0;            ///< seconds since the start
    media::FrameRate rate{25, 1};  ///< of the result
};

/// The terminal line without its carriage return, e.g. `join ━━━╌╌  47%  1.8x  0:12 left`, in fewer than
/// `columns` columns: the bar gives way first, then the end, then the speed.
std::string progressLine(const std::string& title, const ProgressState& state, int columns);

/// One block of key=value lines: frame, total_frames, fps, out_time_us, speed, progress (`continue` or
/// `end`).
std::string progressBlock(const ProgressState& state, bool end);

/// The same as one line of JSON.
std::string progressJson(const ProgressState& state, bool end);

/// Tells progress in the style of the options. The terminal line goes to standard error and only when that is
/// a terminal; key=value blocks go to standard output, unless `keysToError` says that it carries the result.
class Progress {
  public:
    Progress(const Options& options, std::string title, std::int64_t frames, media::FrameRate rate,
             bool keysToError = false);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// `done` frames of the result are finished.
    void advance(std::int64_t done);
    /// All is done: the last block, or the line removed.
    void finish();
    /// Seconds since construction.
    double elapsed() const;

  private:
    void show(bool end);

    ProgressStyle style_;
    std::string title_;
    ProgressState state_;
    std::FILE* keys_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point last_;
    bool shown_ = false;
};

}  // namespace tumblewash::app
