// Loads a picture and reports on it: size, mean brightness, mean hue, darkest and brightest place.
//   load_picture PICTURE.ppm

#include <iostream>

#include "ImageLib/source/ImageStats.h"
#include "ppm.h"

int main(int argc, char** argv) try {
    if (argc != 2) throw std::runtime_error("usage: load_picture PICTURE.ppm");
    PixRectRW<ARGBVal> picture = readPpm(argv[1]);
    const double pixels = static_cast<double>(picture.width()) * picture.height();
    const ImageStats<ARGBVal> stats(picture);
    std::cout << picture.width() << " x " << picture.height() << " pixels\n"
              << "mean brightness " << picture.totalLum() / pixels << " of 255\n"
              << "mean hue " << static_cast<double>(picture.averageHue()) * 360 / 255 << " degrees\n"
              << "darkest at " << stats.minx << ',' << stats.miny << ", brightest at " << stats.maxx << ','
              << stats.maxy << '\n';
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
