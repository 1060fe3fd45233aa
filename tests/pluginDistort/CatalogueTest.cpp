#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "host/Catalogue.h"
#include "platform/Resources.h"
#include "pluginDistort/v1/Catalogue.h"

namespace {

using namespace tumblewash;
using namespace tumblewash::plugin;
using tumblewash::host::effectNames;

TEST(CatalogueTest, FourteenRecordsStandInIndexOrderUnderTheirIds) {
    const char* const ids[] = {"none",        "morph",       "wash-out",  "wash-away",    "wash-in",
                               "wash-reveal", "tilt-out",    "tilt-away", "tilt-in",      "tilt-reveal",
                               "tumble-out",  "tumble-away", "tumble-in", "tumble-reveal"};
    ASSERT_EQ(effectCatalogue().size(), 14u);
    for (short i = 0; i < 14; ++i) {
        EXPECT_EQ(effectCatalogue()[static_cast<std::size_t>(i)].index, i);
        EXPECT_STREQ(effectRecord(i).id, ids[i]);
        EXPECT_EQ(findEffectRecord(ids[i]), &effectRecord(i));
    }
    EXPECT_EQ(findEffectRecord("wash"), nullptr);
    EXPECT_EQ(findEffectRecord(""), nullptr);
}

TEST(CatalogueTest, NamesAndSentencesAreThereAndDiffer) {
    std::set<std::string> names, sentences;
    for (const EffectRecord& effect : effectCatalogue()) {
        names.insert(effect.name);
        sentences.insert(effect.sentence);
        EXPECT_FALSE(std::string(effect.name).empty());
        EXPECT_EQ(std::string(effect.sentence).back(), '.') << effect.id;
    }
    EXPECT_EQ(names.size(), 14u);
    EXPECT_EQ(sentences.size(), 14u);
}

TEST(CatalogueTest, EveryLanguageNamesEveryEffectAndEnglishAsTheTableDoes) {
    for (const char* language : {"en", "de", "fr", "es", "it", "nl", "ja"}) {
        std::ifstream file(std::string(TUMBLEWASH_TEST_RESOURCES) + "/" + language + ".strings",
                           std::ios::binary);
        const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), {}};
        platform::StringLists lists = platform::ParseStringLists(bytes);
        for (const EffectRecord& effect : effectCatalogue()) {
            const std::string name =
                lists[{platform::kTransitionNameStrings, static_cast<std::int16_t>(effect.index + 1)}];
            EXPECT_FALSE(name.empty()) << language << " " << effect.id;
            if (std::string(language) == "en") {
                EXPECT_EQ(name, effect.name);
            }
        }
    }
}

TEST(CatalogueTest, TheHostsListOfNamesIsThisTables) {
    ASSERT_EQ(effectNames().size(), effectCatalogue().size());
    for (std::size_t i = 0; i < effectNames().size(); ++i) {
        EXPECT_EQ(effectNames()[i].index, effectCatalogue()[i].index);
        EXPECT_EQ(effectNames()[i].id, effectCatalogue()[i].id);
        EXPECT_EQ(effectNames()[i].name, effectCatalogue()[i].name);
    }
}

TEST(CatalogueTest, UnknownIndicesAreServedByTheFirstRecord) {
    for (const int which : {-1, -32768, 14, 15, 32767})
        EXPECT_EQ(&effectRecord(static_cast<short>(which)), &effectRecord(0));
}

