#include <gtest/gtest.h>

#include "edit/Errors.h"
#include "edit/Otio.h"
#include "tests/edit/ExchangeFolder.h"

namespace tumblewash::edit {
namespace {

std::string time(double value, double rate) {
    return "{\"OTIO_SCHEMA\":\"RationalTime.1\",\"rate\":" + std::to_string(rate) +
           ",\"value\":" + std::to_string(value) + "}";
}

std::string range(double start, double duration, double rate = 25) {
    return "{\"OTIO_SCHEMA\":\"TimeRange.1\",\"duration\":" + time(duration, rate) +
           ",\"start_time\":" + time(start, rate) + "}";
}

std::string clip(const std::string& url, const std::string& sourceRange, const std::string& more = "",
                 const std::string& available = "null") {
    return "{\"OTIO_SCHEMA\":\"Clip.1\",\"metadata\":{},\"name\":\"\",\"source_range\":" + sourceRange +
           ",\"effects\":[],\"markers\":[],\"enabled\":true" + more +
           ",\"media_reference\":{\"OTIO_SCHEMA\":\"ExternalReference.1\",\"metadata\":{},\"name\":\"\","
           "\"available_range\":" +
           available + ",\"target_url\":\"" + url + "\"}}";
}

std::string fade(double in, double out, const std::string& metadata = "{}", double rate = 25) {
    return "{\"OTIO_SCHEMA\":\"Transition.1\",\"metadata\":" + metadata +
           ",\"name\":\"\",\"in_offset\":" + time(in, rate) + ",\"out_offset\":" + time(out, rate) +
           ",\"transition_type\":\"SMPTE_Dissolve\"}";
}

std::string gap(double frames) {
    return "{\"OTIO_SCHEMA\":\"Gap.1\",\"source_range\":" + range(0, frames) + "}";
}

std::string track(const std::vector<std::string>& children, const std::string& more = "\"kind\":\"Video\"") {
    std::string list;
    for (const std::string& child : children) list += (list.empty() ? "" : ",") + child;
    return "{\"OTIO_SCHEMA\":\"Track.1\",\"name\":\"V\",\"children\":[" + list + "]," + more + "}";
}

std::string timeline(const std::vector<std::string>& tracks) {
    std::string list;
    for (const std::string& one : tracks) list += (list.empty() ? "" : ",\n") + one;
    return "{\"OTIO_SCHEMA\":\"Timeline.1\",\"name\":\"x\",\"tracks\":\n{\"OTIO_SCHEMA\":\"Stack.1\","
           "\"children\":[\n" +
           list + "]}}";
}

class OtioTest : public testing::Test {
  protected:
    CutList read(const std::string& text, const ExchangeSettings& settings = {}) {
        MediaFinder finder = folder_.finder(settings.media);
        return readOtio(text, "x.otio", settings, finder, remarks_);
    }
    Edit edit(const std::string& text, std::int64_t frames = 1000) {
        return editOf(read(text), moviesOf(frames), remarks_);
    }
    std::string refusal(const std::string& text, const ExchangeSettings& settings = {}) {
        try {
            read(text, settings);
        } catch (const Refusal& problem) {
            return problem.what();
        }
        return "";
    }
    std::string url(const char* name) { return fileUrl(folder_.path(name)); }

