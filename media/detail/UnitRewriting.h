// The loop over a packet's units that rewriters of H.264 and HEVC share, and what a stretch of ids has in
// common.
#pragma once

#include <algorithm>
#include <map>
#include <optional>

#include "media/detail/NalUnits.h"

namespace tumblewash::media {

/// What became of a unit.
enum class UnitFate {
    done,      ///< written, or left out
    pictured,  ///< written, and a part of the picture
    broken     ///< not such as the source's header promises
};

/// The packet with each unit as `write` puts it behind the bytes so far; nothing when a unit is broken, a
/// length lies or no unit is a part of a picture.
template <typename Write>
std::optional<Bytes> rewrittenUnits(ByteView packet, int lengthSize, Write write) {
    const auto units = splitNalUnits(packet, lengthSize);
    if (!units) return std::nullopt;
    Bytes out;
    out.reserve(packet.size() + 64);
    bool pictured = false;
    for (const ByteView unit : *units) {
        const UnitFate fate = write(unit, out);
        if (fate == UnitFate::broken) return std::nullopt;
        pictured = pictured || fate == UnitFate::pictured;
    }
    return pictured ? std::optional(std::move(out)) : std::nullopt;
}

/// True when every set kept its id.
inline bool allKept(const std::map<int, int>& ids) {
    return std::all_of(ids.begin(), ids.end(), [](const auto& id) { return id.first == id.second; });
}

}  // namespace tumblewash::media
