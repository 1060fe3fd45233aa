// The colours of a movie that is written: signal, depth, matrix, codec, and what it says about light.
// Plain data, settled by the colour plan and obeyed by readers and writers.
#pragma once

#include <optional>

#include "media/Codecs.h"
#include "media/Colour.h"

namespace tumblewash::media {

struct MovieColour {
    Transfer transfer = Transfer::sdr;  ///< SDR is BT.709, HDR is BT.2020
    int depth = 8;
    ColourMatrix matrix = ColourMatrix::bt709;
    Codec codec = Codec::h264;
    bool chromaTopLeft = false;  ///< 4:2:0 samples of colour sit at the top left, as HDR10 discs have them
    std::optional<MasteringDisplay> mastering;
    std::optional<LightLevel> light;
};

}  // namespace tumblewash::media
