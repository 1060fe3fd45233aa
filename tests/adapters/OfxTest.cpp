// The OpenFX plug-ins as a host sees them: how they describe themselves, and what they make of calls that are
// incomplete, out of order or refused.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "adapters/common/TransitionRenderer.h"
#include "tests/adapters/OfxPictures.h"
#include "tests/adapters/OfxTestHost.h"
#include "tests/adapters/Scene.h"

namespace tumblewash::test {

using plugin::EffectDriver;
using plugin::EffectRecord;

namespace {

using adapters::joinsTwoClips;
using adapters::pictureArrives;
using namespace ofx;

INSTANTIATE_TEST_SUITE_P(Bundle, EveryPlugin, testing::Range(0, 14));

TEST_P(EveryPlugin, DescribesItselfFromTheCatalogue) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    EXPECT_EQ(host.effect.string(kPropLabel), index == 0 ? "Cut" : effect.name);
    EXPECT_EQ(host.effect.string(kPropGrouping), "tumblewash");
    EXPECT_EQ(host.effect.strings(kPropSupportedContexts),
              (std::vector<std::string>{contextFor(effect), kContextGeneral}));
    EXPECT_EQ(host.effect.integer(kPropMultiResolution), 1);
    EXPECT_EQ(host.effect.strings(kPropSupportedPixelDepths),
              (std::vector<std::string>{kDepthByte, kDepthShort, kDepthFloat}));
    EXPECT_EQ(host.effect.integer(kPropSupportsTiles), 0);
    EXPECT_EQ(host.effect.string(kPropRenderThreadSafety), kRenderFullySafe);
    const bool two = joinsTwoClips(effect);
    const std::vector<std::string> wanted = two ? std::vector<std::string>{"Output", "SourceFrom", "SourceTo"}
                                                : std::vector<std::string>{"Output", "Source"};
    ASSERT_EQ(host.clips.size(), wanted.size());
    for (const std::string& clip : wanted) {
        ASSERT_TRUE(host.clips.contains(clip));
        EXPECT_EQ(host.clips[clip].strings(kPropSupportedComponents),
                  std::vector<std::string>{kComponentRGBA});
    }
    EXPECT_EQ(host.parameters.contains("Transition"), two);
    EXPECT_EQ(host.parameters.contains("mix"), !two);
    if (two) {
        EXPECT_EQ(host.parameters["Transition"].type, kParamTypeDouble);
        EXPECT_TRUE(host.parameters["Transition"].properties.values.empty())
            << "the host alone labels and ranges it";
    }
    EXPECT_EQ(host.parameters.contains("direction"), adapters::hasKnobs(effect));
    EXPECT_EQ(host.parameters.contains("seed"), adapters::hasKnobs(effect));
    host.takeDown(index);
}

TEST_P(EveryPlugin, TheGeneralContextHasAMixOfItsOwn) {
    OfxTestHost host(kBundle);
    host.bringUp(index, kContextGeneral);
    EXPECT_FALSE(host.parameters.contains("Transition"));
    ASSERT_TRUE(host.parameters.contains("mix"));
    EXPECT_EQ(host.parameters["mix"].properties.number(kParamMax), 1.0);
    EXPECT_EQ(host.parameters["mix"].properties.number(kParamIncrement), 0.01);
    EXPECT_EQ(host.parameters["mix"].properties.integer(kParamDigits), 2);
    std::vector<std::string> shown{"mix"};
    if (adapters::hasKnobs(effect)) shown.insert(shown.end(), {"direction", "seed"});
    ASSERT_TRUE(host.parameters.contains("Controls"));
    EXPECT_EQ(host.parameters["Controls"].type, kParamTypePage);
    EXPECT_EQ(host.parameters["Controls"].properties.strings(kParamPageChild), shown);
    host.takeDown(index);
}

TEST_P(EveryPlugin, MissingPicturesAreTransparentAndNeverFatal) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    TestImage out = TestImage::make(32, 32);
    for (const double position : {0.0, 0.5, 1.0}) {
        EXPECT_EQ(host.render(index, position, nullptr, nullptr, out), kOK);
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x)
                ASSERT_EQ(bytesAt(out, x, y)[3], 0) << effect.id << " at " << position;
    }
    TestImage empty = TestImage::make(0, 0);
    EXPECT_EQ(host.render(index, 0.5, nullptr, nullptr, empty), kFailed);
    EXPECT_EQ(host.imagesOut, 0);
    host.takeDown(index);
}

TEST_P(EveryPlugin, APictureThatIsRefusedIsGivenBack) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    struct Refusal {
        const char* what;
        OfxStatus status;
        void (*spoil)(TestImage&);
    };
    const Refusal refusals[] = {
        {"components", kErrUnsupported, [](TestImage& image) { image.components = "OfxImageComponentRGB"; }},
        {"depth", kErrUnsupported, [](TestImage& image) { image.depth = "OfxBitDepthHalf"; }},
        {"bounds", kErrValue, [](TestImage& image) { image.bounds.x1 = -(1 << 24) - 1; }}};
    for (const double position : {0.0, 0.5, 1.0}) {
        for (const Refusal& refusal : refusals) {
            for (int which = 0; which < 3; ++which) {
                TestImage images[3] = {TestImage::make(32, 32), TestImage::make(32, 32),
                                       TestImage::make(32, 32)};
                // The window is the whole picture's whatever its bounds say.
                const OfxRectI window = images[2].bounds;
                refusal.spoil(images[which]);
                const OfxStatus status =
                    host.render(index, position, &images[0], &images[1], images[2], &window);
                EXPECT_TRUE(status == kOK || status == refusal.status) << refusal.what;
                if (which == 2) {
                    EXPECT_EQ(status, refusal.status) << refusal.what;
                }
                EXPECT_EQ(host.imagesOut, 0) << refusal.what << " of image " << which << " at " << position;
            }
        }
    }
    host.takeDown(index);
}

