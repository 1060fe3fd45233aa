// Reads a picture in scattered order through the tile cache and keeps the cache within a bound of its own.
//   tile_cache PICTURE.ppm [TILES]

#include <iostream>

#include "ImageLib/source/PixRectC.h"
#include "ppm.h"

int main(int argc, char** argv) try {
    if (argc < 2) throw std::runtime_error("usage: tile_cache PICTURE.ppm [TILES]");
    PixRectRW<ARGBVal> picture = readPpm(argv[1]);
    const int bound = (argc > 2 ? std::stoi(argv[2]) : 4) * 64 * 64;

    PixRectC<ARGBVal> cache(picture);
    unsigned long sum = 0;
    unsigned place = 1;
    for (int i = 0; i < 100000; ++i) {
        place = place * 1664525U + 1013904223U;
        const int x = static_cast<int>((place >> 8) % static_cast<unsigned>(picture.width()));
        const int y = static_cast<int>((place >> 16) % static_cast<unsigned>(picture.height()));
        sum += cache.pix(x, y).getgrey();
        // The cache never evicts by itself.
        while (cache.cachesize() > bound) cache.clearoldest();
    }
    std::cout << "mean brightness " << static_cast<double>(sum) / 100000 << ", " << cache.cachesize()
              << " pixels cached\n";
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
