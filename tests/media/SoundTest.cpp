// Sound and picture stay in step: a flash and a beep each second, whatever the container does to their times.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tests/media/Support.h"

namespace tumblewash::test {

using media::FrameRate;
using media::PictureRef;
using media::Reader;
using media::ReaderSettings;
using media::Writer;

namespace {

constexpr int kRate = 48000;
// Half a picture at 25 a second, and what an encoder smears around an onset.
constexpr double kStep = 0.02;

/// A movie of the flash scene made by this library.
void makeFlash(const std::string& path, double seconds = 3) {
    const std::string scene = "pattern:flash?size=64x48&fps=25&seconds=" + std::to_string(seconds);
    Writer writer = Writer::open(path, smallMovie());
    ReaderSettings settings;
    settings.layout = writer.preferredLayout();
    settings.matrix = writer.matrix();
    Reader reader = Reader::open(scene, settings);
    std::vector<float> sound(2 * kRate / 25);
    while (const PictureRef picture = reader.readPicture()) {
        writer.writePicture(picture);
        reader.readSamples(sound.data(), sound.size() / 2);
        writer.writeSamples(sound.data(), sound.size() / 2);
    }
    writer.commit();
}

/// Times at which silence ends, in seconds.
std::vector<double> onsets(const std::vector<float>& sound) {
    std::vector<double> out;
    size_t quiet = kRate;
    for (size_t i = 0; i < sound.size(); ++i) {
        if (std::abs(sound[i]) < 0.1F) {
            ++quiet;
            continue;
        }
        if (quiet > kRate / 4) out.push_back(static_cast<double>(i) / kRate);
        quiet = 0;
    }
    return out;
}

/// Times at which a white picture follows a dark one, in seconds.
std::vector<double> flashes(Reader& reader) {
    std::vector<double> out;
    bool white = false;
    for (int64_t i = 0; const PictureRef picture = reader.readPicture(); ++i) {
        const bool now = pixel(picture, 3, 3)[0] > 200;
        if (now && !white) out.push_back(static_cast<double>(i) / reader.settings().rate.value());
        white = now;
    }
    return out;
}

void expectNear(const std::vector<double>& got, const std::vector<double>& wanted, double tolerance) {
    ASSERT_EQ(got.size(), wanted.size()) << ::testing::PrintToString(got);
    for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], wanted[i], tolerance);
}

}  // namespace

TEST(SoundTest, FlashAndBeepStayTogetherThroughEveryContainer) {
    const TempDir dir;
    for (const char* name : {"a.mp4", "a.mov", "a.mkv", "a.webm"}) {
        makeFlash(dir / name);
        for (const FrameRate rate : {FrameRate{25, 1}, FrameRate{30000, 1001}, FrameRate{50, 1}}) {
            ReaderSettings settings;
            settings.rate = rate;
            Reader reader = Reader::open(dir / name, settings);
            expectNear(onsets(leftChannel(reader, 3 * kRate)), {0, 1, 2}, 0.003);
            expectNear(flashes(reader), {0, 1, 2}, kStep);
        }
    }
}

TEST(SoundTest, StartOffsetsOfTheSoundAreHonoured) {
    const TempDir dir;
    makeFlash(dir / "flash.mkv");
    const std::string flash = dir / "flash.mkv";
    for (const char* ending : {".mkv", ".mp4", ".ts"}) {
        const std::string late = dir / (std::string("late") + ending);
        ffmpeg("-i " + flash + " -itsoffset 0.3 -i " + flash + " -map 0:v -map 1:a -c copy " + late);
        Reader reader = Reader::open(late);
        expectNear(onsets(leftChannel(reader, 3 * kRate)), {0.3, 1.3, 2.3}, kStep);
        expectNear(flashes(reader), {0, 1, 2}, kStep);
    }
}

