// What single packets of sound tell of how they overlap with their neighbours, and the windows of AAC.
#include <array>
#include <cmath>
#include <numbers>

#include "media/detail/Bits.h"
#include "media/detail/SoundCopyDetail.h"

namespace tumblewash::media {

namespace {

constexpr int kHalf = 1024;

/// ISO/IEC 14496-3, 4.6.11: running sums of a Kaiser window with alpha 4.
std::array<double, kHalf> kaiserHalf() {
    constexpr double kAlpha = 4;
    std::array<double, kHalf> out{};
    double sum = 0;
    const auto kaiser = [](int n) {
        const double x = 2.0 * n / kHalf - 1;
        return std::cyl_bessel_i(0.0, std::numbers::pi * kAlpha * std::sqrt(1 - x * x));
    };
    for (int n = 0; n < kHalf; ++n) {
        sum += kaiser(n);
        out[static_cast<size_t>(n)] = sum;
    }
    sum += kaiser(kHalf);
    for (double& value : out) value = std::sqrt(value / sum);
    return out;
}

}  // namespace

std::optional<WindowHalf> windowBehind(ByteView packet) {
    // ISO/IEC 14496-3, 4.4.2: elements of a raw data block.
    enum : uint32_t { single = 0, pair = 1, data = 4, fill = 6 };
    BitReader bits(packet);
    for (;;) {
        const uint32_t element = bits.bits(3);
        if (bits.failed()) return std::nullopt;
        if (element == fill) {
            uint32_t count = bits.bits(4);
            if (count == 15) count += bits.bits(8) - 1;
            for (uint32_t i = 0; i < count; ++i) bits.skip(8);
            continue;
        }
        bits.skip(4);
        if (element == pair) {
            if (!bits.bit()) return std::nullopt;
        } else if (element == single) {
            bits.skip(8);
        } else {
            return std::nullopt;
        }
        bits.skip(1);
        const uint32_t sequence = bits.bits(2);
        const bool kaiser = bits.bit();
        if (bits.failed()) return std::nullopt;
        return WindowHalf{sequence == 0 || sequence == 3, kaiser};
    }
}

double windowAt(bool kaiser, int n) {
    static const std::array<double, kHalf> kKaiser = kaiserHalf();
    return kaiser ? kKaiser[static_cast<size_t>(n)] : std::sin(std::numbers::pi / (2 * kHalf) * (n + 0.5));
}

void bendOverlap(float* samples, size_t channels, bool wanted, bool own) {
    // A transform sees w(n) x(n) - w(m) x(m) for each pair of places that mirror each other, and w(n)^2 +
    // w(m)^2 is 1: what is missing goes to both in proportion to their weights.
    for (int n = 0; n < kHalf / 2; ++n) {
        const int m = kHalf - 1 - n;
        const double here = windowAt(own, n);
        const double there = windowAt(own, m);
        for (size_t c = 0; c < channels; ++c) {
            float& x = samples[static_cast<size_t>(n) * channels + c];
            float& y = samples[static_cast<size_t>(m) * channels + c];
            const double missing = (windowAt(wanted, n) - here) * x - (windowAt(wanted, m) - there) * y;
            x = static_cast<float>(x + here * missing);
            y = static_cast<float>(y - there * missing);
        }
    }
}

bool isTransformOpus(ByteView packet) {
    return !packet.empty() && packet[0] >> 3 >= 16;  // RFC 6716, 3.1
}

}  // namespace tumblewash::media
