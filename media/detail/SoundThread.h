// A thread that takes a movie's sound while pictures are encoded in another one: pieces of samples in order,
// behind a short queue. What is done with them is the owner's; it knows no encoder and no file.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "media/MediaError.h"

namespace tumblewash::media {

class SoundThread {
  public:
    /// Takes sample frames, interleaved, on the thread; `own` as in `Sink::ownSamples`. May throw.
    using Take = std::function<void(const float* interleaved, size_t frames, bool own)>;

    /// `width` floats are one sample frame; `output` is named when `cancel` is raised. Throws
    /// std::system_error where there is no thread to be had.
    SoundThread(std::string output, size_t width, CancelFlag cancel, Take take);
    /// Pieces that nobody has taken yet are dropped.
    ~SoundThread();
    SoundThread(const SoundThread&) = delete;
    SoundThread& operator=(const SoundThread&) = delete;

    /// Hands samples over and waits where many are under way. Throws what `take` threw, and MediaError
    /// (cancelled).
    void samples(const float* interleaved, size_t frames, bool own);
    /// Waits until all is taken; the thread has ended then. Throws as `samples`.
    void finish();
    /// How long `take` has worked.
    double seconds() const;

  private:
    struct Piece {
        std::vector<float> samples;
        bool own = false;
    };
    void work();
    void stop(bool drop);
    void throwFailure();

    const std::string output_;
    const size_t width_;
    const CancelFlag cancel_;
    const Take take_;
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::deque<Piece> queue_;
    std::exception_ptr failure_;
    double seconds_ = 0;
    bool ending_ = false;
    std::thread thread_;
};

}  // namespace tumblewash::media
