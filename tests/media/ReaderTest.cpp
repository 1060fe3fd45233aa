#include <algorithm>
#include <cmath>

#include "media/Reader.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::ColourMatrix;
using media::FieldOrder;
using media::Fit;
using media::FrameRate;
using media::MediaErrorCode;
using media::PictureRef;
using media::PixelLayout;
using media::probe;
using media::Reader;
using media::ReaderSettings;
using media::toArgb;
using media::writePng;

namespace {

ReaderSettings atRate(FrameRate rate) {
    ReaderSettings out;
    out.rate = rate;
    return out;
}

/// A lossless clip whose picture n is grey of value 10 + 8 n.
void makeCounter(const std::string& path, int rate, int pictures, const std::string& more = "") {
    ffmpeg("-f lavfi -i color=black:s=32x32:r=" + std::to_string(rate) +
           " -vf \"format=gray,geq=lum='10+8*N'" + more + "\" -frames:v " + std::to_string(pictures) +
           " -c:v ffv1 -pix_fmt gray " + path);
}

/// Picture numbers as `makeCounter` drew them.
std::vector<int> numbers(Reader& reader) {
    std::vector<int> out;
    while (const PictureRef picture = reader.readPicture())
        out.push_back(static_cast<int>(std::lround((pixel(picture, 5, 5)[0] - 10) / 8.0)));
    return out;
}

}  // namespace

TEST(ReaderTest, SeekingWhereTheFileSeeksLateFindsThePicturesThatWalkingFinds) {
    const TempDir dir;
    // Packets of a transport stream are found by their times, which are later than those of the pictures
    // shown.
    ffmpeg("-f lavfi -i testsrc2=s=96x64:r=25:d=3 -c:v mpeg2video -b:v 2M -bf 2 -g 20 " + dir / "clip.ts");
    ReaderSettings settings;
    settings.threads = 1;
    settings.prefetch = 0;
    Reader walker = Reader::open(dir / "clip.ts", settings);
    const std::vector<std::string> all = allPictures(walker);
    ASSERT_GT(all.size(), 70U);
    Reader seeker = Reader::open(dir / "clip.ts", settings);
    // Far apart, so that none is walked to from the one before.
    for (size_t n = 0; n < all.size(); ++n) {
        const size_t there = n * 47 % all.size();
        seeker.seek(static_cast<int64_t>(there));
        EXPECT_EQ(bytesOf(seeker.readPicture()), all[there]) << there;
    }
}

TEST(ReaderTest, CountAfterRateConversionIsWhatIsDeliveredAndWhatFfmpegDelivers) {
    const TempDir dir;
    for (const char* from : {"24", "25", "30000/1001", "10"}) {
        const std::string path = dir / "clip.mp4";
        ffmpeg(std::string("-f lavfi -i testsrc=s=48x32:r=") + from + " -frames:v 37 -c:v libx264 " + path);
        for (const FrameRate to : {FrameRate{24, 1}, FrameRate{25, 1}, FrameRate{30000, 1001},
                                   FrameRate{50, 1}, FrameRate{12, 1}, FrameRate{5, 1}, FrameRate{1, 1}}) {
            Reader reader = Reader::open(path, atRate(to));
            const std::string rate = std::to_string(to.num) + "/" + std::to_string(to.den);
            const std::string lines =
                outputOf("ffmpeg -v error -i " + path + " -vf fps=" + rate + " -f framemd5 - | grep -vc '#'");
            EXPECT_EQ(reader.frameCount(), std::stoll(lines)) << from << " to " << rate;
            EXPECT_EQ(static_cast<int64_t>(allPictures(reader).size()), reader.frameCount())
                << from << " to " << rate;
            EXPECT_THAT(reader.warnings(), ::testing::IsEmpty());
        }
    }
}

