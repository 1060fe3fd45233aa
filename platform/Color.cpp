#include "platform/Color.h"

#include <array>
#include <cstdint>

#include "platform/Rects.h"
#include "platform/WorldRecord.h"

using tumblewash::platform::CurrentStyle;

namespace {

struct NamedColor {
    SInt32 number;
    RGBColor colour;
};

constexpr std::array<NamedColor, 8> kNamedColors{{{whiteColor, {0xFFFF, 0xFFFF, 0xFFFF}},
                                                  {blackColor, {0, 0, 0}},
                                                  {yellowColor, {0xFFFF, 0xFFFF, 0}},
                                                  {magentaColor, {0xFFFF, 0, 0xFFFF}},
                                                  {redColor, {0xFFFF, 0, 0}},
                                                  {cyanColor, {0, 0xFFFF, 0xFFFF}},
                                                  {greenColor, {0, 0xFFFF, 0}},
                                                  {blueColor, {0, 0, 0xFFFF}}}};

void setNamed(RGBColor& target, SInt32 number) {
    for (const NamedColor& named : kNamedColors) {
        if (named.number == number) target = named.colour;
    }
}

}  // namespace

void RGBForeColor(const RGBColor* colour) {
    if (colour != nullptr) CurrentStyle().fore = *colour;
}

void RGBBackColor(const RGBColor* colour) {
    if (colour != nullptr) CurrentStyle().back = *colour;
}

void GetForeColor(RGBColor* colour) {
    if (colour != nullptr) *colour = CurrentStyle().fore;
}

void GetBackColor(RGBColor* colour) {
    if (colour != nullptr) *colour = CurrentStyle().back;
}

void ForeColor(SInt32 colour) {
    setNamed(CurrentStyle().fore, colour);
}

void BackColor(SInt32 colour) {
    setNamed(CurrentStyle().back, colour);
}

void EraseRect(const Rect* r) {
    const PixMap* map = tumblewash::platform::CurrentMap();
    Rect inside;
    if (map == nullptr || r == nullptr || !SectRect(r, &map->bounds, &inside)) return;
    const RGBColor& back = CurrentStyle().back;
    const std::array<std::uint8_t, 4> pixel{255, static_cast<std::uint8_t>(back.red >> 8),
                                            static_cast<std::uint8_t>(back.green >> 8),
                                            static_cast<std::uint8_t>(back.blue >> 8)};
    for (int y = inside.top; y < inside.bottom; ++y) {
        std::uint8_t* row = tumblewash::platform::PixelAt(*map, inside.left, y);
        for (int i = 0; i < (inside.right - inside.left) * 4; ++i)
            row[i] = pixel[static_cast<unsigned>(i) & 3U];
    }
}
