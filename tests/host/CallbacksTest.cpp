// The callbacks as the plug-in sees them: through the table, in the middle of a frame.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/Carbon.h"
#include "tests/host/TestSource.h"

namespace tumblewash::test {

using host::FrameRequest;
using host::FrameResult;
using host::Session;
using host::SessionSettings;

namespace {

/// Runs `body` as the plug-in's work for one frame.
void inFrame(const std::function<void(HYPluginParams&)>& body, SessionSettings settings = smallSettings(),
             TestSource* given = nullptr) {
    TestSource own;
    Session session(fakeModule(), settings, given != nullptr ? *given : own);
    session.open();
    int calls = 0;
    const Replace frame(kPlugDoFrame, [&](short, HYPluginParams& params) -> int {
        ++calls;
        body(params);
        return kPluginOK;
    });
    OwnPicture target(settings.width, settings.height);
    const FrameResult result = session.renderFrame(3, target.view());
    EXPECT_TRUE(result.ok()) << result.problem;
    EXPECT_EQ(calls, 1);
}

std::string pascal(ConstStr255Param text) {
    return {reinterpret_cast<const char*>(text) + 1, text[0]};
}

TEST(CallbacksTest, AllThirtyAreThere) {
    inFrame([](HYPluginParams& params) {
        static_assert(sizeof(_HYProcs) == 30 * sizeof(void*));
        void* entries[30];
        std::memcpy(entries, params.procs, sizeof entries);
        for (int i = 0; i < 30; ++i) EXPECT_NE(entries[i], nullptr) << i;
    });
}

TEST(CallbacksTest, BlocksAreClearedOnlyWhereAsked) {
    inFrame([](HYPluginParams& params) {
        auto* block = static_cast<unsigned char*>(params.procs->NewPtrClear(100));
        ASSERT_NE(block, nullptr);
        for (int i = 0; i < 100; ++i) EXPECT_EQ(block[i], 0);
        EXPECT_EQ(params.procs->DisposePtr(block), kPluginOK);
        void* raw = params.procs->NewPtr(10);
        ASSERT_NE(raw, nullptr);
        std::memset(raw, 3, 10);
        params.procs->DisposePtr(raw);
        void* empty = params.procs->NewPtr(0);
        EXPECT_NE(empty, nullptr);
        params.procs->DisposePtr(empty);
        EXPECT_EQ(params.procs->NewPtr(-1), nullptr);
        EXPECT_EQ(params.procs->NewPtrClear(-5), nullptr);
        EXPECT_EQ(params.procs->DisposePtr(nullptr), kPluginOK);
    });
}

TEST(CallbacksTest, StringsChangeTheirShapeInPlace) {
    inFrame([](HYPluginParams& params) {
        Str255 text = "\005tumbl";
        EXPECT_STREQ(params.procs->ptocstr(text), "tumbl");
        EXPECT_EQ(pascal(params.procs->ctopstr(reinterpret_cast<char*>(text))), "tumbl");
        char longText[400];
        std::memset(longText, 'x', 399);
        longText[399] = 0;
        EXPECT_EQ(params.procs->ctopstr(longText)[0], 255);
        Str255 full;
        std::memset(full, 'y', sizeof full);
        full[0] = 255;
        EXPECT_EQ(params.procs->strlen(params.procs->ptocstr(full)), 255);
        Str255 copy;
        EXPECT_EQ(params.procs->pstrcpy(copy, reinterpret_cast<ConstStr255Param>("\003abcdef")), kPluginOK);
        EXPECT_EQ(pascal(copy), "abc");
        EXPECT_EQ(params.procs->pstrcpy(nullptr, copy), kPluginBadParams);
        char plain[8];
        EXPECT_EQ(params.procs->strcpy(plain, "wash"), plain);
        EXPECT_STREQ(plain, "wash");
        EXPECT_EQ(params.procs->strlen("wash"), 4);
        EXPECT_EQ(params.procs->strlen(nullptr), 0);
        EXPECT_EQ(params.procs->ptocstr(nullptr), nullptr);
        EXPECT_EQ(params.procs->ctopstr(nullptr), nullptr);
    });
}

TEST(CallbacksTest, LocalisedStringsAreFilledOrEmptied) {
    inFrame([](HYPluginParams& params) {
        Str255 expected;
        GetIndString(expected, 17000, 1);
        Str255 text = "\003old";
        EXPECT_EQ(params.procs->GetLocalizedString(text, 17000, 1), kPluginOK);
        EXPECT_EQ(pascal(text), pascal(expected));
        EXPECT_EQ(params.procs->GetLocalizedString(text, 31000, 1), kPluginOK);
        EXPECT_EQ(text[0], 0);
        EXPECT_EQ(params.procs->GetLocalizedString(nullptr, 17000, 1), kPluginBadParams);
    });
}

TEST(CallbacksTest, FramesNeedEveryAddressAndAnInstance) {
    inFrame([](HYPluginParams& params) {
        GWorldPtr world = nullptr;
        std::int16_t volume = 0;
        HYFrameCookie cookie = nullptr;
        const auto get = [&](HYPluginInstance instance, GWorldPtr* w, std::int16_t* v, HYFrameCookie* c) {
            return params.procs->GetFrame(instance, 10, w, 40, 24, kDVHighQuality, v, c);
        };
        EXPECT_EQ(get(params.instance, nullptr, &volume, &cookie), kPluginBadParams);
        EXPECT_EQ(get(params.instance, &world, nullptr, &cookie), kPluginBadParams);
        EXPECT_EQ(get(params.instance, &world, &volume, nullptr), kPluginBadParams);
        EXPECT_EQ(get(nullptr, &world, &volume, &cookie), kPluginBadParams);
        EXPECT_EQ(params.procs->ReleaseFrame(params.instance, nullptr), kPluginBadParams);
        int other = 0;
        EXPECT_EQ(params.procs->ReleaseFrame(params.instance, &other), kPluginBadParams);
        EXPECT_EQ(params.procs->MixAudio(params.instance, &other, 100), kPluginBadParams);
    });
}

TEST(CallbacksTest, FramesComeAtTheSizeAndQualityAskedFor) {
    TestSource source;
    inFrame(
        [](HYPluginParams& params) {
            GWorldPtr world = nullptr;
            std::int16_t volume = 0;
            HYFrameCookie cookie = nullptr;
            ASSERT_EQ(
                params.procs->GetFrame(params.instance, 10, &world, 21, 19, kDVLowQuality, &volume, &cookie),
                kPluginOK);
            Rect bounds{};
            GetPortBounds(world, &bounds);
            EXPECT_EQ(bounds.right, 21);
            EXPECT_EQ(bounds.bottom, 19);
            const PixMap& map = **GetGWorldPixMap(world);
            EXPECT_EQ(map.rowBytes & kRowBytesMask, 84);
            EXPECT_EQ(static_cast<std::uint8_t>(map.baseAddr[84 * 5 + 4 * 3 + 2]),
                      patternByte(0, 10, 3, 5, 2));
            EXPECT_EQ(volume, 255);
            EXPECT_EQ(params.procs->ReleaseFrame(params.instance, cookie), kPluginOK);
        },
        smallSettings(), &source);
    EXPECT_EQ(source.requests[0].quality, kDVLowQuality);
}

TEST(CallbacksTest, ImpossibleFramesAreRefusedBeforeTheSourceIsAsked) {
    TestSource source;
    Session session(fakeModule(), smallSettings(), source);
    session.open();
    const Replace frame(kPlugDoFrame, [](short, HYPluginParams& params) -> int {
        GWorldPtr world = nullptr;
        std::int16_t volume = 0;
        HYFrameCookie cookie = nullptr;
        const auto get = [&](std::int32_t number, std::int16_t width, std::int16_t height) {
            return params.procs->GetFrame(params.instance, number, &world, width, height, kDVHighQuality,
                                          &volume, &cookie);
        };
        EXPECT_EQ(get(6, 40, 24), kPluginCantGetNeededFrame);
        EXPECT_EQ(get(27, 40, 24), kPluginCantGetNeededFrame);
        EXPECT_EQ(get(10, 0, 24), kPluginCantGetNeededFrame);
        EXPECT_EQ(get(10, 40, -1), kPluginCantGetNeededFrame);
        EXPECT_EQ(get(10, 4096, 24), kPluginCantGetNeededFrame);
        return kPluginOK;
    });
    OwnPicture target(40, 24);
    (void)session.renderFrame(3, target.view());
    EXPECT_TRUE(source.requests.empty());
}

TEST(CallbacksTest, SoundOfAnotherFrameIsNotMixed) {
    inFrame([](HYPluginParams& params) {
        GWorldPtr world = nullptr;
        std::int16_t volume = 0;
        HYFrameCookie cookie = nullptr;
        ASSERT_EQ(
            params.procs->GetFrame(params.instance, 16, &world, 40, 24, kDVHighQuality, &volume, &cookie),
            kPluginOK);
        EXPECT_EQ(params.procs->MixAudio(params.instance, cookie, 256), kPluginBadParams);
        params.procs->ReleaseFrame(params.instance, cookie);
    });
}

TEST(CallbacksTest, SoundIsLentAsSixteenBitSamples) {
    SessionSettings settings = smallSettings();
    settings.audio.rate = 48000;
    TestSource source;
    source.sound = [](const FrameRequest&, int i, int channel) {
        return channel == 1 ? -2.0F : i == 0 ? 0.5F : i == 1 ? std::numeric_limits<float>::quiet_NaN() : 1.0F;
    };
    inFrame(
        [&source](HYPluginParams& params) {
            std::int16_t* samples = nullptr;
            std::int32_t count = 0;
            HYAudioCookie cookie = nullptr;
            ASSERT_EQ(params.procs->GetAudioFrame(params.instance, 10, &samples, &count, &cookie), kPluginOK);
            EXPECT_EQ(source.out(), 0) << "the picture goes back at once";
            EXPECT_EQ(count, 1602);
            EXPECT_EQ(samples[0], 16384);
            EXPECT_EQ(samples[1], -32767);
            EXPECT_EQ(samples[2], 0);
            EXPECT_EQ(samples[4], 32767);
            EXPECT_EQ(params.procs->ReleaseAudioFrame(params.instance, cookie), kPluginOK);
            EXPECT_EQ(params.procs->ReleaseAudioFrame(params.instance, cookie), kPluginBadParams);
            EXPECT_EQ(params.procs->GetAudioFrame(params.instance, 10, nullptr, &count, &cookie),
                      kPluginBadParams);
        },
        settings, &source);
}

TEST(CallbacksTest, TheMovieIsTold) {
    inFrame([](HYPluginParams& params) {
        HYPluginMovieInfo movie{};
        EXPECT_EQ(params.procs->GetMovieInfo(params.instance, &movie), kPluginOK);
        EXPECT_EQ(movie.width, 40);
        EXPECT_EQ(movie.height, 24);
        EXPECT_EQ(movie.timeScale, 30000);
        EXPECT_EQ(movie.frameTime, 1001);
        EXPECT_EQ(params.procs->GetMovieInfo(params.instance, nullptr), kPluginBadParams);
    });
}

TEST(CallbacksTest, TitlesAreEmptyAndFiltersTellTheFrame) {
    inFrame([](HYPluginParams& params) {
        HYPluginTitleInfo* title = nullptr;
        ASSERT_EQ(params.procs->GetTitleInfo(params.instance, &title), kPluginOK);
        EXPECT_EQ(title->pairCount, 0);
        EXPECT_EQ(params.procs->ReleaseTitleInfo(params.instance, title), kPluginOK);
        EXPECT_EQ(params.procs->ReleaseTitleInfo(params.instance, title), kPluginBadParams);
        HYPluginFilterInfo* filter = nullptr;
        ASSERT_EQ(params.procs->GetFilterInfo(params.instance, &filter), kPluginOK);
        EXPECT_EQ(filter->filterFrame, 3);
        EXPECT_EQ(filter->filterFrameCount, 10);
        EXPECT_EQ(params.procs->ReleaseFilterInfo(params.instance, filter), kPluginOK);
    });
}

TEST(CallbacksTest, BlitBlendsByLevel) {
    std::uint8_t from[4] = {255, 200, 100, 0};
    std::uint8_t onto[4] = {255, 0, 100, 200};
    const Rect pixel{0, 0, 1, 1};
    PixMap source{reinterpret_cast<Ptr>(from), 4, pixel, 32, 0};
    PixMap target{reinterpret_cast<Ptr>(onto), 4, pixel, 32, 0};
    inFrame([&](HYPluginParams& params) {
        EXPECT_EQ(params.procs->Blit(&source, &target, &pixel, &pixel, 63), kPluginOK);
        EXPECT_EQ(params.procs->Blit(nullptr, &target, &pixel, &pixel, 63), kPluginBadParams);
    });
    for (int i = 0; i < 4; ++i) {
        const int before[4] = {255, 0, 100, 200};
        EXPECT_EQ(onto[i], (from[i] * 63 + before[i] * 192 + 127) / 255) << i;
    }
}

TEST(CallbacksTest, FillRectStaysInsideTheMap) {
    OwnPicture picture(8, 6, 40, 0);
    PixMap map{reinterpret_cast<Ptr>(picture.row(0)), 40, Rect{10, 20, 16, 28}, 32, 0};
    const RGBColor color{0x12FF, 0x3400, 0x56AB};
    inFrame([&](HYPluginParams& params) {
        const Rect part{12, 26, 30, 99};
        EXPECT_EQ(params.procs->FillRect(&map, &part, &color), kPluginOK);
        const Rect outside{0, 0, 10, 20};
        EXPECT_EQ(params.procs->FillRect(&map, &outside, &color), kPluginOK);
        EXPECT_EQ(params.procs->FillRect(nullptr, &part, &color), kPluginBadParams);
    });
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 8; ++x) {
            const bool inside = y >= 2 && x >= 6;
            EXPECT_EQ(picture.row(y)[4 * x], inside ? 255 : 0) << x << ',' << y;
            EXPECT_EQ(picture.row(y)[4 * x + 1], inside ? 0x12 : 0);
            EXPECT_EQ(picture.row(y)[4 * x + 2], inside ? 0x34 : 0);
            EXPECT_EQ(picture.row(y)[4 * x + 3], inside ? 0x56 : 0);
        }
    }
    EXPECT_TRUE(picture.paddingUntouched());
}

