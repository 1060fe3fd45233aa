// Packets that tell of themselves why they cannot be copied, made of an encoder's by changing their headers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/detail/PacketLook.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::Bytes;
using media::ByteView;
using media::makeAvcLooker;
using media::makeFfv1Looker;
using media::makeHevcLooker;
using media::PacketKind;
using media::splitNalUnits;
using testing::HasSubstr;

namespace {

/// The units of a second of pictures without a container.
std::vector<Bytes> unitsOf(const std::string& coding, const std::string& ending) {
    const TempDir folder;
    const std::string file = folder / ("a." + ending);
    ffmpeg("-f lavfi -i testsrc2=s=64x64:r=25 -t 0.4 -pix_fmt yuv420p " + coding + " " + file);
    const std::string bytes = readFile(file);
    const auto units = splitNalUnits({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, 0);
    EXPECT_TRUE(units);
    std::vector<Bytes> out;
    for (const ByteView unit : units.value_or(std::vector<ByteView>{}))
        out.emplace_back(unit.begin(), unit.end());
    return out;
}

Bytes joined(const std::vector<Bytes>& units) {
    Bytes out;
    for (const Bytes& unit : units) {
        out.insert(out.end(), {0, 0, 0, 1});
        out.insert(out.end(), unit.begin(), unit.end());
    }
    return out;
}

std::vector<Bytes> ofTypes(const std::vector<Bytes>& units, const std::vector<int>& types,
                           int (*typeOf)(const Bytes&)) {
    std::vector<Bytes> out;
    for (const Bytes& unit : units)
        if (std::find(types.begin(), types.end(), typeOf(unit)) != types.end()) out.push_back(unit);
    return out;
}

int avcType(const Bytes& unit) {
    return unit[0] & 31;
}
int hevcType(const Bytes& unit) {
    return unit[0] >> 1 & 63;
}

TEST(PacketLookTest, H264ThatTheEncoderDoesNotWriteIsNamed) {
    const std::vector<Bytes> units =
        unitsOf("-c:v libx264 -preset veryfast -x264-params slices=2:bframes=0:keyint=5", "h264");
    const Bytes header = joined(ofTypes(units, {7, 8}, avcType));
    const std::vector<Bytes> entry = ofTypes(units, {5}, avcType);
    ASSERT_GE(entry.size(), 2U);
    const std::vector<Bytes> picture{entry[0], entry[1]};
    const auto look = [&](const std::vector<Bytes>& packet) {
        return makeAvcLooker(header)->look(joined(packet));
    };
    EXPECT_EQ(look(picture).trouble, "");
    EXPECT_EQ(look(picture).kind, PacketKind::entry);
    const auto as = [&](int type) {
        Bytes unit = entry[0];
        unit[0] = static_cast<uint8_t>((unit[0] & 0xE0) | type);
        return unit;
    };
    EXPECT_THAT(look({as(2)}).trouble, HasSubstr("is coded in data partitions"));
    EXPECT_THAT(look({as(20), entry[0]}).trouble, HasSubstr("holds layers or views beside its pictures"));
    EXPECT_THAT(look({as(14), entry[0]}).trouble, HasSubstr("holds layers or views beside its pictures"));
    EXPECT_THAT(look({entry[1], entry[0]}).trouble, HasSubstr("orders its slices in a way"));
    EXPECT_EQ(look({}).trouble, "is damaged");
    EXPECT_FALSE(makeAvcLooker(Bytes{1, 100, 0, 30, 0xFF, 0xE1, 0, 200, 0x67}));
}

TEST(PacketLookTest, HevcOfLayersAndHalvesOfPicturesAreNamed) {
    const std::vector<Bytes> units = unitsOf(
        "-c:v libx265 -preset ultrafast -x265-params log-level=error:pools=1:frame-threads=1:keyint=5",
        "hevc");
    const Bytes header = joined(ofTypes(units, {32, 33, 34}, hevcType));
    const std::vector<Bytes> entry = ofTypes(units, {19, 20, 21}, hevcType);
    ASSERT_GE(entry.size(), 2U);
    const auto look = [&](const std::vector<Bytes>& packet) {
        return makeHevcLooker(header)->look(joined(packet));
    };
    EXPECT_EQ(look({entry[0]}).trouble, "");
    Bytes layer = entry[0];
    layer[1] |= 8;
    EXPECT_THAT(look({entry[0], layer}).trouble, HasSubstr("holds layers or views beside its pictures"));
    EXPECT_EQ(look({entry[0], entry[1]}).trouble, "is damaged") << "two pictures";
    EXPECT_EQ(look({}).trouble, "is damaged");
    EXPECT_FALSE(makeHevcLooker(Bytes{1, 1, 0x60}));
}

TEST(PacketLookTest, Ffv1SaysInItsFirstBitsWhetherAPictureStandsAlone) {
    EXPECT_THAT(makeFfv1Looker({})->look(Bytes{1, 2, 3}).trouble, HasSubstr("is FFV1 of a version before 3"));
    const TempDir folder;
    ffmpeg("-f lavfi -i testsrc2=s=64x64:r=25 -t 0.8 -pix_fmt yuv420p -c:v ffv1 -level 3 -g 6 " +
           folder / "a.mkv");
    const auto index = media::PacketIndex::read(folder / "a.mkv");
    EXPECT_EQ(index->trouble(), "");
    ASSERT_EQ(index->pictures(), 20);
    for (size_t i = 0; i < index->packets().size(); ++i)
        EXPECT_EQ(index->packets()[i].kind, i % 6 == 0 ? PacketKind::entry : PacketKind::other) << i;
}

/// The one packet of a file of pictures without a container.
Bytes pictureOf(const std::string& coding, const std::string& ending) {
    const TempDir folder;
    const std::string file = folder / ("a." + ending);
    ffmpeg("-f lavfi -i testsrc2=s=256x120:r=25 -frames:v 1 " + coding + " " + file);
    const std::string bytes = readFile(file);
    return Bytes(bytes.begin(), bytes.end());
}

TEST(PacketLookTest, JpegPicturesOfAnotherKindAreNamed) {
    const Bytes picture = pictureOf("-pix_fmt yuvj420p -c:v mjpeg -f mjpeg", "mjpeg");
    const auto looker = media::makeMjpegLooker();
    EXPECT_EQ(looker->look(picture).trouble, "");
    EXPECT_EQ(looker->look(picture).kind, PacketKind::entry);
    const auto frame = [&](const Bytes& of) {
        for (size_t i = 0; i + 1 < of.size(); ++i)
            if (of[i] == 0xFF && of[i + 1] == 0xC0) return i;
        return size_t{0};
    };
    const size_t at = frame(picture);
    ASSERT_GT(at, 0U);
    Bytes progressive = picture;
    progressive[at + 1] = 0xC2;
    EXPECT_THAT(media::makeMjpegLooker()->look(progressive).trouble,
                HasSubstr("holds JPEG pictures of another kind"));
    Bytes smaller = picture;
    smaller[at + 6] = 64;
    EXPECT_EQ(looker->look(smaller).trouble, "changes its coding parameters");
    Bytes field(picture.begin(), picture.begin() + 2);
    for (const uint8_t byte : Bytes{0xFF, 0xE0, 0, 7, 'A', 'V', 'I', '1', 1}) field.push_back(byte);
    field.insert(field.end(), picture.begin() + 2, picture.end());
    EXPECT_THAT(looker->look(field).trouble, HasSubstr("is coded for interlaced pictures"));
    // Cut anywhere in its head, it is damaged and nothing worse.
    for (size_t size = 0; size < at + 15; ++size)
        EXPECT_EQ(media::makeMjpegLooker()->look(ByteView(picture).first(size)).trouble, "is damaged")
            << size;
}

TEST(PacketLookTest, DnxhrSaysOfWhatKindItIs) {
    const Bytes picture = pictureOf("-pix_fmt yuv422p -c:v dnxhd -profile:v dnxhr_hq -f dnxhd", "dnxhd");
    const auto looker = media::makeDnxhrLooker();
    EXPECT_EQ(looker->kind(), 0);
    EXPECT_EQ(looker->look(picture).trouble, "");
    EXPECT_EQ(looker->kind(), 1272);
    Bytes other = picture;
    other[0x2B] = 0xF9;
    EXPECT_EQ(looker->look(other).trouble, "changes its coding parameters");
    Bytes field = picture;
    field[5] |= 2;
    EXPECT_THAT(media::makeDnxhrLooker()->look(field).trouble, HasSubstr("is coded for interlaced pictures"));
    EXPECT_EQ(media::makeDnxhrLooker()->look(ByteView(picture).first(0x27F)).trouble, "is damaged");
    EXPECT_EQ(media::makeDnxhrLooker()->look(Bytes(0x280, 0)).trouble, "is damaged");
}

}  // namespace
}  // namespace tumblewash::test
