// Where each piece of a sound track belongs, decided from what its times say and what its samples count.
// Players play a track on while its times jitter; so does this: a track counts by its samples, jumps of less
// than 100 ms are absorbed, offsets that last are made good slowly, and times that contradict the samples all
// along are not believed. It sees times and lengths only; samples are FileSound's.
#pragma once

#include <cstddef>
#include <optional>
#include <span>

namespace tumblewash::media {

/// One decoded piece: its time from the first picture on, where it has one, and its length. Seconds.
struct SoundPiece {
    std::optional<double> time;
    double length = 0;
};

/// What to do with a piece. Seconds, 0 or more, except `owed`.
struct SoundPlacing {
    double silence = 0;  ///< silence to play ahead of it
    double dropped = 0;  ///< of its beginning, up to all of it
    double owed = 0;     ///< what the track is to be stretched by (below 0: shortened), a little at a time
};

class SoundClock {
  public:
    /// The seconds that `ahead` of `place` should hold where the track has them.
    static constexpr double kWindow = 1.0;

    /// Places the first of these pieces, which follow one another in the track; the others are what is known
    /// of the future. `ahead` is not empty.
    SoundPlacing place(std::span<const SoundPiece> ahead);

  private:
    SoundPlacing begin(const SoundPiece& piece);
    double offsetOf(double time) const { return time - shifted_ - position_; }

    double position_ = 0;  // where the next sample will be heard, by the count
    double shifted_ = 0;   // what the track's clock has jumped by without being believed
    double before_ = 0;    // the offset of the piece before
    double overlap_ = 0;   // what is still to be dropped after the clock went back
    bool begun_ = false;
    int correcting_ = 0;  // 1 or -1 while a lasting offset is made good
};

}  // namespace tumblewash::media