/// What the table's families have in common.
TEST(CatalogueTest, FamiliesKeepTheirLaws) {
    for (const EffectRecord& e : effectCatalogue()) {
        SCOPED_TRACE(e.id);
        const bool family = e.index >= 2;
        const int place = (e.index - 2) % 4;  // out, away, in, reveal
        EXPECT_EQ(e.driver, e.index == 0   ? EffectDriver::none
                            : e.index == 1 ? EffectDriver::morph
                            : e.index < 10 ? EffectDriver::distort
                                           : EffectDriver::tumble);
        EXPECT_EQ(e.field, e.index >= 2 && e.index <= 5   ? FieldMaker::washAway
                           : e.index >= 6 && e.index <= 9 ? FieldMaker::tiltPlate
                                                          : FieldMaker::none);
        EXPECT_EQ(e.choiceFlags, e.field == FieldMaker::washAway ? 7 : 0);
        EXPECT_EQ(e.describesDirection, family);
        EXPECT_EQ(e.describesLength, e.index != 0);
        EXPECT_EQ(e.overnext, family && (place == 1 || place == 3));
        EXPECT_EQ(e.reveal, family && place >= 2);
        EXPECT_EQ(e.type, !family || e.overnext ? kPluginTransitionBetweenType
                          : place == 0          ? kPluginTransitionAfterType
                                                : kPluginTransitionBeforeType);
        EXPECT_EQ(e.takeBefore, !family ? TakeRule::half : place == 2 ? TakeRule::nothing : TakeRule::all);
        EXPECT_EQ(e.takeAfter, !family ? TakeRule::half : place == 0 ? TakeRule::nothing : TakeRule::all);
        EXPECT_EQ(e.fraction, !family ? FractionRule::none
                              : e.field == FieldMaker::washAway
                                  ? (e.reveal ? FractionRule::reversed : FractionRule::plain)
                              : e.reveal ? FractionRule::reversedEase
                                         : FractionRule::easedIn);
        const bool fadesIn = e.index == 4 || e.index == 8;  // 12 arrives alike and fades nothing
        EXPECT_EQ(e.clipFade, family && place == 0 ? ClipFade::fadeOut
                              : fadesIn            ? ClipFade::fadeIn
                                                   : ClipFade::none);
    }
}

TEST(CatalogueTest, SpeedGivesAnEvenLength) {
    EXPECT_EQ(framesForSpeed(0.0f), 10);
    EXPECT_EQ(framesForSpeed(1.0f), 120);
    EXPECT_EQ(framesForSpeed(0.5f), 66);
    for (int i = 0; i <= 1000; ++i) {
        const float speed = static_cast<float>(i) / 1000.0f;
        const int n = framesForSpeed(speed);
        const float scaled = speed * 110.0f;
        const int plain = static_cast<int>(scaled + 10.0f);
        EXPECT_EQ(n % 2, 0);
        EXPECT_EQ(n, plain + plain % 2);
    }
}

TEST(CatalogueTest, LengthIsFormedInSinglePrecision) {
    // In double precision this speed stays just below 21 frames; single precision reaches it.
    const float speed = std::nextafter(0.1f, 0.0f);
    EXPECT_LT(static_cast<double>(speed) * 110.0 + 10.0, 21.0);
    EXPECT_EQ(framesForSpeed(speed), 22);
}

TEST(CatalogueTest, WildSpeedsSaturate) {
    EXPECT_EQ(framesForSpeed(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(framesForSpeed(std::numeric_limits<float>::infinity()), 2147483646);
    EXPECT_EQ(framesForSpeed(1e30f), 2147483646);
    EXPECT_EQ(framesForSpeed(-std::numeric_limits<float>::infinity()), std::numeric_limits<int>::min());
    EXPECT_EQ(framesForSpeed(-1.0f), -100);
    EXPECT_EQ(framesForSpeed(-0.5f), -44);  // -45 is odd
    EXPECT_EQ(framesForSpeed(2.0f), 230);
}

TEST(CatalogueTest, FractionsTakeTheDetourThroughHundredths) {
    for (int count = 1; count <= 120; ++count) {
        for (int frame = 0; frame <= count; ++frame) {
            const double p = static_cast<double>(frame) / count;
            EXPECT_EQ(effectFraction(FractionRule::plain, frame, count), p);
            EXPECT_EQ(effectFraction(FractionRule::reversed, frame, count), 1 - p);
            const double in = p / 100, out = (1 - p) / 100;
            EXPECT_EQ(effectFraction(FractionRule::easedIn, frame, count), in * in * 10000);
            EXPECT_EQ(effectFraction(FractionRule::reversedEase, frame, count), 1 - (1 - out * out * 10000));
            EXPECT_NEAR(effectFraction(FractionRule::easedIn, frame, count), p * p, 1e-15);
        }
    }
    EXPECT_EQ(effectFraction(FractionRule::none, 5, 10), 0.0);
}

TEST(CatalogueTest, TheDetourShowsInTheLastBits) {
    int differing = 0;
    for (int frame = 1; frame < 120; ++frame) {
        const double p = frame / 120.0;
        differing += effectFraction(FractionRule::easedIn, frame, 120) != p * p ? 1 : 0;
    }
    EXPECT_GT(differing, 0);
}

}  // namespace
