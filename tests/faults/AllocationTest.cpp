// Every allocation fails once, then every allocation from there on: the plug-in answers with a code, the host
// with an error in words, the library throws or answers; nothing is left lent or allocated, and what is asked
// for again comes out right.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <vector>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/Correlator.h"
#include "ImageLib/source/ImageStats.h"
#include "ImageLib/source/PixRectC.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/SamplePixRect.h"
#include "effects/Effect.h"
#include "host/Session.h"
#include "platform/Carbon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/Transitions.h"
#include "tests/faults/FailingAllocator.h"
#include "tests/faults/GuardedHost.h"
#include "tests/faults/LongForm.h"

namespace tumblewash::faults {

using host::FrameRequest;
using host::FrameResult;
using host::FrameSource;
using host::HostError;
using host::LentFrame;
using host::Picture;
using host::pictureStride;
using host::PluginModule;
using host::Session;
using host::SessionSettings;

namespace {

using Kind = FailingAllocations::Kind;
constexpr Kind kKinds[] = {Kind::once, Kind::fromThereOn};

/// The long form lets every single allocation fail; the short one the first hundred, then growing steps,
/// since a whole frame may ask thousands of times.
long after(long nth) {
    static const bool all = amount(0, 1) == 1;
    return all || nth < 100 ? nth + 1 : nth + nth / 8;
}

std::unique_ptr<GuardedHost> quietHost() {
    auto host = std::make_unique<GuardedHost>();
    host->entering = pauseFailing;
    host->leaving = resumeFailing;
    return host;
}

class PluginAllocationTest : public testing::TestWithParam<int> {
  protected:
    void SetUp() override {
        // Pools, fonts and the like that live as long as the program are made before anything is counted.
        auto host = quietHost();
        for (const int selector :
             {kPlugGetInfo, kPlugInitialize, kPlugFilePlaceHolder, kPlugDoFrame, kPlugTerminate})
            host->call(GetParam(), selector);
    }
};
INSTANTIATE_TEST_SUITE_P(All, PluginAllocationTest, testing::Range(0, 14));

/// The codes with which a request may answer that memory ran out: its own, or that of a world that could not
/// be made.
bool saysSo(int code) {
    return code == kPluginOutOfMemory || code == kPluginFailed;
}

TEST_P(PluginAllocationTest, EveryRequestSurvivesEveryFailure) {
    for (const Kind kind : kKinds) {
        for (const int selector :
             {kPlugGetInfo, kPlugInitialize, kPlugFilePlaceHolder, kPlugDoFrame, kPlugTerminate}) {
            for (long nth = 1;; nth = after(nth)) {
                SCOPED_TRACE("selector " + std::to_string(selector) + ", allocation " + std::to_string(nth));
                const long before = liveBlocks();
                bool failed = false;
                {
                    auto host = quietHost();
                    if (selector >= kPlugDoFrame) {
                        ASSERT_EQ(host->call(GetParam(), kPlugInitialize), kPluginOK);
                    }
                    host->params.renderFrame = 2;
                    int code = kPluginOK;
                    {
                        const FailingAllocations failing(nth, kind);
                        code = host->call(GetParam(), selector);
                        failed = failing.failed();
                    }
                    EXPECT_TRUE(failed ? code == kPluginOK || saysSo(code) : code == kPluginOK) << code;
                    EXPECT_TRUE(code == kPluginOK || selector == kPlugDoFrame || !host->destinationLocked());
                    EXPECT_FALSE(host->recordLent());
                    EXPECT_TRUE(code != kPluginOK || host->framesLent() == 0);
                    host->takeBack();
                    EXPECT_TRUE(host->gapsUntouched());
                    const bool again = selector == kPlugInitialize && code != kPluginOK;
                    if (!host->params.clientData || again) {
                        EXPECT_EQ(host->call(GetParam(), kPlugInitialize), kPluginOK);
                    }
                    EXPECT_EQ(host->render(GetParam(), 2), kPluginOK);
                    EXPECT_EQ(host->call(GetParam(), kPlugTerminate), kPluginOK);
                    EXPECT_FALSE(host->blockOut());
                    EXPECT_EQ(host->framesLent(), 0);
                }
                EXPECT_LE(liveBlocks(), before);
                if (!failed || HasFailure()) break;
            }
        }
    }
}

TEST_P(PluginAllocationTest, FrameAskedForAgainIsTheSame) {
    const auto first = [](long nth) {
        auto host = quietHost();
        std::srand(7);
        host->call(GetParam(), kPlugInitialize);
        if (nth > 0) {
            const FailingAllocations failing(nth);
            host->render(GetParam(), 3);
        }
        host->takeBack();
        EXPECT_EQ(host->render(GetParam(), 3), kPluginOK);
        return std::vector<std::uint8_t>(host->pixels(), host->pixels() + host->pixelBytes());
    };
    const std::vector<std::uint8_t> plain = first(0);
    for (const long nth : {1L, 2L, 3L, 5L, 8L, 13L, 40L, 200L}) EXPECT_EQ(first(nth), plain) << nth;
}

// The library.

using Grey = GreyPixel<float>;
using Work = std::function<void()>;

void fill(PixRectRW<ARGBVal>& rect) {
    for (int y = rect.ly(); y <= rect.hy(); ++y)
        for (int x = rect.lx(); x <= rect.hx(); ++x)
            rect.set(x, y,
                     ARGBVal(255, static_cast<unsigned char>(x * 7), static_cast<unsigned char>(y * 5),
                             static_cast<unsigned char>(x * y)));
}

/// Runs `work` with every allocation failing once; it may throw std::bad_alloc and nothing else.
void survives(const char* what, const Work& work) {
    work();
    for (const Kind kind : kKinds) {
        for (long nth = 1;; nth = after(nth)) {
            SCOPED_TRACE(std::string(what) + ", allocation " + std::to_string(nth));
            const long before = liveBlocks();
            bool failed = false;
            {
                const FailingAllocations failing(nth, kind);
                try {
                    work();
                } catch (const std::bad_alloc&) {
                    EXPECT_TRUE(failing.failed());
                }
                failed = failing.failed();
            }
            EXPECT_EQ(liveBlocks(), before);
            if (!failed || testing::Test::HasFailure()) break;
        }
    }
}

TEST(LibraryAllocationTest, RectanglesAndViews) {
    survives("rectangle", [] {
        PixRectRW<ARGBVal> a(0, 0, 31, 23);
        fill(a);
        PixRectRW<ARGBVal> copy(static_cast<const PixRect<ARGBVal>&>(a));
        a.init(0, 0, 9, 9);
        a.init(2, 2, 40, 30);
        a.freestore();
        PixRectRWRef<ARGBVal> view(copy, 3, 3, 20, 20);
        PixRectRW<RGBPixel<float>> wide(-4, -4, 12, 12);
        const std::unique_ptr<PixRectBase<ARGBVal>> twin(view.duplicate());
        copy.add(view);
        copy.blendwith(view, 0.5F);
    });
    survives("wrapper", [] {
        std::array<ARGBVal, 24 * 16> pixels;
        PixRectWrap<ARGBVal> all(pixels.data(), 24, 16, SIAllLines);
        PixRectWrap<ARGBVal> odd(pixels.data(), 24, 16, SIOddLines);
        PixRectWrap<ARGBVal> copy(odd);
        copy.copyfromwrapped(&all);
    });
}

TEST(LibraryAllocationTest, RectangleThatCannotGrowHoldsNothing) {
    PixRectRW<ARGBVal> rect(0, 0, 3, 3);
    fill(rect);
    {
        const FailingAllocations failing(1);
        EXPECT_THROW(rect.init(0, 0, 200, 200), std::bad_alloc);
    }
    EXPECT_EQ(rect.set(150, 150, ARGBVal(1, 2, 3, 4)), IMAGE_NODATA);
    EXPECT_EQ(rect.pix(2, 2)._alpha, 0);
    rect.init(0, 0, 5, 5);
    EXPECT_EQ(rect.set(5, 5, ARGBVal(1, 2, 3, 4)), IMAGE_OK);
}

TEST(LibraryAllocationTest, SamplingAndContinuousImages) {
    PixRectRW<ARGBVal> source(0, 0, 31, 23);
    fill(source);
    survives("sampled", [&] {
        const SamplePixRect<ARGBVal, ARGBVal> less(source, 2.5, 2.5, SIBestSample);
        const SamplePixRect<Grey, ARGBVal> more(source, 0.4, 0.4, SISmoothSample);
        const SamplePixRectNC<ARGBVal, ARGBVal> view(source, 3, 3, SIQuickSample);
        ContImageRef<ARGBVal> smooth(source, SIInterpBilinear);
        const SamplePixRect<ARGBVal, ARGBVal> larger(smooth, 0.5, 0.5, SIBestSample);
        static_cast<void>(view.pix(2, 2));
    });
}

TEST(LibraryAllocationTest, TilesAndMatching) {
    PixRectRW<ARGBVal> source(0, 0, 39, 39);
    fill(source);
    survives("tiles", [&] {
        PixRectC<ARGBVal> cache(source);
        if (!cache.initcache(8, 8)) return;
        for (int y = 0; y < 40; y += 5)
            for (int x = 0; x < 40; x += 5) static_cast<void>(cache.pix(x, y));
        cache.clearoldest();
    });
    survives("surface", [&] {
        Correlator<ARGBVal> match(2, 8, 8, ComparePixDiff);
        PixRectRWRef<ARGBVal> feature(source, 10, 10, 17, 17);
        const std::unique_ptr<PixRectRW<Grey>> surface(match.makesurface(feature, source));
    });
}

TEST(LibraryAllocationTest, FieldsAndMotion) {
    survives("surfaces", [] {
        std::srand(1);
        const std::unique_ptr<PixRectRW<RGBPixel<float>>> wash(makeWashAway(kPluginDirectionUp));
        const std::unique_ptr<PixRectRW<RGBPixel<float>>> plate(makeTiltPlate(5.0F, 32));
        const std::unique_ptr<PixRectRW<RGBPixel<float>>> glass(makeMagnifyingGlass(0.5F, 16));
    });
    std::vector<ARGBVal> from(48 * 40), to(48 * 40), scratch(48 * 40);
    for (std::size_t i = 0; i < from.size(); ++i) {
        from[i] = ARGBVal(255, static_cast<unsigned char>(i * 3), static_cast<unsigned char>(i / 7), 9);
        to[i] = ARGBVal(255, static_cast<unsigned char>(i * 3 + 5), static_cast<unsigned char>(i / 5), 40);
    }
    survives("motion", [&] {
        PixRectWrap<ARGBVal> a(from.data(), 48, 40, SIAllLines);
        PixRectWrap<ARGBVal> b(to.data(), 48, 40, SIAllLines);
        PixRectWrap<ARGBVal> c(scratch.data(), 48, 40, SIAllLines);
        const std::unique_ptr<PixRectRW<RGBPixel<float>>> field(MakeFlowField(a, b, c));
    });
}

// Worlds and handles.

TEST(PlatformAllocationTest, WorldsAreRefusedOrWhole) {
    const Rect bounds{0, 0, 20, 30};
    survives("world", [&] {
        GWorldPtr world = nullptr;
        const OSErr made = NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0);
        EXPECT_EQ(made == noErr, world != nullptr);
        EXPECT_TRUE(made == noErr || made == memFullErr) << made;
        DisposeGWorld(world);
    });
}

// Handles wait in a queue after they were disposed; going there may not need memory.
TEST(PlatformAllocationTest, DisposingNeverAllocates) {
    std::vector<Handle> handles(3000);
    for (Handle& handle : handles) handle = NewHandle(8);
    const FailingAllocations failing(1, Kind::fromThereOn);
    for (Handle handle : handles) DisposeHandle(handle);
    EXPECT_EQ(failing.asked(), 0);
}

// The host.

/// Two pictures that are always there; lends them and counts.
class StandingSource final : public FrameSource {
  public:
    StandingSource() : pixels_(48 * 40 * 4, 200), samples_(4000, 0.25F) {}
    LentFrame lend(const FrameRequest& request) override {
        ++out;
        LentFrame frame;
        frame.picture = {pixels_.data(), pictureStride(request.width), request.width, request.height};
        frame.writable = request.clip == 0;
        frame.samples = samples_.data();
        frame.sampleCount = request.sampleCount;
        return frame;
    }
    void giveBack(const LentFrame&) noexcept override { --out; }
    int out = 0;

