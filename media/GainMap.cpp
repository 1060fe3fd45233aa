#include "media/detail/GainMap.h"

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tumblewash::media {

namespace {

// Photos have a dozen markers before their pixels.
constexpr int kMaxMarkers = 256;

/// The names by which gain maps go: ISO 21496-1, the XMP namespace that came before it, and a phone's own.
bool announces(std::string_view segment) {
    constexpr std::array names{std::string_view("urn:iso:std:iso:ts:21496:-1"),
                               std::string_view("http://ns.adobe.com/hdr-gain-map/"),
                               std::string_view("HDRGainMap")};
    for (const std::string_view name : names)
        if (segment.find(name) != std::string_view::npos) return true;
    return false;
}

}  // namespace

bool jpegHasGainMap(const InputBytes& file) {
    std::array<uint8_t, 2> mark{};
    if (file.read(0, mark) != mark.size() || mark != std::array<uint8_t, 2>{0xFF, 0xD8}) return false;
    std::vector<uint8_t> segment;
    uint64_t at = mark.size();
    for (int i = 0; i < kMaxMarkers; ++i) {
        std::array<uint8_t, 4> head{};
        if (file.read(at, head) != head.size() || head[0] != 0xFF) return false;
        constexpr uint8_t app1 = 0xE1, app2 = 0xE2, scan = 0xDA;
        const size_t length = size_t{head[2]} << 8 | head[3];
        if (head[1] == scan || length < 2) return false;
        segment.resize(length - 2);
        if (file.read(at + head.size(), segment) != segment.size()) return false;
        if ((head[1] == app1 || head[1] == app2) &&
            announces({reinterpret_cast<const char*>(segment.data()), segment.size()}))
            return true;
        at += 2 + length;
    }
    return false;
}

}  // namespace tumblewash::media
