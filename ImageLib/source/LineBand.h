// LineBand: some of a frame's lines, for callers that do a frame in bands, one after another or side by side.
// Whatever moves pixels takes a band and writes none but its lines; all of a frame's bands together are the
// frame, byte for byte. It knows no threads.
#pragma once

#include <algorithm>
#include <limits>

namespace tumblewash::imagelib {

/// Lines first ... end - 1 of a frame. Lines 2 y and 2 y + 1, row y of the two fields, stay together: `first`
/// is even, and so is `end` unless it is the frame's height or more.
struct LineBand {
    int first = 0;                              ///< the first line
    int end = std::numeric_limits<int>::max();  ///< the line behind the last one

    /// The same within a frame of `height` lines.
    [[nodiscard]] constexpr int endIn(int height) const noexcept { return std::min(end, height); }
    /// The first row of either field.
    [[nodiscard]] constexpr int firstRow() const noexcept { return first / 2; }
    /// The row behind the last one of the odd field, which is also the last one that both fields have.
    [[nodiscard]] constexpr int endOddRow(int height) const noexcept { return endIn(height) / 2; }
    /// The row behind the last one of the even field.
    [[nodiscard]] constexpr int endEvenRow(int height) const noexcept {
        return endIn(height) / 2 + endIn(height) % 2;
    }
};

}  // namespace tumblewash::imagelib