TEST(ReaderTest, AClipEndsWhereItsEditListEnds) {
    const TempDir dir;
    const std::string path = dir / "clip.mp4";
    ffmpeg("-f lavfi -i testsrc=s=48x32:r=25 -frames:v 50 -c:v libx264 -bf 3 " + path);
    const std::string whole = readFile(path);
    const size_t list = whole.find("elst");
    ASSERT_NE(list, std::string::npos);
    // Behind the name: version and flags, the number of edits, then the length of the first in milliseconds.
    // Pictures behind the end that others need stay in the file, marked as not to be shown.
    for (int pictures = 20; pictures < 28; ++pictures) {
        std::string cut = whole;
        const int length = 40 * pictures;
        for (int byte = 0; byte < 4; ++byte)
            cut[list + 12 + static_cast<size_t>(byte)] = static_cast<char>(length >> (24 - 8 * byte) & 255);
        writeFile(path, cut);
        Reader reader = Reader::open(path);
        const std::string lines = outputOf("ffmpeg -v error -i " + path + " -f framemd5 - | grep -vc '#'");
        EXPECT_EQ(reader.frameCount(), std::stoll(lines)) << pictures;
        EXPECT_EQ(static_cast<int64_t>(allPictures(reader).size()), reader.frameCount()) << pictures;
    }
}

TEST(ReaderTest, EachPictureIsTheLastOneWhoseRoundedTimeHasCome) {
    const TempDir dir;
    makeCounter(dir / "ten.mkv", 10, 12);
    Reader twice = Reader::open(dir / "ten.mkv", atRate({20, 1}));
    EXPECT_THAT(numbers(twice), ::testing::ElementsAre(0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8,
                                                       9, 9, 10, 10, 11, 11));
    Reader same = Reader::open(dir / "ten.mkv");
    EXPECT_THAT(numbers(same), ::testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
    Reader fewer = Reader::open(dir / "ten.mkv", atRate({4, 1}));
    // Times 0, 0.1, ... in quarters of a second, rounded: 0 0 1 1 2 2 2 3 3 4 4 4.
    EXPECT_THAT(numbers(fewer), ::testing::ElementsAre(1, 3, 6, 8, 11));
}

TEST(ReaderTest, AGapInAVariableRateHoldsThePictureBefore) {
    const TempDir dir;
    makeCounter(dir / "gap.mkv", 10, 9, ",select='not(between(n,3,5))'");
    Reader reader = Reader::open(dir / "gap.mkv", atRate({10, 1}));
    const std::vector<int> seen = numbers(reader);
    ASSERT_GE(seen.size(), 9U);
    EXPECT_THAT(std::vector<int>(seen.begin(), seen.begin() + 9),
                ::testing::ElementsAre(0, 1, 2, 2, 2, 2, 6, 7, 8));
}

TEST(ReaderTest, ALastPictureThatLastsLongerIsHeldForItsTime) {
    const TempDir dir;
    for (const int pictures : {1, 3}) {
        ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10 -frames:v 5 -final_delay " + std::to_string(10 * pictures) +
               " " + dir / "a.gif");
        Reader reader = Reader::open(dir / "a.gif", atRate({10, 1}));
        EXPECT_EQ(reader.frameCount(), 4 + pictures);
        EXPECT_EQ(static_cast<int64_t>(allPictures(reader).size()), 4 + pictures);
    }
}

TEST(ReaderTest, AClockThatJumpsTwiceLeavesEveryPictureAtItsDistanceFromTheOneBefore) {
    const TempDir dir;
    // Pictures 2, 7 and 11 are missing; the clock jumps by minutes in front of pictures 5 and 10.
    makeCounter(dir / "jumps.mkv", 10, 12,
                ",select='not(eq(n,2)+eq(n,7)+eq(n,11))',"
                "setpts='PTS+if(gte(N,4),100/TB,0)+if(gte(N,8),200/TB,0)'");
    Reader reader = Reader::open(dir / "jumps.mkv", atRate({10, 1}));
    EXPECT_THAT(numbers(reader), ::testing::ElementsAre(0, 1, 1, 3, 4, 5, 6, 6, 8, 9, 10, 10, 12, 13, 14));
    EXPECT_EQ(reader.frameCount(), 15);
}

