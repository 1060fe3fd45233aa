#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ImageLib/source/ARGBVal.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/PixRectWrap.h"
#include "ImageLib/source/RGBPixel.h"
#include "pluginDistort/v1/process_init.h"

namespace {

std::vector<std::string> heard;

void hear(const char* text) {
    heard.emplace_back(text);
}

TEST(ProcessInitTest, SetUpForgetsTheFiveOwnersAndNothingElse) {
    _EffectData ed{};
    ed.gran = 5;
    ed.effectGWorld = reinterpret_cast<GWorldPtr>(&ed);
    ed.firstFrame = reinterpret_cast<PixRectWrap<ARGBVal>*>(&ed);
    ed.lastFrame = ed.firstFrame;
    ed.flowField1 = ed.flowField2 = reinterpret_cast<PixRectRW<RGBPixel<float>>*>(&ed);
    ed.refpic = reinterpret_cast<PixRectRW<ARGBVal>*>(&ed);
    EXPECT_TRUE(SISetup(&ed));
    EXPECT_EQ(ed.firstFrame, nullptr);
    EXPECT_EQ(ed.lastFrame, nullptr);
    EXPECT_EQ(ed.flowField1, nullptr);
    EXPECT_EQ(ed.flowField2, nullptr);
    EXPECT_EQ(ed.refpic, nullptr);
    EXPECT_EQ(ed.gran, 5);
    EXPECT_NE(ed.effectGWorld, nullptr);
}

/// A rectangle that tells when it dies.
template <class Base>
struct Mortal : Base {
    explicit Mortal(const char* n) : name(n) {}
    ~Mortal() override { heard.emplace_back(name); }
    const char* name;
};

TEST(ProcessInitTest, CleanUpDestroysThroughTheVirtualDestructorInOrder) {
    heard.clear();
    _EffectData ed{};
    ed.refpic = new Mortal<PixRectRW<ARGBVal>>("refpic");
    ed.lastFrame = new Mortal<PixRectWrap<ARGBVal>>("last");
    ed.firstFrame = new Mortal<PixRectWrap<ARGBVal>>("first");
    ed.flowField2 = new Mortal<PixRectRW<RGBPixel<float>>>("field2");
    ed.flowField1 = new Mortal<PixRectRW<RGBPixel<float>>>("field1");
    const _EffectData before = ed;
    EXPECT_TRUE(SICleanup(&ed));
    EXPECT_EQ(heard, (std::vector<std::string>{"field1", "field2", "first", "last", "refpic"}));
    EXPECT_EQ(ed.flowField1, before.flowField1);  // the pointers keep their values
    EXPECT_EQ(ed.refpic, before.refpic);
}

TEST(ProcessInitTest, NullAndEmptyStatesAreFine) {
    EXPECT_TRUE(SICleanup(nullptr));
    EXPECT_TRUE(SISetup(nullptr));
    _EffectData ed{};
    EXPECT_TRUE(SICleanup(&ed));
}

TEST(LogTest, IsSilentUntilSomebodyListens) {
    heard.clear();
    const tumblewash::plugin::LogObserver previous = tumblewash::plugin::setLogObserver(nullptr);
    char text[] = "nobody hears\n\r";
    logMessage(text);
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(tumblewash::plugin::setLogObserver(hear), nullptr);
    logMessage(text);
    logMessage("second");
    EXPECT_EQ(heard, (std::vector<std::string>{"nobody hears\n\r", "second"}));
    EXPECT_EQ(tumblewash::plugin::setLogObserver(previous), &hear);
}

TEST(LogTest, TheLibrarysLinesArriveOnceConnected) {
    heard.clear();
    const tumblewash::plugin::LogObserver previous = tumblewash::plugin::setLogObserver(hear);
    const tumblewash::imagelib::LogSink sink = tumblewash::imagelib::setLogSink(nullptr);
    tumblewash::imagelib::logLine("lost");
    tumblewash::plugin::connectLibraryLog();
    tumblewash::imagelib::logLine("found");
    EXPECT_EQ(heard, (std::vector<std::string>{"found"}));
    tumblewash::imagelib::setLogSink(sink);
    tumblewash::plugin::setLogObserver(previous);
}

}  // namespace
