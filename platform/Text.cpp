#include "platform/Text.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "platform/TextBackend.h"
#include "platform/Utf8.h"
#include "platform/WorldRecord.h"

using namespace tumblewash::platform;

namespace {

constexpr short kLargestText = 1000;

const TextBackend& backend() {
    const TextBackend* stack = StackText();
    return stack != nullptr ? *stack : BoxText();
}

TextStyle currentStyle() {
    const PortStyle& style = CurrentStyle();
    return {style.textFont, style.textSize};
}

std::string textOf(ConstStr255Param text) {
    return PrintableUtf8({reinterpret_cast<const char*>(text) + 1, text[0]});
}

short roundedToShort(double value) {
    return static_cast<short>(std::lround(std::clamp(value, -32768.0, 32767.0)));
}

std::uint8_t mixed(std::uint8_t over, std::uint8_t under, unsigned coverage) {
    return static_cast<std::uint8_t>((over * coverage + under * (255 - coverage) + 127) / 255);
}

void paint(const PixMap& map, const TextMask& mask, Point pen, const RGBColor& colour) {
    const std::uint8_t channels[3] = {static_cast<std::uint8_t>(colour.red >> 8),
                                      static_cast<std::uint8_t>(colour.green >> 8),
                                      static_cast<std::uint8_t>(colour.blue >> 8)};
    const std::uint8_t* coverage = mask.coverage.data();
    for (int y = mask.box.top; y < mask.box.bottom; ++y) {
        std::uint8_t* pixel = PixelAt(map, pen.h + mask.box.left, pen.v + y);
        for (int x = mask.box.left; x < mask.box.right; ++x, ++coverage, pixel += 4) {
            if (*coverage == 0) continue;
            pixel[0] = 255;
            for (int i = 0; i < 3; ++i) pixel[i + 1] = mixed(channels[i], pixel[i + 1], *coverage);
        }
    }
}

}  // namespace

void TextSize(short size) {
    if (size >= 0) CurrentStyle().textSize = size == 0 ? short{12} : std::min(size, kLargestText);
}

void TextFont(short font) {
    CurrentStyle().textFont = font;
}

short GetPortTextSize(CGrafPtr port) {
    return StyleOf(port).textSize;
}

short GetPortTextFont(CGrafPtr port) {
    return StyleOf(port).textFont;
}

void MoveTo(short h, short v) {
    CurrentStyle().pen = Point{v, h};
}

void GetPen(Point* pen) {
    if (pen != nullptr) *pen = CurrentStyle().pen;
}

short StringWidth(ConstStr255Param text) {
    if (text == nullptr || text[0] == 0) return 0;
    return roundedToShort(backend().measure(currentStyle(), textOf(text)).advance);
}

void DrawString(ConstStr255Param text) {
    if (text == nullptr || text[0] == 0) return;
    PortStyle& style = CurrentStyle();
    if (const PixMap* map = CurrentMap()) {
        const Rect& b = map->bounds;
        const TextBox window{b.left - style.pen.h, b.top - style.pen.v, b.right - style.pen.h,
                             b.bottom - style.pen.v};
        paint(*map, backend().raster(currentStyle(), textOf(text), window), style.pen, style.fore);
    }
    style.pen.h = roundedToShort(style.pen.h + static_cast<double>(StringWidth(text)));
}

void GetFontInfo(FontInfo* info) {
    if (info == nullptr) return;
    const LineMeasures line = backend().line(currentStyle());
    *info = {roundedToShort(line.ascent), roundedToShort(line.descent), roundedToShort(line.widest),
             roundedToShort(line.leading)};
}

OSErr OutlineMetrics(short byteCount, const void* text, Point numer, Point denom, short* yMax, short* yMin,
                     Fixed* advances, Fixed* bearings, Rect* boxes) {
    if (text == nullptr || byteCount < 0 || denom.h == 0 || denom.v == 0) return paramErr;
    const double across = static_cast<double>(numer.h) / denom.h, up = static_cast<double>(numer.v) / denom.v;
    const std::string_view bytes(static_cast<const char*>(text), static_cast<std::size_t>(byteCount));
    const auto fixed = [](double v) {
        return static_cast<Fixed>(std::clamp(v * 65536.0, -2147483648.0, 2147483647.0));
    };
    short highest = 0, lowest = 0;
    bool inked = false;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = std::max<std::size_t>(1, Utf8CharacterLength(bytes, at));
        const TextExtent e = backend().measure(currentStyle(), PrintableUtf8(bytes.substr(at, length)));
        const Rect box{roundedToShort(-e.ink.top * up), roundedToShort(e.ink.left * across),
                       roundedToShort(-e.ink.bottom * up), roundedToShort(e.ink.right * across)};
        for (std::size_t i = 0; i < length; ++i) {
            if (advances != nullptr) advances[at + i] = i == 0 ? fixed(e.advance * across) : 0;
            if (bearings != nullptr) bearings[at + i] = i == 0 ? fixed(e.ink.left * across) : 0;
            if (boxes != nullptr) boxes[at + i] = i == 0 ? box : Rect{};
        }
        if (e.ink.left != e.ink.right) {
            highest = inked ? std::max(highest, box.top) : box.top;
            lowest = inked ? std::min(lowest, box.bottom) : box.bottom;
            inked = true;
        }
        at += length;
    }
    if (yMax != nullptr) *yMax = highest;
    if (yMin != nullptr) *yMin = lowest;
    return noErr;
}

ScriptCode FontToScript(short) {
    return smUnicodeScript;
}

short CharacterByteType(const char* text, short offset, ScriptCode) {
    if (text == nullptr || offset < 0) return smSingleByte;
    const auto isTrail = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
    const char* at = text + offset;
    if (isTrail(*at)) return isTrail(at[1]) ? smMiddleByte : smLastByte;
    return static_cast<unsigned char>(*at) >= 0xC0 ? smFirstByte : smSingleByte;
}
