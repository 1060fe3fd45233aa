#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "Utility/PluginUtils.h"
#include "tests/platform/TestPicture.h"

namespace {

class StringsTest : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TUMBLEWASH_RESOURCES", TUMBLEWASH_TEST_RESOURCES, 1);
        setenv("LC_ALL", "C", 1);
    }
    void TearDown() override {
        unsetenv("TUMBLEWASH_RESOURCES");
        unsetenv("LC_ALL");
    }
};

}  // namespace

TEST_F(StringsTest, StringIsCopiedWithoutATerminator) {
    char text[16];
    std::memset(text, '#', sizeof text);
    GetStringFromResource(300, 1, text);
    EXPECT_EQ(std::string(text, sizeof text), "Amount##########");
}

TEST_F(StringsTest, MissingStringLeavesTheDestination) {
    char text[4] = {'a', 'b', 'c', 'd'};
    GetStringFromResource(300, 9, text);
    GetStringFromResource(999, 1, text);
    GetStringFromResource(300, 0, text);
    EXPECT_EQ(std::string(text, 4), "abcd");
}

TEST_F(StringsTest, SliderTakesItsLabelsAndDefault) {
    const auto params = std::make_unique<_PluginParams>();
    AddSlider(params.get(), 1, 300, 301, 0.25F);
    const HYPluginFilterSliderInfo& slider = params->getInfo2.filterSliders[1];
    EXPECT_EQ(slider.defaultValue, 0.25F);
    EXPECT_STREQ(slider.label,
                 "Gr\xC3\xB6\xC3\x9F"
                 "e");
    EXPECT_STREQ(slider.minLabel, "Small");
    EXPECT_STREQ(slider.maxLabel, "Large");
    EXPECT_EQ(params->getInfo2.filterSliders[0].label[0], 0);
    EXPECT_EQ(params->getInfo2.filterSliders[2].label[0], 0);
}

TEST_F(StringsTest, LabelTakesAtMost127BytesAndAZero) {
    const auto params = std::make_unique<_PluginParams>();
    std::memset(static_cast<void*>(&params->getInfo2), 0x5A, sizeof params->getInfo2);
    AddSlider(params.get(), 2, 300, 301, 1.0F);
    const HYPluginFilterSliderInfo& slider = params->getInfo2.filterSliders[2];
    EXPECT_EQ(std::strlen(slider.label), 127U);
    EXPECT_EQ(slider.label[0], 'x');
    EXPECT_EQ(slider.minLabel[0], 0x5A) << "a missing string leaves the label";
    EXPECT_STREQ(slider.maxLabel, "High");
    EXPECT_EQ(slider.defaultValue, 1.0F);
}

TEST_F(StringsTest, SliderOutsideTheRecordIsIgnored) {
    const auto params = std::make_unique<_PluginParams>();
    AddSlider(params.get(), -1, 300, 301, 1.0F);
    AddSlider(params.get(), 3, 300, 301, 1.0F);
    AddSlider(nullptr, 0, 300, 301, 1.0F);
    const _PluginParams untouched{};
    EXPECT_EQ(0, std::memcmp(&params->getInfo2, &untouched.getInfo2, sizeof untouched.getInfo2));
}

TEST_F(StringsTest, LengthCountsCharacters) {
    EXPECT_EQ(StringLength(nullptr, 0), 0);
    EXPECT_EQ(StringLength("", 0), 0);
    EXPECT_EQ(StringLength("Morph", 0), 5);
    EXPECT_EQ(StringLength("Gr\xC3\xB6\xC3\x9F"
                           "e",
                           20),
              5);
    EXPECT_EQ(StringLength("\xE6\xB3\xA2\xE3\x81\xA7", 0), 2);
    EXPECT_EQ(StringLength("\xE6\xB3", 0), 1);
    EXPECT_EQ(StringLength(std::string(40000, 'a').c_str(), 0), 32767);
    // Longer than a 16-bit offset reaches, with characters across every boundary.
    for (const int lead : {0, 1, 2}) {
        std::string text(static_cast<std::size_t>(lead), 'a');
        for (int i = 0; i < 30000; ++i) text += "\xE6\xB3\xA2";
        EXPECT_EQ(StringLength(text.c_str(), 0), 30000 + lead);
    }
}
