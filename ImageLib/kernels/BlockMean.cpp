#include "ImageLib/kernels/BlockMean.h"

#include <cstddef>

namespace tumblewash::kernels {

void sumColumnsScalar(const unsigned char* const* rows, int rowCount, int bytes, std::uint16_t* columns) {
    for (int i = 0; i < bytes; ++i) {
        unsigned sum = 0;
        for (int row = 0; row < rowCount; ++row) sum += rows[row][i];
        columns[i] = static_cast<std::uint16_t>(sum);
    }
}

void addBlockRunsScalar(const std::uint16_t* columns, const BlockRun* runs, int runCount,
                        std::uint32_t* sums) {
    for (int r = 0; r < runCount; ++r) {
        const std::uint16_t* at = columns + static_cast<std::ptrdiff_t>(runs[r].first) * 4;
        const std::uint16_t* end = at + static_cast<std::ptrdiff_t>(runs[r].count) * 4;
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

}  // namespace tumblewash::kernels
