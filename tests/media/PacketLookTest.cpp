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
    for (const ByteView unit : units.value_or(std::vector<ByteView>{})) out.emplace_back(unit.begin(), unit.end());
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

std::vector<Bytes> ofTypes(const std::vector<Bytes>& units, const std::vector<int>& types, int (*typeOf)(const Bytes&)) {
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
    const auto look = [&](const std::vector<Bytes>& packet) { return makeAvcLooker(header)->look(joined(packet)); };
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
    const std::vector<Bytes> units =
        unitsOf("-c:v libx265 -preset ultrafast -x265-params log-level=error:pools=1:frame-threads=1:keyint=5", "hevc");
    const Bytes header = joined(ofTypes(units, {32, 33, 34}, hevcType));
    const std::vector<Bytes> entry = ofTypes(units, {19, 20, 21}, hevcType);
    ASSERT_GE(entry.size(), 2U);
    const auto look = [&](const std::vector<Bytes>& packet) { return makeHevcLooker(header)->look(joined(packet)); };
    EXPECT_EQ(look({entry[0]}).trouble, "");
    Bytes layer = entry[0];
    layer[1] |= 8;
    EXPECT_THAT(look({entry[0], layer}).trouble, HasSubstr("holds layers or views beside its pictures"));
    EXPECT_EQ(look({entry[0], entry[1]}).trouble, "is damaged") << "two pictures";
    EXPECT_EQ(look({}).trouble, "is damaged");
    EXPECT_FALSE(makeHevcLooker(Bytes{1, 1, 0x60}));
}

TEST(PacketLookTest, Ffv1SaysInItsFirstBitsWhetherAPictureStandsAlone) {
    EXPECT_FALSE(makeFfv1Looker({}));
    const TempDir folder;
    ffmpeg("-f lavfi -i testsrc2=s=64x64:r=25 -t 0.8 -pix_fmt yuv420p -c:v ffv1 -level 3 -g 6 " + folder / "a.mkv");
    const auto index = media::PacketIndex::read(folder / "a.mkv");
    EXPECT_EQ(index->trouble(), "");
    ASSERT_EQ(index->pictures(), 20);
    for (size_t i = 0; i < index->packets().size(); ++i)
        EXPECT_EQ(index->packets()[i].kind, i % 6 == 0 ? PacketKind::entry : PacketKind::other) << i;
}

}  // namespace
}  // namespace tumblewash::test
