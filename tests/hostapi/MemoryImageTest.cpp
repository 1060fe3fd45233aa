// Whole host records compared with their bytes in memory. On big-endian machines with 32-bit pointers the
// images are the contract as written; elsewhere each field has the machine's own byte order and each pointer
// its width.
#include <gtest/gtest.h>

#include "tests/hostapi/FilledRecords.h"
#include "tests/hostapi/MemoryImage.h"

namespace tumblewash::test {
namespace {

using test::fill;

MemoryImage imageOfGetInfo() {
    return MemoryImage().fields(
        "67 04 EEEE 01020304 11121314 FFFFFFFE 21222324 31323334 41424344 01 EEEEEE 51525354 6162 6364 6566 "
        "04 02 "
        "7172 FFFD");
}

MemoryImage imageOfSlider() {
    return MemoryImage().text("amount", 128).text("none", 128).text("all of it", 128).fields("3F200000");
}

MemoryImage imageOfGetInfo2() {
    return MemoryImage()
        .text("wash", 128)
        .record(imageOfSlider())
        .record(imageOfSlider())
        .record(imageOfSlider())
        .fields("01020304 11121314 21222324 31323334 3FC00000 41424344 51525354 61626364 FFFFFFFC");
}

void fill(HYPluginFileOpenInfo& info) {
    info.typeCount = 3;
    pointAt(info.hTypes, 0x81828384);
    for (std::uint16_t i = 0; i < 35; ++i) info.chosenFile.opaque[i] = static_cast<std::uint16_t>(0x0A00 + i);
}

MemoryImage imageOfFileInfo() {
    return MemoryImage().fields(
        "00000003 *81828384 0A00 0A01 0A02 0A03 0A04 0A05 0A06 0A07 0A08 0A09 0A0A 0A0B 0A0C 0A0D 0A0E 0A0F "
        "0A10 "
        "0A11 0A12 0A13 0A14 0A15 0A16 0A17 0A18 0A19 0A1A 0A1B 0A1C 0A1D 0A1E 0A1F 0A20 0A21 0A22 EEEE");
}

void fill(HY3PluginGetInfo& info) {
    info.defaultX = 0.5F;
    info.defaultY = 0.25F;
    info.userX = 0.75F;
    info.userY = 1.0F;
    fill(info.fileInfo);
    write(info.buttonTitle, "Choose...");
}

MemoryImage imageOfGetInfo3() {
    return MemoryImage()
        .fields("3F000000 3E800000 3F400000 3F800000")
        .record(imageOfFileInfo())
        .text("Choose...", 32)
        .endOfPointers();
}

template <class Record>
void expectImage(const Record& record, const MemoryImage& image) {
    EXPECT_EQ(memoryOf(record), image.bytes());
}

template <class Record>
void expectFilled(const MemoryImage& image) {
    auto& record = blank<Record>();
    fill(record);
    expectImage(record, image);
}

TEST(MemoryImageTest, InformationRecordsAreTheWrittenBytes) {
    expectFilled<HYPluginGetInfo>(imageOfGetInfo());
    expectFilled<HYPluginFilterSliderInfo>(imageOfSlider());
    expectFilled<HY2PluginGetInfo>(imageOfGetInfo2());
    auto& fourth = blank<HY4PluginGetInfo>();
    fill(fourth.titleSliders);
    expectImage(fourth, imageOfSlider());
}

TEST(MemoryImageTest, InformationRecordsWithPointersAreTheWrittenBytes) {
    expectFilled<HYPluginFileOpenInfo>(imageOfFileInfo());
    expectFilled<HY3PluginGetInfo>(imageOfGetInfo3());
}

TEST(MemoryImageTest, RectanglesAndColoursAreTheWrittenBytes) {
    expectImage(Rect{0x0102, 0x0304, 0x0506, -7}, MemoryImage().fields("0102 0304 0506 FFF9"));
    expectImage(RGBColor{0x0102, 0xFFFE, 0x0506}, MemoryImage().fields("0102 FFFE 0506"));
}

TEST(MemoryImageTest, LentRecordsAreTheWrittenBytes) {
    expectFilled<HYPluginTransitionInfo>(MemoryImage().fields("3EC00000 03 EEEEEE"));

    auto& filter = blank<HYPluginFilterInfo>();
    filter.filterFrame = 0x01020304;
    filter.filterFrameCount = 0x11121314;
    filter.sliderValues[0] = 0.5F;
    filter.sliderValues[1] = -2.0F;
    filter.sliderValues[2] = 0.125F;
    expectImage(filter, MemoryImage().fields("01020304 11121314 3F000000 C0000000 3E000000"));

    auto& movie = blank<HYPluginMovieInfo>();
    movie.width = 720;
    movie.height = 480;
    movie.timeScale = 30000;
    movie.frameTime = 1001;
    expectImage(movie, MemoryImage().fields("02D0 01E0 00007530 000003E9"));
}

TEST(MemoryImageTest, ClipRecordIsTheWrittenBytes) {
    MemoryImage image;
    image.fields("0102 01 01 03").text("", 254).fields("7A 01 EE FFFB 11121314 21222324 31323334 41424344");
    for (int i = 1; i < 54; ++i) image.fields("00000000");
    image.fields("51525354");
    expectFilled<HYPluginClipInfo>(image);
}

TEST(MemoryImageTest, TitleRecordIsTheWrittenBytes) {
    auto& pair = blank<HYPluginTextPair>();
    pointAt(pair.title, 0x01020304);
    pointAt(pair.subTitle, 0x11121314);
    expectImage(pair, MemoryImage().fields("*01020304 *11121314"));

    auto& title = blank<HYPluginTitleInfo>();
    title.fontID = 0x0102;
    title.fontSize = 64;
    title.color = {0x1112, 0x1314, 0x1516};
    title.justify = kTitleJustLeft;
    title.pairCount = 2;
    pointAt(title.pairs, 0x21222324);
    expectImage(title, MemoryImage().fields("0102 0040 1112 1314 1516 01 EE 0002 EEEE *21222324"));
}

TEST(MemoryImageTest, CallbackTableIsTheWrittenBytes) {
    auto& procs = blank<HYProcs>();
    pointAt(procs.NewPtr, 0x10000001);
    pointAt(procs.NewPtrClear, 0x10000002);
    pointAt(procs.DisposePtr, 0x10000003);
    pointAt(procs.ptocstr, 0x10000004);
    pointAt(procs.ctopstr, 0x10000005);
    pointAt(procs.pstrcpy, 0x10000006);
    pointAt(procs.strcpy, 0x10000007);
    pointAt(procs.strlen, 0x10000008);
    pointAt(procs.GetLocalizedString, 0x10000009);
    pointAt(procs.GetFrame, 0x1000000A);
    pointAt(procs.ReleaseFrame, 0x1000000B);
    pointAt(procs.GetAudioFrame, 0x1000000C);
    pointAt(procs.ReleaseAudioFrame, 0x1000000D);
    pointAt(procs.GetMovieInfo, 0x1000000E);
    pointAt(procs.GetClipInfo, 0x1000000F);
    pointAt(procs.SetClipInfo, 0x10000010);
    pointAt(procs.Blit, 0x10000011);
    pointAt(procs.FillRect, 0x10000012);
    pointAt(procs.TextBounds, 0x10000013);
    pointAt(procs.DrawText, 0x10000014);
    pointAt(procs.GetTitleInfo, 0x10000015);
    pointAt(procs.ReleaseTitleInfo, 0x10000016);
    pointAt(procs.GetTransitionInfo, 0x10000017);
    pointAt(procs.ReleaseTransitionInfo, 0x10000018);
    pointAt(procs.MixAudio, 0x10000019);
    pointAt(procs.GetFilterInfo, 0x1000001A);
    pointAt(procs.ReleaseFilterInfo, 0x1000001B);
    pointAt(procs.StringWidth, 0x1000001C);
    pointAt(procs.CGDrawText, 0x1000001D);
    pointAt(procs.CGStringWidth, 0x1000001E);
    expectImage(procs, MemoryImage().fields(
                           "*10000001 *10000002 *10000003 *10000004 *10000005 *10000006 *10000007 *10000008 "
                           "*10000009 *1000000A *1000000B *1000000C *1000000D *1000000E *1000000F *10000010 "
                           "*10000011 *10000012 *10000013 *10000014 *10000015 *10000016 *10000017 *10000018 "
                           "*10000019 *1000001A *1000001B *1000001C *1000001D *1000001E"));
}

TEST(MemoryImageTest, ParameterBlockIsTheWrittenBytes) {
    auto& params = blank<HYPluginParams>();
    params.interfaceVersion = 4;
    pointAt(params.instance, 0x01020304);
    params.selector = kPlugDoFrame;
    pointAt(params.procs, 0x11121314);
    fill(params.getInfo);
    params.startFrame = 0x21222324;
    params.renderFrame = -1;
    params.frameCount = 0x00000100;
    params.proxyOnly = 1;
    params.frameRect = {1, 2, 0x01E0, 0x02D0};
    pointAt(params.frame, 0x31323334);
    pointAt(params.clientData, 0x41424344);
    fill(params.getInfo2);
    fill(params.getInfo3);
    fill(params.getInfo4.titleSliders);
    expectImage(params,
                MemoryImage()
                    .fields("0004 EEEE *01020304 06 EEEEEE *11121314")
                    .record(imageOfGetInfo())
                    .fields("21222324 FFFFFFFF 00000100 01 EE 0001 0002 01E0 02D0 EEEE *31323334 *41424344")
                    .record(imageOfGetInfo2())
                    .record(imageOfGetInfo3())
                    .record(imageOfSlider())
                    .endOfPointers());
}

TEST(MemoryImageTest, PluginStateIsTheWrittenBytes) {
    auto& state = blank<EffectData>();
    state.frameCount = 0x01020304;
    state.effectSourceCount = 2;
    state.sliderValues[0] = 0.5F;
    state.sliderValues[1] = -2.0F;
    state.sliderValues[2] = 0.125F;
    state.fadeInFrames = 5;
    state.fadeOutFrames = -6;
    state.zoom = 5.0F;
    state.gran = 32;
    state.ox = 1.0F;
    state.oy = -1.0F;
    state.chx = 0.25F;
    state.chy = 0.75F;
    pointAt(state.effectGWorld, 0x21000001);
    pointAt(state.firstFrame, 0x21000002);
    pointAt(state.lastFrame, 0x21000003);
    pointAt(state.flowField1, 0x21000004);
    pointAt(state.flowField2, 0x21000005);
    pointAt(state.refpic, 0x21000006);
    expectImage(
        state, MemoryImage().fields("01020304 00000002 3F000000 C0000000 3E000000 00000005 FFFFFFFA 40A00000 "
                                    "00000020 3F800000 BF800000 3E800000 3F400000 *21000001 *21000002 "
                                    "*21000003 *21000004 *21000005 *21000006"));
}

TEST(MemoryImageTest, PairOfFieldsIsTheWrittenBytes) {
    auto& fields = blank<InterlacedPMH>();
    pointAt(fields.even, 0x01020304);
    pointAt(fields.odd, 0x11121314);
    expectImage(fields, MemoryImage().fields("*01020304 *11121314"));
}

}  // namespace
}  // namespace tumblewash::test
