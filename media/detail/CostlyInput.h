// What some files hold that costs far more than their size says, found before a library falls for it.
// Each function looks at bytes only, wherever `io` stands; what is refused here is refused in words that name
// it.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "media/detail/Av.h"

namespace tumblewash::media {

/// How often a JPEG picture is walked over.
struct JpegScans {
    int count = 0;
    bool progressive = false;
};

/// The scans of the JPEG picture in `bytes`; of a sequential one only the first unless `all` is set.
JpegScans scansOf(std::span<const uint8_t> bytes, bool all) noexcept;

/// Throws MediaError (undecodable): drawings are refused, which are programs rather than pictures.
[[noreturn]] void refuseDrawing(const std::string& path);

/// Throws MediaError (undecodable) when the text at the start of a file is that of a drawing.
void checkNoDrawing(AVIOContext& io, const std::string& path);

/// Throws MediaError (undecodable) for a QuickTime movie with a compressed header that unfolds to more than
/// 64 MiB.
void checkHeader(AVIOContext& io, const std::string& path);

}  // namespace tumblewash::media