TEST(ReaderTest, APictureStartsAtTheLastSampleBeforeItsMoment) {
    ReaderSettings settings = atRate({30000, 1001});
    settings.sampleRate = 48000;
    Reader reader = Reader::open("pattern:harbour?size=32x32&seconds=1", settings);
    // 1601.6 samples a picture, cut off.
    const int64_t first[] = {0, 1601, 3203, 4804, 6406, 8008, 9609};
    for (int64_t k = 0; k < 7; ++k) EXPECT_EQ(reader.firstSampleOf(k), first[k]) << k;
    EXPECT_EQ(reader.firstSampleOf(30000), int64_t{48000} * 1001);
    for (int64_t k = 6; k >= 0; --k) {
        reader.seek(k);
        EXPECT_EQ(reader.samplePosition(), first[k]) << k;
    }
}

TEST(ReaderTest, SeekingFindsThePictureAndTheSampleThatWalkingFinds) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=25:d=3 -f lavfi -i aevalsrc='sin(t*t*900)':s=44100:d=3 -c:v libx264 "
        "-g 12 -bf 3 "
        "-c:a aac " +
        dir / "clip.mp4");
    for (const FrameRate rate : {FrameRate{25, 1}, FrameRate{30, 1}}) {
        Reader walker = Reader::open(dir / "clip.mp4", atRate(rate));
        const std::vector<std::string> all = allPictures(walker);
        const std::vector<float> sound = leftChannel(walker, 3 * 48000);
        Reader seeker = Reader::open(dir / "clip.mp4", atRate(rate));
        for (const int64_t index : {int64_t{74}, int64_t{0}, int64_t{11}, int64_t{12}, int64_t{13},
                                    int64_t{60}, int64_t{59}, int64_t{3}, int64_t{49}, int64_t{50}}) {
            seeker.seek(index);
            ASSERT_EQ(seeker.position(), index);
            EXPECT_EQ(bytesOf(seeker.readPicture()), all[static_cast<size_t>(index)]) << index;
            const auto first = static_cast<size_t>(seeker.firstSampleOf(index));
            const size_t length = std::min<size_t>(1000, sound.size() - first);
            EXPECT_EQ(leftChannel(seeker, length),
                      std::vector<float>(sound.begin() + static_cast<ptrdiff_t>(first),
                                         sound.begin() + static_cast<ptrdiff_t>(first + length)))
                << index;
        }
        seeker.seek(seeker.frameCount());
        EXPECT_FALSE(seeker.readPicture());
        // A single sample read ahead is gone back for.
        Reader again = Reader::open(dir / "clip.mp4", atRate(rate));
        ASSERT_EQ(leftChannel(again, 1)[0], sound[0]);
        again.seek(0);
        EXPECT_EQ(leftChannel(again, 1000), std::vector<float>(sound.begin(), sound.begin() + 1000));
    }
}

TEST(ReaderTest, SeekingInADeinterlacedClipFindsThePicturesThatWalkingFinds) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=50:d=2 -vf interlace -c:v ffv1 -g 5 -field_order tt " +
           dir / "clip.mkv");
    ReaderSettings settings;
    settings.keepFields = false;
    Reader walker = Reader::open(dir / "clip.mkv", settings);
    const std::vector<std::string> all = allPictures(walker);
    ASSERT_EQ(all.size(), 50U);
    Reader seeker = Reader::open(dir / "clip.mkv", settings);
    for (const int64_t index : {45, 40, 41, 30, 5, 47}) {
        seeker.seek(index);
        EXPECT_EQ(bytesOf(seeker.readPicture()), all[static_cast<size_t>(index)]) << index;
    }
}

TEST(ReaderTest, AStillLastsAsLongAsAskedAndEachPictureIsTheReceiversOwn) {
    const TempDir dir;
    writePng(dir / "still.png", solid(33, 21, {10, 200, 90}));
    ReaderSettings settings;
    settings.stillSeconds = 1.5;
    settings.rate = {30000, 1001};
    Reader reader = Reader::open(dir / "still.png", settings);
    EXPECT_EQ(reader.frameCount(), 45);
    const PictureRef first = reader.readPicture();
    first.data()[1] = 77;
    const PictureRef second = reader.readPicture();
    EXPECT_EQ(pixel(second, 0, 0), (Rgb{10, 200, 90}));
    EXPECT_EQ(allPictures(reader).size(), 43U);
    settings.stillFrames = 7;
    Reader counted = Reader::open(dir / "still.png", settings);
    EXPECT_EQ(allPictures(counted).size(), 7U);
    counted.seek(5);
    EXPECT_EQ(allPictures(counted).size(), 2U);
}

