// Bits of a header, most significant first, read and written one field at a time, with the exponential Golomb
// codes of H.264 and HEVC. It knows no format: which fields follow one another is its callers' matter.
// Reading past the end gives zeros and is remembered, so that a header is checked once, at its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tumblewash::media {

/// Reads bytes that outlive it.
class BitReader {
  public:
    explicit BitReader(std::span<const uint8_t> bytes) noexcept : bytes_(bytes) {}

    /// The next `count` bits, 0 to 32 of them.
    uint32_t bits(int count) noexcept;
    bool bit() noexcept { return bits(1) != 0; }
    /// An unsigned Golomb code, at most 2^32 - 2.
    uint32_t ue() noexcept;
    /// A signed one.
    int32_t se() noexcept;
    void skip(size_t count) noexcept;

    size_t position() const noexcept { return at_; }
    size_t size() const noexcept { return bytes_.size() * 8; }
    /// True once anything behind the end was asked for, or a code that is none.
    bool failed() const noexcept { return failed_; }

  private:
    std::span<const uint8_t> bytes_;
    size_t at_ = 0;
    bool failed_ = false;
};

class BitWriter {
  public:
    /// The lowest `count` bits of `value`, 0 to 32 of them.
    void bits(uint32_t value, int count);
    void bit(bool value) { bits(value ? 1 : 0, 1); }
    void ue(uint32_t value);
    /// The bits [from, to) of `bytes`, which must hold them.
    void copy(std::span<const uint8_t> bytes, size_t from, size_t to);
    /// A one, then zeros up to a whole byte.
    void trailing();

    size_t position() const noexcept { return at_; }
    std::vector<uint8_t> take() { return std::move(bytes_); }

  private:
    std::vector<uint8_t> bytes_;
    size_t at_ = 0;
};

/// Bits of the Golomb code of `value`, which is below 2^32 - 1.
int ueLength(uint32_t value) noexcept;

/// True when what follows the Golomb code of the one number keeps its place within its byte behind that of
/// the other: the codes differ by whole bytes at most.
inline bool sameAlignment(int value, int other) noexcept {
    return (ueLength(static_cast<uint32_t>(value)) - ueLength(static_cast<uint32_t>(other))) % 8 == 0;
}

/// Where the bits of a header end: the position of the last one that is set, which closes it. 0 when none is.
size_t closingBit(std::span<const uint8_t> bytes) noexcept;

}  // namespace tumblewash::media
