// What a viewer of a join of copied clips sees and hears: the same pictures after every jump, the transition
// of a full render, and sound that keeps with its picture.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "media/Reader.h"
#include "tests/app/CopyRun.h"
#include "tests/support/Sampled.h"

namespace tumblewash::app {
namespace {

using copies::clip;
using copies::copiedJoin;
using copies::framesOf;
using copies::x264;
using copies::x265;

std::string pixelsOf(const media::PictureRef& picture) {
    std::string out;
    for (int y = 0; picture && y < picture.height(); ++y)
        out.append(reinterpret_cast<const char*>(picture.data()) + y * picture.stride(),
                   static_cast<std::size_t>(4 * picture.width()));
    return out;
}

/// Jumps to and fro across each end of each copied run, and reads a picture there.
void jump(const std::string& file, const nlohmann::json& report) {
    std::vector<std::string> pictures;
    media::Reader linear = media::Reader::open(file);
    while (const media::PictureRef picture = linear.readPicture()) pictures.push_back(pixelsOf(picture));
    ASSERT_EQ(static_cast<std::int64_t>(pictures.size()), report["frames"].get<std::int64_t>());
    media::Reader reader = media::Reader::open(file);
    std::int64_t splice = 0;
    for (const nlohmann::json& run : report["copies"]["runs"]) {
        for (const std::int64_t by : {-1, 0, 1, -14, 13, -2, 3, 24, -24, 2, -7}) {
            const std::int64_t frame = std::clamp<std::int64_t>(splice + by, 0, std::ssize(pictures) - 1);
            reader.seek(frame);
            EXPECT_TRUE(pixelsOf(reader.readPicture()) == pictures[static_cast<std::size_t>(frame)]) << frame;
        }
        splice += run["frames"].get<std::int64_t>();
    }
}

struct Row {
    const char* name;
    std::string first, second;
    const char* ending;
};

class CopyJumpTest : public testing::TestWithParam<Row> {};

TEST_P(CopyJumpTest, EveryJumpAcrossASpliceFindsItsPicture) {
    const Row& row = GetParam();
    const Workshop shop;
    const std::string a = clip(shop, std::string("a") + row.ending, 0, 2, row.first);
    const std::string b = clip(shop, std::string("b") + row.ending, 1, 2, row.second);
    const std::string out = shop.file(std::string("out") + row.ending);
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, a, "--duration", "8f"}, {a, b, a}, out);
    ASSERT_FALSE(report.is_null());
    jump(out, report);
}

const Row kRows[] = {
    {"Avc", x264("keyint=15"), x264("keyint=12:cabac=0:slices=4:ref=2"), ".mp4"},
    {"AvcMkv", x264("keyint=15"), x264("keyint=12:cabac=0:slices=4:ref=2"), ".mkv"},
    {"Hevc", x265("keyint=15:open-gop=1:bframes=4"), x265("keyint=12:open-gop=1:bframes=3:ref=2"), ".mp4"},
    {"Vp9", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 15",
     "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 12", ".webm"},
    {"MotionJpegAvi", "-c:v mjpeg -q:v 4 -pix_fmt yuvj420p", "-c:v mjpeg -q:v 2 -pix_fmt yuvj420p", ".avi"},
};

INSTANTIATE_TEST_SUITE_P(Jumps, CopyJumpTest, testing::ValuesIn(test::sampledRows(kRows, 2)),
                         [](const testing::TestParamInfo<Row>& row) { return std::string(row.param.name); });

// A ProRes frame is made from its own picture alone: where the pictures are the same, so are the coded ones.
TEST(CopySightTest, TransitionsAreTheVeryPicturesOfAFullRender) {
    const Workshop shop;
    const std::string coding = "-c:v prores_ks -profile:v 3 -vendor apl0 -pix_fmt yuv422p10le";
    const std::string a = clip(shop, "a.mov", 0, 1.2, coding);
    const std::string b = clip(shop, "b.mov", 1, 1.2, coding);
    for (const char* effect : {"wash-away", "tumble-away", "morph"}) {
        const std::string out = shop.file("out.mov");
        const std::vector<std::string> words{"join", a, b, "--duration", "8f", "--effect", effect};
        const nlohmann::json report = copiedJoin(shop, words, {a, b}, out);
        ASSERT_FALSE(report.is_null());
        const std::string full = shop.file("full.mov");
        std::vector<std::string> whole = words;
        whole.insert(whole.end(), {"-o", full, "--codec", "prores", "-q", "-f"});
        ASSERT_EQ(shop.run(whole).code, 0);
        const std::vector<std::string> here = framesOf(shop, out);
        const std::vector<std::string> there = framesOf(shop, full);
        ASSERT_EQ(here.size(), there.size());
        std::size_t at = 0;
        std::size_t compared = 0;
        for (const nlohmann::json& run : report["copies"]["runs"]) {
            const auto count = run["frames"].get<std::size_t>();
            for (std::size_t i = at; !run.contains("clip") && i < at + count; ++i, ++compared)
                EXPECT_EQ(here[i], there[i]) << effect << " " << i;
            at += count;
        }
        EXPECT_EQ(compared, 8U) << effect;
    }
}

