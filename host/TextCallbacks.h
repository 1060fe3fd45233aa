// Filling, measuring and drawing for the plug-in, over the platform's text and colours.
// Internal to this room.
#pragma once

#include <cstdint>

#include "hostapi/HYPlugin.h"
#include "platform/Types.h"

namespace tumblewash::host::callbacks {

/// Fills the part of `rect` inside the map with the colour's high bytes and alpha 255.
HYPluginResult fillRect(const PixMap* destination, const Rect* rect, const RGBColor* color);

/// Bounds of a text whose baseline begins at (0, 0), in the current world's style.
HYPluginResult textBounds(ConstStr255Param text, Rect* bounds);

/// Draws one line in the world's own style and foreground colour at the top of `rect`, clipped to it.
HYPluginResult drawText(GWorldPtr world, ConstStr255Param text, const Rect* rect,
                        HYTitleJustification justify);

/// Advance in pixels in the current world's style.
std::int16_t stringWidth(ConstStr255Param text);

/// As drawText at `size` pixels, rounded; the world's own size is left as it was.
HYPluginResult cgDrawText(GWorldPtr world, ConstStr255Param text, const Rect* rect,
                          HYTitleJustification justify, float size);

/// Advance at `size` pixels: measured at the nearest whole size and scaled.
float cgStringWidth(ConstStr255Param text, float size);

}  // namespace tumblewash::host::callbacks