  private:
    std::vector<std::uint8_t> pixels_;
    std::vector<float> samples_;
};

class HostAllocationTest : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(All, HostAllocationTest, testing::Range(0, 14));

/// A whole session; false when something was refused or reported.
bool wholeSession(const PluginModule& module, const SessionSettings& settings, StandingSource& source,
                  std::uint8_t* pixels) {
    try {
        Session session(module, settings, source);
        const Picture target{pixels, pictureStride(settings.width), settings.width, settings.height};
        session.drawPlaceholder(target);
        session.open();
        bool well = true;
        for (std::int32_t k = 0; k < settings.frameCount; ++k) {
            const FrameResult result = session.renderFrame(k, target);
            well = well && result.ok() && result.warning.empty();
        }
        session.close();
        return well;
    } catch (const HostError& error) {
        EXPECT_NE(error.what()[0], '\0');
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

TEST_P(HostAllocationTest, SessionsReportAndReturnEverything) {
    StandingSource source;
    SessionSettings settings;
    settings.effect = GetParam();
    settings.width = 48;
    settings.height = 40;
    settings.frameCount = 4;
    settings.audio.rate = 48000;
    const PluginModule module(HYPluginEntry);
    std::vector<std::uint8_t> pixels(48 * 40 * 4);
    ASSERT_TRUE(wholeSession(module, settings, source, pixels.data()));
    const std::vector<std::uint8_t> plain = pixels;
    for (const Kind kind : kKinds) {
        for (long nth = 1;; nth = after(nth)) {
            SCOPED_TRACE("allocation " + std::to_string(nth));
            const long before = liveBlocks();
            bool failed = false;
            {
                const FailingAllocations failing(nth, kind);
                wholeSession(module, settings, source, pixels.data());
                failed = failing.failed();
            }
            EXPECT_EQ(source.out, 0);
            EXPECT_EQ(liveBlocks(), before);
            if (!failed || HasFailure()) break;
            if (nth % 10 == 1) {
                ASSERT_TRUE(wholeSession(module, settings, source, pixels.data()));
                ASSERT_EQ(pixels, plain);
            }
        }
    }
}

// One picture by two threads. What fails is this thread's: threads that do not begin, or parts of the
// picture.

TEST(EffectAllocationTest, APictureByTwoThreadsSaysThatMemoryRanOutAndComesOutRightTheNextTime) {
    constexpr int width = 40, height = 31;
    std::vector<std::uint8_t> first(std::size_t{width} * height * 4), last(first.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        first[i] = static_cast<std::uint8_t>(i * 7);
        last[i] = static_cast<std::uint8_t>(i * 11 + 3);
    }
    const effects::Pictures pictures{{first.data(), width * 4, width, height, effects::Alpha::straight},
                                     {last.data(), width * 4, width, height, effects::Alpha::straight}};
    const auto render = [&](const effects::Effect& effect, std::vector<std::uint8_t>& out) {
        return effect.render(0.4, pictures, {out.data(), width * 4, width, height, effects::Alpha::straight});
    };
    for (const char* id : {"wash-away", "tumble-reveal", "morph"}) {
        const plugin::EffectRecord& record = *plugin::findEffectRecord(id);
        std::vector<std::uint8_t> expected(first.size()), out(first.size());
        ASSERT_EQ(render(effects::Effect(record), expected), effects::Outcome::ok);
        int failures = 0;
        for (const Kind kind : kKinds) {
            for (long nth = 1;; nth = after(nth)) {
                SCOPED_TRACE(std::string(id) + ", allocation " + std::to_string(nth));
                bool failed = false;
                {
                    const FailingAllocations failing(nth, kind);
                    const effects::Effect effect(record, {}, {2, 0});
                    const effects::Outcome outcome = render(effect, out);
                    failed = failing.failed();
                    EXPECT_TRUE(outcome == effects::Outcome::ok ||
                                (failed && outcome == effects::Outcome::noMemory));
                    EXPECT_TRUE(outcome != effects::Outcome::ok || out == expected);
                    failures += outcome == effects::Outcome::noMemory ? 1 : 0;
                }
                if (!failed || HasFailure()) break;
            }
        }
        EXPECT_GT(failures, 0);
        const effects::Effect effect(record, {}, {2, 0});
        EXPECT_EQ(render(effect, out), effects::Outcome::ok);
        {
            const FailingAllocations failing(1, Kind::fromThereOn);
            EXPECT_NE(render(effect, out), effects::Outcome::badPicture);
        }
        EXPECT_EQ(render(effect, out), effects::Outcome::ok);
        EXPECT_TRUE(out == expected);
    }
}

}  // namespace
}  // namespace tumblewash::faults
