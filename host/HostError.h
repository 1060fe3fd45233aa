// What a host says when a transition cannot be run: one exception type and one table of sentences.
// It carries the plug-in's result code where there is one, and text for people in every case.
// It is not how a single frame reports: see FrameResult in Session.h.
#pragma once

#include <stdexcept>
#include <string>

#include "hostapi/HYPlugin.h"

namespace tumblewash::host {

/// A request that cannot be met. what() is one line without a final stop or line end, meant to follow
/// "tumblewash: ".
class HostError : public std::runtime_error {
  public:
    /// An error of the host's own: `code` is kPluginBadParams unless told.
    explicit HostError(const std::string& message, HYPluginResult code = kPluginBadParams)
        : std::runtime_error(message), code_(code) {}

    /// The result code given to the constructor.
    [[nodiscard]] HYPluginResult code() const noexcept { return code_; }

  private:
    HYPluginResult code_;
};

/// The enumerator's name, e.g. "kPluginFailed"; "unknown result" above the eleven known codes.
[[nodiscard]] const char* resultName(int code) noexcept;

/// What a result code means and what to do about it, one line without a final stop. Total: any int is
/// answered.
[[nodiscard]] std::string resultSentence(int code);

}  // namespace tumblewash::host
