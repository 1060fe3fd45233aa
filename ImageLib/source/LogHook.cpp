#include "ImageLib/source/LogHook.h"

#include <atomic>

namespace tumblewash::imagelib {

namespace {
std::atomic<LogSink> currentSink{nullptr};
}

LogSink setLogSink(LogSink sink) {
    return currentSink.exchange(sink);
}

void logLine(const char* line) {
    if (LogSink sink = currentSink.load()) {
        sink(line);
    }
}

}  // namespace tumblewash::imagelib
