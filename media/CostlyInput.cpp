#include "media/detail/CostlyInput.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "media/MediaError.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace tumblewash::media {

JpegScans scansOf(std::span<const uint8_t> bytes, bool all) noexcept {
    constexpr int kStartOfScan = 0xDA;
    JpegScans out;
    for (size_t at = 0; at + 4 <= bytes.size();) {
        const void* found = std::memchr(bytes.data() + at, 0xFF, bytes.size() - at - 3);
        if (found == nullptr) break;
        at = static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes.data());
        const int marker = bytes[at + 1];
        // Stuffed bytes, restart marks, and the start and end of the picture are no segments.
        const bool bare = marker == 0 || marker == 1 || (marker >= 0xD0 && marker <= 0xD9);
        if (marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE) out.progressive = true;
        if (marker == kStartOfScan && ++out.count == 1 && !out.progressive && !all) break;
        at += marker == 0xFF ? 1 : bare ? 2 : 2U + AV_RB16(bytes.data() + at + 2);
    }
    return out;
}

void refuseDrawing(const std::string& path) {
    throw MediaError(MediaErrorCode::undecodable, path,
                     "is an SVG drawing, which this program does not read; export it as PNG first");
}

void checkNoDrawing(AVIOContext& io, const std::string& path) {
    std::array<uint8_t, 4096> start{};
    const int got = avio_seek(&io, 0, SEEK_SET) < 0 ? 0 : avio_read(&io, start.data(), start.size());
    std::string_view text(reinterpret_cast<const char*>(start.data()), static_cast<size_t>(std::max(0, got)));
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n\xEF\xBB\xBF"), text.size()));
    if (text.starts_with('<') && text.find("<svg") != std::string_view::npos) refuseDrawing(path);
}

// FFmpeg unfolds such a header to whatever size it claims.
void checkHeader(AVIOContext& io, const std::string& path) {
    constexpr int64_t kMost = 64 << 20;
    std::array<uint8_t, 16> head{};
    const auto atom = [&](int64_t at) {
        return avio_seek(&io, at, SEEK_SET) >= 0 &&
               avio_read(&io, head.data(), head.size()) == static_cast<int>(head.size());
    };
    const auto named = [&](const char* name) { return std::memcmp(head.data() + 4, name, 4) == 0; };
    // A few atoms at the top are all that a movie has before its header.
    int64_t at = 0;
    for (int atoms = 0; atoms < 64 && atom(at) && !named("moov"); ++atoms) {
        const int64_t size = AV_RB32(head.data());
        at += size == 1 ? static_cast<int64_t>(AV_RB64(head.data() + 8)) : size;
        if (size == 0 || at < 8) return;
    }
    if (!named("moov") || !atom(at + 8) || !named("cmov")) return;
    // moov, cmov, dcom with the method, cmvd with the size unfolded.
    if (!atom(at + 16)) return;
    const int64_t method = AV_RB32(head.data());
    if (atom(at + 16 + method) && named("cmvd") && AV_RB32(head.data() + 8) > kMost)
        throw MediaError(MediaErrorCode::undecodable, path,
                         "holds a header that unfolds to " + std::to_string(AV_RB32(head.data() + 8) >> 20) +
                             " MiB; it is damaged or made to be large, get a complete copy");
}

}  // namespace tumblewash::media
