// The sound of joins that copy the bodies of clips: the first clip's packets are taken as they are as long as
// nothing changes its sound, and what cannot lose anything loses nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/app/CopyRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::copiedJoin;
using copies::reportOf;
using copies::x264;

constexpr int kRate = 48000;
const std::string kKeys = x264("keyint=20:scenecut=0");

/// Fingerprints of a file's packets of sound.
std::vector<std::string> soundPackets(const Workshop& shop, const std::string& file) {
    const std::string list = shop.file("packets.txt");
    EXPECT_EQ(shell("ffprobe -v error -select_streams a -show_data_hash md5 -show_entries packet=data_hash "
                    "-of csv=p=0 " +
                    file + " > " + list),
              0);
    std::vector<std::string> out;
    for (const std::string& line : linesOf(bytesOf(list)))
        if (const std::size_t at = line.find("MD5:"); at != std::string::npos)
            out.push_back(line.substr(at + 4, 32));
    return out;
}

/// The samples of a file's first channel as ffmpeg gives them: without what an MP4 or QuickTime file hides at
/// their beginning, and with it from a Matroska file.
std::vector<float> soundOf(const Workshop& shop, const std::string& file) {
    const std::string raw = shop.file("sound.raw");
    EXPECT_EQ(shell("ffmpeg -v error -y -i " + file + " -map 0:a -af \"pan=mono|c0=c0\" -f f32le " + raw), 0);
    const std::string bytes = bytesOf(raw);
    std::vector<float> out(bytes.size() / sizeof(float));
    std::memcpy(out.data(), bytes.data(), out.size() * sizeof(float));
    return out;
}

/// The least ratio in decibels of `wanted` to what `made` differs by, over hundredths of a second of [from,
/// to) s of what was made; sample 0 of that is sample `ahead` of what is wanted.
double worstOf(const std::vector<float>& wanted, const std::vector<float>& made, double from, double to,
               std::ptrdiff_t ahead) {
    double worst = 200;
    const auto end = static_cast<std::ptrdiff_t>(to * kRate);
    for (auto at = static_cast<std::ptrdiff_t>(from * kRate); at + 480 <= end; at += 480) {
        double power = 1e-9;
        double error = 1e-12;
        for (std::ptrdiff_t i = at; i < at + 480; ++i) {
            const double want = wanted.at(static_cast<std::size_t>(i + ahead));
            const double have = made.at(static_cast<std::size_t>(i));
            power += want * want;
            error += (want - have) * (want - have);
        }
        worst = std::min(worst, 10 * std::log10(power / error));
    }
    return worst;
}

struct Row {
    const char* name;
    std::string pictures, sound;
    const char* clips;
    const char* ending;
    std::size_t unit;
    std::ptrdiff_t ahead;  ///< of the movie's samples and the clip's
};

class CopiedSoundTest : public testing::TestWithParam<Row> {};

TEST_P(CopiedSoundTest, PacketsAreTheFirstClipsUpToTheSeam) {
    const Row& row = GetParam();
    const Workshop shop;
    const std::string a = clip(shop, std::string("a") + row.clips, 0, 3, row.pictures, row.sound);
    const std::string b = clip(shop, std::string("b") + row.clips, 1, 2, row.pictures, row.sound);
    const std::string out = shop.file(std::string("out") + row.ending);
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, out);
    ASSERT_FALSE(report.is_null());
    // The seam begins at 2.6 s.
    const double copied = report["copies"].value("soundSeconds", 0.0);
    EXPECT_GT(copied, 2.4);
    EXPECT_LE(copied, 2.62);
    const std::vector<std::string> own = soundPackets(shop, a);
    const std::vector<std::string> made = soundPackets(shop, out);
    const auto count = static_cast<std::size_t>(std::lround(copied * kRate / static_cast<double>(row.unit)));
    ASSERT_GT(own.size(), count);
    ASSERT_GT(made.size(), count);
    EXPECT_TRUE(std::equal(own.begin(), own.begin() + static_cast<std::ptrdiff_t>(count), made.begin()));
    EXPECT_NE(own[count + 1], made[count + 1]);
    EXPECT_GT(worstOf(soundOf(shop, a), soundOf(shop, out), 0.1, 2.55, row.ahead), 15);
    EXPECT_NEAR(static_cast<double>(soundOf(shop, out).size()) / kRate, 4.6, 0.05);
}

