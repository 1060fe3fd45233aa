// A file of music as an endless run of samples: its sound alone, pictures left out, begun anew at its end so
// that nobody hears the seam. It knows no movie; fades and levels are the caller's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/MediaError.h"

namespace tumblewash::media {

class MusicFile {
  public:
    /// Sample frames over which the end goes into the beginning.
    static constexpr std::size_t kOverlap = 480;

    /// Opens, and decodes the first second. Throws MediaError: unreadable, undecodable (no sound, less than a
    /// second of it, damaged), cancelled.
    MusicFile(const std::string& path, int sampleRate, int channels, CancelFlag cancel);
    ~MusicFile();
    MusicFile(const MusicFile&) = delete;
    MusicFile& operator=(const MusicFile&) = delete;

    /// What the constructor checks, without keeping the file open.
    static void check(const std::string& path, CancelFlag cancel);

    /// The next sample frames, interleaved; always all of them.
    void read(float* interleaved, std::size_t frames);
    /// Passes over sample frames.
    void skip(std::int64_t frames);

    /// What was lost so far, one line each, without the file's name.
    std::vector<std::string> warnings() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::media
