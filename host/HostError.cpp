#include "host/HostError.h"

#include <array>

namespace tumblewash::host {

namespace {

struct ResultText {
    const char* name;
    const char* sentence;
};

/// By code; the enumeration leaves no gaps.
constexpr std::array<ResultText, 12> kResults{{
    {"kPluginOK", "the plug-in reports success"},
    {"kPluginCancel", "the work was cancelled"},
    {"kPluginFinished", "the plug-in says that it has nothing more to do"},
    {"kPluginBadParams", "the plug-in was asked for something it does not understand"},
    {"kPluginOutOfMemory", "memory ran out; try smaller pictures"},
    {"kPluginOutOfDiskSpace", "the disk is full; free some space"},
    {"kPluginFailed", "the plug-in could not draw the frame"},
    {"kPluginCantGetNeededFrame", "a frame that the transition needs is not available"},
    {"kPluginUnimplemented", "this plug-in cannot draw that effect; choose another one"},
    {"kPluginTryAgainLater", "the plug-in is busy; try again later"},
    {"kPluginAppIsTooOld", "the plug-in needs a newer host than this one"},
    {"kPluginAppIsTooNew", "the plug-in is too old for this host"},
}};

}  // namespace

const char* resultName(int code) noexcept {
    return code >= 0 && code < static_cast<int>(kResults.size())
               ? kResults[static_cast<std::size_t>(code)].name
               : "unknown result";
}

std::string resultSentence(int code) {
    if (code >= 0 && code < static_cast<int>(kResults.size())) {
        return kResults[static_cast<std::size_t>(code)].sentence;
    }
    return "the plug-in returned the unknown result " + std::to_string(code);
}

}  // namespace tumblewash::host
