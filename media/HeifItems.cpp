#include "media/detail/HeifItems.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "media/MediaError.h"

namespace tumblewash::media {

namespace {

constexpr int kMaxDepth = 8;
constexpr size_t kMaxItems = 20'000;

using Bytes = std::span<const uint8_t>;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::undecodable, path, why);
}

/// Whole numbers, most significant byte first, one after the other. Past the end they are 0 and `ok` falls.
class Numbers {
  public:
    explicit Numbers(Bytes bytes) : bytes_(bytes) {}
    uint64_t next(size_t width) {
        if (width > bytes_.size()) {
            ok_ = false;
            bytes_ = {};
            return 0;
        }
        uint64_t value = 0;
        for (size_t i = 0; i < width; ++i) value = value << 8 | bytes_[i];
        bytes_ = bytes_.subspan(width);
        return value;
    }
    uint32_t next32() { return static_cast<uint32_t>(next(4)); }
    std::string name() {
        std::string out(4, '\0');
        for (char& c : out) c = static_cast<char>(next(1));
        return out;
    }
    Bytes rest() const { return bytes_; }
    bool ok() const { return ok_; }

  private:
    Bytes bytes_;
    bool ok_ = true;
};

struct Box {
    std::string name;
    Bytes content;
};

/// The box at the front of `bytes`, which shrink by it. Nothing at the end and where a length is impossible.
std::optional<Box> nextBox(Bytes& bytes) {
    Numbers numbers(bytes);
    uint64_t length = numbers.next(4);
    Box box{numbers.name(), {}};
    uint64_t header = 8;
    if (length == 1) {
        length = numbers.next(8);
        header = 16;
    } else if (length == 0) {
        length = bytes.size();
    }
    if (!numbers.ok() || length < header || length > bytes.size()) return std::nullopt;
    box.content = bytes.subspan(header, length - header);
    bytes = bytes.subspan(length);
    return box;
}

/// Version and flags, which the boxes with a "full" header begin with.
struct FullHeader {
    uint32_t version, flags;
};
FullHeader fullHeader(Numbers& numbers) {
    const uint32_t word = numbers.next32();
    return {word >> 24, word & 0xFFFFFF};
}

struct Table {
    uint32_t primary = 0;
    std::map<uint32_t, std::vector<uint32_t>> parts;         // what decoding an item decodes too
    std::map<uint32_t, uint32_t> firstTile;                  // of grids and the like
    std::vector<Box> properties;                             // counted from 1
    std::map<uint32_t, std::vector<uint32_t>> propertiesOf;  // item -> numbers of properties
    std::map<uint32_t, std::string> types;                   // of items, four letters
};

void readPrimary(Bytes content, Table& out) {
    Numbers numbers(content);
    const FullHeader header = fullHeader(numbers);
    out.primary = static_cast<uint32_t>(numbers.next(header.version == 0 ? 2 : 4));
}

void readReferences(Bytes content, Table& out, const std::string& path) {
    Numbers numbers(content);
    const size_t width = fullHeader(numbers).version == 0 ? 2 : 4;
    Bytes boxes = numbers.rest();
    size_t total = 0;
    while (const std::optional<Box> box = nextBox(boxes)) {
        // A grid names its tiles; an alpha plane names the picture that it belongs to.
        const bool derived = box->name == "dimg";
        if (!derived && box->name != "auxl") continue;
        Numbers list(box->content);
        const auto from = static_cast<uint32_t>(list.next(width));
        const uint64_t count = list.next(2);
        for (uint64_t i = 0; i < count && list.ok(); ++i) {
            const auto to = static_cast<uint32_t>(list.next(width));
            if (list.ok()) out.parts[derived ? from : to].push_back(derived ? to : from);
            if (list.ok() && derived) out.firstTile.emplace(from, to);
            if (++total > kMaxItems) refuse(path, "refers to more parts than a photo has; it is damaged");
        }
    }
}

void readAssociations(Bytes content, Table& out) {
    Numbers numbers(content);
    const FullHeader header = fullHeader(numbers);
    const size_t idWidth = header.version == 0 ? 2 : 4;
    const size_t numberWidth = (header.flags & 1) != 0 ? 2 : 1;
    const uint32_t mask = numberWidth == 2 ? 0x7FFF : 0x7F;
    const uint32_t items = numbers.next32();
    for (uint32_t i = 0; i < items && numbers.ok(); ++i) {
        const auto item = static_cast<uint32_t>(numbers.next(idWidth));
        const uint64_t count = numbers.next(1);
        for (uint64_t k = 0; k < count && numbers.ok(); ++k)
            out.propertiesOf[item].push_back(static_cast<uint32_t>(numbers.next(numberWidth)) & mask);
    }
}

