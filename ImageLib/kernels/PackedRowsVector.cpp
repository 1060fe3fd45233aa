#include "ImageLib/kernels/PackedRows.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

void addBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, InstructionSet) {
    addBytesRowScalar(dst, src, bytes);
}

void subtractBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, InstructionSet) {
    subtractBytesRowScalar(dst, src, bytes);
}

void addPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4], InstructionSet) {
    addPixelRowScalar(dst, pixels, value);
}

void fillPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4], InstructionSet) {
    fillPixelRowScalar(dst, pixels, value);
}

std::uint64_t sumLuminanceRow(const std::uint8_t* row, std::size_t pixels, InstructionSet) {
    return sumLuminanceRowScalar(row, pixels);
}

void luminanceDifferencesRow(const std::uint8_t* a, const std::uint8_t* b, std::size_t pixels,
                             LuminanceDifferences& sum, InstructionSet) {
    luminanceDifferencesRowScalar(a, b, pixels, sum);
}

}  // namespace tumblewash::kernels

#else

#include <bit>
#include <cstring>

#include "ImageLib/kernels/Overlap.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/PackedRowsVector.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128

using Bytes = hn::ScalableTag<std::uint8_t>;
using Words = hn::Repartition<std::uint16_t, Bytes>;
using Pixels = hn::Repartition<std::uint32_t, Bytes>;

/// The same four bytes in every pixel.
HWY_INLINE hn::Vec<Bytes> everyPixel(const std::uint8_t value[4]) {
    std::uint32_t word = 0;
    std::memcpy(&word, value, sizeof word);
    return hn::BitCast(Bytes(), hn::Set(Pixels(), word));
}

/// The luminances of a vector of pixels, one in each 32 bits. A hundredth is a product with 5243 of which 19
/// bits are dropped: for numbers below 43699 that is the quotient.
HWY_INLINE hn::Vec<Pixels> luminances(const std::uint8_t* at) {
    constexpr bool little = std::endian::native == std::endian::little;
    // The bytes at even and at odd places of each pixel, as words: alpha and green, red and blue.
    const auto words = hn::BitCast(Words(), hn::LoadU(Bytes(), at));
    const auto low = hn::And(words, hn::Set(Words(), static_cast<std::uint16_t>(255)));
    const auto high = hn::ShiftRight<8>(words);
    const auto forLow = hn::BitCast(Words(), hn::Set(Pixels(), little ? 59U << 16 : 30U << 16 | 11U));
    const auto forHigh = hn::BitCast(Words(), hn::Set(Pixels(), little ? 30U | 11U << 16 : 59U));
    const auto weighed = hn::BitCast(Pixels(), hn::Add(hn::Mul(low, forLow), hn::Mul(high, forHigh)));
    const auto hundredfold =
        hn::Add(hn::And(weighed, hn::Set(Pixels(), 65535U)), hn::ShiftRight<16>(weighed));
    const auto product =
        hn::MulHigh(hn::BitCast(Words(), hundredfold), hn::BitCast(Words(), hn::Set(Pixels(), 5243U)));
    return hn::BitCast(Pixels(), hn::ShiftRight<3>(product));
}

HWY_INLINE std::uint64_t sumOf(hn::Vec<Pixels> numbers) {
    HWY_ALIGN std::uint32_t lanes[HWY_MAX_BYTES / 4];
    hn::Store(numbers, Pixels(), lanes);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < hn::Lanes(Pixels()); ++i) sum += lanes[i];
    return sum;
}

/// dst = combine(dst, src) for all whole vectors of a row; returns how many bytes are done.
template <class Combine>
HWY_INLINE std::size_t combineBytes(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes,
                                    Combine combine) {
    const Bytes d;
    std::size_t i = 0;
    for (const std::size_t lanes = hn::Lanes(d); i + lanes <= bytes; i += lanes)
        hn::StoreU(combine(hn::LoadU(d, dst + i), hn::LoadU(d, src + i)), d, dst + i);
    return i;
}

#endif

HWY_ATTR void addBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    i = combineBytes(dst, src, bytes, [](auto a, auto b) HWY_ATTR { return hn::Add(a, b); });
#endif
    addBytesRowScalar(dst + i, src + i, bytes - i);
}

HWY_ATTR void subtractBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    i = combineBytes(dst, src, bytes, [](auto a, auto b) HWY_ATTR { return hn::Sub(a, b); });
#endif
    subtractBytesRowScalar(dst + i, src + i, bytes - i);
}