    ExchangeFolder folder_{{"A.mp4", "B.mp4", "C.mp4", "with blank.mp4", "sub/D.mp4", "other/D.mp4"}};
    std::vector<std::string> remarks_;
};

TEST_F(OtioTest, AForeignDissolveKeepsTheCutAndTheTotal) {
    const Edit got =
        edit(timeline({track({clip(url("A.mp4"), range(0, 100)), clip(url("B.mp4"), range(10, 87)),
                              fade(13, 13), clip(url("C.mp4"), range(18, 67))})}));
    EXPECT_EQ(trimsOf(got), "A 0..100 B 10..110 C 5..85 <26>");
    EXPECT_EQ(got.clips[1].seam->effect, "none");
    EXPECT_FALSE(got.clips[2].seam->effect) << "another program's dissolve is the effect of the edit";
    EXPECT_EQ(got.output.rate->value, (media::FrameRate{25, 1}));
    EXPECT_EQ(remarks_, std::vector<std::string>{"SMPTE_Dissolve becomes the effect of the edit (--effect)"});
}

TEST_F(OtioTest, OurOwnSeamsComeBackAsTheyWere) {
    const std::string own =
        "{\"tumblewash\":{\"audio\":\"natural\",\"direction\":\"left\",\"effect\":\"wash-away\","
        "\"placement\":\"overlap\",\"seed\":7,\"version\":1}}";
    const Edit got = edit(timeline(
        {track({clip(url("A.mp4"), range(0, 50)), fade(13, 13, own), clip(url("B.mp4"), range(20, 50))})}));
    ASSERT_EQ(got.clips.size(), 2U);
    EXPECT_EQ(got.clips[1].seam->effect, "wash-away");
    EXPECT_EQ(got.clips[1].seam->seed, 7U);
    EXPECT_EQ(got.clips[1].seam->direction, kPluginDirectionLeft);
    EXPECT_EQ(got.clips[1].seam->sound, host::AudioPolicy::natural);
    EXPECT_TRUE(remarks_.empty());
}

TEST_F(OtioTest, MorphsTakeTheirFramesFromWithin) {
    const std::string own = "{\"tumblewash\":{\"effect\":\"morph\",\"placement\":\"halves\",\"version\":1}}";
    const Edit got = edit(timeline({track({clip(url("A.mp4"), range(0, 100)), fade(13, 13, own),
                                           clip(url("B.mp4"), range(10, 100))})}),
                          110);
    EXPECT_EQ(trimsOf(got), "A 0..100 B 10..end <26>");
}

TEST_F(OtioTest, WrittenAndReadAgainIsTheSameCutList) {
    CutList list;
    list.rate = {60000, 1001};
    list.title = "Summer";
    const auto put = [&](const char* name, std::int64_t in, std::int64_t out) {
        CutClip clip;
        clip.name = name;
        clip.file = folder_.path(name);
        clip.in = in;
        clip.out = out;
        list.clips.push_back(clip);
    };
    put("A.mp4", 0, 100);
    put("with blank.mp4", 13, 1000);
    CutClip black;
    black.name = "black";
    black.out = 30;
    list.clips.push_back(black);
    CutSeam seam;
    seam.effect = "tumble-away";
    seam.before = seam.after = 12;
    seam.seed = 99;
    list.seams = {seam, std::nullopt};
    list.opening = CutSeam{"wash-in", false, 0, 20, {}, 1, {}};
    list.closing = CutSeam{"tilt-out", false, 10, 0, kPluginDirectionUp, 1, {}};
    std::vector<std::string> written;
    const CutList got = read(otioText(list, written));
    EXPECT_EQ(got.rate, list.rate);
    EXPECT_EQ(got.title, list.title);
    ASSERT_EQ(got.clips.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(got.clips[i].file, list.clips[i].file);
        EXPECT_EQ(got.clips[i].in, list.clips[i].in);
        EXPECT_EQ(got.clips[i].out, list.clips[i].out);
    }
    ASSERT_TRUE(got.seams[0]);
    EXPECT_FALSE(got.seams[1]);
    EXPECT_EQ(got.seams[0]->effect, "tumble-away");
    EXPECT_EQ(got.seams[0]->before, 12);
    EXPECT_EQ(got.seams[0]->seed, 99U);
    ASSERT_TRUE(got.opening && got.closing);
    EXPECT_EQ(got.opening->frames(), 20);
    EXPECT_EQ(got.opening->effect, "wash-in");
    EXPECT_EQ(got.closing->frames(), 10);
    EXPECT_EQ(got.closing->direction, kPluginDirectionUp);
}

TEST_F(OtioTest, SeamsAreLimitedToTheirHandlesAndMadeEven) {
    edit(timeline({track({clip(url("A.mp4"), range(0, 99)), fade(2, 3), clip(url("B.mp4"), range(10, 50))})}),
         100);
    ASSERT_EQ(remarks_.size(), 2U);
    EXPECT_EQ(remarks_[1], "seam 1: 4 frames instead of 5: A.mp4 has 1 of the 3 frames needed after its out");
    remarks_.clear();
    const Edit got = edit(
        timeline({track({clip(url("A.mp4"), range(0, 50)), fade(2, 3), clip(url("B.mp4"), range(10, 50))})}),
        100);
    EXPECT_EQ(trimsOf(got), "A 0..54 B 8..60 <6>");
    EXPECT_EQ(remarks_[1], "seam 1: 6 frames instead of 5: effects need an even number");
    remarks_.clear();
    const Edit cut = edit(
        timeline({track({clip(url("A.mp4"), range(0, 100)), fade(0, 5), clip(url("B.mp4"), range(0, 50))})}),
        100);
    EXPECT_EQ(cut.clips[1].seam->effect, "none");
    EXPECT_EQ(remarks_[1], "seam 1: a cut instead of 5: A.mp4 has 0 of the 5 frames needed after its out");
}

TEST_F(OtioTest, GapsAndClipsSwitchedOffAreBlack) {
    const Edit got = edit(
        timeline({track({clip(url("A.mp4"), range(0, 50)), gap(10),
                         clip(url("B.mp4"), range(0, 20), ",\"x\":1")
                             .replace(clip(url("B.mp4"), range(0, 20), ",\"x\":1").find("\"enabled\":true"),
                                      14, "\"enabled\":false")})}));
    EXPECT_EQ(trimsOf(got), "A 0..50 black for 10 black for 20");
}

TEST_F(OtioTest, TheFirstPictureOfAFileIsItsAvailableStart) {
    const Edit got = edit(timeline({track({clip(url("A.mp4"), range(90020, 50), "", range(90000, 1000))})}));
    EXPECT_EQ(trimsOf(got), "A 20..70");
}

TEST_F(OtioTest, RatesOfClipsMayDifferFromTheTracks) {
    ExchangeSettings settings;
    settings.fps = media::FrameRate{30, 1};
    const CutList got =
        read(timeline({track({clip(url("A.mp4"), range(50, 50, 15)), clip(url("B.mp4"), range(0, 48, 24))})}),
             settings);
    EXPECT_EQ(got.clips[0].in, 100);
    EXPECT_EQ(got.clips[0].out, 200);
    EXPECT_EQ(got.clips[1].out, 60);
}

TEST_F(OtioTest, NumbersThatAreNoneAreRefusedInTimesAlone) {
    const std::string odd = timeline({track(
        {clip(url("A.mp4"), range(0, 50), ",\"speed\":NaN,\"note\":\"NaN stays, \\\"Infinity\\\" too\"")})});
    EXPECT_EQ(edit(odd).clips.size(), 1U);
    std::string bad = timeline({track({clip(url("A.mp4"), range(0, 50))})});
    bad.replace(bad.find("\"value\":50"), 17, "\"value\":Infinity");
    EXPECT_NE(refusal(bad).find("\"value\" is not a number"), std::string::npos) << refusal(bad);
}

TEST_F(OtioTest, SeveralTracksAreNamedUntilOneIsChosen) {
    const std::string text = timeline({track({clip(url("A.mp4"), range(0, 50))}),
                                       track({clip(url("B.mp4"), range(0, 20)), gap(3)}),
                                       track({clip(url("A.mp4"), range(0, 50))}, "\"kind\":\"Audio\"")});
    EXPECT_NE(
        refusal(text).find("2 tracks have pictures: 1 V (1 clips), 2 V (1 clips); choose one with --track N"),
        std::string::npos)
        << refusal(text);
    ExchangeSettings settings;
    settings.track = 2;
    EXPECT_EQ(read(text, settings).clips.size(), 2U);
    settings.track = 3;
    EXPECT_NE(refusal(text, settings).find("--track 3: there are 2 tracks"), std::string::npos);
}

TEST_F(OtioTest, WhatCannotBeTakenOverIsSaidOrRefused) {
    const std::string warp = ",\"effects\":[{\"OTIO_SCHEMA\":\"LinearTimeWarp.1\",\"time_scalar\":2.0}]";
    std::string text = clip(url("A.mp4"), range(0, 50));
    text.replace(text.find(",\"effects\":[]"), 13, warp);
    edit(timeline({track({text})}));
    ASSERT_EQ(remarks_.size(), 1U);
    EXPECT_EQ(remarks_[0], "a clip: its change of speed is ignored; it plays at normal speed");
    EXPECT_NE(refusal(timeline({track({"{\"OTIO_SCHEMA\":\"Stack.1\",\"name\":\"inner\",\"children\":[]}"})}))
                  .find("nested Stack inner"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({clip(url("A.mp4"), range(0, 50)), fade(1, 1), fade(1, 1),
                                       clip(url("A.mp4"), range(0, 50))})}))
                  .find("follow each other"),
              std::string::npos);
    EXPECT_NE(refusal("{\"OTIO_SCHEMA\":\"Track.1\"}").find("a Track is not a timeline"), std::string::npos);
    EXPECT_NE(refusal("{}").find("x.otio:1: /: this is not an OpenTimelineIO timeline"), std::string::npos)
        << refusal("{}");
    EXPECT_NE(refusal(timeline({track({clip("https://example.org/a.mp4", range(0, 50))})}))
                  .find("only files are read"),
              std::string::npos);
}

