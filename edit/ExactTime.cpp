#include "edit/ExactTime.h"

#include <cmath>
#include <stdexcept>

#include "edit/Times.h"

namespace tumblewash::edit {

using media::FrameRate;

namespace {

constexpr double kMostFrames = 1e10;
constexpr std::int64_t kMillion = 1000000;

Moment::Wide gcd(Moment::Wide a, Moment::Wide b) {
    if (a < 0) a = -a;
    while (b != 0) {
        const Moment::Wide rest = a % b;
        a = b;
        b = rest;
    }
    return a == 0 ? 1 : a;
}

Moment::Wide floorDivide(Moment::Wide a, Moment::Wide b) {
    const Moment::Wide quotient = a / b;
    return a % b != 0 && a < 0 ? quotient - 1 : quotient;
}

}  // namespace

std::optional<FrameRate> rateOf(double value) {
    if (!(value >= 0.999 && value <= 240.001)) return std::nullopt;
    for (const std::int64_t nominal : {24, 30, 48, 60, 120})
        if (std::abs(value - static_cast<double>(nominal) * 1000 / 1001) <= 0.006)
            return makeRate(nominal * 1000, 1001);
    const double whole = std::round(value);
    if (std::abs(value - whole) <= 1e-6) return FrameRate{static_cast<std::int64_t>(whole), 1};
    FrameRate best{static_cast<std::int64_t>(whole), 1};
    for (std::int64_t den = 2; den <= 1001; ++den) {
        const auto num = static_cast<std::int64_t>(std::llround(value * static_cast<double>(den)));
        const FrameRate next{num, den};
        if (std::abs(next.value() - value) < std::abs(best.value() - value)) best = next;
    }
    return makeRate(best.num, best.den);
}

Moment::Moment(Wide num, Wide den) : num_(num), den_(den) {
    const Wide common = gcd(num, den);
    num_ /= common;
    den_ /= common;
    constexpr Wide kMost = Wide{1000000000000000000} * 100;
    if (den_ > kMost) throw std::out_of_range("too many different rates");
}

Moment Moment::ofFrames(double value, FrameRate rate) {
    if (!(std::abs(value) <= kMostFrames)) throw std::out_of_range("a time is too large");
    const auto millionths = static_cast<std::int64_t>(std::llround(value * static_cast<double>(kMillion)));
    return {Wide{millionths} * rate.den, Wide{rate.num} * kMillion};
}

Moment Moment::ofFrames(std::int64_t frames, FrameRate rate) {
    return {Wide{frames} * rate.den, rate.num};
}

Moment Moment::ofMicroseconds(std::int64_t count) {
    return {count, kMillion};
}

Moment Moment::operator+(const Moment& other) const {
    const Wide common = gcd(den_, other.den_);
    Wide mine = 0, others = 0, num = 0, den = 0;
    if (__builtin_mul_overflow(num_, other.den_ / common, &mine) ||
        __builtin_mul_overflow(other.num_, den_ / common, &others) ||
        __builtin_add_overflow(mine, others, &num) || __builtin_mul_overflow(den_ / common, other.den_, &den))
        throw std::out_of_range("too many different rates");
    return {num, den};
}

Moment Moment::operator-(const Moment& other) const {
    return *this + Moment(-other.num_, other.den_);
}

bool Moment::operator<(const Moment& other) const {
    return (*this - other).num_ < 0;
}

std::int64_t Moment::frame(FrameRate rate) const {
    // floor(s x rate + 1/2); the whole seconds apart, so that the product stays small.
    const Wide whole = floorDivide(num_, den_);
    const Wide rest = num_ - whole * den_;
    const Wide num = 2 * (whole * rate.num * den_ + rest * rate.num) + Wide{rate.den} * den_;
    return static_cast<std::int64_t>(floorDivide(num, 2 * Wide{rate.den} * den_));
}

}  // namespace tumblewash::edit
