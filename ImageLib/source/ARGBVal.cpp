#include "ImageLib/source/ARGBVal.h"

void ARGBVal::printInfo() const {
    siprintf("ARGBVal %d,%d,%d,%d \n", _alpha, _red, _green, _blue);
}

void RGBGrVal::printInfo() const {
    siprintf("RGBGrVal %d,%d,%d,%d \n", _red, _green, _blue, _grey);
}

unsigned long ScalePixelAdd(unsigned long p, float f, unsigned long q) {
    const auto sum = [p, f, q](int shift) {
        return static_cast<float>((p >> shift) & 0xFF) * f + static_cast<float>((q >> shift) & 0xFF);
    };
    float red = sum(16), green = sum(8), blue = sum(0);
    const float largest = SICommon_H::max(red, green, blue);
    if (static_cast<double>(largest) > 255.0) {
        const float scale = 255.0f / largest;
        red *= scale;
        green *= scale;
        blue *= scale;
    }
    const auto low = [](float v) { return static_cast<unsigned long>(SIChannelCast<int>(v) & 0xFF); };
    return (p & 0xFF000000ul) | (low(red) << 16) | (low(green) << 8) | low(blue);
}
