// HEIC and AVIF files for tests: pictures encoded by libheif, and files put together box by box from such
// pictures, with grids and references as nobody writes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/media/StillFiles.h"

namespace tumblewash::test {

/// How `heifFile` encodes.
struct HeifWish {
    bool avif = true;
    int depth = 8;            // codes of 16-bit pictures are cut to it
    Blocks blocks;            // profile and EXIF
    int turn = 1;             // irot and imir for this orientation
    bool subsampled = false;  // 4:2:0 in place of 4:4:4
    int primaries = 1;        // nclx, by H.273
    int transfer = 13;
};

/// The file's bytes, each code within two of the picture's. The picture has 3 or 4 channels.
std::string heifFile(const Codes& picture, const HeifWish& wish = {});

/// One item of a file put together by hand.
struct HeifItem {
    uint16_t id = 1;
    std::string type;  // "av01", "hvc1", "grid"
    std::string data;
    std::vector<int> properties;  // counted from 1
};
struct HeifReference {
    std::string type;  // "dimg", "auxl"
    uint16_t from = 1;
    std::vector<uint16_t> to;
};

/// What stands in the middle of a HEIC or AVIF file of one opaque picture.
struct CodedPicture {
    std::string data;
    std::string configuration;  // the whole av1C or hvcC box
    std::string tags;           // the whole colr box
};
CodedPicture codedPicture(const std::string& file);

/// An AVIF file, or a HEIC file where an item is of HEVC. `properties` are whole boxes.
std::string heifOf(uint16_t primary, const std::vector<HeifItem>& items,
                   const std::vector<HeifReference>& references, const std::vector<std::string>& properties);

std::string sizeProperty(uint32_t width, uint32_t height);
std::string profileProperty(const std::string& icc);
/// Says that an item is the alpha plane of another, or what the name `kind` means.
std::string alphaProperty();
std::string auxiliaryProperty(const std::string& kind);
/// The data of a grid of `rows` x `columns`, up to 256 each.
std::string gridData(int rows, int columns, int width, int height);

}  // namespace tumblewash::test