TEST_F(OtioTest, ImageSequencesAreRefusedWithTheirPlace) {
    const std::string text =
        timeline({track({"{\"OTIO_SCHEMA\":\"Clip.1\",\"name\":\"shot\",\"source_range\":" + range(0, 5) +
                         ",\"media_reference\":{\"OTIO_SCHEMA\":\"ImageSequenceReference.1\","
                         "\"target_url_base\":\"file:///shot/\",\"name_prefix\":\"f.\","
                         "\"name_suffix\":\".png\",\"start_frame\":1,\"rate\":25}}"})});
    EXPECT_EQ(refusal(text),
              "x.otio:3: /tracks/children/0/children/0/media_reference: image sequences are not supported; "
              "make a movie of this one first");
}

TEST_F(OtioTest, TracksAreTrimmedByTheirOwnRange) {
    const Edit got =
        edit(timeline({track({clip(url("A.mp4"), range(0, 50)), clip(url("B.mp4"), range(10, 50)),
                              clip(url("C.mp4"), range(0, 50))},
                             "\"kind\":\"Video\",\"source_range\":" + range(20, 60))}));
    EXPECT_EQ(trimsOf(got), "A 20..50 B 10..40");
    const Edit early = edit(timeline({track({clip(url("A.mp4"), range(0, 50))},
                                            "\"kind\":\"Video\",\"source_range\":" + range(-10, 30))}));
    EXPECT_EQ(trimsOf(early), "black for 10 A 0..20");
}

