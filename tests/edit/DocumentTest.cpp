#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "edit/Document.h"
#include "edit/DocumentKeys.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"

namespace tumblewash::edit {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Every key of the format, in the order of the writer.
constexpr const char* kEverything = R"({
  "tumblewash": 1,
  "title": "Holiday \"26\"",
  "comment": "two lines\nof it",
  "chapters": true,
  "output": {
    "size": "1280x720",
    "rate": "29.97",
    "fit": "cover",
    "codec": "prores",
    "depth": 10,
    "crf": 18,
    "preset": "slow",
    "hdr": "keep",
    "toneMap": "white",
    "alpha": true,
    "copyBodies": "never"
  },
  "sound": "equal-power",
  "channels": "mono",
  "loudness": "-16 LUFS",
  "limiter": false,
  "music": {
    "file": "song.mp3",
    "gain": "-6dB",
    "duck": "9.5dB"
  },
  "still": "00:03.5",
  "stillMotion": "pan",
  "seams": {
    "effect": "tilt-away",
    "speed": "0.25",
    "direction": "up",
    "seed": 4294967295,
    "sound": "plugin"
  },
  "opening": {
    "effect": "wash-in"
  },
  "closing": {
    "effect": "wash-out",
    "duration": "500ms"
  },
  "clips": [
    {
      "file": "A.mp4",
      "in": "125f",
      "out": "1:02:03.5",
      "gain": "+3dB",
      "title": "Arrival",
      "was": {
        "bytes": 123456789012,
        "modified": "2026-01-31T12:00:00Z",
        "head": "0123456789abcdef"
      }
    },
    {
      "file": "photos/b c.jpg",
      "length": "2",
      "seam": {
        "effect": "none"
      }
    },
    {
      "black": ".5",
      "title": "",
      "seam": {
        "effect": "wash-away",
        "duration": "26f",
        "direction": "left",
        "seed": 0,
        "sound": "none"
      }
    }
  ]
}
)";

std::string refusalOf(const std::string& text) {
    try {
        readEdit(text, "my.edit.json");
    } catch (const Refusal& refusal) {
        EXPECT_EQ(refusal.problem(), Problem::BadRequest) << text;
        EXPECT_EQ(std::string(refusal.what()).find('\n'), std::string::npos) << "one line";
        return refusal.what();
    }
    return "";
}

/// The refusal of the full document with one text replaced.
std::string refusalWith(const std::string& old, const std::string& fresh) {
    std::string text = kEverything;
    const std::size_t at = text.find(old);
    EXPECT_NE(at, std::string::npos) << old;
    return refusalOf(text.replace(at, old.size(), fresh));
}

TEST(DocumentTest, WhatIsReadIsWrittenAgainAsTheSameBytes) {
    EXPECT_EQ(editJson(readEdit(kEverything, "my.edit.json")), kEverything);
    const std::string least =
        "{\n  \"tumblewash\": 1,\n  \"clips\": [\n    {\n      \"file\": \"a\"\n    }\n  ]\n}\n";
    EXPECT_EQ(editJson(readEdit(least, "x")), least);
}

TEST(DocumentTest, EveryKeyArrivesWithItsValue) {
    const Edit edit = readEdit(kEverything, "films/my.edit.json");
    EXPECT_EQ(edit.folder, "films");
    EXPECT_EQ(edit.title, "Holiday \"26\"");
    EXPECT_TRUE(edit.chapters);
    EXPECT_EQ(edit.output.size, (PixelSize{1280, 720}));
    EXPECT_EQ(edit.output.rate->value, (media::FrameRate{30000, 1001}));
    EXPECT_EQ(edit.output.fit, media::Fit::cover);
    EXPECT_EQ(edit.output.colour, (media::ColourWishes{media::HdrPolicy::keep, media::ToneMap::white, 10,
                                                       media::Codec::prores, true}));
    EXPECT_EQ(edit.sound, host::AudioPolicy::equalPower);
    EXPECT_EQ(edit.channels, ChannelChoice::mono);
    EXPECT_EQ(edit.loudness->value, -16);
    EXPECT_FALSE(edit.limiter);
    EXPECT_EQ(musicOf(edit), "films/song.mp3");
    EXPECT_EQ(edit.music->gain.value, -6);
    EXPECT_EQ(edit.music->duck.value, 9.5);
    EXPECT_EQ(edit.clips[0].gain->value, 3);
    EXPECT_EQ(edit.still.value, (TimeSpan{TimeSpan::Unit::Microseconds, 3500000}));
    EXPECT_EQ(edit.seams.seed, 4294967295U);
    EXPECT_FLOAT_EQ(edit.seams.speed->value, 0.25F);
    EXPECT_EQ(edit.closing->duration->value, (TimeSpan{TimeSpan::Unit::Microseconds, 500000}));
    ASSERT_EQ(edit.clips.size(), 3U);
    EXPECT_EQ(edit.clips[0].in->value, (TimeSpan{TimeSpan::Unit::Frames, 125}));
    EXPECT_EQ(edit.clips[0].was->bytes, 123456789012U);
    EXPECT_EQ(fileOf(edit, edit.clips[1]), "films/photos/b c.jpg");
    EXPECT_TRUE(edit.clips[2].black());
    EXPECT_EQ(edit.clips[2].seam->direction, kPluginDirectionLeft);
    EXPECT_EQ(edit.clips[2].seam->sound, host::AudioPolicy::none);
}

