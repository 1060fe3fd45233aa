// What goes wrong in this room, in words a user can act on, and the switch for the codecs' own chatter.
// The room throws nothing else of its own; only running out of memory (std::bad_alloc) comes besides.
// It prints nothing: the caller decides where the line goes and which exit code it means.
#pragma once

#include <atomic>
#include <stdexcept>
#include <string>

namespace tumblewash::media {

/// The kinds of failure a caller may want to tell apart.
enum class MediaErrorCode {
    unreadable,   ///< the input does not exist, is no regular file, is empty or may not be read
    undecodable,  ///< the input was read, but is no picture or movie this program can decode
    noVideo,      ///< the input holds sound or text, but no picture
    badRequest,   ///< impossible settings: sizes, rates, unknown output type, wrong pattern source
    notWritable,  ///< the output cannot be made, or the disk is full, or the pipe is closed
    encoding,     ///< an encoder or a filter failed while working
    cancelled     ///< the caller's cancel flag was seen
};

/// One failure. `what()` is "FILE: what is wrong and what to do", one line, without a trailing stop or
/// newline, the file as `quotedName` shows it.
class MediaError : public std::runtime_error {
  public:
    /// `problem` is the text behind "FILE: "; an empty `file` leaves the colon out.
    MediaError(MediaErrorCode code, std::string file, const std::string& problem);

    MediaErrorCode code() const noexcept { return code_; }
    /// The file (or pattern, or output) the failure is about, as the caller gave it.
    const std::string& file() const noexcept { return file_; }

  private:
    MediaErrorCode code_;
    std::string file_;
};

/// A flag that another thread or a signal handler raises to stop all work of this room soon. Not owned; may
/// be null.
using CancelFlag = const std::atomic<bool>*;

/// Lets the codec libraries' own messages through to standard error (false, the default, keeps them silent).
/// For the whole process; safe from any thread.
void setMediaVerbose(bool verbose) noexcept;

}  // namespace tumblewash::media