TEST(ReaderTest, RepeatedPicturesOfAClipAreTheReceiversOwn) {
    const TempDir dir;
    makeCounter(dir / "ten.mkv", 10, 3);
    Reader reader = Reader::open(dir / "ten.mkv", atRate({30, 1}));
    const PictureRef first = reader.readPicture();
    std::fill_n(first.data(), 4 * 32 * 32, uint8_t{3});
    EXPECT_EQ(pixel(reader.readPicture(), 5, 5), (Rgb{10, 10, 10}));
}

TEST(ReaderTest, RowsFollowEachOtherWithoutPaddingAtAnySize) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc=s=64x48 -frames:v 2 -c:v libx264 " + dir / "clip.mp4");
    for (int width = 1; width <= 67; width += 3) {
        ReaderSettings settings;
        settings.width = width;
        settings.height = 68 - width;
        Reader reader = Reader::open(dir / "clip.mp4", settings);
        const PictureRef picture = reader.readPicture();
        ASSERT_EQ(picture.width(), width);
        ASSERT_EQ(picture.height(), 68 - width);
        EXPECT_EQ(picture.stride(), 4 * width);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(picture.data()) % 64, 0U);
        for (int y = 0; y < picture.height(); ++y)
            EXPECT_EQ(picture.data()[y * picture.stride() + 4 * (width - 1)], 255);
    }
}

TEST(ReaderTest, FitSaysWhatHappensToAnotherShape) {
    const TempDir dir;
    writePng(dir / "wide.png", solid(200, 100, {250, 250, 250}));
    ReaderSettings settings;
    settings.width = 100;
    settings.height = 100;
    const auto first = [&](Fit fit) {
        settings.fit = fit;
        return Reader::open(dir / "wide.png", settings).readPicture();
    };
    const PictureRef contain = first(Fit::contain);
    EXPECT_EQ(pixel(contain, 50, 24), (Rgb{0, 0, 0}));
    EXPECT_EQ(pixel(contain, 50, 25), (Rgb{250, 250, 250}));
    EXPECT_EQ(pixel(contain, 50, 74), (Rgb{250, 250, 250}));
    EXPECT_EQ(pixel(contain, 50, 75), (Rgb{0, 0, 0}));
    EXPECT_EQ(contain.data()[0], 255);
    for (const Fit fit : {Fit::cover, Fit::stretch})
        for (const auto& [x, y] : {std::pair{0, 0}, std::pair{99, 99}})
            EXPECT_EQ(pixel(first(fit), x, y), (Rgb{250, 250, 250}));
}

TEST(ReaderTest, CoverKeepsTheMiddle) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i color=red:s=50x100,format=rgb24 -f lavfi -i color=lime:s=100x100,format=rgb24 -f lavfi "
        "-i color=blue:s=50x100,format=rgb24 "
        "-filter_complex "
        "hstack=3 -frames:v 1 " +
        dir / "three.png");
    ReaderSettings settings;
    settings.width = 100;
    settings.height = 100;
    settings.fit = Fit::cover;
    const PictureRef picture = Reader::open(dir / "three.png", settings).readPicture();
    for (const int x : {1, 50, 98}) EXPECT_EQ(pixel(picture, x, 50), (Rgb{0, 255, 0})) << x;
}

TEST(ReaderTest, PicturesDoNotDependOnThreadsOrPrefetching) {
    const TempDir dir;
    ffmpeg("-f lavfi -i testsrc2=s=160x120:d=1 -c:v libx264 " + dir / "clip.mp4");
    ReaderSettings settings;
    settings.width = 101;
    settings.height = 75;
    settings.fit = Fit::stretch;
    settings.threads = 1;
    settings.prefetch = 0;
    Reader plain = Reader::open(dir / "clip.mp4", settings);
    settings.threads = 4;
    settings.prefetch = 3;
    Reader parallel = Reader::open(dir / "clip.mp4", settings);
    EXPECT_EQ(allPictures(plain), allPictures(parallel));
}

