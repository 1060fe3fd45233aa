#include "app/say.h"

#include <cerrno>

#include "edit/outputs.h"
#include "media/MediaError.h"
#include "media/Staging.h"

namespace tumblewash::app {

using edit::failWhileWorking;
using media::MediaError;
using media::throwNotWritable;

void printText(const std::string& text) try {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        throwNotWritable("standard output", errno);
} catch (const MediaError& problem) {
    failWhileWorking(problem);
}

}  // namespace tumblewash::app
