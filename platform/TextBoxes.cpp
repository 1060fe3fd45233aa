#include <algorithm>

#include "platform/TextBackend.h"
#include "platform/Utf8.h"

// Every character is a solid box three fifths of the size wide, gap included, and seven tenths high; a blank
// covers nothing.

namespace tumblewash::platform {
namespace {

int advanceOf(TextStyle style) {
    return std::max(2, style.size * 3 / 5);
}

int heightOf(TextStyle style) {
    return std::max(1, style.size * 7 / 10);
}

int boxWidth(TextStyle style) {
    return advanceOf(style) - std::max(1, advanceOf(style) / 5);
}

template <class Visit>
int walkBoxes(TextStyle style, std::string_view text, Visit visit) {
    int pen = 0;
    for (std::size_t at = 0; at < text.size();
         at += std::max<std::size_t>(1, Utf8CharacterLength(text, at))) {
        if (text[at] != ' ') visit(TextBox{pen, -heightOf(style), pen + boxWidth(style), 0});
        pen += advanceOf(style);
    }
    return pen;
}

TextExtent measure(TextStyle style, std::string_view text) {
    TextBox ink{};
    const int advance = walkBoxes(style, text, [&](const TextBox& box) {
        if (ink.right == 0) ink = box;
        ink.right = box.right;
    });
    return {static_cast<double>(advance), ink};
}

TextMask raster(TextStyle style, std::string_view text, const TextBox& window) {
    TextMask mask{Intersect(measure(style, text).ink, window), {}};
    const int width = mask.box.right - mask.box.left;
    mask.coverage.resize(static_cast<std::size_t>(width) *
                         static_cast<std::size_t>(mask.box.bottom - mask.box.top));
    walkBoxes(style, text, [&](const TextBox& box) {
        const TextBox part = Intersect(box, mask.box);
        for (int y = part.top; y < part.bottom; ++y) {
            const auto at = static_cast<std::size_t>(y - mask.box.top) * static_cast<std::size_t>(width) +
                            static_cast<std::size_t>(part.left - mask.box.left);
            std::fill_n(mask.coverage.data() + at, part.right - part.left, std::uint8_t{255});
        }
    });
    return mask;
}

LineMeasures line(TextStyle style) {
    return {std::max(1, style.size * 4 / 5), std::max(1, style.size / 5), advanceOf(style), 0};
}

}  // namespace

TextBox Intersect(const TextBox& a, const TextBox& b) {
    const TextBox common{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                         std::min(a.bottom, b.bottom)};
    return common.left < common.right && common.top < common.bottom ? common : TextBox{};
}

const TextBackend& BoxText() {
    static const TextBackend backend{measure, raster, line};
    return backend;
}

}  // namespace tumblewash::platform