TEST(ReaderTest, InterlacedLinesStayWhereTheyAreUntilLinesAreScaled) {
    const TempDir dir;
    ffmpeg(
        "-f lavfi -i testsrc=s=320x64:r=50:d=1 -vf "
        "\"crop=96:64:x=n*4:y=0,tinterlace=interleave_top,setfield=tff\" "
        "-c:v libx264 -qp 1 -x264-params tff=1 " +
        dir / "clip.mp4");
    EXPECT_EQ(probe(dir / "clip.mp4").fields, FieldOrder::topFirst);
    // Combing: how much lines differ from both neighbours in the same direction.
    const auto combing = [](const PictureRef& picture) {
        int64_t sum = 0;
        for (int y = 1; y + 1 < picture.height(); ++y)
            for (int x = 0; x < picture.width(); ++x) {
                const int up = pixel(picture, x, y)[1] - pixel(picture, x, y - 1)[1];
                const int down = pixel(picture, x, y)[1] - pixel(picture, x, y + 1)[1];
                if (int64_t{up} * down > 0) sum += std::min(std::abs(up), std::abs(down));
            }
        return sum;
    };
    ReaderSettings settings;
    const auto fifth = [&] {
        Reader reader = Reader::open(dir / "clip.mp4", settings);
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(reader.readPicture());
        return std::pair{combing(reader.readPicture()), reader.fields()};
    };
    const auto [kept, keptOrder] = fifth();
    EXPECT_EQ(keptOrder, FieldOrder::topFirst);
    settings.width = 48;
    settings.fit = Fit::stretch;
    const auto [narrow, narrowOrder] = fifth();
    EXPECT_EQ(narrowOrder, FieldOrder::topFirst);
    settings.width = 0;
    settings.keepFields = false;
    const auto [whole, wholeOrder] = fifth();
    EXPECT_EQ(wholeOrder, FieldOrder::progressive);
    EXPECT_LT(whole * 3, kept);
    settings.keepFields = true;
    settings.width = 120;
    settings.height = 80;
    const auto [scaled, scaledOrder] = fifth();
    EXPECT_EQ(scaledOrder, FieldOrder::progressive);
    EXPECT_LT(scaled * 3, kept);
    EXPECT_EQ(Reader::open(dir / "clip.mp4", settings).frameCount(), 25);
    EXPECT_GT(narrow, 0);
}

TEST(ReaderTest, BordersKeepEachLineInItsField) {
    const TempDir dir;
    // Lines of the first field white, those of the second black.
    ffmpeg(
        "-f lavfi -i color=black:s=64x48:r=25:d=0.2 -vf "
        "\"format=gray,geq=lum='if(mod(Y,2),0,255)',setfield=tff\" "
        "-c:v ffv1 -field_order tt " +
        dir / "lines.mkv");
    for (int height = 50; height <= 64; height += 2) {
        ReaderSettings settings;
        settings.width = 64;
        settings.height = height;
        Reader reader = Reader::open(dir / "lines.mkv", settings);
        ASSERT_EQ(reader.fields(), FieldOrder::topFirst);
        const PictureRef picture = reader.readPicture();
        int white = 0;
        for (int y = 0; y < height; ++y) {
            if (pixel(picture, 9, y)[1] < 128) continue;
            ++white;
            EXPECT_EQ(y % 4, (height - 48) / 2 / 4 * 4 % 4 + (white % 2 == 1 ? 0 : 2)) << height;
        }
        EXPECT_EQ(white, 24) << height;
    }
}

