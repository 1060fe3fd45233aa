#include "ImageLib/kernels/BlockMatch.h"

#include <cstdlib>

namespace tumblewash::kernels {

void matchSumsScalar(const unsigned char* block, const unsigned char* around, std::ptrdiff_t pitch,
                     std::uint32_t* sums) {
    for (int dy = 0; dy < kMatchPlaces; ++dy) {
        for (int dx = 0; dx < kMatchPlaces; ++dx) {
            int sum = 0;
            for (int row = 0; row < kMatchSide; ++row) {
                const unsigned char* a = block + row * pitch;
                const unsigned char* b = around + (dy + row) * pitch + std::ptrdiff_t{dx} * 4;
                for (int byte = 0; byte < kMatchSide * 4; ++byte) {
                    sum += byte % 4 == 0 ? 0 : std::abs(a[byte] - b[byte]);
                }
            }
            *sums++ = static_cast<std::uint32_t>(sum);
        }
    }
}

}  // namespace tumblewash::kernels
