// What a clip's colour is: transfer, primaries, matrix, range, depth and what its file says about light.
// Read from the container and from the first decoded picture; converted elsewhere.
// Plain data, and the words in which it is told.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "media/Picture.h"

namespace tumblewash::media {

/// What kind of signal the code values are.
enum class Transfer {
    sdr,  ///< every gamma in use for ordinary pictures; untagged clips too
    hlg,  ///< hybrid log-gamma of BT.2100: relative to the display
    pq    ///< perceptual quantiser of BT.2100: absolute light
};

/// Whose red, green and blue. Those of BT.601 count as BT.709's, as players take them.
enum class Primaries { bt709, displayP3, dciP3, bt2020 };

/// How the light of HDR pictures is brought into an ordinary picture.
enum class ToneMap {
    natural,  ///< BT.2446, method A: the whole range is bent, faces and skies keep their modelling
    white     ///< BT.2390 with HDR's reference white as white: below it nothing changes, highlights are bent
};

/// Mastering display of SMPTE ST 2086. Chromaticities red, green, blue, white.
struct MasteringDisplay {
    std::array<std::array<double, 2>, 4> chromaticity{};
    bool hasChromaticity = false;
    double maxNits = 0;  ///< 0: not said
    double minNits = 0;
    bool operator==(const MasteringDisplay&) const = default;
};

/// Content light level: nits; 0: not said.
struct LightLevel {
    int maxContent = 0;
    int maxAverage = 0;
    bool operator==(const LightLevel&) const = default;
};

/// The colour of one clip or still.
struct ClipColour {
    Transfer transfer = Transfer::sdr;
    Primaries primaries = Primaries::bt709;
    std::string transferName = "unknown";  ///< as tagged, in the names that ffprobe uses
    std::string primariesName = "unknown";
    std::string matrixName = "unknown";
    bool fullRange = false;
    int depth = 8;       ///< bits of one component
    std::string chroma;  ///< "4:2:0", "4:2:2", "4:4:4", "4:1:1", "4:4:0", "4:1:0", "RGB" or "grey"
    bool alpha = false;  ///< has transparency: an alpha channel that is not opaque all over, as far as known
    bool chromaTopLeft = false;      ///< 4:2:0 colour samples sit at the top left of their four pixels
    bool hasProfile = false;         ///< an ICC profile is embedded
    std::string profile;             ///< its description, where one is known
    std::optional<int> dolbyVision;  ///< profile of its Dolby Vision data
    int dolbyCompatibility = 0;      ///< what the base picture is: 1 PQ, 2 SDR, 4 HLG, 0 nothing else
    bool hdr10Plus = false;          ///< carries HDR10+ data
    std::optional<MasteringDisplay> mastering;
    std::optional<LightLevel> light;
    bool readAsOrdinary = false;   ///< a photo whose reader makes 8 bits in sRGB of it and says so itself
    bool unknownTransfer = false;  ///< tagged with one that is not converted: log, linear, film
    bool brokenLight = false;      ///< light data was there and made no sense; left out

    bool hdr() const noexcept { return transfer != Transfer::sdr; }
};

/// The colour in which pictures leave a clip's decoder: its own, but for photos that are read as ordinary
/// ones.
ClipColour asRead(const ClipColour& colour);

/// "HLG", "PQ" or "SDR".
const char* transferWord(Transfer transfer) noexcept;
/// "BT.709", "Display P3", "DCI-P3" or "BT.2020".
const char* primariesWord(Primaries primaries) noexcept;

/// The brightest light that a PQ clip is taken to hold, in nits: its MaxCLL, else its mastering display's
/// maximum, else 1000; kept to 1000..4000, so that bad data does little harm.
double peakOf(const ClipColour& colour) noexcept;

}  // namespace tumblewash::media
