#include <gtest/gtest.h>

#include <set>

#include "host/Catalogue.h"
#include "host/HostError.h"

namespace tumblewash::host {
namespace {

TEST(HostCatalogueTest, IdsStandInTheOrderOfTheirIndices) {
    const char* expected[] = {"none",        "morph",       "wash-out",  "wash-away",    "wash-in",
                              "wash-reveal", "tilt-out",    "tilt-away", "tilt-in",      "tilt-reveal",
                              "tumble-out",  "tumble-away", "tumble-in", "tumble-reveal"};
    std::set<std::string_view> names;
    for (int i = 0; i < kEffectCount; ++i) {
        const EffectName& entry = effectNames()[static_cast<std::size_t>(i)];
        EXPECT_EQ(entry.index, i);
        EXPECT_EQ(entry.id, expected[i]);
        names.insert(entry.name);
        EXPECT_FALSE(displayName(i).empty());
    }
    EXPECT_EQ(names.size(), 14U);
    EXPECT_TRUE(displayName(-1).empty());
    EXPECT_TRUE(displayName(14).empty());
}

TEST(HostCatalogueTest, IdsAndIndicesAreFound) {
    EXPECT_EQ(findEffect("wash-away"), 3);
    EXPECT_EQ(findEffect("13"), 13);
    EXPECT_EQ(findEffect("0"), 0);
    for (const char* wrong :
         {"", "14", "-1", "3 ", "+3", "Wash-Away", "wash", "3x", "99999999999999999999"}) {
        EXPECT_FALSE(findEffect(wrong)) << wrong;
    }
}

TEST(HostCatalogueTest, NearestIdIsSuggested) {
    EXPECT_EQ(nearestEffectId("wash-awya"), "wash-away");
    EXPECT_EQ(nearestEffectId("tumbel-in"), "tumble-in");
    EXPECT_EQ(nearestEffectId("morf"), "morph");
    EXPECT_EQ(nearestEffectId("tilt-reveal"), "tilt-reveal");
    EXPECT_FALSE(nearestEffectId(std::string(100000, 'x')).empty());
}

TEST(HostCatalogueTest, ThreeVariantsRevealOverAClip) {
    for (int i = -1; i < 16; ++i) EXPECT_EQ(revealsOverClip(i), i == 5 || i == 9 || i == 13) << i;
}

TEST(ResultTableTest, EveryCodeHasItsNameAndSentence) {
    EXPECT_STREQ(resultName(kPluginOK), "kPluginOK");
    EXPECT_STREQ(resultName(kPluginCantGetNeededFrame), "kPluginCantGetNeededFrame");
    EXPECT_STREQ(resultName(kPluginAppIsTooNew), "kPluginAppIsTooNew");
    EXPECT_STREQ(resultName(12), "unknown result");
    EXPECT_STREQ(resultName(-1), "unknown result");
    std::set<std::string> sentences;
    for (int code = 0; code <= kPluginAppIsTooNew; ++code) {
        const std::string sentence = resultSentence(code);
        EXPECT_FALSE(sentence.empty());
        EXPECT_NE(sentence.back(), '.');
        EXPECT_EQ(sentence.find('\n'), std::string::npos);
        sentences.insert(sentence);
    }
    EXPECT_EQ(sentences.size(), 12U);
    EXPECT_NE(resultSentence(200).find("200"), std::string::npos);
}

}  // namespace
}  // namespace tumblewash::host