const std::string kVp9 = "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 20";
const Row kRows[] = {
    {"Aac", kKeys, "-c:a aac", ".mp4", ".mp4", 1024, 0},
    // Matroska tells the lead-in of 1024 samples in whole milliseconds.
    {"AacStereo", kKeys, "-c:a aac -ac 2", ".mkv", ".mov", 1024, 1008},
    {"AacMkv", kKeys, "-c:a aac -ac 2", ".mp4", ".mkv", 1024, -1024},
    {"AacFromMkv", kKeys, "-c:a aac", ".mkv", ".mkv", 1024, 0},
    // The lead-in of Opus stands in whole milliseconds too, and is heard from there.
    {"Opus", kVp9, "-c:a libopus -ac 2 -b:a 128k", ".webm", ".webm", 960, 336},
};

INSTANTIATE_TEST_SUITE_P(Kinds, CopiedSoundTest, testing::ValuesIn(test::sampledRows(kRows, 4)),
                         [](const testing::TestParamInfo<Row>& row) { return std::string(row.param.name); });

TEST(CopiedSoundTest, ACutBeginsInTheMiddleOfAClip) {
    const Workshop shop;
    const std::string a =
        clip(shop, "a.mp4", 0, 4, kKeys, "-c:a aac -ac 2 -af \"volume='0.3+0.2*sin(9*t)':eval=frame\"");
    // The movie begins with sample 24960 of the clip, and its track 1408 samples earlier, with a whole
    // packet.
    for (const auto& [name, ahead] : {std::pair{"cut.mp4", 24960}, std::pair{"cut.mkv", 24960 - 1408}}) {
        const std::string out = shop.file(name);
        const nlohmann::json report = copiedJoin(shop, {"join", a + "#t=0.52,3.2"}, {a}, out);
        ASSERT_FALSE(report.is_null());
        EXPECT_GT(report["copies"].value("soundSeconds", 0.0), 2.5);
        EXPECT_LE(report["copies"].value("soundSeconds", 0.0), 2.75);
        // Not a sample off.
        EXPECT_GT(worstOf(soundOf(shop, a), soundOf(shop, out), 0.05, 2.6, ahead), 15) << name;
    }
}

TEST(CopiedSoundTest, AnythingThatChangesTheSoundHasItEncoded) {
    const Workshop shop;
    const std::string a = clip(shop, "a.mp4", 0, 2, kKeys, "-c:a aac");
    const std::string loud =
        clip(shop, "loud.mp4", 0, 3, kKeys,
             "-c:a aac -b:a 192k -af \"volume='if(between(t,1.5,1.6),16,1)':eval=frame,aresample=48000\"");
    const auto secondsOf = [&](std::vector<std::string> words, const std::vector<std::string>& clips) {
        words.insert(words.begin(), "join");
        words.insert(words.end(), {"--duration", "10f"});
        const nlohmann::json report = copiedJoin(shop, words, clips, shop.file("out.mp4"));
        return report.is_null() ? -1.0 : report["copies"].value("soundSeconds", 0.0);
    };
    EXPECT_GT(secondsOf({a, a}, {a, a}), 1.3);
    EXPECT_EQ(secondsOf({a, a, "--music", a}, {a, a}), 0);
    EXPECT_EQ(secondsOf({a, a, "--loudness", "-20"}, {a, a}), 0);
    EXPECT_EQ(secondsOf({a, a, "--opening", "wash-in"}, {a, a}), 0);
    EXPECT_EQ(secondsOf({a, a, "--channels", "stereo"}, {a, a}), 0);
    // A limiter turns the sound down from a little before the peak on.
    const double limited = secondsOf({loud, a}, {loud, a});
    EXPECT_GT(limited, 1.2);
    EXPECT_LT(limited, 1.5);
    EXPECT_LT(reportOf(shop)["sound"]["limiter"]["reduction"].get<double>(), -0.5);
    EXPECT_GT(secondsOf({loud, a, "--no-limiter"}, {loud, a}), 2.3);
}

