#include "ImageLib/kernels/ColourTableRow.h"

#include <algorithm>

namespace tumblewash::kernels {

void colourTableRowScalar(const std::int16_t* table, const std::uint16_t* last, std::uint16_t* red,
                          std::uint16_t* green, std::uint16_t* blue, std::size_t pixels) {
    constexpr int steps[3] = {4 * kColourTableSide * kColourTableSide, 4 * kColourTableSide, 4};
    for (std::size_t i = 0; i < pixels; ++i) {
        const int r = red[i], g = green[i], b = blue[i];
        const std::int16_t* low = table + (r >> 10) * steps[0] + (g >> 10) * steps[1] + (b >> 10) * steps[2];
        const std::int16_t* high = low + steps[0] + steps[1] + steps[2];
        const int fr = r & 1023, fg = g & 1023, fb = b & 1023;
        // Of equal remainders either may count as the greater: the corner between them has no weight.
        const int most = std::max({fr, fg, fb}), least = std::min({fr, fg, fb});
        const int middle = fr + fg + fb - most - least;
        const std::int16_t* first = low + steps[fr == most ? 0 : fg == most ? 1 : 2];
        const std::int16_t* second = high - steps[fb == least ? 2 : fg == least ? 1 : 0];
        const auto mixed = [&](int c) {
            const int sum = low[c] * (1024 - most) + first[c] * (most - middle) +
                            second[c] * (middle - least) + high[c] * least;
            const auto word = static_cast<std::uint16_t>(((sum + 512) >> 10) + 32768);
            return last != nullptr ? last[word] : word;
        };
        red[i] = mixed(0);
        green[i] = mixed(1);
        blue[i] = mixed(2);
    }
}

}  // namespace tumblewash::kernels