TEST_F(OtioTest, FilesAreFoundByTheEndOfTheirNames) {
    ExchangeSettings settings;
    settings.media = folder_.path();
    const CutList got = read(timeline({track({clip("file://S:/project/sub/D.mp4", range(0, 5)),
                                              clip("file:///Users/x/with%20blank.mp4", range(0, 5)),
                                              clip("file://localhost/D%3a/media/A.mp4", range(0, 5)),
                                              clip("B.mp4", range(0, 5))})}),
                             settings);
    EXPECT_EQ(got.clips[0].file, folder_.path("sub/D.mp4"));
    EXPECT_EQ(got.clips[1].file, folder_.path("with blank.mp4"));
    EXPECT_EQ(got.clips[2].file, folder_.path("A.mp4"));
    EXPECT_EQ(got.clips[3].file, folder_.path("B.mp4"));
    const std::string two = refusal(timeline({track({clip("file:///x/D.mp4", range(0, 5))})}), settings);
    EXPECT_NE(two.find("both "), std::string::npos) << two;
    const std::string missing = refusal(
        timeline({track({clip("file:///x/Y.mp4", range(0, 5)), clip("file:///x/Z.mp4", range(0, 5))})}));
    EXPECT_NE(missing.find("/x/Y.mp4, /x/Z.mp4: no such files; say where the files are: --media FOLDER"),
              std::string::npos)
        << missing;
}

TEST_F(OtioTest, AddressesAreDecodedOnce) {
    EXPECT_EQ(pathOfUrl("file:///a%20b%2520c"), "/a b%20c");
    EXPECT_EQ(pathOfUrl("file://localhost/a"), "/a");
    EXPECT_EQ(pathOfUrl("/plain/a b.mp4"), "/plain/a b.mp4");
    EXPECT_EQ(fileUrl("/a b/\xC3\xA4#%.mp4"), "file:///a%20b/%C3%A4%23%25.mp4");
    EXPECT_EQ(pathOfUrl(fileUrl("/a b/\xC3\xA4#%\n.mp4")), "/a b/\xC3\xA4#%\n.mp4");
}

std::string clipOf(const std::string& media, const std::string& sourceRange, const std::string& more = "") {
    return "{\"OTIO_SCHEMA\":\"Clip.2\",\"name\":\"\",\"source_range\":" + sourceRange + more +
           ",\"media_reference\":" + media + "}";
}

