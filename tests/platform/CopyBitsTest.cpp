#include <gtest/gtest.h>

#include <algorithm>

#include "platform/CopyBits.h"
#include "tests/platform/TestPicture.h"

using tumblewash::platform::BlendRect;
using tumblewash::test::inside;
using tumblewash::test::Picture;

namespace {

// What each destination byte must be, pixel by pixel.
template <class Mix>
std::vector<std::uint8_t> expected(const Picture& src, const std::vector<std::uint8_t>& srcBytes,
                                   const Picture& dst, const Rect& from, const Rect& to, Mix mix) {
    std::vector<std::uint8_t> out = dst.bytes;
    const int fromWidth = from.right - from.left, fromHeight = from.bottom - from.top;
    const int toWidth = to.right - to.left, toHeight = to.bottom - to.top;
    for (int j = 0; j < toHeight; ++j) {
        for (int i = 0; i < toWidth; ++i) {
            const int x = to.left + i, y = to.top + j;
            const int sx = from.left + i * fromWidth / toWidth, sy = from.top + j * fromHeight / toHeight;
            if (!inside(dst.map.bounds, x, y) || !inside(src.map.bounds, sx, sy)) continue;
            for (std::size_t b = 0; b < 4; ++b) {
                const std::size_t at = dst.offset(x, y) + b;
                out[at] = mix(srcBytes[src.offset(sx, sy) + b], out[at]);
            }
        }
    }
    return out;
}

std::uint8_t replace(std::uint8_t s, std::uint8_t) {
    return s;
}

struct Numbers {
    explicit Numbers(unsigned seed) : next(seed) {}
    int upTo(int n) { return static_cast<int>(next() % static_cast<unsigned>(n + 1)); }
    Rect rect(int reach, int size) {
        const int top = upTo(2 * reach) - reach, left = upTo(2 * reach) - reach;
        return Rect{static_cast<short>(top), static_cast<short>(left),
                    static_cast<short>(top + 1 + upTo(size)), static_cast<short>(left + 1 + upTo(size))};
    }
    std::mt19937 next;
};

}  // namespace

TEST(CopyBitsTest, EqualSizesCopyAllFourBytes) {
    for (int width = 1; width <= 67; width += 3) {
        for (const int extra : {0, 4, 12}) {
            const Rect bounds{0, 0, 5, static_cast<short>(width)};
            const Picture src(bounds, extra, 1);
            Picture dst(bounds, 0, 2);
            const auto want = expected(src, src.bytes, dst, bounds, bounds, replace);
            CopyBits(&src.map, &dst.map, &bounds, &bounds, srcCopy, nullptr);
            ASSERT_EQ(dst.bytes, want) << width << ' ' << extra;
        }
    }
}

TEST(CopyBitsTest, ScaledAndClippedCopiesTakeTheFlooredSourcePixel) {
    Numbers numbers(5);
    for (int round = 0; round < 3000; ++round) {
        const Picture src(numbers.rect(6, 20), numbers.upTo(2) * 4, 1);
        Picture dst(numbers.rect(6, 20), numbers.upTo(2) * 4, 2);
        const Rect from = numbers.rect(12, 30), to = numbers.rect(12, 30);
        const auto want = expected(src, src.bytes, dst, from, to, replace);
        CopyBits(&src.map, &dst.map, &from, &to, srcCopy, nullptr);
        ASSERT_EQ(dst.bytes, want) << round;
    }
}

TEST(CopyBitsTest, RowsOfEveryWidthAreScaledToEveryOther) {
    for (short wide = 1; wide <= 67; ++wide) {
        // Maps without padding: a sanitizer hears whatever is touched outside.
        const Rect from{0, 0, 1, wide};
        const Picture src(from, 0, 3);
        for (short out = 1; out <= 67; ++out) {
            const Rect to{0, 0, 2, out};
            Picture dst(to, 0, 4);
            const auto want = expected(src, src.bytes, dst, from, to, replace);
            CopyBits(&src.map, &dst.map, &from, &to, srcCopy, nullptr);
            ASSERT_EQ(dst.bytes, want) << wide << " to " << out;
        }
    }
}

