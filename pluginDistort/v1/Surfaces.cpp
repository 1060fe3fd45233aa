#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "pluginDistort/v1/DeepProcess.h"
#include "pluginDistort/v1/DistortProcess.h"

namespace {

using Field = PixRectRW<RGBPixel<float>>;

void store(Field& field, int x, int y, float horizontal, float vertical) {
    field.set(x, y, RGBPixel<float>(horizontal, vertical, 0.0f));
}

/// The reach of a wash-away cell in 64ths of the frame. Up and left count 65 down to 2, down and right -1 to
/// -64: one more step for the edges that the picture is pulled to.
int washReach(hyPluginDirection direction, int x, int y) {
    switch (direction) {
        case kPluginDirectionUp:
            return 65 - y;
        case kPluginDirectionDown:
            return -(y + 1);
        case kPluginDirectionLeft:
            return 65 - x;
        default:
            return -(x + 1);
    }
}

/// One number drawn for each cell, row by row.
template <class Draw>
std::unique_ptr<Field> washAway(hyPluginDirection direction, Draw draw) {
    const bool vertical = direction == kPluginDirectionUp || direction == kPluginDirectionDown;
    auto field = std::make_unique<Field>(64, 64);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            const int n = draw() % 25 + 1;
            const float speed = static_cast<float>(n + 3) / static_cast<float>(n + 1);
            const float move = speed * static_cast<float>(washReach(direction, x, y)) * 0.015625f;
            store(*field, x, y, vertical ? 0.0f : move, vertical ? move : 0.0f);
        }
    }
    return field;
}

}  // namespace

Field* makeWashAway(hyPluginDirection direction) {
    return washAway(direction, [] { return std::rand(); }).release();
}

std::unique_ptr<Field> tumblewash::plugin::seededWashAway(hyPluginDirection direction, unsigned seed) {
    // 128 bytes select the additive generator behind the library's rand().
    std::array<char, 128> state{};
    random_data data{};
    initstate_r(seed, state.data(), state.size(), &data);
    return washAway(direction, [&data] {
        std::int32_t drawn = 0;
        random_r(&data, &drawn);
        return drawn;
    });
}

Field* makeTiltPlate(float zoom, int gran) {
    const auto n = static_cast<float>(gran);
    const auto half = static_cast<float>(gran * 0.5);
    auto field = std::make_unique<Field>(gran, gran);
    for (int y = 0; y < gran; ++y) {
        for (int x = 0; x < gran; ++x) {
            const float narrowing = zoom * (static_cast<float>(x) - half);
            const float red = narrowing * static_cast<float>(gran + 1 - y) * 0.25f / n;
            const float green = zoom * static_cast<float>(4 * y - 4 * gran) / n;
            store(*field, x, y, red, green);
        }
    }
    return field.release();
}

Field* makeMagnifyingGlass(float zoom, int gran) {
    const float zoomv = zoom * 3.0f * 0.5f;
    const auto n = static_cast<float>(gran);
    const auto cen = static_cast<float>(gran * 0.5);
    const float radius = (cen + cen) / 5.0f;
    auto field = std::make_unique<Field>(gran, gran);
    for (int y = 0; y < gran; ++y) {
        for (int x = 0; x < gran; ++x) {
            const float dx = (cen - static_cast<float>(x)) * 0.5f;
            const float dy = (cen - static_cast<float>(y)) * 0.5f;
            const float d = std::sqrt(dx * dx + dy * dy);
            const double quarter = d * 0.25f;
            if (d == 0.0f) {
                store(*field, x, y, 0.0f, 0.0f);
            } else if (d < radius) {
                const auto gain = static_cast<float>((quarter + 3.5) / (quarter + 1.0));
                store(*field, x, y, dx * (zoomv * gain) / n, dy * (zoomv * gain) / n);
            } else {
                const float beyond = 1.0f - radius / d;
                const auto gain = static_cast<float>((beyond + 2.5) / (beyond + 1.0));
                store(*field, x, y, zoomv * (gain * (dx * beyond)) / n, zoomv * (gain * (dy * beyond)) / n);
            }
        }
    }
    return field.release();
}
