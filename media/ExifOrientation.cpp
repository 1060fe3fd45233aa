#include "media/detail/ExifOrientation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "media/detail/PngChunks.h"

namespace tumblewash::media {

namespace {

constexpr uint16_t kOrientation = 0x0112;
constexpr uint16_t kStripOffsets = 0x0111, kStripCounts = 0x0117;
constexpr uint16_t kTileOffsets = 0x0144, kTileCounts = 0x0145;
constexpr uint16_t kPhotometric = 0x0106;
constexpr uint32_t kSeparated = 5;
constexpr uint32_t kMaxEntries = 4096;
constexpr uint32_t kMaxValues = 1 << 20;
constexpr size_t kMaxExif = size_t{1} << 20;

/// Bytes at a place: the whole of a block in memory, or a file read where it is looked at.
class Block {
  public:
    virtual ~Block() = default;
    /// False, and nothing written, when they are not all there.
    virtual bool read(uint64_t at, std::span<uint8_t> to) = 0;
};

class MemoryBlock final : public Block {
  public:
    explicit MemoryBlock(std::span<const uint8_t> bytes) : bytes_(bytes) {}
    bool read(uint64_t at, std::span<uint8_t> to) override {
        if (at > bytes_.size() || to.size() > bytes_.size() - at) return false;
        std::memcpy(to.data(), bytes_.data() + at, to.size());
        return true;
    }

  private:
    std::span<const uint8_t> bytes_;
};

class FileBlock final : public Block {
  public:
    explicit FileBlock(const InputBytes& file) : file_(file) {}
    bool read(uint64_t at, std::span<uint8_t> to) override { return file_.read(at, to) == to.size(); }

  private:
    const InputBytes& file_;
};

/// One entry of a TIFF directory.
struct Entry {
    uint16_t tag = 0, type = 0;
    uint32_t count = 0;
    uint64_t valueAt = 0;  ///< where its values stand
};

/// The first directory of a TIFF file, which an EXIF block is too.
class Directory {
  public:
    explicit Directory(Block& block) : block_(block) {
        std::array<uint8_t, 8> head{};
        if (!block.read(0, head)) return;
        const std::string_view order(reinterpret_cast<const char*>(head.data()), 2);
        if (order != "II" && order != "MM") return;
        big_ = order == "MM";
        if (number(2, 2) != 42) return;
        const std::optional<uint32_t> at = number(4, 4);
        const std::optional<uint32_t> count = at ? number(*at, 2) : std::nullopt;
        if (!count) return;
        valid_ = true;
        for (uint32_t i = 0; i < std::min(*count, kMaxEntries); ++i) addEntry(uint64_t{*at} + 2 + 12 * i);
    }

    bool valid() const { return valid_; }
    const Entry* find(uint16_t tag) const {
        for (const Entry& entry : entries_)
            if (entry.tag == tag) return &entry;
        return nullptr;
    }
    /// Value `index` of an entry of 16- or 32-bit whole numbers.
    std::optional<uint32_t> value(const Entry& entry, uint32_t index) {
        const size_t width = entry.type == 3 ? 2 : entry.type == 4 ? 4 : 0;
        if (width == 0 || index >= entry.count) return std::nullopt;
        return number(entry.valueAt + uint64_t{index} * width, width);
    }

  private:
    std::optional<uint32_t> number(uint64_t at, size_t width) {
        std::array<uint8_t, 4> bytes{};
        if (!block_.read(at, std::span(bytes).first(width))) return std::nullopt;
        uint32_t out = 0;
        for (size_t i = 0; i < width; ++i) out = out << 8 | bytes[big_ ? i : width - 1 - i];
        return out;
    }
    void addEntry(uint64_t at) {
        const auto tag = number(at, 2), type = number(at + 2, 2), count = number(at + 4, 4);
        if (!tag || !type || !count) return;
        Entry entry{static_cast<uint16_t>(*tag), static_cast<uint16_t>(*type), *count, at + 8};
        const uint64_t width = entry.type == 3 ? 2 : 4;
        if (width * entry.count > 4) {
            const auto elsewhere = number(at + 8, 4);
            if (!elsewhere) return;
            entry.valueAt = *elsewhere;
        }
        entries_.push_back(entry);
    }

    Block& block_;
    bool big_ = false;
    bool valid_ = false;
    std::vector<Entry> entries_;
};

int orientationOf(Directory& directory) {
    const Entry* entry = directory.find(kOrientation);
    const std::optional<uint32_t> number = entry != nullptr ? directory.value(*entry, 0) : std::nullopt;
    return number && *number >= 1 && *number <= 8 ? static_cast<int>(*number) : 0;
}

/// The content of a PNG file's "eXIf" chunk, empty when it has none before its end.
std::vector<uint8_t> pngExif(const InputBytes& file) {
    std::vector<uint8_t> out;
    eachPngChunk(file, [&](std::string_view type, uint64_t at, uint32_t length) {
        if (type != "eXIf") return true;
        if (length > kMaxExif) return false;
        out.resize(length);
        if (file.read(at, out) != length) out.clear();
        return false;
    });
    return out;
}

}  // namespace

int exifOrientation(std::span<const uint8_t> block) noexcept {
    try {
        constexpr std::string_view mark("Exif\0\0", 6);
        if (block.size() >= mark.size() && std::memcmp(block.data(), mark.data(), mark.size()) == 0)
            block = block.subspan(mark.size());
        MemoryBlock bytes(block);
        Directory directory(bytes);
        return orientationOf(directory);
    } catch (const std::exception&) {
        return 0;
    }
}

int orientationOfFile(const InputBytes& file) {
    if (isPng(file)) return exifOrientation(pngExif(file));
    FileBlock block(file);
    Directory directory(block);
    return directory.valid() ? orientationOf(directory) : 0;
}

bool tiffIsForInk(const InputBytes& file) {
    FileBlock block(file);
    Directory directory(block);
    const Entry* entry = directory.valid() ? directory.find(kPhotometric) : nullptr;
    return entry != nullptr && directory.value(*entry, 0) == kSeparated;
}

bool tiffIsCutOff(const InputBytes& file) {
    FileBlock block(file);
    Directory directory(block);
    if (!directory.valid()) return false;
    const auto size = static_cast<uint64_t>(file.identity().bytes);
    for (const auto& [offsets, counts] :
         {std::pair(kStripOffsets, kStripCounts), std::pair(kTileOffsets, kTileCounts)}) {
        const Entry* places = directory.find(offsets);
        const Entry* lengths = directory.find(counts);
        if (places == nullptr || lengths == nullptr) continue;
        for (uint32_t i = 0; i < std::min({places->count, lengths->count, kMaxValues}); ++i) {
            const auto place = directory.value(*places, i), length = directory.value(*lengths, i);
            if (!place || !length || uint64_t{*place} + *length > size) return true;
        }
    }
    return false;
}

}  // namespace tumblewash::media
