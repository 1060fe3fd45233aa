// Host records with a value in every field, each byte of a field telling its place. Padding is left as it
// was.
#pragma once

#include <cstdint>
#include <cstring>

#include "hostapi/HYPlugin.h"

namespace tumblewash::test {

/// Copies a text into an array and clears the rest.
template <std::size_t n>
void write(char (&array)[n], const char* text) {
    std::memset(array, 0, n);
    std::strcpy(array, text);
}

inline void fill(HYPluginGetInfo& info) {
    info.pluginType = kPluginTransitionBetweenType;
    info.titleType = kTitleTextBlock;
    info.pluginFlags = 0x01020304;
    info.framesToBeRendered = 0x11121314;
    info.takeFromClipBefore = -2;
    info.takeFromClipAfter = 0x21222324;
    info.minSpeedFrames = 0x31323334;
    info.maxSpeedFrames = 0x41424344;
    info.mustTakeFromSingleClips = 1;
    info.bestThumbOffset = 0x51525354;
    info.defaultColor = {0x6162, 0x6364, 0x6566};
    info.defaultDirection = kPluginDirectionRight;
    info.justify = kTitleJustRight;
    info.defaultFontNum = 0x7172;
    info.defaultFontSize = -3;
}

inline void fill(HYPluginFilterSliderInfo& slider) {
    write(slider.label, "amount");
    write(slider.minLabel, "none");
    write(slider.maxLabel, "all of it");
    slider.defaultValue = 0.625F;
}

inline void fill(HY2PluginGetInfo& info) {
    write(info.group, "wash");
    for (HYPluginFilterSliderInfo& slider : info.filterSliders) fill(slider);
    info.defaultFadeInFrames = 0x01020304;
    info.defaultFadeOutFrames = 0x11121314;
    info.minHangFrames = 0x21222324;
    info.maxHangFrames = 0x31323334;
    info.defaultFontSizeScale = 1.5F;
    info.selectedFrames = 0x41424344;
    info.speedFrames = 0x51525354;
    info.hangFrames = 0x61626364;
    info.baseMemoryNeeded = -4;
}

inline void fill(HYPluginTransitionInfo& transition) {
    transition.speed = 0.375F;
    transition.ver2.direction = kPluginDirectionLeft;
}

inline void fill(HYPluginClipInfo& clip) {
    clip.volume = 0x0102;
    clip.fadeIn = 1;
    clip.fadeOut = 1;
    std::memset(clip.name, 0, sizeof clip.name);
    clip.name[0] = 3;
    clip.name[255] = 'z';
    clip.ver2.backwards = 1;
    clip.ver2.frameSpeed = -5;
    clip.ver2.fadeInFrames = 0x11121314;
    clip.ver2.fadeOutFrames = 0x21222324;
    clip.ver4.clipFrame = 0x31323334;
    std::memset(&clip.ver4.clipRef, 0, sizeof clip.ver4.clipRef);
    clip.ver4.clipRef.opaque[0] = 0x41424344;
    clip.ver4.clipRef.opaque[54] = 0x51525354;
}

}  // namespace tumblewash::test
