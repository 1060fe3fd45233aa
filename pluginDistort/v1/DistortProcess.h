// What moves the pixels: displacement fields, the projection fill, the tumbling plate and the estimate of
// motion between two pictures. Frames are 32-bit pixels alpha, red, green, blue, rows one after another
// without gaps other than the stride's; an interlaced frame is two fields, the even lines 0, 2, 4.. and the
// odd lines 1, 3, 5.. Not the warp along a field and not the morph, which are the image library's
// (FlowWarp.h, FlowMorph.h).
#pragma once

#include <array>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/LineBand.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/PlanarProj.h"
#include "ImageLib/source/RGBPixel.h"
#include "hostapi/HYPlugin.h"

/// The wash-away field: 64 x 64 cells that push the picture off one edge, each cell at its own random speed,
/// the faster the nearer it lies to that edge.
///
/// Red is the horizontal and green the vertical displacement as a fraction of the frame; the other is 0. One
/// `rand()` is drawn per cell, row by row, whatever the direction; the generator is never seeded here.
/// Directions other than up, down and left push to the right.
/// @return a new rectangle owned by the caller. Allocation failure is the allocator's exception.
[[nodiscard]] PixRectRW<RGBPixel<float>>* makeWashAway(hyPluginDirection direction);

/// The tilt-plate field: `gran` x `gran` cells that pull the picture down and narrow it towards its middle
/// column, both most at the top, like a plate tipping away. Ownership and failure as in `makeWashAway`.
[[nodiscard]] PixRectRW<RGBPixel<float>>* makeTiltPlate(float zoom, int gran);

/// What the tilts of the catalogue make their plate with.
inline constexpr float kTiltZoom = 5.0f;
/// Cells along each side of that plate.
inline constexpr int kTiltCells = 32;

/// The magnifying-glass field: `gran` x `gran` cells, a lens of 0.4 x gran cells in the middle; its rim is a
/// visible step. No effect of the catalogue uses it. Ownership and failure as in `makeWashAway`.
[[nodiscard]] PixRectRW<RGBPixel<float>>* makeMagnifyingGlass(float zoom, int gran);

/// Fills `dest` from `src` through `pp`, which carries destination positions to source positions.
///
/// The bounds of `src` are tested with the truncated position, the read is `pixdd` at the exact one;
/// positions that fall outside, or are no finite int, leave the destination pixel alone. Continuous bilinear
/// and plain frames take a direct path with the same bytes; any other rectangle is read through its virtual
/// slots.
void ProjWith(PixRect<ARGBVal>& src, PixRectRW<ARGBVal>& dest, PlanarProj& pp);

/// Draws the whole frame as a fixed trapezoid: the top inset and the bottom widened by a tenth of the stride
/// on each side, a tenth of the height left free above and below. `data` and `factor` do not influence the
/// drawing. No effect of the catalogue uses it. Arguments as for `TumbleAway`; frames must not overlap.
void DistortUsingProj(_EffectData* data, unsigned char* src, unsigned char* dest, int dwidth, int width,
                      int height, float factor, bool proxyOnly);

/// Draws one frame of the tumble: the picture `src` as a plate that flips three times about its horizontal
/// axis, spins once in its plane and shrinks towards the middle, over whatever `dest` holds.
///
/// @param data      not read
/// @param src       source frame; its two outer rows and columns are overwritten with its average colour
/// @param dest      destination frame of the same layout, not overlapping `src`
/// @param dwidth    pixels per row in memory
/// @param width     visible width in pixels
/// @param height    rows
/// @param factor    progress: 0 fills the frame, 1 is shrunk to nothing
/// @param proxyOnly one progressive picture instead of two fields
/// With fewer than two rows or columns nothing is drawn or changed.
void TumbleAway(_EffectData* data, unsigned char* src, unsigned char* dest, int dwidth, int width, int height,
                float factor, bool proxyOnly);

namespace tumblewash::plugin {

/// A corner of the tumbling plate, in pixels from the top left of the picture.
struct PlateCorner {
    int x;  ///< columns
    int y;  ///< rows
};

/// Top left, top right, bottom right, bottom left of the picture on the plate.
using Plate = std::array<PlateCorner, 4>;

/// Where `TumbleAway` puts the corners of a picture of `width` columns and `rows` rows at progress `factor`.
/// `interlaced`: the rows are those of one field, and count double.
[[nodiscard]] Plate tumblePlate(int width, int rows, float factor, bool interlaced);

/// What `TumbleAway` does before it draws: paints the rim of `src` and reports the corners to the log.
void prepareTumble(unsigned char* src, int dwidth, int width, int height, float factor, bool proxyOnly);

/// What `TumbleAway` draws into the lines of `band`, from a source that was prepared, which is only read.
void tumbleBand(unsigned char* src, unsigned char* dest, int dwidth, int width, int height, float factor,
                bool proxyOnly, const imagelib::LineBand& band);

}  // namespace tumblewash::plugin

/// Estimates the motion between two frames of the same size by matching thumbnails of their odd fields.
///
/// Features are taken from `toFrame` and searched for in `fromFrame`, two thumbnail pixels far at most.
/// @param fromFrame the frame that is searched
/// @param toFrame  the frame that features are taken from
/// @param dbgframe not used
/// @return a new 40 x 40 motion field owned by the caller, never null: red in frame columns, green in field
/// rows, pointing from a place in `toFrame` to the matching one in `fromFrame`; the border of two cells is
/// zero. Frames without a column or without two rows give the zero field.
[[nodiscard]] PixRectRW<RGBPixel<float>>* MakeFlowField(PixRectWrap<ARGBVal>& fromFrame,
                                                        PixRectWrap<ARGBVal>& toFrame,
                                                        PixRectWrap<ARGBVal>& dbgframe);
