// The chunks of a PNG file, in order. It knows where they lie, not what they mean.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// True for files that begin as a PNG does.
inline bool isPng(const InputBytes& file) {
    constexpr std::array<uint8_t, 8> mark{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::array<uint8_t, 8> head{};
    return file.read(0, head) == head.size() && head == mark;
}

/// A number as PNG stores it, the most significant byte first.
inline uint32_t pngNumber(const uint8_t* at) {
    return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | uint32_t{at[3]};
}

/// Calls `take(type, at, length)` for the chunks of a PNG, whose contents lie at `at`, until it says false,
/// or the file ends or makes no sense.
template <typename Take>
void eachPngChunk(const InputBytes& file, Take take) {
    constexpr int kMost = 4096;
    uint64_t at = 8;
    for (int i = 0; i < kMost; ++i) {
        std::array<uint8_t, 8> head{};
        if (file.read(at, head) != head.size()) return;
        const uint32_t length = pngNumber(head.data());
        const std::string_view type(reinterpret_cast<const char*>(head.data()) + 4, 4);
        if (type == "IEND" || length > INT32_MAX || !take(type, at + 8, length)) return;
        at += uint64_t{12} + length;
    }
}

}  // namespace tumblewash::media
