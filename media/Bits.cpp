#include "media/detail/Bits.h"

#include <algorithm>
#include <bit>

namespace tumblewash::media {

uint32_t BitReader::bits(int count) noexcept {
    if (static_cast<size_t>(count) > size() - at_) {
        failed_ = true;
        at_ = size();
        return 0;
    }
    uint32_t value = 0;
    for (int left = count; left > 0;) {
        const int inByte = 8 - static_cast<int>(at_ % 8);
        const int take = std::min(left, inByte);
        const uint32_t byte = bytes_[at_ / 8];
        const uint32_t part = (byte >> (inByte - take)) & ((1U << take) - 1);
        value = (value << take) | part;
        at_ += static_cast<size_t>(take);
        left -= take;
    }
    return value;
}

uint32_t BitReader::ue() noexcept {
    int zeros = 0;
    while (!failed_ && !bit()) ++zeros;
    if (failed_ || zeros > 31) {
        failed_ = true;
        return 0;
    }
    return (1U << zeros) - 1 + bits(zeros);
}

int32_t BitReader::se() noexcept {
    const uint32_t code = ue();
    const auto half = static_cast<int32_t>(code / 2 + code % 2);
    return code % 2 == 1 ? half : -half;
}

void BitReader::skip(size_t count) noexcept {
    if (count > size() - at_) failed_ = true;
    at_ += std::min(count, size() - at_);
}

void BitWriter::bits(uint32_t value, int count) {
    for (int left = count; left > 0;) {
        if (at_ % 8 == 0) bytes_.push_back(0);
        const int room = 8 - static_cast<int>(at_ % 8);
        const int take = std::min(left, room);
        const uint32_t part = (value >> (left - take)) & ((1U << take) - 1);
        bytes_.back() = static_cast<uint8_t>(bytes_.back() | (part << (room - take)));
        at_ += static_cast<size_t>(take);
        left -= take;
    }
}

void BitWriter::ue(uint32_t value) {
    const int length = ueLength(value);
    bits(0, length / 2);
    bits(value + 1, length / 2 + 1);
}

void BitWriter::copy(std::span<const uint8_t> bytes, size_t from, size_t to) {
    BitReader source(bytes);
    source.skip(from);
    while (from < to) {
        if (at_ % 8 == 0 && from % 8 == 0 && to - from >= 8) {
            const auto first = bytes.begin() + static_cast<ptrdiff_t>(from / 8);
            const auto whole = static_cast<ptrdiff_t>((to - from) / 8);
            bytes_.insert(bytes_.end(), first, first + whole);
            at_ += static_cast<size_t>(whole) * 8;
            from += static_cast<size_t>(whole) * 8;
            source.skip(static_cast<size_t>(whole) * 8);
            continue;
        }
        const auto take = static_cast<int>(std::min<size_t>(to - from, 8 - from % 8));
        bits(source.bits(take), take);
        from += static_cast<size_t>(take);
    }
}

void BitWriter::trailing() {
    bits(1, 1);
    while (at_ % 8 != 0) bits(0, 1);
}

int ueLength(uint32_t value) noexcept {
    return 2 * static_cast<int>(std::bit_width(value + 1)) - 1;
}

size_t closingBit(std::span<const uint8_t> bytes) noexcept {
    size_t last = bytes.size();
    while (last > 0 && bytes[last - 1] == 0) --last;
    if (last == 0) return 0;
    return last * 8 - 1 - static_cast<size_t>(std::countr_zero(bytes[last - 1]));
}

}  // namespace tumblewash::media