TEST(SoundTest, SoundBeforeTheFirstPictureIsCut) {
    const TempDir dir;
    makeFlash(dir / "flash.mkv");
    const std::string flash = dir / "flash.mkv";
    const std::string late = dir / "late.mkv";
    ffmpeg("-itsoffset 0.4 -i " + flash + " -i " + flash + " -map 0:v -map 1:a -c copy " + late);
    Reader reader = Reader::open(late);
    EXPECT_EQ(reader.frameCount(), 75);
    expectNear(onsets(leftChannel(reader, 3 * kRate)), {0.6, 1.6}, kStep);
    expectNear(flashes(reader), {0, 1, 2}, kStep);
}

TEST(SoundTest, AHoleInTheSoundIsSilenceAndWhatFollowsIsInTime) {
    const TempDir dir;
    makeFlash(dir / "flash.mkv");
    ffmpeg("-i " + dir / "flash.mkv" +
           " -map 0 -c:v copy -af \"aselect='not(between(t,0.5,1.5))'\" -c:a pcm_s16le " + dir / "hole.mkv");
    Reader reader = Reader::open(dir / "hole.mkv");
    expectNear(onsets(leftChannel(reader, 3 * kRate)), {0, 2}, kStep);
}

TEST(SoundTest, ShorterSoundIsFilledWithSilenceAndLongerIsThereToBeLeft) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc=s=64x48:r=25:d=2 -f lavfi -i sine=f=500:d=0.5 -c:v libx264 -c:a pcm_s16le " +
           dir / "short.mkv");
    ffmpeg("-f lavfi -i testsrc=s=64x48:r=25:d=0.4 -f lavfi -i sine=f=500:d=3 -c:v libx264 -c:a pcm_s16le " +
           dir / "long.mkv");
    Reader brief = Reader::open(dir / "short.mkv");
    const std::vector<float> sound = leftChannel(brief, 2 * kRate);
    EXPECT_GT(*std::max_element(sound.begin() + kRate / 4, sound.begin() + kRate / 2 - 100), 0.05F);
    for (size_t i = kRate / 2 + 100; i < sound.size(); ++i) ASSERT_EQ(sound[i], 0.0F) << i;
    EXPECT_EQ(brief.samplePosition(), 2 * kRate);
    Reader longer = Reader::open(dir / "long.mkv");
    EXPECT_EQ(longer.frameCount(), 10);
    const std::vector<float> rest = leftChannel(longer, 2 * kRate);
    EXPECT_GT(*std::max_element(rest.end() - 1000, rest.end()), 0.05F);
}

TEST(SoundTest, AClockThatJumpsForwardsOrBackByMinutesLeavesSoundAndPicturesTogether) {
    const TempDir dir;
    makeFlash(dir / "flash.mkv", 1);
    const auto part = [&](int start) {
        const std::string path = dir / ("part" + std::to_string(start) + ".ts");
        ffmpeg("-i " + dir / "flash.mkv" + " -c:v copy -c:a mp2 -output_ts_offset " + std::to_string(start) +
               " " + path);
        return readFile(path);
    };
    for (const std::vector<int>& starts : {std::vector<int>{0, 400}, {400, 0}, {0, 700, 100}}) {
        std::string movie;
        std::vector<double> expected;
        for (const int start : starts) {
            expected.push_back(static_cast<double>(expected.size()));
            movie += part(start);
        }
        writeFile(dir / "jumps.ts", movie);
        ReaderSettings settings;
        settings.rate = {25, 1};
        Reader reader = Reader::open(dir / "jumps.ts", settings);
        expectNear(flashes(reader), expected, 2 * kStep);
        // Each part's sound ends a piece of a codec's frame later than its pictures.
        expectNear(onsets(leftChannel(reader, starts.size() * kRate)), expected, 4 * kStep);
    }
}