constexpr unsigned char kWord[] = "\004WASH";

TEST(CallbacksTest, TextIsMeasuredInTheCurrentStyle) {
    inFrame([](HYPluginParams& params) {
        SetGWorld(params.frame, nullptr);
        TextSize(20);
        const std::int16_t width = params.procs->StringWidth(kWord);
        EXPECT_GT(width, 20);
        EXPECT_EQ(width, StringWidth(kWord));
        EXPECT_EQ(params.procs->StringWidth(nullptr), 0);
        Rect bounds{};
        EXPECT_EQ(params.procs->TextBounds(kWord, &bounds), kPluginOK);
        EXPECT_EQ(bounds.left, 0);
        EXPECT_EQ(bounds.right, width);
        EXPECT_LT(bounds.top, 0);
        EXPECT_GE(bounds.bottom, 0);
        EXPECT_EQ(params.procs->CGStringWidth(kWord, 20.0F), static_cast<float>(width));
        EXPECT_GT(params.procs->CGStringWidth(kWord, 20.4F), static_cast<float>(width));
        EXPECT_GT(params.procs->CGStringWidth(kWord, 40.0F), 1.5F * static_cast<float>(width));
        EXPECT_EQ(params.procs->CGStringWidth(kWord, -1.0F), 0.0F);
        EXPECT_EQ(params.procs->CGStringWidth(kWord, std::nanf("")), 0.0F);
        EXPECT_EQ(StringWidth(kWord), width) << "the style is as it was";
    });
}

