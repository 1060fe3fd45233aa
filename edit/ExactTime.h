// Moments as exact fractions of a second, for formats whose values count at rates of their own. Positions are
// added up exactly and rounded once, so that nothing drifts along a track.
#pragma once

#include <cstdint>
#include <optional>

#include "media/Picture.h"

namespace tumblewash::edit {

/// A rate as files say it, a decimal number: within 0.006 of a member of the 1001 family
/// (23.976, 23.98, 29.97, 47.952, 59.94, 119.88) that fraction, within a millionth of a whole number that,
/// otherwise the nearest fraction with a denominator up to 1001. Nothing outside 1 to 240.
std::optional<media::FrameRate> rateOf(double value);

/// An exact number of seconds, which may be negative.
class Moment {
  public:
    /// The wide integers that sums of several rates need.
    __extension__ typedef __int128 Wide;

    Moment() = default;
    /// `value` frames at `rate`; fractions of a frame count to a millionth. Throws std::out_of_range for
    /// values beyond ten thousand million and for NaN.
    static Moment ofFrames(double value, media::FrameRate rate);
    static Moment ofFrames(std::int64_t frames, media::FrameRate rate);
    static Moment ofMicroseconds(std::int64_t count);

    /// Throws std::out_of_range where the common denominator of too many different rates grows out of hand.
    Moment operator+(const Moment& other) const;
    Moment operator-(const Moment& other) const;
    bool operator<(const Moment& other) const;
    bool operator<=(const Moment& other) const { return !(other < *this); }

    /// The nearest frame at `rate`, halves up.
    std::int64_t frame(media::FrameRate rate) const;

  private:
    Moment(Wide num, Wide den);
    Wide num_ = 0;
    Wide den_ = 1;
};

}  // namespace tumblewash::edit