TEST(DocumentTest, StillsAreHeldOrLastAndNotBoth) {
    const std::string text =
        "{\n  \"tumblewash\": 1,\n  \"hold\": \"3s\",\n  \"clips\": [\n    {\n      \"file\": "
        "\"a\"\n    }\n  ]\n}\n";
    const Edit edit = readEdit(text, "x");
    EXPECT_EQ(edit.hold->value, (TimeSpan{TimeSpan::Unit::Microseconds, 3000000}));
    EXPECT_EQ(edit.sound, host::AudioPolicy::natural) << "what is left out";
    EXPECT_EQ(editJson(edit), text);
    EXPECT_THAT(refusalWith("\"still\": \"00:03.5\"", "\"still\": \"1s\", \"hold\": \"1s\""),
                HasSubstr("give one"));
    EXPECT_THAT(refusalWith("\"9.5dB\"", "\"-3dB\""), HasSubstr("/music/duck: give 0dB to 24dB"));
    EXPECT_THAT(refusalWith("\"-16 LUFS\"", "\"loud\""), HasSubstr("/loudness: 'loud' is not a loudness"));
}

TEST(DocumentTest, AnUnknownKeyIsNamedWithItsLineAndTheNearestOne) {
    EXPECT_EQ(refusalWith("\"out\"", "\"ouy\""),
              "my.edit.json:48: /clips/0/ouy: no such key (did you mean out?)");
    EXPECT_EQ(refusalWith("\"preset\"", "\"presett\""),
              "my.edit.json:13: /output/presett: no such key (did you mean preset?)");
    EXPECT_THAT(refusalWith("\"title\"", "\"a/b~\""), StartsWith("my.edit.json:3: /a~1b~0: no such key"));
}