TEST(CopyBitsTest, UnscaledClippedCopiesKeepTheirPlace) {
    Numbers numbers(6);
    for (int round = 0; round < 2000; ++round) {
        const Picture src(numbers.rect(6, 20), numbers.upTo(2) * 4, 1);
        Picture dst(numbers.rect(6, 20), numbers.upTo(2) * 4, 2);
        const Rect from = numbers.rect(12, 30);
        Rect to = from;
        OffsetRect(&to, static_cast<short>(numbers.upTo(10) - 5), static_cast<short>(numbers.upTo(10) - 5));
        const auto want = expected(src, src.bytes, dst, from, to, replace);
        CopyBits(&src.map, &dst.map, &from, &to, srcCopy, nullptr);
        ASSERT_EQ(dst.bytes, want) << round;
    }
}

TEST(CopyBitsTest, FarAwayRectanglesDrawNothing) {
    const Picture src(Rect{0, 0, 4, 4}, 0, 1);
    Picture dst(Rect{0, 0, 4, 4}, 0, 2);
    const auto before = dst.bytes;
    const Rect all{0, 0, 4, 4};
    for (const Rect r : {Rect{-32768, -32768, 32767, -32767}, Rect{4, 4, 32767, 32767}, Rect{0, 0, 0, 4},
                         Rect{0, 3, 4, 2}, Rect{-32768, 0, -32000, 4}}) {
        CopyBits(&src.map, &dst.map, &r, &all, srcCopy, nullptr);
        if (r.right != 32767) CopyBits(&src.map, &dst.map, &all, &r, srcCopy, nullptr);
    }
    CopyBits(nullptr, &dst.map, &all, &all, srcCopy, nullptr);
    CopyBits(&src.map, nullptr, &all, &all, srcCopy, nullptr);
    CopyBits(&src.map, &dst.map, nullptr, &all, srcCopy, nullptr);
    CopyBits(&src.map, &dst.map, &all, nullptr, srcCopy, nullptr);
    CopyBits(&src.map, &dst.map, &all, &all, 1, nullptr);
    CopyBits(&src.map, &dst.map, &all, &all, srcCopy, reinterpret_cast<RgnHandle>(8));
    PixMap empty = src.map;
    empty.baseAddr = nullptr;
    CopyBits(&empty, &dst.map, &all, &all, srcCopy, nullptr);
    EXPECT_EQ(dst.bytes, before);
}

TEST(CopyBitsTest, HugeRectanglesScaleWithoutOverflow) {
    const Picture src(Rect{0, 0, 4, 4}, 0, 1);
    Picture dst(Rect{0, 0, 4, 4}, 0, 2);
    const Rect huge{-32768, -32768, 32767, 32767}, all{0, 0, 4, 4};
    std::vector<std::uint8_t> want = dst.bytes;
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x) {
            const auto at = [](int v) {
                return static_cast<int>((static_cast<std::int64_t>(v) + 32768) * 4 / 65535);
            };
            std::copy_n(src.bytes.data() + src.offset(at(x), at(y)), 4, want.data() + dst.offset(x, y));
        }
    }
    CopyBits(&src.map, &dst.map, &all, &huge, srcCopy, nullptr);
    EXPECT_EQ(dst.bytes, want);
}

TEST(CopyBitsTest, MapsThatShareMemoryCopyAsIfTheyDidNot) {
    Numbers numbers(9);
    for (int round = 0; round < 2000; ++round) {
        Picture all(Rect{0, 0, 24, 16}, 8, static_cast<unsigned>(round));
        const auto snapshot = all.bytes;
        Picture src = all, dst = all;
        const bool fields = numbers.upTo(3) == 0;
        Rect from = numbers.rect(3, 16), to = numbers.rect(3, 16);
        if (numbers.upTo(1) == 0) {
            to = from;
            OffsetRect(&to, static_cast<short>(numbers.upTo(4) - 2), static_cast<short>(numbers.upTo(4) - 2));
        }
        if (fields) {
            src.map.rowBytes = static_cast<std::int16_t>(72 * 2);
            src.map.bounds.bottom = 12;
        }
        const auto want = expected(src, snapshot, dst, from, to, replace);
        src.map.baseAddr = dst.map.baseAddr = reinterpret_cast<Ptr>(all.bytes.data());
        CopyBits(&src.map, &dst.map, &from, &to, srcCopy, nullptr);
        ASSERT_EQ(all.bytes, want) << round;
    }
}

