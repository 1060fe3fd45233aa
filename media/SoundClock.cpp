#include "media/detail/SoundClock.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tumblewash::media {

namespace {

constexpr double kJump = 0.1;          // absorbed below
constexpr double kSteady = 0.05;       // a jump that is meant stays within this of where it led
constexpr double kBrokenClock = 60;    // the track's clock has started anew
constexpr double kLasting = 0.015;     // an offset that nobody need bear
constexpr double kCorrection = 0.003;  // of the time, 5 cents of a semitone

double medianOf(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

SoundPlacing SoundClock::begin(const SoundPiece& piece) {
    SoundPlacing out;
    const double time = piece.time.value_or(0);
    if (time < 0) {
        out.dropped = std::min(-time, piece.length);
        begun_ = out.dropped < piece.length;
    } else {
        out.silence = time;
        begun_ = true;
    }
    position_ = std::max(time, 0.0) + piece.length - out.dropped;
    if (!begun_) position_ = 0;
    return out;
}

SoundPlacing SoundClock::place(std::span<const SoundPiece> ahead) {
    const SoundPiece& piece = ahead.front();
    if (!begun_) return begin(piece);
    if (piece.time && std::abs(offsetOf(*piece.time)) >= kBrokenClock) shifted_ += offsetOf(*piece.time);

    // The offsets of what is to come, were it simply played on.
    std::vector<double> offsets;
    double passed = 0;
    for (const SoundPiece& next : ahead) {
        if (next.time) offsets.push_back(offsetOf(*next.time) - passed);
        passed += next.length;
    }
    SoundPlacing out;
    if (piece.time && overlap_ <= 0) {
        const double offset = offsetOf(*piece.time);
        const auto [least, most] = std::minmax_element(offsets.begin(), offsets.end());
        // A jump is believed where it happens, when it leads to where the track then stays.
        if (std::abs(offset) >= kJump && std::abs(offset - before_) >= kSteady &&
            std::abs(offset - medianOf(offsets)) < kSteady) {
            if (offset > 0)
                out.silence = offset;
            else
                overlap_ = -offset;
            before_ = 0;
            correcting_ = 0;
        } else {
            before_ = offset;
            const int side = *least > 0 ? 1 : *most < 0 ? -1 : 0;
            const double nearest = std::min(std::abs(*least), std::abs(*most));
            // Offsets that run away faster than they could be made good are no offsets: the times are wrong.
            const bool runaway = *most - *least >= 2 * kJump;
            if (side == 0 || runaway)
                correcting_ = 0;
            else if (nearest >= kLasting && passed >= kWindow / 2)
                correcting_ = side;
            if (correcting_ != 0 && correcting_ == side) out.owed = side * kCorrection * piece.length;
        }
    }
    out.dropped = std::min(overlap_, piece.length);
    overlap_ -= out.dropped;
    position_ += out.silence - out.dropped + piece.length + out.owed;
    return out;
}

}  // namespace tumblewash::media
