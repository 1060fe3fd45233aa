// Charts for the tests of colour: pictures of 10-bit codes written without loss and tagged at will, and the
// conversions of signals in double precision, written down a second time from the standards.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "media/Picture.h"

namespace tumblewash::test {

using Colour3 = std::array<double, 3>;  // R'G'B', 0 black, 1 nominal white

/// What a chart file says of itself.
struct ChartTags {
    std::string transfer = "arib-std-b67";
    std::string primaries = "bt2020";
    std::string matrix = "bt2020nc";
    std::string encoder = "-c:v ffv1 -level 3";
    int frames = 1;
    int depth = 10;
};

/// A 4:2:0 movie, limited range, of the colours that `draw` gives for each pixel. `path` ends in .mkv for
/// FFV1.
void writeChart(const std::string& path, int width, int height, const ChartTags& tags,
                const std::function<Colour3(int x, int y)>& draw);

/// The planes of a planar picture as 10-bit or 8-bit codes.
int codeAt(const media::PictureRef& picture, int plane, int x, int y);

// The standards, once more.
double hlgLight(double signal);
double pqLight(double signal);  // nits
double pqSignal(double nits);
Colour3 hlgDisplay(const Colour3& signal);  // nits at a peak of 1000
/// BT.2446 method A and BT.2390 to SDR signals in BT.709.
Colour3 naturalSdr(const Colour3& nits, double peak);
Colour3 whiteSdr(const Colour3& nits, double peak);
/// SDR in BT.709 as an HLG or PQ signal with white at 203 nits.
Colour3 sdrAsHlg(const Colour3& sdr);
Colour3 sdrAsPq(const Colour3& sdr);
/// CIE 1976 colour difference of two SDR signals.
double deltaE(const Colour3& a, const Colour3& b);

}  // namespace tumblewash::test
