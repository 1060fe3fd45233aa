#include "media/Colour.h"

#include <algorithm>

namespace tumblewash::media {

ClipColour asRead(const ClipColour& colour) {
    ClipColour out = colour;
    if (!colour.readAsOrdinary) return out;
    out.depth = 8;
    out.primaries = Primaries::bt709;
    return out;
}

const char* transferWord(Transfer transfer) noexcept {
    return transfer == Transfer::hlg ? "HLG" : transfer == Transfer::pq ? "PQ" : "SDR";
}

const char* primariesWord(Primaries primaries) noexcept {
    switch (primaries) {
        case Primaries::displayP3:
            return "Display P3";
        case Primaries::dciP3:
            return "DCI-P3";
        case Primaries::bt2020:
            return "BT.2020";
        default:
            return "BT.709";
    }
}

double peakOf(const ClipColour& colour) noexcept {
    constexpr double usual = 1000, most = 4000;
    double peak = usual;
    if (colour.light && colour.light->maxContent > 0)
        peak = colour.light->maxContent;
    else if (colour.mastering && colour.mastering->maxNits > 0)
        peak = colour.mastering->maxNits;
    return std::clamp(peak, usual, most);
}

}  // namespace tumblewash::media
