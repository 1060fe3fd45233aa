#include "media/MediaError.h"

#include "media/Quoting.h"

extern "C" {
#include <libavutil/log.h>
}

namespace tumblewash::media {

namespace {
std::string line(const std::string& file, const std::string& problem) {
    return file.empty() ? problem : quotedName(file) + ": " + problem;
}

// The libraries are silent from the first call on, whether or not anyone sets the switch.
const bool quietFromTheStart = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
}();
}  // namespace

MediaError::MediaError(MediaErrorCode code, std::string file, const std::string& problem)
    : std::runtime_error(line(file, problem)), code_(code), file_(std::move(file)) {}

void setMediaVerbose(bool verbose) noexcept {
    av_log_set_level(verbose && quietFromTheStart ? AV_LOG_INFO : AV_LOG_QUIET);
}

}  // namespace tumblewash::media
