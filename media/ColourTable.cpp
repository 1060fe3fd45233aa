#include "media/detail/ColourTable.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <mutex>
#include <utility>

#include "ImageLib/kernels/ColourTableRow.h"

namespace tumblewash::media {

namespace {

constexpr double kSwing = kDeepWhite - kDeepBlack;

// Words of bent light: black is here, white 40960 further on.
constexpr double kLightBlack = 16384;
constexpr double kLightSwing = 40960;

uint16_t wordOf(double value) {
    return static_cast<uint16_t>(std::lround(std::clamp(value, 0.0, 65535.0)));
}

uint16_t deepWord(double signal) {
    return wordOf(kDeepBlack + kSwing * signal);
}

/// A display gamma whose start is eased, so that it may pass through 0: near to the signal's own curve where
/// the eye looks, straight where the gamut ends.
constexpr double kEase = 0.01;

double easeStart() {
    static const double start = lightToGamma(kEase);
    return start;
}

double bend(double light) {
    const double length = lightToGamma(1 + kEase) - easeStart();
    return std::copysign((lightToGamma(std::abs(light) + kEase) - easeStart()) / length, light);
}

/// The inverse of `bend` above 0; below it whatever is no light.
double unbend(double bent) {
    const double length = lightToGamma(1 + kEase) - easeStart();
    return bent <= 0 ? 0 : gammaToLight(bent * length + easeStart()) - kEase;
}

constexpr int kSpreadTop = 65535;  // where the clip's peak comes to stand
constexpr int kSpreadBits = 14;

uint16_t spreadWord(uint16_t word, int spread) {
    return static_cast<uint16_t>(
        std::min((std::max(word - kDeepBlack, 0) * spread) >> kSpreadBits, kSpreadTop));
}

}  // namespace

ColourTable::ColourTable(const SignalConversion& conversion) : nodes_(kernels::kColourTableWords) {
    const bool toSdr = conversion.toTransfer == Transfer::sdr;
    if (toSdr && conversion.fromTransfer == Transfer::pq)
        spread_ = static_cast<int>((kSpreadTop << kSpreadBits) / (kSwing * nitsToPq(conversion.fromPeak)));
    const auto signalOf = [&](int node) {
        if (spread_ == 0) return (1024.0 * node - kDeepBlack) / kSwing;
        return 1024.0 * node * (1 << kSpreadBits) / spread_ / kSwing;
    };
    int16_t* node = nodes_.data();
    for (int r = 0; r < kernels::kColourTableSide; ++r)
        for (int g = 0; g < kernels::kColourTableSide; ++g)
            for (int b = 0; b < kernels::kColourTableSide; ++b, node += 4) {
                const Triple in{signalOf(r), signalOf(g), signalOf(b)};
                const Triple out = toSdr ? lightForSdr(in, conversion) : convertSignal(in, conversion);
                for (size_t c = 0; c < 3; ++c)
                    node[c] = static_cast<int16_t>(
                        (toSdr ? wordOf(kLightBlack + kLightSwing * bend(out[c])) : deepWord(out[c])) -
                        32768);
            }
    if (!toSdr) return;
    finish_.resize(65536);
    const bool fromHdr = conversion.fromTransfer != Transfer::sdr;
    for (size_t word = 0; word < finish_.size(); ++word)
        finish_[word] =
            deepWord(sdrSignal(unbend((static_cast<double>(word) - kLightBlack) / kLightSwing), fromHdr));
}

void ColourTable::convertRow(uint16_t* red, uint16_t* green, uint16_t* blue, size_t pixels) const {
    if (spread_ != 0)
        for (uint16_t* plane : {red, green, blue})
            for (size_t i = 0; i < pixels; ++i) plane[i] = spreadWord(plane[i], spread_);
    kernels::colourTableRow(nodes_.data(), finish_.empty() ? nullptr : finish_.data(), red, green, blue,
                            pixels);
}

std::shared_ptr<const ColourTable> ColourTable::of(const SignalConversion& conversion) {
    // A clip that is closed and opened again shall find its table; joins of more kinds than this are rare.
    constexpr size_t kept = 4;
    static std::mutex mutex;
    static std::deque<std::pair<SignalConversion, std::shared_ptr<const ColourTable>>> tables;
    const std::lock_guard lock(mutex);
    for (const auto& [key, table] : tables)
        if (key == conversion) return table;
    if (tables.size() == kept) tables.pop_front();
    tables.emplace_back(conversion, std::make_shared<ColourTable>(conversion));
    return tables.back().second;
}

}  // namespace tumblewash::media
