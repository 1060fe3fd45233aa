#include "ImageLib/kernels/BlockMean.h"

#include <cstddef>

namespace tumblewash {

void addBlockRunsScalar(const unsigned char* row, const BlockRun* runs, int runCount, std::uint32_t* sums) {
    for (int r = 0; r < runCount; ++r) {
        const unsigned char* at = row + static_cast<std::ptrdiff_t>(runs[r].first) * 4;
        const unsigned char* end = at + static_cast<std::ptrdiff_t>(runs[r].count) * 4;
        std::uint32_t red = 0;
        std::uint32_t green = 0;
        std::uint32_t blue = 0;
        for (; at != end; at += 4) {
            red += at[1];
            green += at[2];
            blue += at[3];
        }
        std::uint32_t* sum = sums + static_cast<std::ptrdiff_t>(runs[r].block) * 3;
        sum[0] += red;
        sum[1] += green;
        sum[2] += blue;
    }
}

}  // namespace tumblewash
