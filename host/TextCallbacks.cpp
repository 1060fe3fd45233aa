#include "host/TextCallbacks.h"

#include <algorithm>
#include <cmath>

#include "host/CurrentWorld.h"
#include "platform/Carbon.h"

namespace tumblewash::host::callbacks {

namespace {

constexpr float kSmallestText = 1.0F;
constexpr float kLargestText = 1000.0F;

/// The text style and colour of a world, to be put on another one.
struct Style {
    short size;
    short font;
    RGBColor color{};

    explicit Style(GWorldPtr world) : size(GetPortTextSize(world)), font(GetPortTextFont(world)) {
        SetGWorld(world, nullptr);
        GetForeColor(&color);
    }
    void apply() const {
        TextSize(size);
        TextFont(font);
        RGBForeColor(&color);
    }
};

short roundedSize(float size) {
    return static_cast<short>(std::lrintf(std::clamp(size, kSmallestText, kLargestText)));
}

short startOfLine(const Rect& rect, short width, HYTitleJustification justify) {
    const int free = rect.right - rect.left - width;
    const int shift = justify == kTitleJustLeft ? 0 : justify == kTitleJustRight ? free : free / 2;
    return static_cast<short>(rect.left + shift);
}

/// A world over the common part of `world` and `rect`: whatever is drawn there is clipped to it.
GWorldPtr windowInto(GWorldPtr world, const Rect& rect) {
    const PixMapHandle handle = GetGWorldPixMap(world);
    if (handle == nullptr || *handle == nullptr) return nullptr;
    const PixMap& map = **handle;
    Rect part{};
    if (!SectRect(&rect, &map.bounds, &part)) return nullptr;
    const int stride = map.rowBytes & kRowBytesMask;
    Ptr corner = map.baseAddr + (part.top - map.bounds.top) * stride + (part.left - map.bounds.left) * 4;
    GWorldPtr window = nullptr;
    return platform::NewGWorldOver(&window, corner, stride, &part) == noErr ? window : nullptr;
}

HYPluginResult drawLine(GWorldPtr world, ConstStr255Param text, const Rect& rect,
                        HYTitleJustification justify, short size) {
    const CurrentWorld restore;
    Style style(world);
    if (size > 0) style.size = size;
    GWorldPtr window = windowInto(world, rect);
    if (window == nullptr) return kPluginOK;  // nothing of the rectangle is inside the world
    SetGWorld(window, nullptr);
    style.apply();
    FontInfo measures{};
    GetFontInfo(&measures);
    MoveTo(startOfLine(rect, ::StringWidth(text), justify), static_cast<short>(rect.top + measures.ascent));
    DrawString(text);
    SetGWorld(nullptr, nullptr);
    DisposeGWorld(window);
    return kPluginOK;
}

}  // namespace

HYPluginResult fillRect(const PixMap* destination, const Rect* rect, const RGBColor* color) {
    if (destination == nullptr || rect == nullptr || color == nullptr || destination->baseAddr == nullptr) {
        return kPluginBadParams;
    }
    Rect part{};
    if (!SectRect(rect, &destination->bounds, &part)) return kPluginOK;
    const char pixel[4] = {static_cast<char>(0xFF), static_cast<char>(color->red >> 8),
                           static_cast<char>(color->green >> 8), static_cast<char>(color->blue >> 8)};
    const int stride = destination->rowBytes & kRowBytesMask;
    for (int y = part.top; y < part.bottom; ++y) {
        char* row = destination->baseAddr + (y - destination->bounds.top) * stride;
        for (int x = part.left; x < part.right; ++x) {
            std::copy_n(pixel, 4, row + (x - destination->bounds.left) * 4);
        }
    }
    return kPluginOK;
}

HYPluginResult textBounds(ConstStr255Param text, Rect* bounds) {
    if (text == nullptr || bounds == nullptr) return kPluginBadParams;
    FontInfo measures{};
    GetFontInfo(&measures);
    SetRect(bounds, 0, static_cast<short>(-measures.ascent), ::StringWidth(text), measures.descent);
    return kPluginOK;
}

HYPluginResult drawText(GWorldPtr world, ConstStr255Param text, const Rect* rect,
                        HYTitleJustification justify) {
    if (world == nullptr || text == nullptr || rect == nullptr) return kPluginBadParams;
    return drawLine(world, text, *rect, justify, 0);
}

std::int16_t stringWidth(ConstStr255Param text) {
    return text == nullptr ? std::int16_t{0} : ::StringWidth(text);
}

HYPluginResult cgDrawText(GWorldPtr world, ConstStr255Param text, const Rect* rect,
                          HYTitleJustification justify, float size) {
    if (world == nullptr || text == nullptr || rect == nullptr || std::isnan(size)) return kPluginBadParams;
    return drawLine(world, text, *rect, justify, roundedSize(size));
}

float cgStringWidth(ConstStr255Param text, float size) {
    if (text == nullptr || !(size > 0.0F)) return 0.0F;
    CGrafPtr port = nullptr;
    GetGWorld(&port, nullptr);
    const short before = GetPortTextSize(port);
    const short whole = roundedSize(size);
    TextSize(whole);
    const auto width = static_cast<float>(::StringWidth(text));
    TextSize(before);
    return width * std::min(size, kLargestText) / static_cast<float>(whole);
}

}  // namespace tumblewash::host::callbacks
