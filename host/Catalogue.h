// The fourteen variants as people name them: index, id and display name.
// The names are the catalogue's; a plug-in loaded from a file serves the same indices.
// What a variant does (type, frame counts, direction) is asked of the plug-in: see describe() in Session.h.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "pluginDistort/v1/Catalogue.h"

namespace tumblewash::host {

/// One variant: `index` as the entry function takes it, `id` as the command line takes it, `name` in English.
struct EffectName {
    int index;              ///< 0 to 13
    std::string_view id;    ///< short name for commands
    std::string_view name;  ///< name for people, in English
};

inline constexpr int kEffectCount = plugin::kEffectCount;  ///< Variants 0 to 13.
inline constexpr int kEffectNone = 0;                      ///< A plain cut: the plug-in draws nothing.
inline constexpr int kEffectMorph = 1;  ///< The only variant whose clips meet without overlap.

/// All variants in the order of their indices.
[[nodiscard]] std::span<const EffectName, kEffectCount> effectNames() noexcept;

/// The display name in the user's language, from the string lists; the English one where there is none.
[[nodiscard]] std::string displayName(int effect);

/// The variant with this id, or with this index written in decimal; nothing when there is none.
[[nodiscard]] std::optional<int> findEffect(std::string_view idOrIndex) noexcept;

/// The id nearest to a mistyped one (fewest single-letter edits, first in index order among equals).
[[nodiscard]] std::string_view nearestEffectId(std::string_view text);

/// True for the variants that bring the incoming picture over the outgoing one (5, 9, 13): their levels
/// follow the reversed fraction, so what they ask for the outgoing sound fits the incoming one.
[[nodiscard]] bool revealsOverClip(int effect) noexcept;

}  // namespace tumblewash::host