/// Seconds at which a flash or a beep begins: more than `level` after a while of less.
template <typename Sample>
std::vector<double> beginningsOf(const std::string& bytes, double rate, double level) {
    std::vector<double> out;
    std::int64_t quiet = std::int64_t{1} << 40;
    const std::size_t count = bytes.size() / sizeof(Sample);
    for (std::size_t i = 0; i < count; ++i) {
        Sample sample{};
        std::memcpy(&sample, bytes.data() + i * sizeof(Sample), sizeof(Sample));
        if (std::abs(static_cast<double>(sample)) < level) {
            ++quiet;
            continue;
        }
        if (static_cast<double>(quiet) > 0.3 * rate) out.push_back(static_cast<double>(i) / rate);
        quiet = 0;
    }
    return out;
}

struct Sounding {
    const char* name;
    std::string coding;
    const char* sound;
    const char* ending;
};

class CopySoundTest : public testing::TestWithParam<Sounding> {};

TEST_P(CopySoundTest, BeepsComeWithTheirFlashes) {
    const Sounding& row = GetParam();
    const Workshop shop;
    const auto make = [&](const std::string& name) {
        const std::string file = shop.file(name + row.ending);
        EXPECT_EQ(shell("ffmpeg -v error -y -f lavfi -i \"color=black:s=128x96:r=25,drawbox=c=white:t=fill:"
                        "enable='lt(mod(n,25),2)'\" -f lavfi -i \"aevalsrc='if(lt(mod(t,1),0.06),"
                        "0.8*sin(2*PI*1000*t),0)':s=48000\" -t 3 -pix_fmt yuv420p " +
                        row.coding + " " + row.sound + " " + file),
                  0);
        return file;
    };
    const std::string a = make("a");
    const std::string b = make("b");
    const std::string out = shop.file(std::string("out") + row.ending);
    // The second clip's seconds begin at 2.6 s: its flashes at 3.6 and 4.6 s are behind the seam.
    const nlohmann::json report = copiedJoin(shop, {"join", a, b, "--duration", "10f"}, {a, b}, out);
    ASSERT_FALSE(report.is_null());
    const auto decoded = [&](const std::string& how) {
        EXPECT_EQ(shell("ffmpeg -v error -y -copyts -i " + out + " " + how + " " + shop.file("raw")), 0);
        return bytesOf(shop.file("raw"));
    };
    const std::vector<double> flashes =
        beginningsOf<unsigned char>(decoded("-map 0:v -r 25 -vf scale=1:1,format=gray -f rawvideo"), 25, 128);
    const std::vector<double> beeps = beginningsOf<float>(
        decoded("-map 0:a -ac 1 -af aresample=48000:async=1:first_pts=0 -f f32le"), 48000, 0.2);
    const auto nearest = [](const std::vector<double>& times, double to) {
        double best = 1e9;
        for (const double time : times)
            if (std::abs(time - to) < std::abs(best - to)) best = time;
        return best;
    };
    for (const double moment : {0.0, 1.0, 2.0, 3.6, 4.6}) {
        const double flash = nearest(flashes, moment);
        EXPECT_NEAR(flash, moment, 0.041);
        EXPECT_NEAR(nearest(beeps, moment), flash, 0.04) << moment;
    }
}

const Sounding kSounding[] = {
    {"Aac", x264("keyint=20"), "-c:a aac", ".mp4"},
    {"AacMkv", x264("keyint=20"), "-c:a aac", ".mkv"},
    {"Opus", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 20", "-c:a libopus", ".webm"},
    {"Pcm", x264("keyint=20"), "-c:a pcm_s16le", ".mov"},
    // FFmpeg's own reader complains about pictures of a single colour that it made itself.
    {"PcmAvi", "-vf noise=alls=8:allf=t -c:v mjpeg -q:v 4 -pix_fmt yuvj420p", "-c:a pcm_s16le", ".avi"},
};

INSTANTIATE_TEST_SUITE_P(Sounds, CopySoundTest, testing::ValuesIn(test::sampledRows(kSounding, 4)),
                         [](const testing::TestParamInfo<Sounding>& row) {
                             return std::string(row.param.name);
                         });

}  // namespace
}  // namespace tumblewash::app
