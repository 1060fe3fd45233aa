// The caption that stands in a frame while the host prepares the real one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/pluginDistort/FakeHost.h"

namespace {

using testing::ElementsAre;
using tumblewash::test::FakeHost;

struct Ink {
    int white = 0, black = 0, other = 0, left = 1 << 20, top = 1 << 20, bottom = -1;
};

Ink inkOf(FakeHost& host) {
    Ink ink;
    for (int y = 0; y < host.destination().height(); ++y) {
        for (int x = 0; x < host.destination().width(); ++x) {
            const std::uint8_t* p = host.destination().pixel(x, y);
            EXPECT_EQ(p[0], 255);
            if (p[1] == 0x2F && p[2] == 0x2F && p[3] == 0x2F) continue;
            ink.white += p[1] == 255 ? 1 : 0;
            ink.black += p[1] == 0 ? 1 : 0;
            ++ink.other;
            ink.left = std::min(ink.left, x);
            ink.top = std::min(ink.top, y);
            ink.bottom = std::max(ink.bottom, y);
        }
    }
    return ink;
}

TEST(PlaceholderTest, CaptionIsWhiteOverABlackShadowOnDarkGrey) {
    FakeHost host(640, 240);
    host.destination();
    EXPECT_EQ(host.call(3, kPlugFilePlaceHolder), kPluginOK);
    EXPECT_THAT(host.events, ElementsAre("log kPlugFilePlaceHolder", "GetLocalizedString 17000 1"));
    const Ink ink = inkOf(host);
    EXPECT_GT(ink.white, 200);
    EXPECT_GT(ink.black, 50);
    EXPECT_FALSE(host.destinationLocked());
    CGrafPtr now = nullptr;
    GetGWorld(&now, nullptr);
    EXPECT_EQ(now, host.params.frame);  // left as set
    EXPECT_EQ(GetPortTextSize(host.params.frame), 64);
    Point pen{};
    GetPen(&pen);
    EXPECT_EQ(pen.v, 240 / 3 - 2);
    RGBColor back{};
    GetBackColor(&back);
    EXPECT_EQ(back.red, 0xFFFF);
    SetGWorld(nullptr, nullptr);
}

TEST(PlaceholderTest, CaptionIsCentredFromTheWorldsOrigin) {
    FakeHost host(640, 240);
    SetRect(&host.params.frameRect, 40, 30, 640, 240);  // 600 x 210, off the origin
    EXPECT_EQ(host.call(3, kPlugFilePlaceHolder), kPluginOK);
    Str255 text = {9, 'P', 'r', 'e', 'p', 'a', 'r', 'i', 'n', 'g'};
    const int width = StringWidth(text);
    Point pen{};
    GetPen(&pen);
    EXPECT_EQ(pen.h, (600 - width) / 2 - 2 + width);
    EXPECT_EQ(pen.v, 210 / 3 - 2);
    EXPECT_EQ(host.destination().pixel(39, 100)[0], 0);     // outside the rectangle nothing is erased
    EXPECT_EQ(host.destination().pixel(40, 200)[1], 0x2F);  // inside it is
    SetGWorld(nullptr, nullptr);
}

TEST(PlaceholderTest, MissingStringGivesTheBuiltInCaption) {
    FakeHost host(640, 240);
    host.caption = "";
    EXPECT_EQ(host.call(3, kPlugFilePlaceHolder), kPluginOK);
    EXPECT_THAT(host.callbacks(), ElementsAre("GetLocalizedString 17000 1", "pstrcpy"));
    Str255 text = {14, 'I', 'n', ' ', 'P', 'r', 'o', 'g', 'r', 'e', 's', 's', '.', '.', '.'};
    const int width = StringWidth(text);
    Point pen{};
    GetPen(&pen);
    EXPECT_EQ(pen.h, (640 - width) / 2 - 2 + width);
    EXPECT_GT(inkOf(host).white, 200);
    SetGWorld(nullptr, nullptr);
}

TEST(PlaceholderTest, FrameIsClearedEvenWithoutAnyText) {
    FakeHost host(64, 48);
    host.caption = "";
    host.fail("pstrcpy", 1, kPluginFailed);
    EXPECT_EQ(host.call(-3, kPlugFilePlaceHolder), kPluginOK);
    EXPECT_EQ(inkOf(host).other, 0);
    SetGWorld(nullptr, nullptr);
}

TEST(PlaceholderTest, PixelStateIsPutBack) {
    FakeHost host(64, 48);
    SetPixelsState(GetGWorldPixMap(host.params.frame), pixelsPurgeable);
    host.call(3, kPlugFilePlaceHolder);
    EXPECT_EQ(GetPixelsState(GetGWorldPixMap(host.params.frame)), pixelsPurgeable);
    SetGWorld(nullptr, nullptr);
}

}  // namespace
