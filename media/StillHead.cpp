#include "media/StillHead.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "media/Pattern.h"
#include "media/detail/InputBytes.h"

namespace tumblewash::media {
namespace {

/// Previews and profiles may stand before a JPEG's size; what lies further on is left to `probe`.
constexpr std::size_t kHead = 256 * 1024;
constexpr std::size_t kTail = 64;
/// A photo of fewer bytes is none.
constexpr std::size_t kLeast = 128;

/// Bytes with bounds: reading past the end gives zeros and is remembered.
class Bytes {
  public:
    explicit Bytes(std::string_view bytes) : bytes_(bytes) {}
    std::uint32_t big(std::size_t at, int count) const { return value(at, count, false); }
    std::uint32_t number(std::size_t at, int count, bool little) const { return value(at, count, little); }
    bool has(std::size_t at, std::string_view text) const {
        return at <= bytes_.size() && bytes_.substr(at, text.size()) == text;
    }
    std::size_t size() const { return bytes_.size(); }

  private:
    std::uint32_t value(std::size_t at, int count, bool little) const {
        std::uint32_t out = 0;
        for (int i = 0; i < count; ++i) {
            const std::size_t place = at + static_cast<std::size_t>(little ? count - 1 - i : i);
            out = out << 8U | (place < bytes_.size() ? static_cast<unsigned char>(bytes_[place]) : 0U);
        }
        return out;
    }
    std::string_view bytes_;
};

/// The orientation in an EXIF block whose TIFF header stands at `base`; 1 when it has none.
int exifOrientation(const Bytes& bytes, std::size_t base) {
    const bool little = bytes.has(base, "II");
    if (!little && !bytes.has(base, "MM")) return 1;
    const std::size_t directory = base + bytes.number(base + 4, 4, little);
    const std::uint32_t entries = std::min<std::uint32_t>(bytes.number(directory, 2, little), 200);
    for (std::uint32_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + std::size_t{12} * i;
        if (bytes.number(entry, 2, little) != 0x0112) continue;
        const std::uint32_t value = bytes.number(entry + 8, 2, little);
        return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
    return 1;
}

/// How the three components of the frame at `data` are sampled, by the factors of the first two.
const char* chromaOfJpeg(const Bytes& bytes, std::size_t data, std::uint32_t components) {
    if (components == 1) return "grey";
    const std::uint32_t luma = bytes.big(data + 7, 1), blue = bytes.big(data + 10, 1);
    const std::uint32_t across = (luma >> 4U) / std::max(blue >> 4U, 1U);
    const std::uint32_t down = (luma & 15U) / std::max(blue & 15U, 1U);
    if (across == 4) return "4:1:1";
    if (across == 2) return down == 2 ? "4:2:0" : "4:2:2";
    return down == 2 ? "4:4:0" : "4:4:4";
}

/// Walks a JPEG's segments to its size; false for what is not quite usual.
bool readJpeg(const Bytes& bytes, MediaInfo& info) {
    for (std::size_t at = 2; at + 9 < bytes.size();) {
        if (bytes.big(at, 1) != 0xFF) return false;
        const std::uint32_t marker = bytes.big(at + 1, 1);
        const std::uint32_t length = bytes.big(at + 2, 2);
        const std::size_t data = at + 4;
        if (length < 2) return false;
        if (marker == 0xE0 && bytes.has(data, "JFIF") && bytes.big(data + 7, 1) == 0 &&
            bytes.big(data + 8, 2) != bytes.big(data + 10, 2))
            return false;
        if (marker == 0xE1 && bytes.has(data, std::string_view("Exif\0\0", 6)))
            info.orientation = exifOrientation(bytes, data + 6);
        if (marker == 0xC0 || marker == 0xC1 || marker == 0xC2) {
            const std::uint32_t components = bytes.big(data + 5, 1);
            info.codedHeight = static_cast<int>(bytes.big(data + 1, 2));
            info.codedWidth = static_cast<int>(bytes.big(data + 3, 2));
            info.videoCodec = "mjpeg";
            info.colour.chroma = chromaOfJpeg(bytes, data, components);
            return bytes.big(data, 1) == 8 && (components == 1 || components == 3);
        }
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC)
            return false;
        if (marker == 0xDA || marker == 0xD9) return false;
        at += 2 + length;
    }
    return false;
}

/// A PNG whose chunks before the pixels are ordinary.
bool readPng(const Bytes& bytes, MediaInfo& info) {
    if (!bytes.has(12, "IHDR") || bytes.big(24, 1) != 8) return false;
    const std::uint32_t colours = bytes.big(25, 1);
    // Whether a picture with an alpha channel is transparent anywhere, its pixels tell.
    if (colours != 0 && colours != 2) return false;
    info.colour.chroma = colours == 0 ? "grey" : "RGB";
    info.codedWidth = static_cast<int>(std::min<std::uint32_t>(bytes.big(16, 4), 1U << 20));
    info.codedHeight = static_cast<int>(std::min<std::uint32_t>(bytes.big(20, 4), 1U << 20));
    info.videoCodec = "png";
    for (std::size_t at = 33; at + 12 < bytes.size();) {
        if (bytes.has(at + 4, "IDAT")) return true;
        for (const char* unusual : {"acTL", "eXIf", "tRNS", "cICP", "mDCv", "cLLi"})
            if (bytes.has(at + 4, unusual)) return false;
        if (bytes.has(at + 4, "pHYs") && bytes.big(at + 8, 4) != bytes.big(at + 12, 4)) return false;
        at += std::size_t{12} + bytes.big(at, 4);
    }
    return false;
}

std::string read(const InputBytes& file, std::size_t at, std::size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(file.read(at, {reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()}));
    return bytes;
}

}  // namespace

std::optional<MediaInfo> probeHead(const std::string& path) {
    if (isPattern(path)) return std::nullopt;
    std::optional<InputBytes> file;
    try {
        file.emplace(path);
    } catch (const MediaError&) {
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(file->identity().bytes);
    if (size < kLeast) return std::nullopt;
    const std::string head = read(*file, 0, std::min(size, kHead));
    const std::string tail = read(*file, size - std::min(size, kTail), std::min(size, kTail));
    const Bytes bytes(head);
    MediaInfo info;
    info.path = path;
    info.identity = file->identity();
    info.kind = MediaKind::still;
    info.frameCount = 1;
    info.container = "image2";
    bool usual = false;
    if (bytes.has(0, "\xFF\xD8\xFF"))
        usual = tail.ends_with("\xFF\xD9") && readJpeg(bytes, info);
    else if (bytes.has(0, std::string_view("\x89PNG\r\n\x1A\n", 8)))
        usual = tail.ends_with("IEND\xAE\x42\x60\x82") && readPng(bytes, info);
    if (!usual || info.codedWidth < 1 || info.codedHeight < 1 || info.codedWidth > kMaxPictureSide ||
        info.codedHeight > kMaxPictureSide)
        return std::nullopt;
    info.width = info.codedWidth;
    info.height = info.codedHeight;
    if (info.orientation >= 5) std::swap(info.width, info.height);
    info.fullRange = info.colour.fullRange = true;
    info.matrix = colourMatrixFor(info.codedWidth, info.codedHeight);
    return info;
}

}  // namespace tumblewash::media