TEST(CopiedSoundTest, SoundWithoutALossLosesNothing) {
    const Workshop shop;
    struct Kind {
        const char* coding;
        const char* ending;
        const char* codec;
    };
    for (const Kind& kind :
         {Kind{"-c:a pcm_s16le", ".mov", "pcm_s16le"}, Kind{"-c:a pcm_s24be", ".mov", "pcm_s24le"},
          Kind{"-c:a flac -ac 2", ".mkv", "flac"}}) {
        const std::string a = clip(shop, std::string("a") + kind.ending, 0, 2, kKeys, kind.coding);
        const std::string b = clip(shop, std::string("b") + kind.ending, 1, 2, kKeys, kind.coding);
        const std::string out = shop.file(std::string("out") + kind.ending);
        ASSERT_FALSE(copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, out).is_null());
        EXPECT_EQ(streamOf(probeJson(out), "audio")["codec_name"], kind.codec);
        const std::vector<float> first = soundOf(shop, a);
        const std::vector<float> second = soundOf(shop, b);
        const std::vector<float> made = soundOf(shop, out);
        ASSERT_EQ(made.size(), 90U * kRate / 25);
        const auto at = [](std::size_t frame) { return static_cast<std::ptrdiff_t>(frame * kRate / 25); };
        EXPECT_TRUE(std::equal(made.begin(), made.begin() + at(40), first.begin())) << kind.codec;
        EXPECT_TRUE(std::equal(made.begin() + at(50), made.end(), second.begin() + at(10))) << kind.codec;
        // Where the clips differ, or the file holds no such sound, it is the usual one.
        const std::string other = clip(shop, "other.mov", 1, 2, kKeys, "-c:a aac");
        ASSERT_FALSE(copiedJoin(shop, {"join", a, other, "--duration", "10f"}, {a, other}, out).is_null());
        EXPECT_EQ(streamOf(probeJson(out), "audio")["codec_name"], "aac");
    }
}

// A blow shortens the encoder's windows, and a copied packet and an encoded one that have others cannot
// overlap: the copy then ends some packets earlier, and what follows takes its place there.
TEST(CopiedSoundTest, PacketsFollowOneAnotherWhereverTheCopyEnds) {
    const Workshop shop;
    const std::string a =
        clip(shop, "a.mp4", 0, 3, kKeys,
             "-c:a aac -b:a 64k -af "
             "\"aeval='if(lt(mod(t,0.11),0.03),0.3*(random(0)-0.5),0.01*random(1))':c=same\"");
    const std::vector<std::string> own = soundPackets(shop, a);
    const std::vector<float> sound = soundOf(shop, a);
    int earlier = 0;
    for (int frames = 50; frames < (test::sampled() ? 52 : 54); ++frames) {
        const std::string out = shop.file("out.mp4");
        const nlohmann::json report = copiedJoin(
            shop, {"join", a + "#t=0," + std::to_string(frames * 0.04), a, "--duration", "6f"}, {a, a}, out);
        ASSERT_FALSE(report.is_null());
        ASSERT_EQ(shell("ffprobe -v error -select_streams a -show_entries packet=pts -of csv=p=0 " + out +
                        " > " + shop.file("times.txt")),
                  0);
        std::vector<long> times;
        for (const std::string& line : linesOf(bytesOf(shop.file("times.txt"))))
            if (!line.empty()) times.push_back(std::stol(line));
        for (std::size_t i = 1; i < times.size(); ++i)
            EXPECT_EQ(times[i] - times[i - 1], 1024) << frames << " " << i;
        const double copied = report["copies"].value("soundSeconds", 0.0);
        const auto count = static_cast<std::ptrdiff_t>(std::lround(copied * kRate / 1024));
        const std::vector<std::string> made = soundPackets(shop, out);
        EXPECT_TRUE(std::equal(own.begin(), own.begin() + count, made.begin()));
        const double seam = (frames - 6) * 0.04;
        EXPECT_GT(worstOf(sound, soundOf(shop, out), 0.1, seam - 0.05, 0), 3);
        // The last packet that could be kept reaches up to the seam.
        earlier += copied < seam - 1024.0 / kRate ? 1 : 0;
    }
    EXPECT_GT(earlier, 0) << "nothing of this was tried";
}

