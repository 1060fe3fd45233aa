// The geometry of DistortProcess.h over deep pixels (ImageLib/source/DeepPicture.h): the tumbling plate, the
// motion between two pictures, and the wash-away field from numbers of its own. The same plates, projections
// and fields; only what happens to a pixel's channels differs. No state is kept, and sources are not written.
// Warp and morph are the image library's (FlowWarp.h, FlowMorph.h).
#pragma once

#include <memory>

#include "ImageLib/source/DeepPicture.h"
#include "ImageLib/source/LineBand.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"
#include "hostapi/HYPlugin.h"

namespace tumblewash::plugin {

/// Draws one frame of the tumble, `TumbleAway` over deep pixels: the picture `src` as a plate over whatever
/// `dest` holds. The plate's rim has the mean colour of the picture, weighed by alpha, and the picture's own
/// alpha. With fewer than two rows or columns nothing is drawn.
/// @param src         the picture
/// @param dest        what it is drawn over; of the same size, no overlap
/// @param factor      progress: 0 fills the frame, 1 is shrunk to nothing
/// @param progressive one progressive picture, read at the nearest pixel, instead of two fields
/// @param range       the codes of black and white
/// @param nothing     what lies beside the picture and weighs in at its left and upper edge
/// @param band        the lines that are drawn
void tumbleDeep(const imagelib::DeepView& src, const imagelib::DeepTarget& dest, float factor,
                bool progressive, const kernels::DeepRange& range, const kernels::DeepPixel& nothing,
                const imagelib::LineBand& band = {});

/// The motion from one picture to another and back.
struct DeepMotion {
    std::unique_ptr<PixRectRW<RGBPixel<float>>> forward;   ///< of the first picture
    std::unique_ptr<PixRectRW<RGBPixel<float>>> backward;  ///< of the last picture
};

/// `MakeFlowField` both ways between the frames of four bytes that the two pictures, of one size, become
/// (`deepToFrameRow`). Allocation failure throws `std::bad_alloc`.
[[nodiscard]] DeepMotion estimateDeepMotion(const imagelib::DeepView& first, const imagelib::DeepView& last,
                                            const kernels::DeepRange& range);

/// The field of `makeWashAway` with the numbers that the C library's `rand()` gives after `srand(seed)`, from
/// a generator of its own: any number of threads may call this at once.
[[nodiscard]] std::unique_ptr<PixRectRW<RGBPixel<float>>> seededWashAway(hyPluginDirection direction,
                                                                         unsigned seed);

}  // namespace tumblewash::plugin
