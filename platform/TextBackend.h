// What measures and rasters one line of text: the text stack, or boxes where there is none.
// For the platform's own files; it knows no world and no colour.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tumblewash::platform {

/// A font number and a size in pixels, 1 or more.
struct TextStyle {
    short font;
    short size;
};

/// Pixels left .. right - 1, top .. bottom - 1 relative to the pen on the baseline, y down.
struct TextBox {
    int left;
    int top;
    int right;
    int bottom;
};

/// How far a text moves the pen, in pixels, and what it covers (all zero when nothing).
struct TextExtent {
    double advance;
    TextBox ink;
};

/// Coverage 0 .. 255 of the pixels of `box`, row after row.
struct TextMask {
    TextBox box;
    std::vector<std::uint8_t> coverage;
};

/// Vertical measures of a style in pixels, and the width of its widest usual letter.
struct LineMeasures {
    int ascent;
    int descent;
    int widest;
    int leading;
};

/// One way of making text. All functions take valid UTF-8 of one line and may be called from any thread.
struct TextBackend {
    TextExtent (*measure)(TextStyle style, std::string_view text);
    /// Rasters what lies inside `window`; the mask's box is the covered part of it, possibly empty.
    TextMask (*raster)(TextStyle style, std::string_view text, const TextBox& window);
    LineMeasures (*line)(TextStyle style);
};

/// Solid boxes with fixed advances.
const TextBackend& BoxText();

/// The text stack, or null when the build lacks it or no font is installed.
const TextBackend* StackText();

/// The common part of two boxes; all zero when they do not meet.
TextBox Intersect(const TextBox& a, const TextBox& b);

}  // namespace tumblewash::platform
