// What measures and rasters one line of text: the text stack, or boxes where there is none.
// For the platform's own files; it knows no world and no colour.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

/// The workings of the platform services.
namespace tumblewash::platform {

/// A font number and a size in pixels, 1 or more.
struct TextStyle {
    short font;  ///< platform font number
    short size;  ///< pixels, 1 or more
};

/// Pixels left .. right - 1, top .. bottom - 1 relative to the pen on the baseline, y down.
struct TextBox {
    int left;    ///< inclusive
    int top;     ///< inclusive
    int right;   ///< exclusive
    int bottom;  ///< exclusive
};

/// How far a text moves the pen, in pixels, and what it covers (all zero when nothing).
struct TextExtent {
    double advance;  ///< how far the pen moves
    TextBox ink;     ///< box of the inked pixels
};

/// Coverage 0 .. 255 of the pixels of `box`, row after row.
struct TextMask {
    TextBox box;                         ///< where the mask lies
    std::vector<std::uint8_t> coverage;  ///< one byte a pixel, row by row
};

/// Vertical measures of a style in pixels, and the width of its widest usual letter.
struct LineMeasures {
    int ascent;   ///< pixels above the baseline
    int descent;  ///< pixels below the baseline
    int widest;   ///< pixels of the widest usual letter
    int leading;  ///< pixels between lines
};

/// One way of making text. All functions take valid UTF-8 of one line and may be called from any thread.
struct TextBackend {
    TextExtent (*measure)(TextStyle style, std::string_view text);  ///< extent of a text
    /// Rasters what lies inside `window`; the mask's box is the covered part of it, possibly empty.
    TextMask (*raster)(TextStyle style, std::string_view text, const TextBox& window);
    LineMeasures (*line)(TextStyle style);  ///< measures of a line
};

/// Solid boxes with fixed advances.
const TextBackend& BoxText();

/// The text stack, or null when the build lacks it or no font is installed.
const TextBackend* StackText();

/// The common part of two boxes; all zero when they do not meet.
TextBox Intersect(const TextBox& a, const TextBox& b);

}  // namespace tumblewash::platform
