#include "edit/Threads.h"

#include <algorithm>
#include <thread>

namespace tumblewash::edit {

namespace {

int cores() {
    return static_cast<int>(std::thread::hardware_concurrency());
}

constexpr std::int64_t kMostSessions = 64;

// HEVC's encoder works beside its caller, and is so much slower than all else that pictures which wait for it
// only cost memory, of which it takes most itself.
bool encoderBounds(const media::MovieColour& movie, int width, int height) {
    return movie.codec == media::Codec::hevc && media::isLargeDeep(movie.depth > 8, width, height);
}

bool encoderBounds(const media::WriterSettings& writer) {
    return writer.colour && encoderBounds(*writer.colour, writer.width, writer.height);
}

}  // namespace

void settleThreads(int threads, const media::MovieColour& movie, media::ReaderSettings& reader) {
    // Each reader decodes in a thread of its own; more of them per clip pay only where cores are many.
    reader.threads = cores() < 4 ? 1 : threads;
    if (threads == 1 || encoderBounds(movie, reader.width, reader.height)) reader.prefetch = 0;
}

void settleThreads(int threads, media::WriterSettings& writer) {
    writer.threads = threads > 0 ? std::min(threads, media::usualEncoderThreads()) : 0;
    writer.ownThread = threads != 1 && !encoderBounds(writer);
    // Beside a lone core there is nothing to be had from it.
    writer.soundThread = writer.ownThread && cores() > 1;
}

int sessionsFor(int threads, const media::WriterSettings& writer, std::int64_t frames) {
    if (threads == 1) return 0;
    // Decoding and encoding keep about one core busy; the others render.
    const int usual = encoderBounds(writer) ? 1 : cores() - 1;
    const int wished = threads > 0 ? threads : usual;
    return std::clamp(wished, 1, static_cast<int>(std::min(frames, kMostSessions)));
}

}  // namespace tumblewash::edit
