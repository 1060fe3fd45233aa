// Pictures for the adapters' tests: two scenes that differ everywhere and have detail to match, with alpha of
// the test's choice. Pixels are bytes red, green, blue, alpha.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tumblewash::test {

enum class SceneAlpha { opaque, cutOut, soft };

/// width x height pixels of scene 0 or 1. A cut-out is a disc with a hard edge, soft alpha a ramp.
inline std::vector<std::uint8_t> scene(int which, int width, int height,
                                       SceneAlpha alpha = SceneAlpha::opaque) {
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = rgba.data() + (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                             static_cast<std::size_t>(x)) *
                                                4;
            const int dx = 2 * x - width;
            const int dy = 2 * y - height;
            const bool checker = ((x / 7 + y / 5 + which) % 2) == 0;
            p[0] = static_cast<std::uint8_t>(which == 0 ? 40 + x * 200 / width : 220);
            p[1] = static_cast<std::uint8_t>(checker ? 200 : 60 + y * 100 / height);
            p[2] = static_cast<std::uint8_t>(which == 0 ? 30 : (x * 3 + y * 5) % 256);
            p[3] = 255;
            if (alpha == SceneAlpha::cutOut) p[3] = dx * dx + dy * dy < height * height / 2 ? 255 : 0;
            if (alpha == SceneAlpha::soft) p[3] = static_cast<std::uint8_t>(x * 255 / width);
        }
    }
    return rgba;
}

}  // namespace tumblewash::test
