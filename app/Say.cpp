#include "app/Say.h"

#include <cctype>
#include <cerrno>
#include <exception>

#include "edit/Outputs.h"
#include "media/MediaError.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::app {

using edit::failWhileWorking;
using media::MediaError;
using media::printable;
using media::throwNotWritable;

void sayLine(const char* begin, const char* words) noexcept {
    try {
        std::fputs((printable(std::string(begin) + words) + "\n").c_str(), stderr);
    } catch (const std::exception&) {
        for (const char* text : {begin, words})
            for (; *text != 0; ++text)
                std::fputc(std::isprint(static_cast<unsigned char>(*text)) != 0 ? *text : '?', stderr);
        std::fputc('\n', stderr);
    }
}

void printText(const std::string& text) try {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        throwNotWritable("standard output", errno);
} catch (const MediaError& problem) {
    failWhileWorking(problem);
}

}  // namespace tumblewash::app
