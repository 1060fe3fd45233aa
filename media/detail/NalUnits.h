// A coded picture's bytes as NAL units: told apart, without and with the bytes that keep start codes out of
// them, and put together with lengths. It knows neither H.264's nor HEVC's headers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace tumblewash::media {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

/// The units of a packet, in order, each without its length or start code. `lengthSize` is 1 to 4, or 0 for
/// start codes. Nothing when a length lies or bytes are left over; empty units are left out.
std::optional<std::vector<ByteView>> splitNalUnits(ByteView packet, int lengthSize);

/// A unit without its emulation prevention bytes; of a longer one only what its first `most` bytes hold.
Bytes unescaped(ByteView unit, size_t most = SIZE_MAX);

/// The reverse of `unescaped` for a whole unit.
Bytes escaped(ByteView bytes);

/// A unit of supplemental information, whose header takes `header` bytes, without the messages of the kinds
/// that `dropped` takes; empty when none is left. What lies about its length is left out with all that
/// follows.
Bytes withoutMessages(ByteView unit, size_t header, const std::function<bool(size_t)>& dropped);

/// Adds a unit with its length in four bytes.
void appendNalUnit(Bytes& packet, ByteView unit);

}  // namespace tumblewash::media