TEST(SoundTest, PastTheEndOfATrackABufferIsFilledWithSilence) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i sine=f=500:r=48000:d=0.5 -c:v libx264 -c:a "
        "pcm_s16le " +
        dir / "short.mkv");
    for (const std::string& clip :
         {dir / "short.mkv", std::string("pattern:bars?size=32x32&seconds=0.48&fps=25")}) {
        Reader reader = Reader::open(clip);
        const size_t track = clip.front() == '/' ? kRate / 2 : kRate * 12 / 25;
        // The end lies inside the first buffer and before the second.
        for (size_t start : {size_t{0}, size_t{kRate * 6 / 10}}) {
            std::vector<float> both(2 * size_t{kRate * 6 / 10}, 7.0F);
            reader.readSamples(both.data(), both.size() / 2);
            if (start == 0) {
                EXPECT_GT(*std::max_element(both.begin(), both.begin() + 9600), 0.02F) << clip;
            }
            for (size_t i = 2 * (start == 0 ? track : 0); i < both.size(); ++i)
                ASSERT_EQ(both[i], 0.0F) << clip << ' ' << i;
        }
    }
}

TEST(SoundTest, ClipsWithoutSoundAreSilentNotShort) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc=s=64x48:r=25:d=0.4 -c:v libx264 " + dir / "mute.mp4");
    Reader reader = Reader::open(dir / "mute.mp4");
    std::vector<float> sound(2 * 1000, 7.0F);
    reader.readSamples(sound.data(), 1000);
    EXPECT_THAT(sound, ::testing::Each(0.0F));
}

TEST(SoundTest, EveryRateAndChannelLayoutComesOutAtItsPitchAndLevel) {
    const TempDir dir;
    for (const char* source : {"-ar 44100 -ac 1", "-ar 22050 -ac 2", "-ar 48000 -ac 1", "-ar 96000 -ac 2"}) {
        ffmpeg(std::string("-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i "
                           "aevalsrc='0.5*sin(2*PI*500*t)':d=1:s=96000 ") +
               source + " -c:v libx264 -c:a pcm_f32le " + dir / "tone.mkv");
        Reader reader = Reader::open(dir / "tone.mkv");
        const std::vector<float> sound = leftChannel(reader, kRate);
        int crossings = 0;
        for (size_t i = 4800; i + 4800 < sound.size(); ++i)
            crossings += sound[i] < 0 && sound[i + 1] >= 0 ? 1 : 0;
        EXPECT_NEAR(crossings, 400, 1) << source;
        // Stereo made from one channel by the test's own converter is 3 dB down already; mono must not be.
        const float peak = *std::max_element(sound.begin() + 4800, sound.end() - 4800);
        EXPECT_GT(peak, 0.34F) << source;
        EXPECT_LT(peak, 0.51F) << source;
        // Sample for sample where nothing was resampled: the tone begins with the picture.
        EXPECT_NEAR(sound[24], peak * std::sin(2 * M_PI * 500 * 24 / kRate), 0.05) << source;
    }
}

TEST(SoundTest, MonoKeepsItsLevelOnBothEars) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i aevalsrc='0.5*sin(2*PI*500*t)':d=1:s=48000:c=mono "
        "-c:v libx264 "
        "-c:a pcm_f32le " +
        dir / "mono.mkv");
    Reader reader = Reader::open(dir / "mono.mkv");
    std::vector<float> both(2 * kRate);
    reader.readSamples(both.data(), kRate);
    for (size_t i = 100; i < kRate - 100; ++i) {
        ASSERT_NEAR(both[2 * i], 0.5 * std::sin(2 * M_PI * 500 * static_cast<double>(i) / kRate), 1e-4);
        ASSERT_EQ(both[2 * i], both[2 * i + 1]);
    }
}

/// A movie of 4 s whose sound is a sweep, its packets' times changed by an expression of FFmpeg's.
std::string retimed(const TempDir& dir, const std::string& times) {
    const std::string plain = dir / "plain.mkv";
    ffmpeg(
        "-f lavfi -i testsrc=s=64x48:r=25:d=4 -f lavfi -i "
        "aevalsrc='0.5*sin(2*PI*(300*t+80*t*t))':d=4:s=48000 "
        "-c:v libx264 -c:a pcm_s16le " +
        plain);
    const std::string changed = dir / "changed.mkv";
    ffmpeg("-i " + plain + " -map 0 -c copy -bsf:a \"setts=ts='" + times + "'\" " + changed);
    return changed;
}