TEST_P(EveryPlugin, MissingSuitesAreNamedByStatus) {
    for (int missing = 0; missing < 3; ++missing) {
        SuiteChoice choice;
        choice.property = missing != 0;
        choice.effect = missing != 1;
        choice.parameter = missing != 2;
        OfxTestHost host(kBundle, choice);
        EXPECT_THROW(host.bringUp(index, contextFor(effect)), std::runtime_error);
        EXPECT_EQ(host.act(index, kActionLoad), kErrMissingHostFeature);
        EXPECT_EQ(host.act(index, kActionDescribe), kErrMissingHostFeature);
        EXPECT_EQ(host.act(index, kActionRender), kErrMissingHostFeature);
    }
}

TEST_P(EveryPlugin, CallsOutOfOrderEndWithAStatus) {
    OfxTestHost host(kBundle);
    OfxPlugin* plugin = host.plugin(index);
    EXPECT_EQ(plugin->mainEntry("OfxActionNobodyKnows", nullptr, nullptr, nullptr), kReplyDefault);
    EXPECT_EQ(plugin->mainEntry(nullptr, nullptr, nullptr, nullptr), kErrUnsupported);
    host.bringUp(index, contextFor(effect));
    EXPECT_EQ(plugin->mainEntry(kActionRender, nullptr, nullptr, nullptr), kErrBadHandle);
    EXPECT_EQ(plugin->mainEntry(kActionDescribe, nullptr, nullptr, nullptr), kErrBadHandle);
    host.act(index, kActionDestroyInstance);
    TestImage out = TestImage::make(32, 32);
    EXPECT_EQ(host.render(index, 0.5, nullptr, nullptr, out), kErrBadHandle) << "no instance any more";
    EXPECT_EQ(host.act(index, kActionDestroyInstance), kOK) << "a second destroy finds nothing";
    EXPECT_EQ(host.act(index, kActionUnload), kOK);
}

TEST_P(EveryPlugin, TheRegionIsWhereConnectedClipsHavePixels) {
    for (const char* context : {contextFor(effect), kContextGeneral}) {
        OfxTestHost host(kBundle);
        host.bringUp(index, context);
        const auto region = [&] {
            PropertySet in, out;
            in.values[kPropTime] = std::vector<double>{3.0};
            const OfxStatus status = host.act(index, kActionRegionOfDefinition, &in, &out);
            std::vector<double> corners;
            if (status == kOK)
                corners = std::get<std::vector<double>>(out.values.at(kPropRegionOfDefinition));
            return corners;
        };
        EXPECT_EQ(region(), std::vector<double>{}) << "nobody knows";
        host.regions["Source"] = host.regions["SourceFrom"] = {0, 0, 640, 360};
        host.regions["SourceTo"] = {-20, 10, 300, 400.5};
        if (!joinsTwoClips(effect)) {
            EXPECT_EQ(region(), (std::vector<double>{0, 0, 640, 360}));
            host.takeDown(index);
            continue;
        }
        EXPECT_EQ(region(), (std::vector<double>{-20, 0, 640, 400.5}));
        host.clips["SourceFrom"].values[kPropClipConnected] = std::vector<int>{0};
        EXPECT_EQ(region(), (std::vector<double>{-20, 10, 300, 400.5}));
        host.clips["SourceTo"].values[kPropClipConnected] = std::vector<int>{0};
        EXPECT_EQ(region(), std::vector<double>{});
        std::string clip;
        EXPECT_EQ(host.identity(index, 0.0, clip), kReplyDefault)
            << "an unconnected clip is nobody's picture";
        EXPECT_EQ(clip, "");
        host.takeDown(index);
    }
}

TEST_P(EveryPlugin, OneOpaqueClipGivesATransparentResult) {
    for (const char* context : {contextFor(effect), kContextGeneral}) {
        OfxTestHost host(kBundle);
        host.bringUp(index, context);
        for (const char* alpha : {kImageOpaque, kImagePreMultiplied, kImageUnPreMultiplied}) {
            for (auto& [name, clip] : host.clips)
                clip.values[kPropPreMultiplication] = std::vector<std::string>{alpha};
            PropertySet out;
            const OfxStatus status = host.act(index, kActionClipPreferences, nullptr, &out);
            const bool uncovers = !joinsTwoClips(effect) && alpha == std::string(kImageOpaque);
            EXPECT_EQ(status, uncovers ? kOK : kReplyDefault);
            EXPECT_EQ(out.string(kPropPreMultiplication), uncovers ? kImagePreMultiplied : "");
        }
        host.takeDown(index);
    }
}

TEST_P(EveryPlugin, OtherContextsAreRefused) {
    OfxTestHost host(kBundle);
    host.bringUp(index, kContextGeneral);
    for (const char* context :
         {joinsTwoClips(effect) ? kContextFilter : kContextTransition, "OfxImageEffectContextPaint", ""}) {
        PropertySet in;
        in.values[kPropContext] = std::vector<std::string>{context};
        EXPECT_EQ(host.act(index, kActionDescribeInContext, &in), kErrUnsupported) << context;
    }
    host.takeDown(index);
}

TEST_P(EveryPlugin, SmallPicturesAreDissolvedAndSaidOnce) {
    OfxTestHost host(kBundle);
    host.bringUp(index, contextFor(effect));
    auto [from, to, out] = TwoScenes(5, 3);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(host.render(index, 0.5, &from, &to, out), kOK);
    EXPECT_EQ(host.messages.size(), index == 0 ? 0U : 1U) << "a cut stays one";
    host.takeDown(index);
}

}  // namespace
}  // namespace tumblewash::test
