#include "edit/Threads.h"

#include <algorithm>
#include <thread>

namespace tumblewash::edit {

namespace {

int cores() {
    return static_cast<int>(std::thread::hardware_concurrency());
}

constexpr std::int64_t kMostSessions = 64;

}  // namespace

void settleThreads(int threads, media::ReaderSettings& reader) {
    // Each reader decodes in a thread of its own; more of them per clip pay only where cores are many.
    reader.threads = cores() < 4 ? 1 : threads;
    if (threads == 1) reader.prefetch = 0;
}

void settleThreads(int threads, media::WriterSettings& writer) {
    writer.threads = threads > 0 ? std::min(threads, media::usualEncoderThreads()) : 0;
    writer.ownThread = threads != 1;
}

int sessionsFor(int threads, std::int64_t frames) {
    if (threads == 1) return 0;
    // Decoding and encoding keep about one core busy; the others render.
    const int wished = threads > 0 ? threads : cores() - 1;
    return std::clamp(wished, 1, static_cast<int>(std::min(frames, kMostSessions)));
}

}  // namespace tumblewash::edit
