#include "media/detail/SoundThread.h"

#include <chrono>
#include <utility>

#include "media/detail/Av.h"

namespace tumblewash::media {

namespace {

// Pieces, each the sound of a picture, that may wait. The packets of as many pictures wait for them in turn.
constexpr size_t kMost = 16;

// Until asked again whether the work was cancelled.
constexpr auto kPatience = std::chrono::milliseconds(100);

}  // namespace

SoundThread::SoundThread(std::string output, size_t width, CancelFlag cancel, Take take)
    : output_(std::move(output)), width_(width), cancel_(cancel), take_(std::move(take)) {
    thread_ = std::thread([this] { work(); });
}

SoundThread::~SoundThread() {
    stop(true);
}

void SoundThread::work() {
    std::unique_lock lock(lock_);
    for (;;) {
        changed_.wait(lock, [&] { return ending_ || !queue_.empty(); });
        if (queue_.empty()) return;
        const Piece piece = std::move(queue_.front());
        queue_.pop_front();
        changed_.notify_all();
        lock.unlock();
        std::exception_ptr problem;
        const auto began = std::chrono::steady_clock::now();
        try {
            take_(piece.samples.data(), piece.samples.size() / width_, piece.own);
        } catch (...) {
            problem = std::current_exception();
        }
        const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
        lock.lock();
        seconds_ += took;
        if (!problem) continue;
        failure_ = problem;
        queue_.clear();
        changed_.notify_all();
        return;
    }
}

void SoundThread::stop(bool drop) {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard lock(lock_);
        ending_ = true;
        if (drop) queue_.clear();
    }
    changed_.notify_all();
    thread_.join();
}

void SoundThread::throwFailure() {
    if (failure_) std::rethrow_exception(failure_);
    throwIfRaised(cancel_, output_);
}

void SoundThread::samples(const float* interleaved, size_t frames, bool own) {
    Piece piece{{interleaved, interleaved + frames * width_}, own};
    std::unique_lock lock(lock_);
    throwFailure();
    while (!changed_.wait_for(lock, kPatience, [&] { return failure_ || queue_.size() < kMost; }))
        throwFailure();
    throwFailure();
    queue_.push_back(std::move(piece));
    changed_.notify_all();
}

void SoundThread::finish() {
    stop(false);
    throwFailure();
}

double SoundThread::seconds() const {
    const std::lock_guard lock(lock_);
    return seconds_;
}

}  // namespace tumblewash::media