TEST(BlendRectTest, EveryLevelAndByteFollowsTheFormula) {
    const Rect bounds{0, 0, 256, 64};
    for (int level = 0; level <= 255; ++level) {
        Picture src(bounds, 0, 1), dst(bounds, 0, 2);
        for (std::size_t i = 0; i < 65536; ++i) {
            src.bytes[i] = static_cast<std::uint8_t>(i);
            dst.bytes[i] = static_cast<std::uint8_t>(i >> 8);
        }
        ASSERT_EQ(BlendRect(&src.map, &dst.map, &bounds, &bounds, level), noErr);
        for (unsigned i = 0; i < 65536; ++i) {
            const unsigned l = static_cast<unsigned>(level);
            ASSERT_EQ(dst.bytes[i], ((i & 255U) * l + (i >> 8) * (255U - l) + 127U) / 255U)
                << level << ' ' << i;
        }
    }
}

TEST(BlendRectTest, LevelIsLimited) {
    const Rect bounds{0, 0, 3, 3};
    const Picture src(bounds, 0, 1);
    Picture dst(bounds, 0, 2);
    const auto before = dst.bytes;
    EXPECT_EQ(noErr, BlendRect(&src.map, &dst.map, &bounds, &bounds, -7));
    EXPECT_EQ(dst.bytes, before);
    EXPECT_EQ(noErr, BlendRect(&src.map, &dst.map, &bounds, &bounds, 300));
    EXPECT_EQ(dst.bytes, src.bytes);
}

TEST(BlendRectTest, RectanglesOfTwoSizesMeetAtTheirTopLeftCorners) {
    Numbers numbers(11);
    for (int round = 0; round < 2000; ++round) {
        const Picture src(numbers.rect(6, 20), numbers.upTo(2) * 4, 1);
        Picture dst(numbers.rect(6, 20), numbers.upTo(2) * 4, 2);
        const Rect from = numbers.rect(8, 24), to = numbers.rect(8, 24);
        const int level = numbers.upTo(255);
        const auto least = [](int a, int b) { return static_cast<short>(std::min(a, b)); };
        const short w = least(from.right - from.left, to.right - to.left);
        const short h = least(from.bottom - from.top, to.bottom - to.top);
        const auto cut = [&](Rect r) {
            return Rect{r.top, r.left, static_cast<short>(r.top + h), static_cast<short>(r.left + w)};
        };
        const auto want =
            expected(src, src.bytes, dst, cut(from), cut(to), [&](std::uint8_t s, std::uint8_t d) {
                return static_cast<std::uint8_t>((s * level + d * (255 - level) + 127) / 255);
            });
        ASSERT_EQ(BlendRect(&src.map, &dst.map, &from, &to, level), noErr);
        ASSERT_EQ(dst.bytes, want) << round;
    }
}

TEST(BlendRectTest, SharedMemoryReadsBeforeItWrites) {
    Picture all(Rect{0, 0, 8, 8}, 0, 3);
    const auto snapshot = all.bytes;
    const Picture copy = all;
    const Rect from{0, 0, 6, 6}, to{1, 1, 7, 7};
    const auto want = expected(copy, snapshot, copy, from, to, [](std::uint8_t s, std::uint8_t d) {
        return static_cast<std::uint8_t>((s * 100 + d * 155 + 127) / 255);
    });
    EXPECT_EQ(noErr, BlendRect(&all.map, &all.map, &from, &to, 100));
    EXPECT_EQ(all.bytes, want);
}

TEST(BlendRectTest, NullsAreRefused) {
    const Rect r{0, 0, 2, 2};
    Picture p(r, 0, 1);
    EXPECT_EQ(BlendRect(nullptr, &p.map, &r, &r, 1), paramErr);
    EXPECT_EQ(BlendRect(&p.map, nullptr, &r, &r, 1), paramErr);
    EXPECT_EQ(BlendRect(&p.map, &p.map, nullptr, &r, 1), paramErr);
    EXPECT_EQ(BlendRect(&p.map, &p.map, &r, nullptr, 1), paramErr);
    const Rect empty{0, 0, 0, 2};
    const auto before = p.bytes;
    EXPECT_EQ(BlendRect(&p.map, &p.map, &empty, &r, 255), noErr);
    EXPECT_EQ(p.bytes, before);
}
