// Where a random test takes its decisions from: a seeded generator, or the bytes that a fuzzer hands over.
// The same walk over the same decisions serves both. It knows nothing of what is decided.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>

namespace tumblewash::faults {

/// A stream of decisions.
class Choice {
  public:
    virtual ~Choice() = default;
    /// The next 32 bits.
    virtual std::uint32_t bits() = 0;
    /// True when nothing is left to decide; a generator never ends.
    virtual bool ended() const { return false; }

    /// A number from `low` to `high`, both included.
    int range(int low, int high) {
        const auto span = static_cast<std::uint32_t>(static_cast<std::int64_t>(high) - low) + 1;
        return static_cast<int>(static_cast<std::int64_t>(low) + (span == 0 ? bits() : bits() % span));
    }
    /// True once in `n` times.
    bool once(int n) { return range(1, n) == 1; }
    /// One of the values.
    template <class T, std::size_t N>
    T oneOf(const T (&values)[N]) {
        return values[static_cast<std::size_t>(range(0, static_cast<int>(N) - 1))];
    }
    /// Any 16-bit number, often a small or an extreme one.
    std::int16_t wild16() {
        static constexpr std::int16_t kUsual[] = {0, 1, -1, 15, 16, 17, 255, 256, 4095, 4096, 32767, -32768};
        return once(2) ? oneOf(kUsual) : static_cast<std::int16_t>(bits());
    }
    /// Any 32-bit number, often a small or an extreme one.
    std::int32_t wild32() {
        static constexpr std::int32_t kUsual[] = {0, 1, -1, 2, 3, 10, 100, 0x7FFFFFFF, -0x7FFFFFFF - 1};
        return once(2) ? oneOf(kUsual) : static_cast<std::int32_t>(bits());
    }
    /// Any double, no number and infinity among them, often near a picture.
    double wildReal() {
        switch (range(0, 3)) {
            case 0: {
                const std::uint64_t word = (std::uint64_t{bits()} << 32) | bits();
                double value;
                std::memcpy(&value, &word, sizeof value);
                return value;
            }
            case 1: {
                static constexpr double kUsual[] = {0.0,   -0.0,   0.5,  1.0,   -1.0,         -0.5,
                                                    1e300, -1e300, 1e10, -1e10, 2147483647.5, -2147483648.5};
                return oneOf(kUsual);
            }
            default:
                return range(-2000, 2000) / 16.0;
        }
    }
};

/// Decisions of a seeded generator.
class SeededChoice final : public Choice {
  public:
    explicit SeededChoice(std::uint32_t seed) : generator_(seed) {}
    std::uint32_t bits() override { return static_cast<std::uint32_t>(generator_()); }

  private:
    std::mt19937 generator_;
};

/// Decisions taken from bytes, four at a time; zeros after the last.
class ByteChoice final : public Choice {
  public:
    explicit ByteChoice(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::uint32_t bits() override {
        std::uint32_t word = 0;
        for (int i = 0; i < 4 && at_ < bytes_.size(); ++i)
            word |= static_cast<std::uint32_t>(bytes_[at_++]) << (8 * i);
        return word;
    }
    bool ended() const override { return at_ >= bytes_.size(); }

  private:
    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

}  // namespace tumblewash::faults