TEST(SoundTest, JitteringTimesLoseAndShiftNoSample) {
    const TempDir dir;
    // Up to 9 ms early or late, as phones and screen recorders write; then what cameras of two clocks do.
    for (const char* times : {"TS+mod(N*7919\\,19)-if(N\\,9\\,0)", "TS+if(gt(mod(N\\,10)\\,5)\\,15\\,0)"}) {
        Reader changed = Reader::open(retimed(dir, times));
        Reader plain = Reader::open(dir / "plain.mkv");
        EXPECT_EQ(leftChannel(changed, 4 * kRate), leftChannel(plain, 4 * kRate)) << times;
        EXPECT_THAT(changed.warnings(), ::testing::IsEmpty());
    }
}

TEST(SoundTest, AHoleOf300MillisecondsStaysAndOneOf60IsPlayedOver) {
    const TempDir dir;
    Reader hole = Reader::open(retimed(dir, "TS+if(gt(TS\\,2000)\\,300\\,0)"));
    const std::vector<float> sound = leftChannel(hole, 4 * kRate);
    const auto quiet = [&](size_t from, size_t count) {
        return std::all_of(sound.begin() + static_cast<ptrdiff_t>(from),
                           sound.begin() + static_cast<ptrdiff_t>(from + count),
                           [](float v) { return v == 0.0F; });
    };
    size_t silent = 0;
    for (size_t i = kRate; i + 480 < 3 * kRate; i += 480) silent += quiet(i, 480) ? 1 : 0;
    EXPECT_NEAR(static_cast<double>(silent), 29, 1);
    Reader brief = Reader::open(retimed(dir, "TS+if(gt(TS\\,2000)\\,60\\,0)"));
    const std::vector<float> played = leftChannel(brief, 4 * kRate);
    for (size_t i = 2 * kRate; i + 480 < 3 * kRate; i += 480)
        EXPECT_TRUE(std::any_of(played.begin() + static_cast<ptrdiff_t>(i),
                                played.begin() + static_cast<ptrdiff_t>(i + 480),
                                [](float v) { return v != 0.0F; }));
}

/// How strong a tone is in a run of samples, in dB of full scale.
double toneDb(const std::vector<float>& sound, double hertz) {
    double re = 0, im = 0, all = 0;
    const auto n = static_cast<double>(sound.size());
    for (size_t i = 0; i < sound.size(); ++i) {
        const double angle = 2 * M_PI * hertz * static_cast<double>(i) / kRate;
        // A window whose lobes fall quickly, so that a strong neighbour does not show.
        const double x = 2 * M_PI * (static_cast<double>(i) + 0.5) / n;
        const double window =
            0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2 * x) - 0.01168 * std::cos(3 * x);
        re += window * static_cast<double>(sound[i]) * std::cos(angle);
        im += window * static_cast<double>(sound[i]) * std::sin(angle);
        all += window;
    }
    return 20 * std::log10(2 * std::hypot(re, im) / all + 1e-12);
}

TEST(SoundTest, ImagesAndAliasesOfResamplingAreBelowMinus90Decibels) {
    const TempDir dir;
    struct Case {
        int rate;
        double tone, heard;
    };
    // 20 kHz mirrored at half of 44.1 kHz comes back at 23.9 kHz; 24.8 kHz mirrored at 24 kHz at 23.2 kHz.
    for (const Case& now :
         {Case{44100, 20000, 23900}, Case{96000, 24800, 23200}, Case{32000, 14000, 18000}}) {
        ffmpeg("-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i aevalsrc='0.5*sin(2*PI*" +
               std::to_string(now.tone) + "*t)':d=1:s=" + std::to_string(now.rate) +
               " -c:v libx264 -c:a pcm_f32le " + dir / "tone.mkv");
        Reader reader = Reader::open(dir / "tone.mkv");
        std::vector<float> sound = leftChannel(reader, kRate);
        const std::vector<float> middle(sound.begin() + 9600, sound.end() - 9600);
        EXPECT_LT(toneDb(middle, now.heard), -96) << now.rate;
        if (now.tone < 24000) {
            EXPECT_NEAR(toneDb(middle, now.tone), -6.02, 0.1) << now.rate;
        }
    }
}

