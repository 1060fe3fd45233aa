// What the parameter sets of all codings have in common: how a set is taken up under its id, and which
// sequence parameter sets the picture parameter sets in use name. It knows no coding.
#pragma once

#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "media/detail/NalUnits.h"

namespace tumblewash::media {

/// What became of a set that was found in a stream; `changed` is one that replaces another of its id.
enum class SetAdded { isNew, known, changed, broken };

/// Takes a set that was read up under its id; a known one is kept.
template <typename Set>
SetAdded takeSet(std::map<int, Set>& known, const std::optional<Set>& read) {
    if (!read) return SetAdded::broken;
    const auto [place, isNew] = known.try_emplace(read->id, *read);
    if (isNew) return SetAdded::isNew;
    return place->second.bytes == read->bytes ? SetAdded::known : SetAdded::changed;
}

/// False for a set that no header may hold.
constexpr bool isTaken(SetAdded added) noexcept {
    return added == SetAdded::isNew || added == SetAdded::known;
}

/// Takes up a header of units with start codes, each by `take`, which is false for a broken one.
template <typename Sets, typename Take>
bool takeUnits(ByteView header, Sets& sets, const Take& take) {
    sets.lengthSize = 0;
    const auto units = splitNalUnits(header, 0);
    return units && std::all_of(units->begin(), units->end(), take);
}

/// The sequence parameter sets that the picture parameter sets of these ids name.
template <typename Pps>
std::set<int> sequencesOf(const std::set<int>& used, const std::map<int, Pps>& pps) {
    std::set<int> ids;
    for (const int id : used) ids.insert(pps.at(id).sps);
    return ids;
}

/// The words for a set in the middle of a stream that cannot be copied; empty when it can.
constexpr const char* troubleOf(SetAdded added) noexcept {
    return added == SetAdded::changed  ? "changes its coding parameters"
           : added == SetAdded::broken ? "is damaged"
                                       : "";
}

/// Puts a set behind others, with a start code.
inline void appendStarted(Bytes& out, const Bytes& set) {
    out.insert(out.end(), {0, 0, 0, 1});
    const Bytes unit = escaped(set);
    out.insert(out.end(), unit.begin(), unit.end());
}

}  // namespace tumblewash::media
