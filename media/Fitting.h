// Where a picture of one shape lies in a frame of another: its size there, what is cut off it and the bars
// before it. Numbers only; PictureGraph makes filters of them.
#pragma once

#include "media/Reader.h"

namespace tumblewash::media {

/// A picture's place in a frame, in pixels of the frame.
struct Placement {
    int width = 0, height = 0;  ///< of the whole picture, once it is scaled
    int cropX = 0, cropY = 0;   ///< cut off before what the frame shows of it
    int padX = 0, padY = 0;     ///< black before it
};

/// What places have to keep to.
struct PlacementGrid {
    bool even = true;         ///< sides and distances in twos, for colour that has half the size
    bool interlaced = false;  ///< rows in fours, so that lines stay in their field
};

/// The place of a picture whose square pixels are `shownWidth` x `shownHeight` in a frame of `width` x
/// `height`.
[[nodiscard]] Placement placeOf(double shownWidth, double shownHeight, int width, int height, Fit fit,
                                const PlacementGrid& grid);

/// The even number next to `value`, 2 at least.
[[nodiscard]] int evenNear(double value);

}  // namespace tumblewash::media
