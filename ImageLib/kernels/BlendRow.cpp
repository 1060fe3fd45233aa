#include "ImageLib/kernels/BlendRow.h"

#include "ImageLib/kernels/PixelBytes.h"

namespace tumblewash::kernels {

void blendInProportionRowScalar(unsigned char* dst, const unsigned char* src, std::size_t pixels, float p) {
    for (; pixels > 0; --pixels, dst += 4, src += 4)
        for (int c = 1; c < 4; ++c) dst[c] = proportion(dst[c], src[c], p);
}

void blendByAlphaRowScalar(unsigned char* dst, const unsigned char* src, std::size_t pixels) {
    for (; pixels > 0; --pixels, dst += 4, src += 4) {
        if (src[0] == 0) continue;
        for (int c = 1; c < 4; ++c) dst[c] = mixedByAlpha(dst[c], src[c], src[0]);
    }
}

}  // namespace tumblewash::kernels