HWY_ATTR void addPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t* value) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Bytes d;
    const auto step = everyPixel(value);
    for (const std::size_t lanes = hn::Lanes(d) / 4; i + lanes <= pixels; i += lanes)
        hn::StoreU(hn::Add(hn::LoadU(d, dst + 4 * i), step), d, dst + 4 * i);
#endif
    addPixelRowScalar(dst + 4 * i, pixels - i, value);
}

HWY_ATTR void fillPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t* value) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Bytes d;
    const auto filled = everyPixel(value);
    for (const std::size_t lanes = hn::Lanes(d) / 4; i + lanes <= pixels; i += lanes)
        hn::StoreU(filled, d, dst + 4 * i);
#endif
    fillPixelRowScalar(dst + 4 * i, pixels - i, value);
}

HWY_ATTR std::uint64_t sumLuminanceRow(const std::uint8_t* row, std::size_t pixels) {
    std::uint64_t total = 0;
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const std::size_t lanes = hn::Lanes(Pixels());
    while (i + lanes <= pixels) {
        auto sum = hn::Zero(Pixels());
        // So many luminances of a lane stay inside 32 bits.
        for (std::size_t n = std::size_t{1} << 24; n > 0 && i + lanes <= pixels; --n, i += lanes)
            sum = hn::Add(sum, luminances(row + 4 * i));
        total += sumOf(sum);
    }
#endif
    return total + sumLuminanceRowScalar(row + 4 * i, pixels - i);
}

HWY_ATTR void luminanceDifferencesRow(const std::uint8_t* a, const std::uint8_t* b, std::size_t pixels,
                                      LuminanceDifferences& sum) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
    const Pixels d;
    const std::size_t lanes = hn::Lanes(d);
    auto smallest = hn::Set(d, sum.smallest), largest = hn::Set(d, sum.largest);
    while (i + lanes <= pixels) {
        auto squares = hn::Zero(d);
        // So many squares of a lane stay inside 32 bits.
        for (int n = 1 << 16; n > 0 && i + lanes <= pixels; --n, i += lanes) {
            const auto one = luminances(a + 4 * i), other = luminances(b + 4 * i);
            const auto apart = hn::Sub(hn::Max(one, other), hn::Min(one, other));
            smallest = hn::Min(smallest, apart);
            largest = hn::Max(largest, apart);
            // A square of a byte fits the word that it stands in.
            const auto words = hn::BitCast(Words(), apart);
            squares = hn::Add(squares, hn::BitCast(d, hn::Mul(words, words)));
        }
        sum.squares += sumOf(squares);
    }
    sum.smallest = hn::GetLane(hn::MinOfLanes(d, smallest));
    sum.largest = hn::GetLane(hn::MaxOfLanes(d, largest));
#endif
    luminanceDifferencesRowScalar(a + 4 * i, b + 4 * i, pixels - i, sum);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(addBytesRow);
HWY_EXPORT(subtractBytesRow);
HWY_EXPORT(addPixelRow);
HWY_EXPORT(fillPixelRow);
HWY_EXPORT(sumLuminanceRow);
HWY_EXPORT(luminanceDifferencesRow);

void addBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, InstructionSet set) {
    if (trails(src, dst, bytes)) return addBytesRowScalar(dst, src, bytes);
    TUMBLEWASH_VERSION(addBytesRow, set)(dst, src, bytes);
}

void subtractBytesRow(std::uint8_t* dst, const std::uint8_t* src, std::size_t bytes, InstructionSet set) {
    if (trails(src, dst, bytes)) return subtractBytesRowScalar(dst, src, bytes);
    TUMBLEWASH_VERSION(subtractBytesRow, set)(dst, src, bytes);
}

void addPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4], InstructionSet set) {
    TUMBLEWASH_VERSION(addPixelRow, set)(dst, pixels, value);
}

void fillPixelRow(std::uint8_t* dst, std::size_t pixels, const std::uint8_t value[4], InstructionSet set) {
    TUMBLEWASH_VERSION(fillPixelRow, set)(dst, pixels, value);
}

std::uint64_t sumLuminanceRow(const std::uint8_t* row, std::size_t pixels, InstructionSet set) {
    return TUMBLEWASH_VERSION(sumLuminanceRow, set)(row, pixels);
}

void luminanceDifferencesRow(const std::uint8_t* a, const std::uint8_t* b, std::size_t pixels,
                             LuminanceDifferences& sum, InstructionSet set) {
    TUMBLEWASH_VERSION(luminanceDifferencesRow, set)(a, b, pixels, sum);
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