void readProperties(Bytes content, Table& out) {
    while (const std::optional<Box> box = nextBox(content)) {
        Bytes inner = box->content;
        if (box->name == "ipco")
            while (const std::optional<Box> property = nextBox(inner)) out.properties.push_back(*property);
        if (box->name == "ipma") readAssociations(inner, out);
    }
}

void readTypes(Bytes content, Table& out) {
    Numbers numbers(content);
    numbers.next(fullHeader(numbers).version == 0 ? 2 : 4);
    Bytes boxes = numbers.rest();
    while (const std::optional<Box> box = nextBox(boxes)) {
        Numbers entry(box->content);
        const uint32_t version = fullHeader(entry).version;
        if (box->name != "infe" || version < 2 || out.types.size() > kMaxItems) continue;
        const auto item = static_cast<uint32_t>(entry.next(version == 2 ? 2 : 4));
        entry.next(2);
        out.types[item] = entry.name();
    }
}

/// The file's boxes: its table, and where the last one ends that is any use.
struct TopBoxes {
    std::optional<Bytes> table;
    size_t end = 0;
};

TopBoxes topBoxes(Bytes file) {
    TopBoxes out;
    Bytes rest = file;
    while (const std::optional<Box> box = nextBox(rest))
        if (box->name == "meta" && !out.table) out.table = box->content;
    // A cut-off box of data may still hold all that is wanted; anything else is no box.
    Numbers numbers(rest);
    numbers.next(4);
    out.end = numbers.name() == "mdat" ? file.size() : file.size() - rest.size();
    return out;
}

Bytes tableOf(const TopBoxes& boxes, const std::string& path) {
    if (boxes.table) return *boxes.table;
    refuse(path, "is damaged or cut off: the table of its pictures is missing; get a complete copy");
}

Table readTable(Bytes content, const std::string& path) {
    Table out;
    Numbers numbers(content);
    fullHeader(numbers);
    Bytes boxes = numbers.rest();
    while (const std::optional<Box> box = nextBox(boxes)) {
        if (box->name == "pitm") readPrimary(box->content, out);
        if (box->name == "iref") readReferences(box->content, out, path);
        if (box->name == "iprp") readProperties(box->content, out);
        if (box->name == "iinf") readTypes(box->content, out);
    }
    return out;
}

const Box* property(const Table& table, uint32_t number) {
    return number >= 1 && number <= table.properties.size() ? &table.properties[number - 1] : nullptr;
}

bool hasProperty(const Table& table, uint32_t item, std::string_view name) {
    const auto found = table.propertiesOf.find(item);
    if (found == table.propertiesOf.end()) return false;
    return std::any_of(found->second.begin(), found->second.end(), [&](uint32_t number) {
        const Box* box = property(table, number);
        return box != nullptr && box->name == name;
    });
}

/// Columns times lines by the item's own statement, 0 without one.
uint64_t statedPixels(const Table& table, uint32_t item) {
    const auto found = table.propertiesOf.find(item);
    if (found == table.propertiesOf.end()) return 0;
    for (const uint32_t number : found->second)
        if (const Box* box = property(table, number); box != nullptr && box->name == "ispe") {
            Numbers numbers(box->content);
            fullHeader(numbers);
            const uint64_t width = numbers.next(4);
            return width * numbers.next(4);
        }
    return 0;
}

bool isNclx(const Box& box) {
    return box.name == "colr" && box.content.size() >= 11 && std::memcmp(box.content.data(), "nclx", 4) == 0;
}

std::optional<HeifTags> tagsOf(const Table& table, uint32_t item) {
    const auto found = table.propertiesOf.find(item);
    if (found == table.propertiesOf.end()) return std::nullopt;
    for (const uint32_t number : found->second)
        if (const Box* box = property(table, number); box != nullptr && isNclx(*box)) {
            Numbers numbers(box->content.subspan(4));
            HeifTags out;
            out.primaries = static_cast<int>(numbers.next(2));
            out.transfer = static_cast<int>(numbers.next(2));
            out.matrix = static_cast<int>(numbers.next(2));
            out.fullRange = (numbers.next(1) & 0x80) != 0;
            return out;
        }
    return std::nullopt;
}

/// The primary picture, or the first tile of it that is coded itself.
uint32_t codedItem(const Table& table) {
    uint32_t item = table.primary;
    for (int level = 0; level <= kMaxDepth; ++level) {
        const auto tile = table.firstTile.find(item);
        if (tile == table.firstTile.end()) break;
        item = tile->second;
    }
    return item;
}

std::string codecOf(const Table& table, uint32_t item) {
    const auto found = table.types.find(item);
    const std::string type = found == table.types.end() ? std::string() : found->second;
    if (type == "hvc1") return "hevc";
    if (type == "av01") return "av1";
    if (type == "jpeg") return "mjpeg";
    if (type == "avc1") return "h264";
    return "heif";
}

