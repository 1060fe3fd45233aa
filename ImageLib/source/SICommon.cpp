#include "ImageLib/source/SICommon.h"

#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace SICommon_H {

// Both are constant-initialised, so that constructors that run before main may already trace.
constinit std::atomic<int> tracestate{-1};

namespace {
constinit std::atomic<std::FILE*> tracesink{nullptr};
}

void traceto(std::FILE* sink) {
    tracesink.store(sink);
    tracestate.store(sink != nullptr ? 1 : 0);
}

bool resolvetrace() {
#if defined(SI_DEBUG) && SI_DEBUG
    const bool on = true;
#else
    const char* wish = std::getenv("SI_DEBUG");
    const bool on = wish != nullptr && std::strcmp(wish, "1") == 0;
#endif
    if (on) tracesink.store(stderr);
    int unsettled = -1;
    tracestate.compare_exchange_strong(unsettled, on ? 1 : 0);
    return tracestate.load() == 1;
}

void emit(const char* format, ...) {
    std::FILE* sink = tracesink.load();
    if (sink == nullptr) return;
    std::va_list args;
    va_start(args, format);
    std::vfprintf(sink, format, args);
    va_end(args);
}

}  // namespace SICommon_H

const char* const SICommon::DBGclasslabel[11] = {"DBGNone#",   "DBGMem#",    "DBGMatch#", "DBGPixel#",
                                                 "DBGRect#",   "DBGBitmap#", "DBGUI#",    "DBGIter",
                                                 "DBGProblem", "DBGCache",   "DBGAll#"};

void SICommon::printInfo() const {
    siprintf("SICommon dbg=%d\n", dbg.value());
}

const char* SICommon::booltostring(bool b) const {
    return b ? "true" : "false";
}

void SICommon::_debugi(const debugclass& c, const SICommon* other) const {
    if (debugchk(c) && other != nullptr) other->printInfo();
}

double SICommon::runtimenow() const {
    using Clock = std::chrono::steady_clock;
    static const Clock::time_point start = Clock::now();
    return std::chrono::duration<double>(Clock::now() - start).count();
}
