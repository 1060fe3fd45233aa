// Bends a picture along a displacement field of its own making: a gentle wave, strongest in the middle.
//   warp_picture IN.ppm OUT.ppm [STRENGTH]

#include <cmath>
#include <iostream>

#include "ImageLib/source/FlowWarp.h"
#include "ppm.h"

int main(int argc, char** argv) try {
    if (argc < 3) throw std::runtime_error("usage: warp_picture IN.ppm OUT.ppm [STRENGTH]");
    PixRectRW<ARGBVal> source = readPpm(argv[1]);
    PixRectRW<ARGBVal> warped(source);  // what the warp leaves alone keeps the source
    const float strength = argc > 3 ? std::stof(argv[3]) : 1.0F;

    // Red moves sideways, green up and down, both as fractions of the frame.
    PixRectRW<RGBPixel<float>> field(32, 32);
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            field.set(x, y,
                      RGBPixel<float>(0.02F * std::sin(static_cast<float>(y) * 0.6F),
                                      0.02F * std::sin(static_cast<float>(x) * 0.6F), 0.0F));

    DistortUsingFlow(reinterpret_cast<unsigned char*>(&source.pixref(0, 0)),
                     reinterpret_cast<unsigned char*>(&warped.pixref(0, 0)), source.width(), source.width(),
                     source.height(), &field, strength);
    writePpm(argv[2], warped);
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