/// The chroma of an item by the record of its codec's settings: ISO/IEC 14496-15, 8.3.3.1, and the AV1
/// binding to ISO files, 2.3.3.
HeifChroma chromaOf(const Table& table, uint32_t item) {
    const auto found = table.propertiesOf.find(item);
    if (found == table.propertiesOf.end()) return HeifChroma::unknown;
    for (const uint32_t number : found->second) {
        const Box* box = property(table, number);
        if (box == nullptr) continue;
        const Bytes record = box->content;
        if (box->name == "hvcC" && record.size() > 16) return static_cast<HeifChroma>(record[16] & 3);
        if (box->name == "av1C" && record.size() > 2) {
            const bool grey = (record[2] & 0x10) != 0;
            const bool halfWidth = (record[2] & 8) != 0, halfHeight = (record[2] & 4) != 0;
            if (grey) return HeifChroma::grey;
            if (!halfWidth) return HeifChroma::yuv444;
            return halfHeight ? HeifChroma::yuv420 : HeifChroma::yuv422;
        }
    }
    return HeifChroma::unknown;
}

/// Goes through what items are made from.
class Walk {
  public:
    Walk(const Table& table, const std::string& path) : table_(table), path_(path) {}

    /// Refuses `item` when it leads back to itself, through too many levels or to too many pixels.
    void check(uint32_t item) { visit(item, 0); }

  private:
    struct Found {
        uint64_t pixels = 0;  // to decode, parts used twice counted twice
        int levels = 0;
    };

    Found visit(uint32_t item, int depth) {
        if (const auto known = known_.find(item); known != known_.end()) return known->second;
        Found out;
        if (depth > kMaxDepth || !open_.insert(item).second) circles();
        if (const auto parts = table_.parts.find(item); parts != table_.parts.end())
            for (const uint32_t part : parts->second) {
                const Found below = visit(part, depth + 1);
                out.pixels = std::min(out.pixels + below.pixels + 1, kTooMany);
                out.levels = std::max(out.levels, below.levels + 1);
            }
        out.pixels = std::min(std::max(out.pixels, statedPixels(table_, item)), kTooMany);
        if (out.levels > kMaxDepth) circles();
        if (out.pixels == kTooMany)
            refuse(path_, "claims more pixels than this program takes; scale it first");
        open_.erase(item);
        known_[item] = out;
        return out;
    }
    [[noreturn]] void circles() const {
        refuse(path_, "is damaged: its pictures refer to each other in circles; get a good copy");
    }

    static constexpr uint64_t kTooMany = static_cast<uint64_t>(kMaxHeifPixels) + 1;
    const Table& table_;
    const std::string& path_;
    std::set<uint32_t> open_;
    std::map<uint32_t, Found> known_;
};

}  // namespace

HeifKind heifKind(const InputBytes& file) {
    std::array<uint8_t, 12> head{};
    if (file.read(0, head) != head.size()) return HeifKind::none;
    Numbers numbers(head);
    numbers.next(4);
    if (numbers.name() != "ftyp") return HeifKind::none;
    const std::string brand = numbers.name();
    constexpr std::array pictures{"heic", "heix", "heim", "heis", "mif1", "mif2", "miaf", "avif"};
    constexpr std::array sequences{"hevc", "hevx", "hevm", "hevs", "msf1", "avis"};
    const auto is = [&](std::string_view name) { return brand == name; };
    if (std::any_of(pictures.begin(), pictures.end(), is)) return HeifKind::picture;
    if (std::any_of(sequences.begin(), sequences.end(), is)) return HeifKind::sequence;
    return HeifKind::none;
}

HeifItems readHeifItems(std::span<const uint8_t> file, const std::string& path) {
    const TopBoxes boxes = topBoxes(file);
    const Table table = readTable(tableOf(boxes, path), path);
    Walk walk(table, path);
    for (const auto& [item, parts] : table.parts) walk.check(item);
    walk.check(table.primary);
    HeifItems out;
    out.end = boxes.end;
    out.turned = hasProperty(table, table.primary, "irot") || hasProperty(table, table.primary, "imir");
    for (const auto& [item, type] : table.types) out.gainMap = out.gainMap || type == "tmap";
    const uint32_t coded = codedItem(table);
    out.tags = tagsOf(table, table.primary);
    out.ownTags = out.tags && coded == table.primary;
    if (!out.tags) out.tags = tagsOf(table, coded);
    for (const Box& box : table.properties)
        if (isNclx(box)) out.tagPlaces.push_back(static_cast<size_t>(box.content.data() + 4 - file.data()));
    out.codec = codecOf(table, coded);
    out.chroma = chromaOf(table, coded);
    return out;
}

}  // namespace tumblewash::media
