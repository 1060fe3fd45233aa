#include "host/Catalogue.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <numeric>
#include <vector>

#include "platform/Resources.h"

namespace tumblewash::host {

namespace {

using Names = std::array<EffectName, kEffectCount>;

const Names& names() noexcept {
    static const Names made = [] {
        Names all{};
        for (const plugin::EffectRecord& effect : plugin::effectCatalogue())
            all[static_cast<std::size_t>(effect.index)] = {effect.index, effect.id, effect.name};
        return all;
    }();
    return made;
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::span<const EffectName, kEffectCount> effectNames() noexcept {
    return names();
}

std::string displayName(int effect) {
    if (effect < 0 || effect >= kEffectCount) return {};
    const std::string name =
        platform::LocalizedString(platform::kTransitionNameStrings, static_cast<short>(effect + 1));
    return name.empty() ? std::string(names()[static_cast<std::size_t>(effect)].name) : name;
}

bool revealsOverClip(int effect) noexcept {
    if (effect < 0 || effect >= kEffectCount) return false;
    const plugin::EffectRecord& record = plugin::effectRecord(static_cast<short>(effect));
    return record.overnext && record.reveal;
}

std::optional<int> findEffect(std::string_view idOrIndex) noexcept {
    for (const EffectName& entry : names()) {
        if (entry.id == idOrIndex) return entry.index;
    }
    int index = 0;
    const char* end = idOrIndex.data() + idOrIndex.size();
    const auto [stop, error] = std::from_chars(idOrIndex.data(), end, index);
    if (error == std::errc{} && stop == end && index >= 0 && index < kEffectCount) return index;
    return std::nullopt;
}

std::string_view nearestEffectId(std::string_view text) {
    constexpr std::size_t kLongest = 64;  // no id is near to a longer text, and the search stays short
    text = text.substr(0, kLongest);
    const auto nearest =
        std::min_element(names().begin(), names().end(), [text](const EffectName& a, const EffectName& b) {
            return editDistance(text, a.id) < editDistance(text, b.id);
        });
    return nearest->id;
}

}  // namespace tumblewash::host
