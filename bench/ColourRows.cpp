#include <algorithm>
#include <random>
#include <vector>

#include "bench/Maps.h"
#include "bench/Rows.h"
#include "media/detail/ColourTable.h"

namespace tumblewash::bench {

void addColour(Table& table, int w, int h) {
    const std::string size = " " + std::to_string(w) + "x" + std::to_string(h);
    Picture from = scene(w, h, 1), to = scene(w, h, 2);
    const auto pixels = static_cast<std::size_t>(w);
    // The scene's own colours as 16-bit lines, so that neighbours are as alike as in pictures.
    std::vector<std::uint16_t> lines(3 * pixels * static_cast<std::size_t>(h));
    std::mt19937 random(4);
    for (std::size_t i = 0; i < lines.size(); ++i)
        lines[i] = static_cast<std::uint16_t>(4096 + 56064 * (i % pixels) / pixels + random() % 512);
    std::vector<std::uint16_t> line(3 * pixels);
    for (const auto& [name, map] : {std::pair{"tone map, natural", media::ToneMap::natural},
                                    std::pair{"tone map, white", media::ToneMap::white}}) {
        media::SignalConversion conversion;
        conversion.fromTransfer = media::Transfer::hlg;
        conversion.fromPrimaries = media::Primaries::bt2020;
        conversion.toneMap = map;
        const auto colours = media::ColourTable::of(conversion);
        table.add(
            name + size,
            [&] {
                for (std::size_t y = 0; y < static_cast<std::size_t>(h); ++y) {
                    std::copy_n(lines.data() + 3 * pixels * y, 3 * pixels, line.data());
                    colours->convertRow(line.data(), line.data() + pixels, line.data() + 2 * pixels, pixels);
                }
            },
            "memory copy", [&] { copyFrame(from, to); }, Aim::atMost, 15.0);
    }
}

}  // namespace tumblewash::bench
