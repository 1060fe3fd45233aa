// A small movie for being watched while it is made: pictures, and a piece of sound that is there already, as
// fragmented MP4 whose bytes are handed on at once. It writes no file; finished movies are Writer.h's.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "media/Picture.h"

namespace tumblewash::media {

/// What a live movie is like.
struct LiveSettings {
    int width = 0;  ///< even, 16 or more
    int height = 0;
    FrameRate rate{25, 1};
    std::string sound;  ///< a piece of sound (Pieces.h), from the movie's start; empty: none
    int sampleRate = 48000;
    int channels = 2;
};

/// One movie under way. One thread at a time.
class LiveMovie {
  public:
    /// Takes bytes as they are made.
    using Bytes = std::function<void(std::string_view)>;
    /// Pictures in one fragment: what is handed on at a time.
    static constexpr int kFragment = 5;

    /// Hands on the header. Throws MediaError: badRequest for sizes that cannot be, encoding, and what
    /// reading the piece of sound throws.
    LiveMovie(const LiveSettings& settings, Bytes bytes);
    ~LiveMovie();
    LiveMovie(const LiveMovie&) = delete;
    LiveMovie& operator=(const LiveMovie&) = delete;

    /// Its type with its codecs, as browsers ask for it: `video/mp4; codecs="avc1.42c01e, mp4a.40.2"`.
    const std::string& type() const noexcept;

    /// The next picture, of the settings' size, in any layout. Throws MediaError.
    void picture(const PictureRef& picture);
    /// The end: the last fragment, and the sound as far as the pictures go.
    void finish();

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::media
