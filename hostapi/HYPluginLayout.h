// Asserts the size of every host record and the position of every field. Included by HYPlugin.h; no use of
// its own. Records without pointers hold on every target, those with pointers where a pointer has 32 bits;
// elsewhere these keep their order and widths and move with the pointer's size. The callback table is an
// array of pointers on any target.
#pragma once

#include <cstddef>

#include "hostapi/HYPlugin.h"  // IWYU pragma: keep
#include "platform/Types.h"

#define TUMBLEWASH_SIZE(record, size) static_assert(sizeof(record) == (size), #record)
#define TUMBLEWASH_AT(record, field, at) static_assert(offsetof(record, field) == (at), #record "." #field)
#define TUMBLEWASH_SIZE32(record, size) static_assert(sizeof(void*) != 4 || sizeof(record) == (size), #record)
#define TUMBLEWASH_AT32(record, field, at) \
    static_assert(sizeof(void*) != 4 || offsetof(record, field) == (at), #record "." #field)
#define TUMBLEWASH_PROC(field, index) TUMBLEWASH_AT(_HYProcs, field, (index) * sizeof(void*))

TUMBLEWASH_SIZE(HYPluginSelector, 1);
TUMBLEWASH_SIZE(HYPluginResult, 1);
TUMBLEWASH_SIZE(HYPluginType, 1);
TUMBLEWASH_SIZE(HYPluginDirection, 1);
TUMBLEWASH_SIZE(HYRefDVQuality, 1);
TUMBLEWASH_SIZE(HYTitleType, 1);
TUMBLEWASH_SIZE(HYTitleJustification, 1);
TUMBLEWASH_SIZE(Boolean, 1);
TUMBLEWASH_SIZE(HYPluginChoiceFlags, 4);

TUMBLEWASH_SIZE(Rect, 8);
TUMBLEWASH_AT(Rect, top, 0);
TUMBLEWASH_AT(Rect, left, 2);
TUMBLEWASH_AT(Rect, bottom, 4);
TUMBLEWASH_AT(Rect, right, 6);

TUMBLEWASH_SIZE(RGBColor, 6);
TUMBLEWASH_AT(RGBColor, red, 0);
TUMBLEWASH_AT(RGBColor, green, 2);
TUMBLEWASH_AT(RGBColor, blue, 4);

TUMBLEWASH_SIZE(HYPluginGetInfo, 48);
TUMBLEWASH_AT(HYPluginGetInfo, pluginType, 0);
TUMBLEWASH_AT(HYPluginGetInfo, titleType, 1);
TUMBLEWASH_AT(HYPluginGetInfo, pluginFlags, 4);
TUMBLEWASH_AT(HYPluginGetInfo, framesToBeRendered, 8);
TUMBLEWASH_AT(HYPluginGetInfo, takeFromClipBefore, 12);
TUMBLEWASH_AT(HYPluginGetInfo, takeFromClipAfter, 16);
TUMBLEWASH_AT(HYPluginGetInfo, minSpeedFrames, 20);
TUMBLEWASH_AT(HYPluginGetInfo, maxSpeedFrames, 24);
TUMBLEWASH_AT(HYPluginGetInfo, mustTakeFromSingleClips, 28);
TUMBLEWASH_AT(HYPluginGetInfo, bestThumbOffset, 32);
TUMBLEWASH_AT(HYPluginGetInfo, defaultColor, 36);
TUMBLEWASH_AT(HYPluginGetInfo, defaultDirection, 42);
TUMBLEWASH_AT(HYPluginGetInfo, justify, 43);
TUMBLEWASH_AT(HYPluginGetInfo, defaultFontNum, 44);
TUMBLEWASH_AT(HYPluginGetInfo, defaultFontSize, 46);

TUMBLEWASH_SIZE(HYPluginFilterSliderInfo, 388);
TUMBLEWASH_AT(HYPluginFilterSliderInfo, label, 0);
TUMBLEWASH_AT(HYPluginFilterSliderInfo, minLabel, 128);
TUMBLEWASH_AT(HYPluginFilterSliderInfo, maxLabel, 256);
TUMBLEWASH_AT(HYPluginFilterSliderInfo, defaultValue, 384);

TUMBLEWASH_SIZE(HY2PluginGetInfo, 1328);
TUMBLEWASH_AT(HY2PluginGetInfo, group, 0);
TUMBLEWASH_AT(HY2PluginGetInfo, filterSliders, 128);
TUMBLEWASH_AT(HY2PluginGetInfo, defaultFadeInFrames, 1292);
TUMBLEWASH_AT(HY2PluginGetInfo, defaultFadeOutFrames, 1296);
TUMBLEWASH_AT(HY2PluginGetInfo, minHangFrames, 1300);
TUMBLEWASH_AT(HY2PluginGetInfo, maxHangFrames, 1304);
TUMBLEWASH_AT(HY2PluginGetInfo, defaultFontSizeScale, 1308);
TUMBLEWASH_AT(HY2PluginGetInfo, selectedFrames, 1312);
TUMBLEWASH_AT(HY2PluginGetInfo, speedFrames, 1316);
TUMBLEWASH_AT(HY2PluginGetInfo, hangFrames, 1320);
TUMBLEWASH_AT(HY2PluginGetInfo, baseMemoryNeeded, 1324);

TUMBLEWASH_SIZE(HY4PluginGetInfo, 388);
TUMBLEWASH_AT(HY4PluginGetInfo, titleSliders, 0);

TUMBLEWASH_SIZE(HYPluginChosenFile, 70);
TUMBLEWASH_AT(HYPluginChosenFile, opaque, 0);

TUMBLEWASH_SIZE(HY2PluginTransitionInfo, 1);
TUMBLEWASH_AT(HY2PluginTransitionInfo, direction, 0);

TUMBLEWASH_SIZE(HYPluginTransitionInfo, 8);
TUMBLEWASH_AT(HYPluginTransitionInfo, speed, 0);
TUMBLEWASH_AT(HYPluginTransitionInfo, ver2, 4);

TUMBLEWASH_SIZE(HY2PluginClipInfo, 12);
TUMBLEWASH_AT(HY2PluginClipInfo, backwards, 0);
TUMBLEWASH_AT(HY2PluginClipInfo, frameSpeed, 2);
TUMBLEWASH_AT(HY2PluginClipInfo, fadeInFrames, 4);
TUMBLEWASH_AT(HY2PluginClipInfo, fadeOutFrames, 8);

TUMBLEWASH_SIZE(HYPluginClipRef, 220);
TUMBLEWASH_AT(HYPluginClipRef, opaque, 0);

TUMBLEWASH_SIZE(HY4PluginClipInfo, 224);
TUMBLEWASH_AT(HY4PluginClipInfo, clipFrame, 0);
TUMBLEWASH_AT(HY4PluginClipInfo, clipRef, 4);

TUMBLEWASH_SIZE(HYPluginClipInfo, 496);
TUMBLEWASH_AT(HYPluginClipInfo, volume, 0);
TUMBLEWASH_AT(HYPluginClipInfo, fadeIn, 2);
TUMBLEWASH_AT(HYPluginClipInfo, fadeOut, 3);
TUMBLEWASH_AT(HYPluginClipInfo, name, 4);
TUMBLEWASH_AT(HYPluginClipInfo, ver2, 260);
TUMBLEWASH_AT(HYPluginClipInfo, ver4, 272);

TUMBLEWASH_SIZE32(HYPluginFileOpenInfo, 80);
TUMBLEWASH_AT32(HYPluginFileOpenInfo, typeCount, 0);
TUMBLEWASH_AT32(HYPluginFileOpenInfo, hTypes, 4);
TUMBLEWASH_AT32(HYPluginFileOpenInfo, chosenFile, 8);

TUMBLEWASH_SIZE32(HY3PluginGetInfo, 128);
TUMBLEWASH_AT32(HY3PluginGetInfo, defaultX, 0);
TUMBLEWASH_AT32(HY3PluginGetInfo, defaultY, 4);
TUMBLEWASH_AT32(HY3PluginGetInfo, userX, 8);
TUMBLEWASH_AT32(HY3PluginGetInfo, userY, 12);
TUMBLEWASH_AT32(HY3PluginGetInfo, fileInfo, 16);
TUMBLEWASH_AT32(HY3PluginGetInfo, buttonTitle, 96);

TUMBLEWASH_SIZE32(_PluginParams, 1940);
TUMBLEWASH_AT32(_PluginParams, interfaceVersion, 0);
TUMBLEWASH_AT32(_PluginParams, instance, 4);
TUMBLEWASH_AT32(_PluginParams, selector, 8);
TUMBLEWASH_AT32(_PluginParams, procs, 12);
TUMBLEWASH_AT32(_PluginParams, getInfo, 16);
TUMBLEWASH_AT32(_PluginParams, startFrame, 64);
TUMBLEWASH_AT32(_PluginParams, renderFrame, 68);
TUMBLEWASH_AT32(_PluginParams, frameCount, 72);
TUMBLEWASH_AT32(_PluginParams, proxyOnly, 76);
TUMBLEWASH_AT32(_PluginParams, frameRect, 78);
TUMBLEWASH_AT32(_PluginParams, frame, 88);
TUMBLEWASH_AT32(_PluginParams, clientData, 92);
TUMBLEWASH_AT32(_PluginParams, getInfo2, 96);
TUMBLEWASH_AT32(_PluginParams, getInfo3, 1424);
TUMBLEWASH_AT32(_PluginParams, getInfo4, 1552);

TUMBLEWASH_SIZE32(_EffectData, 76);
TUMBLEWASH_AT32(_EffectData, frameCount, 0);
TUMBLEWASH_AT32(_EffectData, effectSourceCount, 4);
TUMBLEWASH_AT32(_EffectData, sliderValues, 8);
TUMBLEWASH_AT32(_EffectData, fadeInFrames, 20);
TUMBLEWASH_AT32(_EffectData, fadeOutFrames, 24);
TUMBLEWASH_AT32(_EffectData, zoom, 28);
TUMBLEWASH_AT32(_EffectData, gran, 32);
TUMBLEWASH_AT32(_EffectData, ox, 36);
TUMBLEWASH_AT32(_EffectData, oy, 40);
TUMBLEWASH_AT32(_EffectData, chx, 44);
TUMBLEWASH_AT32(_EffectData, chy, 48);
TUMBLEWASH_AT32(_EffectData, effectGWorld, 52);
TUMBLEWASH_AT32(_EffectData, firstFrame, 56);
TUMBLEWASH_AT32(_EffectData, lastFrame, 60);
TUMBLEWASH_AT32(_EffectData, flowField1, 64);
TUMBLEWASH_AT32(_EffectData, flowField2, 68);
TUMBLEWASH_AT32(_EffectData, refpic, 72);

TUMBLEWASH_SIZE32(InterlacedPMH, 8);
TUMBLEWASH_AT32(InterlacedPMH, even, 0);
TUMBLEWASH_AT32(InterlacedPMH, odd, 4);

TUMBLEWASH_SIZE(_HYProcs, 30 * sizeof(void*));
TUMBLEWASH_SIZE32(_HYProcs, 120);
TUMBLEWASH_PROC(NewPtr, 0);
TUMBLEWASH_PROC(NewPtrClear, 1);
TUMBLEWASH_PROC(DisposePtr, 2);
TUMBLEWASH_PROC(ptocstr, 3);
TUMBLEWASH_PROC(ctopstr, 4);
TUMBLEWASH_PROC(pstrcpy, 5);
TUMBLEWASH_PROC(strcpy, 6);
TUMBLEWASH_PROC(strlen, 7);
TUMBLEWASH_PROC(GetLocalizedString, 8);
TUMBLEWASH_PROC(GetFrame, 9);
TUMBLEWASH_PROC(ReleaseFrame, 10);
TUMBLEWASH_PROC(GetAudioFrame, 11);
TUMBLEWASH_PROC(ReleaseAudioFrame, 12);
TUMBLEWASH_PROC(GetMovieInfo, 13);
TUMBLEWASH_PROC(GetClipInfo, 14);
TUMBLEWASH_PROC(SetClipInfo, 15);
TUMBLEWASH_PROC(Blit, 16);
TUMBLEWASH_PROC(FillRect, 17);
TUMBLEWASH_PROC(TextBounds, 18);
TUMBLEWASH_PROC(DrawText, 19);
TUMBLEWASH_PROC(GetTitleInfo, 20);
TUMBLEWASH_PROC(ReleaseTitleInfo, 21);
TUMBLEWASH_PROC(GetTransitionInfo, 22);
TUMBLEWASH_PROC(ReleaseTransitionInfo, 23);
TUMBLEWASH_PROC(MixAudio, 24);
TUMBLEWASH_PROC(GetFilterInfo, 25);
TUMBLEWASH_PROC(ReleaseFilterInfo, 26);
TUMBLEWASH_PROC(StringWidth, 27);
TUMBLEWASH_PROC(CGDrawText, 28);
TUMBLEWASH_PROC(CGStringWidth, 29);

#undef TUMBLEWASH_SIZE
#undef TUMBLEWASH_AT
#undef TUMBLEWASH_SIZE32
#undef TUMBLEWASH_AT32
#undef TUMBLEWASH_PROC
