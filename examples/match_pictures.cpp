// Finds by how much a second picture is shifted against a first one, by block matching in its middle.
//   match_pictures A.ppm B.ppm [RANGE]

#include <algorithm>
#include <iostream>
#include <memory>

#include "ImageLib/source/Correlator.h"
#include "ppm.h"

int main(int argc, char** argv) try {
    if (argc < 3) throw std::runtime_error("usage: match_pictures A.ppm B.ppm [RANGE]");
    PixRectRW<ARGBVal> a = readPpm(argv[1]);
    PixRectRW<ARGBVal> b = readPpm(argv[2]);
    const int range = argc > 3 ? std::stoi(argv[3]) : 8;
    // Every trial block must lie inside the searched picture.
    const int block = std::min({a.width(), a.height(), b.width(), b.height()}) - 2 * range;
    if (range < 0 || block < 1) throw std::runtime_error("the pictures are too small for this range");

    Correlator<ARGBVal> correlator(range, block, block, ComparePixDiff);
    const std::unique_ptr<PixRectRW<GreyPixel<float>>> surface(correlator.makesurface(a, b));
    int dx = 0, dy = 0;
    GreyPixel<float> best, worst;
    correlator.getminmax(surface.get(), dx, dy, best, worst);
    std::cout << "B shows A moved by " << dx << ',' << dy << " (score " << best.getgrey() << ", worst "
              << worst.getgrey() << ")\n";
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
