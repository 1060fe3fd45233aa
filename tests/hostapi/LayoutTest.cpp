#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "hostapi/HYPlugin.h"

TEST(LayoutTest, EnumerationsHaveTheirNumbers) {
    EXPECT_EQ((std::vector<int>{kPlugGetInfo, kPlugInitialize, kPlugDrawIcon, kPlugDrawThumbNail,
                                kPlugFilePlaceHolder, kPlugDoFrame, kPlugCallOnceWithInitAndTerminate,
                                kPlugTerminate, kPlugCustomButtonClick}),
              (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ((std::vector<int>{kPluginOK, kPluginCancel, kPluginFinished, kPluginBadParams,
                                kPluginOutOfMemory, kPluginOutOfDiskSpace, kPluginFailed,
                                kPluginCantGetNeededFrame, kPluginUnimplemented, kPluginTryAgainLater,
                                kPluginAppIsTooOld, kPluginAppIsTooNew}),
              (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ((std::vector<int>{kPluginUnknownType, kPluginTitleType, kPluginTransitionBeforeType,
                                kPluginTransitionBetweenType, kPluginTransitionAfterType, kPluginFilterType}),
              (std::vector<int>{0, 101, 102, 103, 104, 105}));
    EXPECT_EQ((std::vector<int>{kPluginDirectionNone, kPluginDirectionUp, kPluginDirectionDown,
                                kPluginDirectionLeft, kPluginDirectionRight}),
              (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ((std::vector<int>{kDVLowQuality, kDVHighQuality, kDVHighQualitySingleField}),
              (std::vector<int>{0, 1, 2}));
    EXPECT_EQ((std::vector<int>{kTitleUnknown, kTitleSingleTextPair, kTitleMultiTextPair, kTitleTextBlock}),
              (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ((std::vector<int>{kTitleJustCenter, kTitleJustLeft, kTitleJustRight}),
              (std::vector<int>{0, 1, 2}));
    EXPECT_TRUE((std::is_same_v<hyPluginDirection, HYPluginDirection>));
}

TEST(LayoutTest, PointerFreeRecordsHaveTheHostsSizes) {
    EXPECT_EQ(sizeof(HYPluginGetInfo), 48U);
    EXPECT_EQ(sizeof(HYPluginFilterSliderInfo), 388U);
    EXPECT_EQ(sizeof(HY2PluginGetInfo), 1328U);
    EXPECT_EQ(sizeof(HY4PluginGetInfo), 388U);
    EXPECT_EQ(sizeof(HYPluginTransitionInfo), 8U);
    EXPECT_EQ(sizeof(HYPluginClipInfo), 496U);
    EXPECT_EQ(sizeof(Rect), 8U);
    EXPECT_EQ(sizeof(RGBColor), 6U);
}

TEST(LayoutTest, RecordsWithPointersKeepOrderAndFollowThePointersSize) {
    constexpr std::size_t pointer = sizeof(void*);
    EXPECT_EQ(sizeof(_HYProcs), 30 * pointer);
    EXPECT_EQ(offsetof(_HYProcs, CGStringWidth), 29 * pointer);
    EXPECT_LT(offsetof(_PluginParams, interfaceVersion), offsetof(_PluginParams, instance));
    EXPECT_LT(offsetof(_PluginParams, procs), offsetof(_PluginParams, getInfo));
    EXPECT_EQ(offsetof(_PluginParams, renderFrame), offsetof(_PluginParams, startFrame) + 4);
    EXPECT_EQ(offsetof(_PluginParams, frameRect), offsetof(_PluginParams, proxyOnly) + 2);
    EXPECT_EQ(offsetof(_PluginParams, clientData), offsetof(_PluginParams, frame) + pointer);
    EXPECT_EQ(offsetof(_PluginParams, getInfo2), offsetof(_PluginParams, clientData) + pointer);
    EXPECT_EQ(offsetof(_PluginParams, getInfo3) % alignof(HY3PluginGetInfo), 0U);
    EXPECT_EQ(offsetof(_EffectData, chy), 48U);
    EXPECT_EQ(offsetof(_EffectData, refpic), offsetof(_EffectData, effectGWorld) + 5 * pointer);
}

// What the fields of a clip record look like in memory, written byte by byte.
TEST(LayoutTest, ClipRecordIsReadWhereTheHostWroteIt) {
    unsigned char bytes[496] = {};
    const std::int16_t volume = 0x0102;
    const std::int32_t fadeOut = 0x01020304;
    std::memcpy(bytes, &volume, 2);
    bytes[2] = 1;
    bytes[4] = 3;
    bytes[5] = 'a';
    bytes[260] = 1;
    std::memcpy(bytes + 268, &fadeOut, 4);
    HYPluginClipInfo info;
    std::memcpy(&info, bytes, sizeof info);
    EXPECT_EQ(info.volume, 0x0102);
    EXPECT_EQ(info.fadeIn, 1);
    EXPECT_EQ(info.fadeOut, 0);
    EXPECT_EQ(info.name[0], 3);
    EXPECT_EQ(info.name[1], 'a');
    EXPECT_EQ(info.ver2.backwards, 1);
    EXPECT_EQ(info.ver2.fadeOutFrames, 0x01020304);
    EXPECT_EQ(info.ver4.clipFrame, 0);
}
