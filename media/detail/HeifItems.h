// The table of items in a HEIC or AVIF file: which kind of file it is, what its pictures are made from, and
// whether they are turned by properties of their own.
// It reads boxes, never pixels; references that go in circles or stand for absurdly many pictures are refused
// here, before anything follows them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// What a file's brands say it is.
enum class HeifKind {
    none,     ///< another format
    picture,  ///< a photo: HEIC, AVIF and their relatives
    sequence  ///< pictures with times, kept like a movie
};

/// By the brands at the file's start, never by its name. A file that cannot be read is `none`.
HeifKind heifKind(const InputBytes& file);

/// How the colours of a coded picture are sampled, in the numbers of HEVC.
enum class HeifChroma { grey, yuv420, yuv422, yuv444, unknown };

/// Colour tags in the numbers of ITU-T H.273, as a "colr" box of kind "nclx" has them.
struct HeifTags {
    int primaries = 2, transfer = 2, matrix = 2;
    bool fullRange = true;
};

/// What the table says of the picture to show.
struct HeifItems {
    size_t end = 0;        ///< bytes of the file; what follows is no part of it
    bool turned = false;   ///< it has a turn or a mirror among its properties (irot, imir)
    bool gainMap = false;  ///< the file has a picture made of it and a gain map (tmap)
    HeifChroma chroma = HeifChroma::unknown;
    std::optional<HeifTags> tags;
    bool ownTags = false;  ///< the picture is coded as one, not made from others, and has the tags itself
    /// Where in the file the numbers of each such box stand: 2 bytes each for the three, and one for the
    /// range.
    std::vector<size_t> tagPlaces;
    std::string codec;  ///< "hevc", "av1" or another name; what a grid's tiles are coded with
};

/// Reads and checks the table of the whole file in `file`, which `path` names. Throws MediaError
/// (undecodable): cut short, references in circles, or standing for more than `kMaxHeifPixels`.
HeifItems readHeifItems(std::span<const uint8_t> file, const std::string& path);

/// The most pixels that the parts of one picture may have together, each counted as often as it is used.
constexpr long long kMaxHeifPixels = 400'000'000;

}  // namespace tumblewash::media