std::string rateOf(const std::string& file) {
    return streamOf(probeJson(file), "audio")["sample_rate"];
}

TEST(CopiedSoundTest, SoundOf44100HzKeepsItsRateWhereItIsCopied) {
    const Workshop shop;
    const std::string cd = " -ar 44100";
    const std::string a = clip(shop, "a.mp4", 0, 2, kKeys, "-c:a aac" + cd);
    const std::string b = clip(shop, "b.mp4", 1, 2, kKeys, "-c:a aac");
    const std::string out = shop.file("out.mp4");
    const auto joined = [&](const std::string& first, const std::string& second) {
        const nlohmann::json report =
            copiedJoin(shop, {"join", first, second, "--duration", "10f"}, {first, second}, out);
        return report.is_null() ? -1.0 : report["copies"].value("soundSeconds", 0.0);
    };
    for (const std::string& second : {a, b}) {
        EXPECT_GT(joined(a, second), 1.3);
        EXPECT_EQ(rateOf(out), "44100");
        EXPECT_EQ(reportOf(shop)["sound"]["sampleRate"], 44100);
        EXPECT_EQ(reportOf(shop)["sound"]["samples"], 90 * 44100 / 25);
        const std::vector<std::string> own = soundPackets(shop, a);
        const std::vector<std::string> made = soundPackets(shop, out);
        EXPECT_TRUE(std::equal(own.begin(), own.begin() + 56, made.begin()));
    }
    EXPECT_GT(joined(b, a), 1.3);
    EXPECT_EQ(rateOf(out), "48000");
    // A movie of which nothing is copied is the usual one.
    ASSERT_EQ(shop.run({"join", a, a, "--duration", "10f", "--size", "64x48", "-o", out, "--copy-bodies",
                        "-f", "-q"})
                  .code,
              0);
    EXPECT_EQ(rateOf(out), "48000");
    ASSERT_EQ(
        shop.run({"join", a, a, "--duration", "10f", "-o", out, "--copy-bodies=never", "-f", "-q"}).code, 0);
    EXPECT_EQ(rateOf(out), "48000");
}

TEST(CopiedSoundTest, SoundOf44100HzWithoutALossLosesNothing) {
    const Workshop shop;
    for (const auto& [coding, ending] :
         {std::pair{"-c:a pcm_s16le", ".mov"}, std::pair{"-c:a flac -ac 2", ".mkv"}}) {
        const std::string words = std::string(coding) + " -ar 44100";
        const std::string a = clip(shop, std::string("a") + ending, 0, 2, kKeys, words);
        const std::string b = clip(shop, std::string("b") + ending, 1, 2, kKeys, words);
        const std::string out = shop.file(std::string("out") + ending);
        ASSERT_FALSE(copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, out).is_null());
        EXPECT_EQ(rateOf(out), "44100");
        const std::vector<float> first = soundOf(shop, a);
        const std::vector<float> made = soundOf(shop, out);
        ASSERT_EQ(made.size(), 90U * 44100 / 25);
        EXPECT_TRUE(std::equal(made.begin(), made.begin() + 40 * 44100 / 25, first.begin())) << coding;
        // One of another rate, and all of it is encoded at the usual one.
        const std::string other = clip(shop, std::string("c") + ending, 1, 2, kKeys, coding);
        ASSERT_FALSE(copiedJoin(shop, {"join", a, other, "--duration", "10f"}, {a, other}, out).is_null());
        EXPECT_EQ(rateOf(out), "48000");
        EXPECT_EQ(streamOf(probeJson(out), "audio")["codec_name"], "aac");
    }
}

}  // namespace
}  // namespace tumblewash::app