TEST_F(OtioTest, TimesThatAreNoneAreRefusedWithTheirPlace) {
    std::string huge = clip(url("A.mp4"), range(0, 50));
    huge.replace(huge.find("\"value\":50"), 17, "\"value\":1e300");
    EXPECT_NE(refusal(timeline({track({huge})})).find("/duration: the time is too large"), std::string::npos);
    EXPECT_NE(refusal(timeline({track({clip(url("A.mp4"), "{\"OTIO_SCHEMA\":\"TimeRange.1\",\"duration\":" +
                                                              time(5, 25) + "}")})}))
                  .find("a TimeRange with start_time and duration is needed here"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({clip(url("A.mp4"), range(0, -5))})})).find("the duration is negative"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({clip(url("A.mp4"), range(0, 5, 1000))})}))
                  .find("the rate is not between 1 and 240"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({clip(url("A.mp4"), range(0, 50)), fade(-1, 1),
                                       clip(url("B.mp4"), range(0, 50))})}))
                  .find("a transition's offset is negative"),
              std::string::npos);
}

TEST_F(OtioTest, WhatStandsInPlaceOfATrackOrClipIsNamed) {
    EXPECT_NE(refusal(timeline({clip(url("A.mp4"), range(0, 50))}))
                  .find("a Clip in place of a track is not supported"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({"{\"OTIO_SCHEMA\":\"Marker.2\"}"})}))
                  .find("Marker is not supported in a track"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({"7"})})).find("this item is not supported in a track"),
              std::string::npos);
    EXPECT_NE(refusal(timeline({track({clipOf("null", range(0, 5))})}))
                  .find("a clip names neither a file nor itself"),
              std::string::npos);
}

TEST_F(OtioTest, WhatIsSwitchedOffIsLeftOutAndSaid) {
    const Edit got =
        edit(timeline({track({clip(url("C.mp4"), range(0, 7))}, "\"kind\":\"Video\",\"enabled\":false"),
                       track({clip(url("A.mp4"), range(0, 50)), fade(5, 5).insert(1, "\"enabled\":false,"),
                              clip(url("B.mp4"), range(10, 20))})}));
    EXPECT_EQ(trimsOf(got), "A 0..50 B 10..30");
    EXPECT_EQ(remarks_, (std::vector<std::string>{"track V is switched off and left out",
                                                  "transitions that are switched off become cuts"}));
}

TEST_F(OtioTest, EffectsAndMarkersAreSaidOnceEach) {
    std::string one = clip(url("A.mp4"), range(0, 50));
    one.replace(one.find("\"effects\":[]"), 12,
                "\"effects\":[{\"OTIO_SCHEMA\":\"Effect.1\",\"effect_name\":\"Blur\"},"
                "{\"OTIO_SCHEMA\":\"Effect.1\",\"effect_name\":\"Blur\"},{\"OTIO_SCHEMA\":\"Glow.1\"}]");
    one.replace(one.find("\"markers\":[]"), 12, "\"markers\":[{}]");
    edit(timeline({track({one})}));
    EXPECT_EQ(remarks_, (std::vector<std::string>{"markers of a clip are left out",
                                                  "a clip: the effect Blur is left out (2 times)",
                                                  "a clip: the effect Glow is left out"}));
}

TEST_F(OtioTest, TheActiveReferenceOfSeveralIsUsed) {
    const auto reference = [&](const char* name) {
        return "{\"OTIO_SCHEMA\":\"ExternalReference.1\",\"target_url\":\"" + url(name) + "\"}";
    };
    const std::string all = ",\"media_references\":{\"DEFAULT_MEDIA\":" + reference("A.mp4") +
                            ",\"proxy\":" + reference("B.mp4") + "}";
    EXPECT_EQ(trimsOf(edit(timeline({track({clipOf("null", range(0, 5), all)})}))), "A 0..5");
    EXPECT_EQ(trimsOf(edit(timeline({track(
                  {clipOf("null", range(0, 5), all + ",\"active_media_reference_key\":\"proxy\"")})}))),
              "B 0..5");
}

