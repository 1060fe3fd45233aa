// The laws of reading, held against real clips where they are at hand: TUMBLEWASH_CLIPS, or ../shared/clips
// beside the sources. Without them there is nothing to instantiate.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "tests/media/Support.h"

namespace tumblewash::test {

using media::FieldOrder;
using media::MediaInfo;
using media::MediaKind;
using media::PictureRef;
using media::probe;
using media::Reader;
using media::ReaderSettings;
using media::Writer;

namespace fs = std::filesystem;

namespace {

std::vector<std::string> realClips() {
    const char* named = std::getenv("TUMBLEWASH_CLIPS");
    const fs::path folder =
        named != nullptr ? fs::path(named) : fs::path(TUMBLEWASH_SOURCE_DIR) / "../shared/clips";
    std::vector<std::string> out;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error))
        if (entry.path().extension() != ".md") out.push_back(entry.path().string());
    std::sort(out.begin(), out.end());
    return out;
}

class RealClipsTest : public ::testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(RealClipsTest, CountsAgreeWithFfmpegAndWithWhatIsDelivered) {
    ReaderSettings settings;
    settings.width = 160;
    settings.height = 120;
    Reader reader = Reader::open(GetParam(), settings);
    int64_t delivered = 0;
    while (reader.readPicture()) ++delivered;
    EXPECT_EQ(delivered, reader.frameCount());
    if (reader.info().kind == MediaKind::still) {
        EXPECT_EQ(delivered, 100);
        return;
    }
    const std::string rate =
        std::to_string(reader.settings().rate.num) + "/" + std::to_string(reader.settings().rate.den);
    const std::string lines = outputOf("ffmpeg -v error -i " + GetParam() + " -map 0:v:0 -vf fps=" + rate +
                                       " -f framemd5 - | grep -vc '#'");
    EXPECT_EQ(reader.frameCount(), std::stoll(lines));
    EXPECT_THAT(reader.warnings(), ::testing::IsEmpty());
}

TEST_P(RealClipsTest, DisplaySizesAreTheKnownOnes) {
    const std::map<std::string, std::pair<int, int>> known{
        {"bunny_dv_ntsc_720x480_59.94i.dv", {853, 480}},
        {"dune_pan_pal_720x576_50i.mpg", {1024, 576}},
        {"bunny_anamorphic_800x640_30p_noaudio.mp4", {1138, 640}},
        {"flower_rotated_phone_style_960x540.mp4", {540, 960}},
        {"photo_landscape_exif6.jpg", {1800, 1200}},
        {"tears_of_steel_800x332_24p.webm", {798, 332}},
        {"gecko_alpha_320x229.png", {320, 229}},
        {"photo_cat_451x300.png", {451, 300}}};
    const MediaInfo info = probe(GetParam());
    const auto found = known.find(fs::path(GetParam()).filename().string());
    if (found != known.end()) {
        EXPECT_EQ((std::pair{info.width, info.height}), found->second);
    } else {
        EXPECT_EQ(info.width, info.codedWidth);
        EXPECT_EQ(info.height, info.codedHeight);
    }
    EXPECT_EQ(info.hasAudio, GetParam().find("noaudio") == std::string::npos && info.kind == MediaKind::clip);
    const bool interlaced = GetParam().ends_with(".dv") || GetParam().ends_with(".mpg");
    EXPECT_EQ(info.fields,
              interlaced ? (GetParam().ends_with(".dv") ? FieldOrder::bottomFirst : FieldOrder::topFirst)
                         : FieldOrder::progressive);
}

TEST_P(RealClipsTest, SeekingFindsWhatWalkingFinds) {
    ReaderSettings settings;
    settings.width = 160;
    settings.height = 90;
    settings.rate = {25, 1};
    Reader walker = Reader::open(GetParam(), settings);
    const std::vector<std::string> all = allPictures(walker);
    Reader seeker = Reader::open(GetParam(), settings);
    for (const size_t part : {size_t{7}, size_t{2}, size_t{5}, size_t{9}, size_t{0}, size_t{6}}) {
        const size_t index = all.size() * part / 10;
        seeker.seek(static_cast<int64_t>(index));
        EXPECT_EQ(bytesOf(seeker.readPicture()), all[index]) << index << " of " << all.size();
    }
}

TEST_P(RealClipsTest, FingerprintsDoNotDependOnThreads) {
    const TempDir dir;
    for (const int threads : {1, 3}) {
        ReaderSettings settings;
        settings.width = 200;
        settings.height = 150;
        settings.threads = threads;
        settings.prefetch = threads - 1;
        Reader reader = Reader::open(GetParam(), settings);
        Writer writer = Writer::open("md5:" + dir / std::to_string(threads), smallMovie(200, 150));
        std::vector<float> sound(2 * 1920);
        for (int i = 0; i < 40; ++i) {
            const PictureRef picture = reader.readPicture();
            if (!picture) break;
            writer.writePicture(picture);
            reader.readSamples(sound.data(), 1920);
            writer.writeSamples(sound.data(), 1920);
        }
        writer.commit();
    }
    EXPECT_EQ(readFile(dir / "1"), readFile(dir / "3"));
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealClipsTest);
INSTANTIATE_TEST_SUITE_P(Shared, RealClipsTest, ::testing::ValuesIn(realClips()), [](const auto& info) {
    std::string name = fs::path(info.param).filename().string();
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
});

namespace {

/// Clips of today's phones beside the others, named by what they are; none where there are none.
std::vector<std::string> hlgClips() {
    std::vector<std::string> out;
    std::error_code error;
    for (const auto& entry :
         fs::directory_iterator(fs::path(TUMBLEWASH_SOURCE_DIR) / "../shared/clips-colour", error))
        if (entry.path().filename().string().find("_hlg_") != std::string::npos)
            out.push_back(entry.path().string());
    std::sort(out.begin(), out.end());
    return out;
}

class RealHlgTest : public ::testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(RealHlgTest, TonedDownPicturesAreNotBurntOut) {
    EXPECT_EQ(probe(GetParam()).colour.transfer, media::Transfer::hlg);
    const PictureRef picture = Reader::open(GetParam(), {}).readPicture();
    int64_t bright = 0;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x) {
            const Rgb p = pixel(picture, x, y);
            bright += std::max({p[0], p[1], p[2]}) >= 253 ? 1 : 0;
        }
    EXPECT_LE(bright * 20, int64_t{picture.width()} * picture.height()) << "at most 5 %";
}

INSTANTIATE_TEST_SUITE_P(Clips, RealHlgTest, ::testing::ValuesIn(hlgClips()));
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealHlgTest);

}  // namespace tumblewash::test