TEST(DocumentTest, ImpossibleValuesAreRefusedAtTheirPlace) {
    EXPECT_EQ(refusalWith("\"depth\": 10", "\"depth\": 9"), "my.edit.json:11: /output/depth: give 8 or 10");
    EXPECT_EQ(refusalWith("\"prores\"", "\"prorez\""),
              "my.edit.json:10: /output/codec: choose one of h264, hevc, vp9, av1, prores, ffv1, mjpeg (did "
              "you mean "
              "prores?)");
    EXPECT_THAT(refusalWith("\"keep\"", "\"hlg\""),
                StartsWith("my.edit.json:14: /output/hdr: choose one of auto, keep, sdr"));
    EXPECT_EQ(refusalWith("\"125f\"", "125"), "my.edit.json:47: /clips/0/in: write \"5s\" or \"125f\"");
    EXPECT_THAT(refusalWith("\"125f\"", "\"soon\""),
                StartsWith("my.edit.json:47: /clips/0/in: 'soon' is not a time"));
    EXPECT_THAT(refusalWith("\"tilt-away\"", "\"tilt-awya\""), HasSubstr("did you mean tilt-away?"));
    EXPECT_THAT(refusalWith("\"cover\"", "\"covr\""), HasSubstr("did you mean cover?"));
    EXPECT_THAT(refusalWith("18", "64"), HasSubstr("/output/crf: give a whole number from 0 to 63"));
    EXPECT_THAT(refusalWith("18", "18.5"), HasSubstr("/output/crf"));
    EXPECT_EQ(refusalWith("18", "18.0"), "") << "a whole number may be written with a point";
    EXPECT_THAT(refusalWith("4294967295", "4294967296"), HasSubstr("/seams/seed"));
    EXPECT_THAT(refusalWith("4294967295", "-1"), HasSubstr("/seams/seed"));
    EXPECT_THAT(refusalWith("4294967295", "18446744073709551616"), HasSubstr("/seams/seed"));
    EXPECT_THAT(refusalWith("true", "1"), HasSubstr("/chapters: give true or false"));
    EXPECT_THAT(refusalWith("\"0.25\"", "\"1.5\""), HasSubstr("/seams/speed"));
    EXPECT_THAT(refusalWith("\"speed\": \"0.25\"", "\"speed\": \"0.25\", \"duration\": \"1s\""),
                HasSubstr("give one"));
    EXPECT_THAT(refusalWith("\"1280x720\"", "\"1280\""), HasSubstr("/output/size"));
    EXPECT_THAT(refusalWith("\"29.97\"", "\"0\""), HasSubstr("/output/rate"));
    EXPECT_THAT(refusalWith("\"A.mp4\"", "\"\""), HasSubstr("/clips/0/file: the name is empty"));
    EXPECT_THAT(refusalWith("\"A.mp4\"", "\"a\\u0000b\""), HasSubstr("/clips/0/file"));
    EXPECT_THAT(refusalWith("\".5\"", "\"0s\""), HasSubstr("/clips/2/black: give a time above 0"));
    EXPECT_THAT(refusalWith("\"black\": \".5\"", "\"black\": \"1s\", \"in\": \"2s\""),
                HasSubstr("/clips/2/in"));
    EXPECT_THAT(refusalWith("\"black\": \".5\"", "\"black\": \"1s\", \"file\": \"x\""),
                HasSubstr("give either a file or black"));
    EXPECT_THAT(refusalWith("0123456789abcdef", "0123456789abcdeg"), HasSubstr("/clips/0/was/head"));
    EXPECT_THAT(refusalWith("2026-01-31T12:00:00Z", "yesterday"), HasSubstr("/clips/0/was/modified"));
    EXPECT_THAT(refusalWith("\"title\": \"Arrival\"", "\"seam\": {}"),
                HasSubstr("/clips/0/seam: no clip comes before"));
}

TEST(DocumentTest, VersionsAndOtherTextsAreToldApart) {
    EXPECT_EQ(refusalOf("{\"tumblewash\": 2}"),
              "my.edit.json:1: /tumblewash: made by a newer tumblewash (2), this one reads 1");
    EXPECT_THAT(refusalOf("{}"), HasSubstr("this is not an edit"));
    EXPECT_THAT(refusalOf("[]"), HasSubstr("an edit is an object"));
    EXPECT_THAT(refusalOf("{\"tumblewash\": 0, \"clips\": []}"), HasSubstr("/tumblewash"));
    EXPECT_THAT(refusalOf("{\"tumblewash\": 1}"), HasSubstr("clips"));
    EXPECT_THAT(refusalOf("{\"tumblewash\": 1, \"clips\": []}"), HasSubstr("/clips: give the clips"));
    EXPECT_THAT(refusalOf("{\"tumblewash\": 1, \"clips\": [7]}"), HasSubstr("/clips/0: give an object"));
}

TEST(DocumentTest, ADocumentCannotHoldANameThatIsNoUtf8) {
    Edit edit;
    edit.clips.resize(1);
    edit.clips[0].file = "caf\xe9.mp4";
    EXPECT_THROW(editJson(edit), Refusal);
    edit.clips[0].file = "a";
    edit.title = "caf\xe9";
    EXPECT_THROW(editJson(edit), Refusal);
}

TEST(DocumentTest, TheSchemaNamesEveryKeyOfTheTables) {
    const Json schema = Json::parse(documentSchema());
    EXPECT_EQ(schema["$schema"], "https://json-schema.org/draft/2020-12/schema");
    const auto keysIn = [](const Json& object) {
        std::vector<std::string> keys;
        for (const auto& [key, value] : object["properties"].items()) keys.push_back(key);
        return keys;
    };
    EXPECT_EQ(keysIn(schema), keysOf(editKeys()));
    EXPECT_EQ(keysIn(schema["$defs"]["seam"]), keysOf(seamKeys()));
    EXPECT_EQ(keysIn(schema["$defs"]["output"]), keysOf(outputKeys()));
    EXPECT_EQ(schema["$defs"]["seam"]["properties"]["effect"]["enum"].size(), 14U);
    EXPECT_EQ(schema["additionalProperties"], false);
}

}  // namespace
}  // namespace tumblewash::edit