TEST_F(OtioTest, GeneratorsAreBlackAndMissingReferencesGoByTheClipsName) {
    const auto generator = [](const std::string& kind) {
        return "{\"OTIO_SCHEMA\":\"GeneratorReference.1\",\"generator_kind\":\"" + kind + "\"}";
    };
    std::string named = clipOf("{\"OTIO_SCHEMA\":\"MissingReference.1\"}", range(0, 9));
    named.replace(named.find("\"name\":\"\""), 9, "\"name\":\"C.mp4\"");
    const Edit got = edit(timeline({track(
        {clipOf(generator("black"), range(0, 5)), clipOf(generator("SMPTEBars"), range(0, 7)), named})}));
    EXPECT_EQ(trimsOf(got), "black for 5 black for 7 C 0..9");
    EXPECT_EQ(remarks_, std::vector<std::string>{"the generator SMPTEBars becomes black"});
    EXPECT_NE(
        refusal(timeline({track({clipOf(generator("black"), "null")})})).find("a generator has no length"),
        std::string::npos);
}

TEST_F(OtioTest, AGapAloneGivesTheRateAndAClipWithoutARangeNone) {
    EXPECT_EQ(read(timeline({track({clipOf("{\"OTIO_SCHEMA\":\"GeneratorReference.1\","
                                           "\"generator_kind\":\"black\"}",
                                           range(0, 30, 30))})}))
                  .rate,
              (media::FrameRate{30, 1}));
    EXPECT_NE(
        refusal(timeline({track({clip(url("A.mp4"), "null")})})).find("no clip has a frame rate; give --fps"),
        std::string::npos);
}

TEST_F(OtioTest, FadesBeyondAnEndLengthenTheHeadOrTail) {
    const Edit got = edit(timeline({track({fade(4, 16), clip(url("A.mp4"), range(10, 50)), fade(12, 8)})}));
    EXPECT_EQ(trimsOf(got), "A 6..68");
    EXPECT_EQ(got.opening->duration->value.count, 20);
    EXPECT_EQ(got.closing->duration->value.count, 20);
    const Edit early = edit(timeline({track({fade(4, 16), clip(url("A.mp4"), range(1, 50))})}));
    EXPECT_EQ(trimsOf(early), "A 0..51") << "no further than the file's first picture";
    const Edit black = edit(timeline({track({fade(4, 6), gap(30), clip(url("A.mp4"), range(1, 50))})}));
    EXPECT_EQ(trimsOf(black), "black for 34 A 1..51");
}

TEST_F(OtioTest, ClipsShorterThanHalfAFrameAreLeftOut) {
    const Edit got =
        edit(timeline({track({clip(url("A.mp4"), range(0, 50)), clip(url("B.mp4"), range(5, 0.2)),
                              clip(url("C.mp4"), range(0, 20))})}));
    EXPECT_EQ(trimsOf(got), "A 0..50 C 0..20");
    EXPECT_EQ(remarks_, std::vector<std::string>{"clips shorter than half a frame are left out"});
    const Edit beyond = edit(timeline(
        {track({clip(url("A.mp4"), range(0, 50))}, "\"kind\":\"Video\",\"source_range\":" + range(80, 30))}));
    EXPECT_EQ(trimsOf(beyond), "black for 30") << "a track's range beyond its clips is black";
}

TEST_F(OtioTest, BrokenEscapesInAddressesStandForThemselves) {
    EXPECT_EQ(pathOfUrl("file:///a%zzb%4"), "/a%zzb%4");
    EXPECT_EQ(pathOfUrl("file:/a%2fb"), "/a/b");
}

TEST_F(OtioTest, AMediaFolderThatIsNotThereIsRefused) {
    EXPECT_THROW(folder_.finder(folder_.path("nowhere")), Refusal);
}

TEST_F(OtioTest, RatesThatHaveNothingInCommonAreRefusedWithTheFile) {
    // Sums are exact, and their denominators grow with each rate.
    std::vector<std::string> odd;
    for (const double rate : {239.957, 211.933, 199.913})
        odd.push_back(clip(url("A.mp4"), range(1, 50.123457, rate)));
    EXPECT_EQ(refusal(timeline({track(odd)})), "");
    const std::string refused = "x.otio:1: /: too many different rates";
    std::vector<std::string> faded = odd;
    faded.push_back(fade(1, 1, "{}", 233.969));
    EXPECT_EQ(refusal(timeline({track(faded)})), refused);
    odd.push_back(clip(url("A.mp4"), range(1, 50.123457, 233.969)));
    EXPECT_NE(refusal(timeline({track(odd)})).find("/children/3: too many different rates"),
              std::string::npos);
}

}  // namespace
}  // namespace tumblewash::edit