TEST(ReaderTest, ALineThatOddFieldsLackIsACopyOfTheirOwn) {
    const TempDir dir;
    // The lines of one field are light, those of the other dark; one is missing at the end.
    ffmpeg(
        "-f lavfi -i color=black:s=64x48:r=25:d=0.2 -vf "
        "\"format=gray,crop=64:47:0:0:exact=1,geq=lum='if(mod(Y,2),200,60)',setfield=tff\" "
        "-c:v ffv1 -field_order tt " +
        dir / "lines.mkv");
    ReaderSettings settings;
    settings.width = 64;
    settings.height = 48;
    Reader reader = Reader::open(dir / "lines.mkv", settings);
    ASSERT_EQ(reader.fields(), FieldOrder::topFirst);
    const PictureRef picture = reader.readPicture();
    EXPECT_EQ(pixel(picture, 9, 46), pixel(picture, 9, 44));
    EXPECT_EQ(pixel(picture, 9, 47), pixel(picture, 9, 45));
    EXPECT_GT(pixel(picture, 9, 47)[1] - pixel(picture, 9, 46)[1], 100);
}

TEST(ReaderTest, ChromaOfKeptFieldsIsNotMixedBetweenThem) {
    const TempDir dir;
    // Even lines red, odd lines blue, in a layout with chroma on every line.
    ffmpeg(
        "-f lavfi -i color=black:s=64x48:r=25:d=0.2 -vf \"format=yuv422p,geq=lum='if(mod(Y,2),41,81)':"
        "cb='if(mod(Y,2),240,90)':cr='if(mod(Y,2),110,240)',setfield=tff\" -c:v libx264 -qp 1 -x264-params "
        "tff=1 " +
        dir / "fields.mp4");
    ReaderSettings settings;
    for (const PixelLayout layout : {PixelLayout::yuv420, PixelLayout::argb}) {
        settings.layout = layout;
        settings.matrix = ColourMatrix::bt601;
        Reader reader = Reader::open(dir / "fields.mp4", settings);
        EXPECT_EQ(reader.fields(), FieldOrder::topFirst);
        const PictureRef picture = toArgb(reader.readPicture());
        for (const int y : {20, 24, 30}) {
            EXPECT_GT(pixel(picture, 32, y)[0], 220);
            EXPECT_LT(pixel(picture, 32, y)[2], 40);
            EXPECT_GT(pixel(picture, 32, y + 1)[2], 220);
            EXPECT_LT(pixel(picture, 32, y + 1)[0], 40);
        }
    }
}

TEST(ReaderTest, NativePicturesHaveTheEncodersLayoutAndComeBackInColour) {
    const TempDir dir;
    writePng(dir / "still.png", solid(64, 48, {200, 60, 30}));
    ReaderSettings settings;
    settings.layout = PixelLayout::yuv420;
    for (const ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709}) {
        settings.matrix = matrix;
        const PictureRef native = Reader::open(dir / "still.png", settings).readPicture();
        EXPECT_EQ(native.layout(), PixelLayout::yuv420);
        EXPECT_EQ(native.matrix(), matrix);
        EXPECT_EQ(native.data(), nullptr);
        const Rgb back = pixel(toArgb(native), 30, 20);
        EXPECT_NEAR(back[0], 200, 2);
        EXPECT_NEAR(back[1], 60, 2);
        EXPECT_NEAR(back[2], 30, 2);
    }
    settings.width = 63;
    EXPECT_EQ(failureOf([&] { Reader::open(dir / "still.png", settings); }, "still.png"),
              MediaErrorCode::badRequest);
}

TEST(ReaderTest, ImpossibleSettingsAreRefused) {
    const TempDir dir;
    writePng(dir / "still.png", solid(8, 8, {1, 2, 3}));
    const auto refused = [&](auto change) {
        ReaderSettings settings;
        change(settings);
        return failureOf([&] { Reader::open(dir / "still.png", settings); }, "still.png") ==
               MediaErrorCode::badRequest;
    };
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.width = -1; }));
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.height = 20000; }));
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.rate = {25, 0}; }));
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.rate = {-1, 1}; }));
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.stillSeconds = 0; }));
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.stillSeconds = std::nan(""); }));
    EXPECT_TRUE(refused([](ReaderSettings& s) { s.sampleRate = 1; }));
}

}  // namespace tumblewash::test