TEST(SoundTest, SoundIsGivenInOneTwoOrSixChannels) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i "
        "aevalsrc='0.1|0.2|0.3|0.05|0.15|0.25':c=5.1:d=1:s=48000 -c:v libx264 -c:a pcm_f32le " +
        dir / "six.mkv");
    ReaderSettings settings;
    settings.channels = 6;
    Reader six = Reader::open(dir / "six.mkv", settings);
    std::vector<float> sound(600);
    six.readSamples(sound.data(), 100);
    const float wanted[] = {0.1F, 0.2F, 0.3F, 0.05F, 0.15F, 0.25F};
    for (size_t c = 0; c < 6; ++c) EXPECT_NEAR(sound[6 * 50 + c], wanted[c], 1e-6) << c;
    ffmpeg(
        "-f lavfi -i testsrc=s=64x48:r=25:d=1 -f lavfi -i aevalsrc='0.5|0.25':d=1:s=48000 -c:v libx264 -c:a "
        "pcm_f32le " +
        dir / "two.mkv");
    settings.channels = 1;
    Reader one = Reader::open(dir / "two.mkv", settings);
    one.readSamples(sound.data(), 100);
    // Both sides by half the power.
    EXPECT_NEAR(sound[50], 0.75 * std::sqrt(0.5), 1e-5);
    settings.channels = 3;
    EXPECT_THROW(Reader::open(dir / "two.mkv", settings), media::MediaError);
}

TEST(SoundTest, AnAviOfFfmpegsMissesNoPicture) {
    const TempDir dir;
    const std::string input = "-f lavfi -i testsrc=s=64x48:r=25:d=2 -f lavfi -i sine=d=2 ";
    ffmpeg(input + "-c:v libx264 -bf 0 -c:a mp3 " + dir / "a.avi");
    ffmpeg(input + "-c:v mpeg4 -bf 2 -c:a pcm_s16le " + dir / "b.avi");
    for (const char* name : {"a.avi", "b.avi"}) {
        Reader reader = Reader::open(dir / name);
        EXPECT_THAT(reader.warnings(), ::testing::IsEmpty()) << name;
    }
    // One that is cut off still says so.
    std::string half = readFile(dir / "a.avi");
    half.resize(half.size() / 2);
    writeFile(dir / "half.avi", half);
    EXPECT_THAT(Reader::open(dir / "half.avi").warnings(), ::testing::Not(::testing::IsEmpty()));
}

TEST(SoundTest, ARateBeyondReasonIsLeftSilentAndSaidOnce) {
    const TempDir dir;
    for (const int rate : {3'000'000, 3'000'001, 1'935'941'440}) {
        ffmpeg(
            "-f lavfi -i testsrc2=s=64x48:r=25:d=0.4 -f lavfi -i sine=r=48000:d=0.4 -c:v mjpeg -c:a "
            "pcm_s16le " +
            dir / "c.avi");
        std::string movie = readFile(dir / "c.avi");
        // The sound's format: code 1, one channel, then the rate.
        const size_t format = movie.find(std::string("\1\0\1\0", 4), movie.rfind("strf"));
        ASSERT_NE(format, std::string::npos);
        for (size_t i = 0; i < 4; ++i) movie[format + 4 + i] = static_cast<char>(rate >> (8 * i) & 255);
        writeFile(dir / "c.avi", movie);
        ReaderSettings settings;
        settings.width = 64;
        settings.height = 48;
        Reader reader = Reader::open(dir / "c.avi", settings);
        const std::vector<float> left = leftChannel(reader, 4800);
        const bool silent = std::all_of(left.begin(), left.end(), [](float v) { return v == 0.0F; });
        EXPECT_EQ(silent, rate > 3'000'000) << rate;
        if (silent) {
            EXPECT_THAT(reader.warnings(),
                        ::testing::Contains("its sound cannot be decoded and is left silent"));
        } else {
            EXPECT_THAT(reader.warnings(), ::testing::IsEmpty());
        }
    }
}

}  // namespace tumblewash::test
