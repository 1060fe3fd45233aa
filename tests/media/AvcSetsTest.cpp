#include <gtest/gtest.h>

#include <random>

#include "media/detail/AvcSets.h"
#include "media/detail/Bits.h"

namespace tumblewash::test {

using media::AvcLimits;
using media::AvcPps;
using media::AvcSets;
using media::AvcSlice;
using media::AvcSps;
using media::BitReader;
using media::BitWriter;
using media::Bytes;
using media::ByteView;
using media::closingBit;
using media::escaped;
using media::readAvcHeader;
using media::readAvcPps;
using media::readAvcSlice;
using media::readAvcSps;
using media::sameAlignment;
using media::splitNalUnits;
using media::ueLength;
using media::unescaped;
using media::withoutBufferingPeriods;
using media::writeAvcPps;
using media::writeAvcSlice;
using media::writeAvcSps;

namespace {

Bytes noise(std::mt19937& dice, size_t size) {
    // Zeros are frequent, so that emulation prevention has work.
    Bytes out(size);
    for (uint8_t& byte : out)
        byte = dice() % 3 == 0 ? static_cast<uint8_t>(dice() % 5) : static_cast<uint8_t>(dice());
    return out;
}

/// A set of 128 x 96 as an encoder writes it, with what the test asks for.
Bytes spsUnit(int id, int profile, int level, bool vui, bool restricted) {
    BitWriter out;
    out.bits(0x67, 8);
    out.bits(static_cast<uint32_t>(profile), 8);
    out.bits(0, 8);
    out.bits(static_cast<uint32_t>(level), 8);
    out.ue(static_cast<uint32_t>(id));
    if (profile >= 100) {
        out.ue(1);
        out.ue(0);
        out.ue(0);
        out.bits(0, 2);
    }
    out.ue(4);  // frame numbers
    out.ue(0);  // order
    out.ue(2);
    out.ue(3);  // references
    out.bit(false);
    out.ue(7);
    out.ue(5);
    out.bit(true);
    out.bit(true);
    out.bit(false);
    out.bit(vui);
    if (vui) {
        out.bit(true);
        out.bits(255, 8);
        out.bits(1, 16);
        out.bits(1, 16);
        out.bit(false);
        out.bit(true);
        out.bits(5 << 1 | 1, 4);
        out.bit(true);
        out.bits(0x010101, 24);
        out.bit(false);
        out.bit(true);
        out.bits(1, 32);
        out.bits(50, 32);
        out.bit(true);
        out.bits(0, 3);
        out.bit(restricted);
        if (restricted) {
            out.bit(true);
            for (int i = 0; i < 4; ++i) out.ue(11);
            out.ue(1);
            out.ue(2);
        }
    }
    out.trailing();
    return escaped(out.take());
}

Bytes ppsUnit(int id, int sps, bool cabac) {
    BitWriter out;
    out.bits(0x68, 8);
    out.ue(static_cast<uint32_t>(id));
    out.ue(static_cast<uint32_t>(sps));
    out.bit(cabac);
    out.bit(false);
    out.ue(0);
    out.ue(2);
    out.ue(0);
    out.bits(0, 3);
    for (int i = 0; i < 3; ++i) out.ue(0);
    out.bits(4, 3);
    out.trailing();
    return escaped(out.take());
}

TEST(BitsTest, GolombCodesComeBackAndHaveTheirLength) {
    std::mt19937 dice(5);
    BitWriter out;
    std::vector<uint32_t> values{0, 1, 2, 6, 7, 14, 15, 30, 255, 65535, 0x7FFFFFFE, 0xFFFFFFFE - 1};
    for (int i = 0; i < 200; ++i)
        values.push_back(static_cast<uint32_t>(dice() >> (dice() % 32)) & 0x7FFFFFFF);
    for (const uint32_t value : values) {
        const size_t before = out.position();
        out.ue(value);
        EXPECT_EQ(static_cast<int>(out.position() - before), ueLength(value)) << value;
    }
    out.trailing();
    const Bytes bytes = out.take();
    BitReader in(bytes);
    for (const uint32_t value : values) EXPECT_EQ(in.ue(), value);
    EXPECT_FALSE(in.failed());
    EXPECT_EQ(in.position(), closingBit(bytes));
}

TEST(BitsTest, ReadingPastTheEndGivesZerosAndIsRemembered) {
    const Bytes bytes{0xFF};
    BitReader in(bytes);
    EXPECT_EQ(in.bits(5), 31U);
    EXPECT_EQ(in.bits(4), 0U);
    EXPECT_TRUE(in.failed());
    EXPECT_EQ(in.ue(), 0U);
    const Bytes zeros(9, 0);
    BitReader endless(zeros);
    endless.ue();
    EXPECT_TRUE(endless.failed());
}

TEST(BitsTest, CopiesKeepEveryBitAtEveryAlignment) {
    std::mt19937 dice(9);
    const Bytes from = noise(dice, 23);
    for (size_t lead = 0; lead < 8; ++lead)
        for (size_t first = 0; first < 17; ++first) {
            BitWriter out;
            out.bits(0x55, static_cast<int>(lead));
            out.copy(from, first, 23 * 8 - 3);
            const size_t size = out.position();
            const Bytes copy = out.take();
            BitReader there(copy);
            BitReader here(from);
            there.skip(lead);
            here.skip(first);
            while (there.position() < size) ASSERT_EQ(there.bit(), here.bit()) << lead << ' ' << first;
            EXPECT_EQ(size, lead + 23 * 8 - 3 - first);
        }
}

TEST(NalUnitsTest, EscapingComesBackAndHoldsNoStartCode) {
    std::mt19937 dice(3);
    for (int trial = 0; trial < 400; ++trial) {
        const Bytes bytes = noise(dice, 1 + dice() % 60);
        const Bytes unit = escaped(bytes);
        EXPECT_EQ(unescaped(unit), bytes);
        EXPECT_EQ(escaped(unescaped(unit)), unit);
        for (size_t i = 0; i + 2 < unit.size(); ++i)
            EXPECT_FALSE(unit[i] == 0 && unit[i + 1] == 0 && unit[i + 2] <= 2) << i;
        EXPECT_FALSE(unit.size() > 1 && unit.back() == 0 && unit[unit.size() - 2] == 0);
    }
}

TEST(NalUnitsTest, LengthsThatLieAreNoPacket) {
    const Bytes good{0, 0, 0, 2, 0x41, 7, 0, 0, 0, 1, 0x42};
    const auto units = splitNalUnits(good, 4);
    ASSERT_TRUE(units);
    ASSERT_EQ(units->size(), 2U);
    EXPECT_EQ((*units)[1][0], 0x42);
    for (size_t cut = 1; cut < good.size(); ++cut)
        EXPECT_EQ(splitNalUnits(ByteView(good).first(cut), 4).has_value(), cut == 6) << cut;
    EXPECT_FALSE(splitNalUnits(Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0x41}, 4));
    EXPECT_TRUE(splitNalUnits(Bytes{1, 0x41, 1, 0x42}, 1));
    EXPECT_FALSE(splitNalUnits(Bytes{9, 9, 9, 0, 0, 1, 0x41}, 0));
    const Bytes starts{0, 0, 0, 1, 0x41, 5, 0, 0, 0, 1, 0x42, 0, 0};
    const auto byStart = splitNalUnits(starts, 0);
    ASSERT_TRUE(byStart);
    ASSERT_EQ(byStart->size(), 2U);
    EXPECT_EQ((*byStart)[0].size(), 2U);
    EXPECT_EQ((*byStart)[1].size(), 1U);
}

TEST(AvcSetsTest, ASetUnderAnotherIdKeepsAllButItsLimits) {
    for (const int profile : {66, 77, 100})
        for (const bool vui : {false, true})
            for (const bool restricted : {false, true}) {
                const auto sps = readAvcSps(spsUnit(3, profile, 30, vui, vui && restricted));
                ASSERT_TRUE(sps);
                EXPECT_EQ(sps->id, 3);
                EXPECT_EQ(sps->widthInBlocks, 8);
                EXPECT_EQ(sps->heightInBlocks, 6);
                EXPECT_EQ(sps->references, 3);
                EXPECT_EQ(sps->restricted, vui && restricted);
                const auto again = readAvcSps(writeAvcSps(*sps, 17, AvcLimits{41, 2, 5}));
                ASSERT_TRUE(again);
                EXPECT_EQ(again->id, 17);
                EXPECT_EQ(again->level, 41);
                EXPECT_EQ(again->profile, profile);
                EXPECT_TRUE(again->restricted);
                EXPECT_EQ(again->reorder, 2);
                EXPECT_EQ(again->buffering, 5);
                EXPECT_EQ(again->references, 3);
                EXPECT_EQ(again->widthInBlocks, 8);
                // Written twice, nothing changes any more.
                EXPECT_EQ(writeAvcSps(*again, 3, AvcLimits{30, 1, 2}),
                          writeAvcSps(*sps, 3, AvcLimits{30, 1, 2}));
            }
}

TEST(AvcSetsTest, WhatIsCutOffOrOutOfRangeIsNoSet) {
    const Bytes sps = spsUnit(0, 100, 31, true, true);
    for (size_t cut = 0; cut + 1 < sps.size(); ++cut)
        EXPECT_FALSE(readAvcSps(ByteView(sps).first(cut))) << cut;
    const Bytes pps = ppsUnit(2, 1, true);
    EXPECT_TRUE(readAvcPps(pps));
    EXPECT_FALSE(readAvcPps(ByteView(pps).first(2)));
    BitWriter far;
    far.bits(0x68, 8);
    far.ue(256);
    far.ue(0);
    far.bits(0xFFFF, 16);
    EXPECT_FALSE(readAvcPps(escaped(far.take())));
    std::mt19937 dice(21);
    for (int i = 0; i < 3000; ++i) {
        const Bytes any = noise(dice, dice() % 40);
        const auto sequence = readAvcSps(any);
        EXPECT_LE(sequence ? sequence->id : 0, 31);
        const auto picture = readAvcPps(any);
        EXPECT_LE(picture ? picture->sps : 0, 31);
        readAvcHeader(any);
        withoutBufferingPeriods(any);
    }
}

TEST(AvcSetsTest, ASliceThatNamesAnotherSetKeepsEveryOtherBit) {
    std::mt19937 dice(12);
    for (const auto& [from, to] :
         {std::pair{0, 0}, {0, 15}, {0, 30}, {1, 2}, {1, 31}, {2, 62}, {5, 3}, {20, 0}, {4, 63}}) {
        ASSERT_TRUE(sameAlignment(from, to)) << from << ' ' << to;
        for (int trial = 0; trial < 50; ++trial) {
            BitWriter out;
            out.bits(0x65, 8);
            out.ue(trial % 3 == 0 ? 0 : static_cast<uint32_t>(dice() % 8000));
            out.ue(7);
            out.ue(static_cast<uint32_t>(from));
            const size_t header = out.position();
            const Bytes rest = noise(dice, 5 + dice() % 80);
            out.copy(rest, 0, rest.size() * 8 - 8);
            out.trailing();
            Bytes payload = out.take();
            const Bytes unit = escaped(payload);
            const auto slice = readAvcSlice(unit);
            ASSERT_TRUE(slice);
            EXPECT_EQ(slice->pps, from);
            EXPECT_EQ(slice->kind, 2);
            EXPECT_EQ(slice->afterPps, header);
            const Bytes other = writeAvcSlice(unit, *slice, to);
            const auto again = readAvcSlice(other);
            ASSERT_TRUE(again);
            EXPECT_EQ(again->pps, to);
            EXPECT_EQ(again->firstBlock, slice->firstBlock);
            EXPECT_EQ(again->afterPps % 8, slice->afterPps % 8);
            const Bytes bytes = unescaped(other);
            BitReader here(bytes);
            BitReader there(payload);
            here.skip(again->afterPps);
            there.skip(slice->afterPps);
            ASSERT_EQ(here.size() - here.position(), there.size() - there.position());
            while (here.position() < here.size()) ASSERT_EQ(here.bit(), there.bit());
            EXPECT_EQ(writeAvcSlice(other, *again, from), unit);
        }
    }
    EXPECT_FALSE(sameAlignment(0, 1));
    EXPECT_FALSE(sameAlignment(3, 15));
}

TEST(AvcSetsTest, OnlyMessagesAboutBufferingAreLeftOut) {
    const Bytes both = escaped(Bytes{6, 0, 2, 0x81, 0x80, 5, 3, 1, 2, 3, 0x80});
    EXPECT_EQ(withoutBufferingPeriods(both), escaped(Bytes{6, 5, 3, 1, 2, 3, 0x80}));
    EXPECT_TRUE(withoutBufferingPeriods(escaped(Bytes{6, 0, 2, 0x81, 0x80, 0x80})).empty());
    const Bytes none{6, 5, 3, 1, 2, 3, 0x80};
    EXPECT_EQ(withoutBufferingPeriods(none), none);
    // A size that lies ends the message.
    EXPECT_TRUE(withoutBufferingPeriods(Bytes{6, 5, 255, 255, 255, 9, 1, 0x80}).empty());
}

TEST(AvcSetsTest, AHeaderGivesItsSetsOnceAndNoneThatClash) {
    Bytes header;
    const auto add = [&](const Bytes& unit) {
        header.insert(header.end(), {0, 0, 0, 1});
        header.insert(header.end(), unit.begin(), unit.end());
    };
    add(spsUnit(0, 100, 31, true, true));
    add(ppsUnit(0, 0, true));
    add(ppsUnit(0, 0, true));
    add(ppsUnit(1, 0, false));
    auto sets = readAvcHeader(header);
    ASSERT_TRUE(sets);
    EXPECT_EQ(sets->lengthSize, 0);
    EXPECT_EQ(sets->sps.size(), 1U);
    EXPECT_EQ(sets->pps.size(), 2U);
    EXPECT_EQ(sets->add(ppsUnit(1, 0, false)), AvcSets::Added::known);
    EXPECT_EQ(sets->add(ppsUnit(1, 0, true)), AvcSets::Added::changed);
    EXPECT_EQ(sets->add(Bytes{0x68}), AvcSets::Added::broken);
    add(ppsUnit(1, 0, true));
    EXPECT_FALSE(readAvcHeader(header));
    EXPECT_FALSE(readAvcHeader(Bytes{}));
}

}  // namespace
}  // namespace tumblewash::test
