// What a clip or a still is, found by opening it and really decoding its first picture.
// It does not read the whole file: exact counts after a rate conversion are Reader's.
// The drawn sources (see Pattern.h) are answered here too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/Colour.h"
#include "media/FileIdentity.h"
#include "media/MediaError.h"
#include "media/Picture.h"

namespace tumblewash::media {

enum class MediaKind { clip, still };

/// The facts of one input.
struct MediaInfo {
    std::string path;                      ///< as given
    std::optional<FileIdentity> identity;  ///< which file that was; none for drawn sources
    MediaKind kind = MediaKind::clip;
    int width = 0;  ///< display size in square pixels: after rotation, EXIF and pixel aspect
    int height = 0;
    int codedWidth = 0;  ///< stored size, before any of these
    int codedHeight = 0;
    FrameRate pixelAspect{1, 1};        ///< width : height of one stored pixel
    int orientation = 1;                ///< how to turn the stored picture upright, in EXIF's numbers 1..8
    FrameRate rate;                     ///< pictures per second, exact; 0 for stills
    std::optional<int64_t> frameCount;  ///< stored pictures, where the container says so; 1 for stills
    double seconds = 0;                 ///< duration by the container; 0 when unknown and for stills
    FieldOrder fields = FieldOrder::progressive;
    ColourMatrix matrix = ColourMatrix::bt601;  ///< by tag, else by size
    bool fullRange = false;
    bool hasAlpha = false;
    ClipColour colour;
    bool hasAudio = false;
    int sampleRate = 0;  ///< 0 without sound
    int channels = 0;
    std::string channelLayout;             ///< "stereo", "5.1" and so on
    std::vector<std::string> leftOut;      ///< what else the file holds, in words: "2 subtitle tracks"
    std::vector<std::string> conversions;  ///< photos: what is done to the picture or left out, one line each
                                           ///< without the file's name
    std::string container;                 ///< short names, for reports
    std::string videoCodec;
    std::string audioCodec;
    int audioBits = 0;  ///< depth of a sample, where the coding of the sound has one
};

/// Opens `path` and decodes the first picture. Throws MediaError: unreadable (missing, empty, directory,
/// FIFO, no permission), undecodable (no media, broken, absurd size, colours that cannot be converted),
/// noVideo (sound only), cancelled. Returns within a second for ordinary files: a file that gives no picture
/// in its first megabytes is refused.
MediaInfo probe(const std::string& path, CancelFlag cancel = nullptr);

/// The largest width or height of a picture that this room decodes or makes.
constexpr int kMaxPictureSide = 16384;

}  // namespace tumblewash::media
