#include <gtest/gtest.h>

#include <random>

#include "media/detail/Bits.h"
#include "media/detail/HevcSets.h"
#include "media/detail/PacketRewriter.h"

namespace tumblewash::test {

using media::BitReader;
using media::BitWriter;
using media::Bytes;
using media::ByteView;
using media::escaped;
using media::HevcLimits;
using media::HevcSets;
using media::readHevcHeader;
using media::readHevcPps;
using media::readHevcSlice;
using media::readHevcSps;
using media::readHevcVps;
using media::unescaped;
using media::writeHevcPps;
using media::writeHevcSlice;
using media::writeHevcSps;
using media::writeHevcVps;

namespace {

void addHead(BitWriter& out, int type) {
    out.bits(static_cast<uint32_t>(type), 7);
    out.bits(1, 9);
}

void addProfile(BitWriter& out, int layers) {
    out.bits(1, 8);  // Main
    out.bits(0x60000000, 32);
    out.bits(0x90000000, 32);
    out.bits(0, 16);
    out.bits(93, 8);
    if (layers == 1) return;
    for (int i = 0; i < 8; ++i) out.bits(i + 1 < layers ? 1 : 0, 2);  // levels of the lower ones
    for (int i = 0; i + 1 < layers; ++i) out.bits(60, 8);
}

Bytes vpsUnit(int id) {
    BitWriter out;
    addHead(out, media::kHevcVps);
    out.bits(static_cast<uint32_t>(id), 4);
    out.bits(3, 2);
    out.bits(0, 6);
    out.bits(0, 3);
    out.bit(true);
    out.bits(0xFFFF, 16);
    addProfile(out, 1);
    out.bits(0x2A, 7);
    out.trailing();
    return escaped(out.take());
}

/// A set of 128 x 96 with `layers` temporal layers, each with limits of its own.
Bytes spsUnit(int id, int vps, int layers, int tail) {
    BitWriter out;
    addHead(out, media::kHevcSps);
    out.bits(static_cast<uint32_t>(vps), 4);
    out.bits(static_cast<uint32_t>(layers - 1), 3);
    out.bit(true);
    addProfile(out, layers);
    out.ue(static_cast<uint32_t>(id));
    out.ue(1);
    out.ue(128);
    out.ue(96);
    out.bit(true);
    for (int i = 0; i < 4; ++i) out.ue(1);
    out.ue(2);
    out.ue(2);
    out.ue(4);
    out.bit(layers > 1);
    for (int i = 0; i < layers; ++i) {
        out.ue(static_cast<uint32_t>(2 + i));
        out.ue(static_cast<uint32_t>(i));
        out.ue(5);
    }
    out.bits(static_cast<uint32_t>(tail), 21);
    out.trailing();
    return escaped(out.take());
}

Bytes ppsUnit(int id, int sps, int tail) {
    BitWriter out;
    addHead(out, media::kHevcPps);
    out.ue(static_cast<uint32_t>(id));
    out.ue(static_cast<uint32_t>(sps));
    out.bits(static_cast<uint32_t>(tail), 17);
    out.trailing();
    return escaped(out.take());
}

Bytes sliceUnit(int type, int pps, const Bytes& rest) {
    BitWriter out;
    addHead(out, type);
    out.bit(true);
    if (type >= 16) out.bit(true);
    out.ue(static_cast<uint32_t>(pps));
    out.copy(rest, 0, rest.size() * 8);
    out.trailing();
    return escaped(out.take());
}

Bytes noise(std::mt19937& dice, size_t size) {
    Bytes out(size);
    for (uint8_t& byte : out)
        byte = dice() % 3 == 0 ? static_cast<uint8_t>(dice() % 5) : static_cast<uint8_t>(dice());
    return out;
}

TEST(HevcSetsTest, SetsGetOtherIdsAndLimitsAndKeepTheRest) {
    const HevcLimits limits{true, 123, 6, 3};
    for (const int layers : {1, 3, 7}) {
        const Bytes unit = spsUnit(2, 1, layers, 0x12345);
        const auto sps = readHevcSps(unit);
        ASSERT_TRUE(sps) << layers;
        EXPECT_EQ(sps->id, 2);
        EXPECT_EQ(sps->vps, 1);
        EXPECT_EQ(sps->level, 93);
        EXPECT_EQ(sps->width, 128);
        EXPECT_EQ(sps->lumaDepth, 10);
        EXPECT_EQ(sps->reorder, layers - 1);
        EXPECT_EQ(sps->buffering, layers + 1);
        const auto again = readHevcSps(writeHevcSps(*sps, 13, 9, limits));
        ASSERT_TRUE(again);
        EXPECT_EQ(again->id, 13);
        EXPECT_EQ(again->vps, 9);
        EXPECT_EQ(again->level, 123);
        EXPECT_TRUE(again->high);
        EXPECT_EQ(again->reorder, 3);
        EXPECT_EQ(again->buffering, 6);
        EXPECT_EQ(again->height, 96);
        ASSERT_EQ(again->end - again->afterLimits, 21U);
        BitReader tail(again->bytes);
        tail.skip(again->afterLimits);
        EXPECT_EQ(tail.bits(21), 0x12345U);
    }
    const auto vps = readHevcVps(vpsUnit(3));
    ASSERT_TRUE(vps);
    EXPECT_EQ(vps->id, 3);
    const Bytes written = writeHevcVps(*vps, 7, limits);
    EXPECT_EQ(readHevcVps(written)->id, 7);
    EXPECT_EQ(unescaped(written)[17], 123);
    EXPECT_EQ(writeHevcVps(*readHevcVps(written), 3, {false, 93, 0, 0}), vpsUnit(3));
    const auto pps = readHevcPps(ppsUnit(4, 2, 0x1ABCD));
    ASSERT_TRUE(pps);
    EXPECT_EQ(writeHevcPps(*pps, 33, 5), ppsUnit(33, 5, 0x1ABCD));
    EXPECT_FALSE(readHevcPps(ppsUnit(64, 0, 1)));
    EXPECT_FALSE(readHevcSps(spsUnit(16, 0, 1, 1)));
}

TEST(HevcSetsTest, ASliceThatNamesAnotherSetKeepsEveryOtherBit) {
    std::mt19937 dice(5);
    for (const auto& [from, to] : {std::pair{0, 0}, {0, 15}, {0, 30}, {1, 31}, {2, 62}, {17, 0}})
        for (const int type : {0, 1, 9, 16, 19, 21})
            for (int trial = 0; trial < 20; ++trial) {
                const Bytes unit = sliceUnit(type, from, noise(dice, 4 + dice() % 60));
                const auto slice = readHevcSlice(unit);
                ASSERT_TRUE(slice);
                EXPECT_EQ(slice->pps, from);
                const Bytes other = writeHevcSlice(unit, *slice, to, false);
                const auto again = readHevcSlice(other);
                ASSERT_TRUE(again);
                EXPECT_EQ(again->pps, to);
                EXPECT_EQ(writeHevcSlice(other, *again, from, false), unit);
            }
}

TEST(HevcSetsTest, AStretchBeginsWithAPictureThatNothingLeadsAndDropsNothing) {
    const Bytes rest{0x55, 0, 0, 3, 1};
    const auto begun = [&](int type) {
        const Bytes unit = sliceUnit(type, 3, rest);
        const Bytes bytes = unescaped(writeHevcSlice(unit, *readHevcSlice(unit), 3, true));
        EXPECT_EQ(bytes[2] & 0x40, 0) << type;
        EXPECT_NE(bytes[2] & 0x80, 0) << type;
        return media::hevcTypeOf(bytes);
    };
    EXPECT_EQ(begun(media::kHevcCra), media::kHevcBlaNoLeading);
    EXPECT_EQ(begun(19), 19);
    EXPECT_EQ(begun(media::kHevcIdrNoLeading), media::kHevcIdrNoLeading);
}

Bytes headerOf(const std::vector<Bytes>& units) {
    Bytes out;
    for (const Bytes& unit : units) {
        out.insert(out.end(), {0, 0, 0, 1});
        out.insert(out.end(), unit.begin(), unit.end());
    }
    return out;
}

TEST(HevcSetsTest, SourcesShareEqualSetsAndGetIdsOfTheirOwnForOthers) {
    const Bytes first = headerOf({vpsUnit(0), spsUnit(0, 0, 1, 1), ppsUnit(0, 0, 1)});
    const Bytes other = headerOf({vpsUnit(0), spsUnit(0, 0, 1, 2), ppsUnit(0, 0, 1)});
    const auto rewriter =
        media::makeHevcRewriter({{{first, 4}, 2, false}, {{first, 4}, 2, false}, {{other, 0}, 2, true}});
    ASSERT_TRUE(rewriter);
    const auto sets = readHevcHeader(rewriter->header());
    ASSERT_TRUE(sets);
    EXPECT_EQ(sets->lengthSize, 4);
    EXPECT_EQ(sets->vps.size(), 1U);
    EXPECT_EQ(sets->sps.size(), 2U);
    ASSERT_EQ(sets->pps.size(), 2U);
    EXPECT_EQ(sets->pps.rbegin()->first, 15);
    EXPECT_EQ(sets->pps.rbegin()->second.sps, 1);
    EXPECT_EQ(sets->sps.at(0).reorder, 2);
    Bytes packet{0, 0, 1};
    const Bytes slice = sliceUnit(20, 0, {0x12, 0x34});
    packet.insert(packet.end(), slice.begin(), slice.end());
    const auto made = rewriter->rewritten(2, packet, true);
    ASSERT_TRUE(made);
    const auto units = media::splitNalUnits(*made, 4);
    ASSERT_TRUE(units);
    ASSERT_EQ(units->size(), 1U);
    EXPECT_EQ(readHevcSlice(units->front())->pps, 15);
    // A stretch that does not begin with a refresh is none.
    Bytes trailing{0, 0, 1};
    const Bytes inner = sliceUnit(1, 0, {0x12, 0x34});
    trailing.insert(trailing.end(), inner.begin(), inner.end());
    EXPECT_TRUE(rewriter->rewritten(2, trailing, false));
    EXPECT_FALSE(rewriter->rewritten(2, trailing, true));
    EXPECT_FALSE(rewriter->rewritten(0, trailing, false));
}

TEST(HevcSetsTest, CutAndRandomSetsAreRefused) {
    for (const Bytes& unit : {vpsUnit(0), spsUnit(0, 0, 2, 1), ppsUnit(3, 0, 1)})
        for (size_t size = 0; size < std::min<size_t>(unit.size(), 4); ++size) {
            EXPECT_FALSE(readHevcVps(ByteView(unit).first(size)));
            EXPECT_FALSE(readHevcSps(ByteView(unit).first(size)));
        }
    std::mt19937 dice(21);
    for (int i = 0; i < 3000; ++i) {
        Bytes any = noise(dice, dice() % 60);
        const auto sps = readHevcSps(any);
        EXPECT_LE(sps ? sps->id : 0, 15);
        const auto pps = readHevcPps(any);
        EXPECT_LE(pps ? pps->sps : 0, 15);
        readHevcVps(any);
        if (!any.empty()) any[0] = 1;
        readHevcHeader(any);
    }
}

}  // namespace

}  // namespace tumblewash::test
