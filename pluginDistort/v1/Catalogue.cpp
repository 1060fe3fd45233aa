#include "pluginDistort/v1/Catalogue.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace tumblewash::plugin {

std::span<const EffectRecord> effectCatalogue() {
    return kEffectTable;
}

const EffectRecord& effectRecord(short which) {
    const bool known = which >= 0 && which < kEffectCount;
    return kEffectTable[known ? static_cast<std::size_t>(which) : 0];
}

const EffectRecord* findEffectRecord(std::string_view id) {
    const auto found = std::find_if(std::begin(kEffectTable), std::end(kEffectTable),
                                    [id](const EffectRecord& entry) { return id == entry.id; });
    return found == std::end(kEffectTable) ? nullptr : &*found;
}

double effectFraction(FractionRule rule, std::int32_t renderFrame, std::int32_t frameCount) {
    return effectFractionAt(rule, static_cast<double>(renderFrame) / static_cast<double>(frameCount));
}

double effectFractionAt(FractionRule rule, double percent) {
    const double hundredth = percent / 100;
    const double remaining = (1 - percent) / 100;
    const double lpercent = hundredth * hundredth * 10000;
    const double hpercent = 1 - remaining * remaining * 10000;
    switch (rule) {
        case FractionRule::plain:
            return percent;
        case FractionRule::reversed:
            return 1 - percent;
        case FractionRule::easedIn:
            return lpercent;
        case FractionRule::reversedEase:
            return 1 - hpercent;
        case FractionRule::none:
            break;
    }
    return 0;
}

std::int32_t framesForSpeed(float speed) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max() - 1;
    constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
    const float scaled = speed * 110.0f;
    const float frames = scaled + 10.0f;
    if (std::isnan(frames)) return 0;
    if (frames >= 2147483648.0f) return most;
    if (frames < -2147483648.0f) return least;
    const auto n = static_cast<std::int32_t>(frames);
    return n % 2 == 0 ? n : n + 1;
}

}  // namespace tumblewash::plugin