/// Pixels of a world that are not all zero, by column: first and one past the last; (0, 0) when there are
/// none.
std::pair<int, int> inkedColumns(GWorldPtr world, const Rect& clip) {
    const PixMap& map = **GetGWorldPixMap(world);
    std::pair<int, int> inked{0, 0};
    for (int y = 0; y < map.bounds.bottom; ++y) {
        for (int x = 0; x < map.bounds.right; ++x) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, map.baseAddr + y * (map.rowBytes & kRowBytesMask) + 4 * x, 4);
            if (pixel == 0) continue;
            EXPECT_TRUE(x >= clip.left && x < clip.right && y >= clip.top && y < clip.bottom)
                << x << ',' << y;
            if (inked.second == 0 || x < inked.first) inked.first = x;
            inked.second = std::max(inked.second, x + 1);
        }
    }
    return inked;
}

TEST(CallbacksTest, TextIsDrawnInsideItsRectangle) {
    const auto draw = [](HYTitleJustification justify, float size, const Rect& rect) {
        std::pair<int, int> inked;
        inFrame([&](HYPluginParams& params) {
            GWorldPtr world = nullptr;
            const Rect bounds{0, 0, 60, 300};
            ASSERT_EQ(NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), noErr);
            SetGWorld(world, nullptr);
            TextSize(18);
            ForeColor(whiteColor);
            SetGWorld(nullptr, nullptr);
            const HYPluginResult result = size > 0
                                              ? params.procs->CGDrawText(world, kWord, &rect, justify, size)
                                              : params.procs->DrawText(world, kWord, &rect, justify);
            EXPECT_EQ(result, kPluginOK);
            CGrafPtr current = world;
            GetGWorld(&current, nullptr);
            EXPECT_EQ(current, nullptr);
            EXPECT_EQ(GetPortTextSize(world), 18);
            inked = inkedColumns(world, rect);
            DisposeGWorld(world);
        });
        return inked;
    };
    const Rect wide{5, 10, 50, 290};
    const auto left = draw(kTitleJustLeft, 0, wide);
    const auto centre = draw(kTitleJustCenter, 0, wide);
    const auto right = draw(kTitleJustRight, 0, wide);
    EXPECT_GT(left.second, 0);
    EXPECT_LT(left.second, centre.first);
    EXPECT_LT(centre.second, right.first);
    const auto large = draw(kTitleJustLeft, 36.0F, wide);
    EXPECT_GT(large.second - large.first, left.second - left.first);
    const Rect narrow{8, 20, 18, 40};
    EXPECT_GT(draw(kTitleJustLeft, 0, narrow).second, 0) << "clipped, yet drawn";
    EXPECT_EQ(draw(kTitleJustLeft, 0, Rect{100, 400, 150, 500}).second, 0);
}

TEST(CallbacksTest, DrawingNeedsItsArguments) {
    inFrame([](HYPluginParams& params) {
        const Rect rect{0, 0, 5, 5};
        EXPECT_EQ(params.procs->DrawText(nullptr, kWord, &rect, kTitleJustLeft), kPluginBadParams);
        EXPECT_EQ(params.procs->DrawText(params.frame, nullptr, &rect, kTitleJustLeft), kPluginBadParams);
        EXPECT_EQ(params.procs->DrawText(params.frame, kWord, nullptr, kTitleJustLeft), kPluginBadParams);
        EXPECT_EQ(params.procs->CGDrawText(params.frame, kWord, &rect, kTitleJustLeft, std::nanf("")),
                  kPluginBadParams);
        EXPECT_EQ(params.procs->TextBounds(nullptr, nullptr), kPluginBadParams);
    });
}

}  // namespace
}  // namespace tumblewash::test
