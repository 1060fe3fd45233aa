#include "ImageLib/kernels/DeepBilinearRow.h"

#include <cmath>

namespace tumblewash::kernels {

namespace {

/// The painted pixel over one of this alpha.
DeepPixel painted(const DeepField& field, std::uint16_t alpha) {
    const DeepPixel& paint = field.rim.pixel;
    const DeepPixel& black = field.nothing;
    const auto weighed = [alpha](std::uint16_t colour, std::uint16_t none) {
        const std::int64_t above = std::int64_t{colour} - none;
        const std::int64_t half = above < 0 ? -32767 : 32767;
        return static_cast<std::uint16_t>(none + (above * alpha + half) / 65535);
    };
    return {alpha, weighed(paint.red, black.red), weighed(paint.green, black.green),
            weighed(paint.blue, black.blue)};
}

/// The pixel at (x, y), which lies inside or one column left or one row above; there it is `nothing`.
DeepPixel pixelAt(const DeepField& field, int x, int y) {
    if (x < 0 || y < 0) return field.nothing;
    const DeepPixel own = loadDeep(field.first + y * field.pitch + x * kDeepPixelBytes);
    const DeepRim& rim = field.rim;
    const bool inRim =
        x < rim.columns || x >= field.columns - rim.columns || y < rim.rows || y >= field.rows - rim.rows;
    return inRim ? painted(field, own.alpha) : own;
}

struct Weights {
    float w0, w1, w2, w3;
};

DeepPixel mixed(const DeepPixel& n0, const DeepPixel& n1, const DeepPixel& n2, const DeepPixel& n3,
                const Weights& w) {
    const auto channel = [&w](std::uint16_t c0, std::uint16_t c1, std::uint16_t c2, std::uint16_t c3) {
        const float sum = (static_cast<float>(c0) * w.w0 + static_cast<float>(c3) * w.w3) +
                          (static_cast<float>(c1) * w.w1 + static_cast<float>(c2) * w.w2);
        return static_cast<std::uint16_t>(sum + 0.5F);
    };
    return {channel(n0.alpha, n1.alpha, n2.alpha, n3.alpha), channel(n0.red, n1.red, n2.red, n3.red),
            channel(n0.green, n1.green, n2.green, n3.green), channel(n0.blue, n1.blue, n2.blue, n3.blue)};
}

DeepPixel readAnywhere(const DeepField& field, float x, float y) {
    if (!(x > -1.0F && y > -1.0F && x < static_cast<float>(field.columns) &&
          y < static_cast<float>(field.rows)))
        return field.nothing;
    const int fx = static_cast<int>(std::floor(x));
    const int fy = static_cast<int>(std::floor(y));
    const int cx = static_cast<int>(std::ceil(x));
    const int cy = static_cast<int>(std::ceil(y));
    if (cx >= field.columns || cy >= field.rows)
        return pixelAt(field, static_cast<int>(x), static_cast<int>(y));
    const float dx = x - static_cast<float>(fx);
    const float dy = y - static_cast<float>(fy);
    const Weights weights = {(1.0F - dx) * (1.0F - dy), dx * (1.0F - dy), dx * dy, (1.0F - dx) * dy};
    return mixed(pixelAt(field, fx, fy), pixelAt(field, cx, fy), pixelAt(field, cx, cy),
                 pixelAt(field, fx, cy), weights);
}

}  // namespace

void deepBilinearRowScalar(const DeepReading* fields, int fieldCount, const float* atX, const float* atY,
                           int count) {
    for (int f = 0; f < fieldCount; ++f) {
        for (int i = 0; i < count; ++i)
            storeDeep(fields[f].out + i * kDeepPixelBytes, readAnywhere(fields[f].from, atX[i], atY[i]));
    }
}

void deepNearestRow(const DeepReading& field, const float* atX, const float* atY, int count) {
    for (int i = 0; i < count; ++i)
        storeDeep(field.out + i * kDeepPixelBytes,
                  pixelAt(field.from, static_cast<int>(atX[i]), static_cast<int>(atY[i])));
}

void deepStillRow(const DeepReading* fields, int fieldCount, int column, int row, int count) {
    if (count <= 0) return;
    for (int f = 0; f < fieldCount; ++f) {
        const DeepField& from = fields[f].from;
        std::memcpy(fields[f].out, from.first + row * from.pitch + column * kDeepPixelBytes,
                    static_cast<std::size_t>(count * kDeepPixelBytes));
    }
}

void deepBlendRowScalar(unsigned char* out, const unsigned char* over, int count, int level) {
    const auto weight = static_cast<float>(level);
    const auto rest = static_cast<float>(255 - level);
    for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{count} * kDeepPixelBytes; i += 2) {
        std::uint16_t below = 0, above = 0;
        std::memcpy(&below, out + i, 2);
        std::memcpy(&above, over + i, 2);
        const float sum = static_cast<float>(above) * weight + static_cast<float>(below) * rest;
        const auto blended = static_cast<std::uint16_t>(sum * (1.0F / 255.0F) + 0.5F);
        std::memcpy(out + i, &blended, 2);
    }
}

}  // namespace tumblewash::kernels
