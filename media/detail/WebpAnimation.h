// Animated WebP: its pictures on their whole canvas, in order, with the times the file gives them.
// A WebP file of one picture without animation is not read here.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "media/detail/Av.h"
#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// True when the file says that it is an animated WebP.
bool isAnimatedWebp(const InputBytes& file);

/// An opened animation. One thread at a time.
class WebpAnimation {
  public:
    /// Throws MediaError (unreadable, undecodable).
    explicit WebpAnimation(const InputBytes& file);
    ~WebpAnimation();
    WebpAnimation(const WebpAnimation&) = delete;
    WebpAnimation& operator=(const WebpAnimation&) = delete;

    bool hasAlpha() const noexcept;
    /// How long each whole picture of the file is shown, in milliseconds, at least 1. Pictures that claim 10
    /// ms or less get 100, as every browser does.
    const std::vector<int>& durations() const noexcept;
    /// True when the file holds fewer pictures than it was written with.
    bool cutOff() const noexcept;
    /// The ICC profile's bytes and those of the EXIF block; empty without.
    const std::vector<uint8_t>& profile() const noexcept;
    const std::vector<uint8_t>& exif() const noexcept;

    /// The next picture as RGBA with straight alpha, or null after the last and at damage.
    FramePtr next();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// The rate, in pictures a second, at which every change of a picture falls on one of its own.
FrameRate rateOfDurations(const std::vector<int>& milliseconds);

}  // namespace tumblewash::media
