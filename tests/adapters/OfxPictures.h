// OfxPictures: what the tests of the OpenFX bundle share: where it lies, its pictures of any depth read and
// written as bytes, and the fixture that visits every plug-in of it. No expectations.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "adapters/common/TransitionRenderer.h"
#include "tests/adapters/OfxTestHost.h"
#include "tests/adapters/Scene.h"

namespace tumblewash::test {

inline const std::string kBundle = TUMBLEWASH_OFX_BINARY;

/// Writes RGBA bytes into an image of any depth.
inline void fill(TestImage& image, const std::vector<std::uint8_t>& rgba) {
    const int w = image.width();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < w; ++x) {
            const std::uint8_t* in = rgba.data() + (static_cast<std::ptrdiff_t>(y) * w + x) * 4;
            std::uint8_t* out = image.fromTop(x, y);
            for (int c = 0; c < 4; ++c) {
                const auto wide = static_cast<std::uint16_t>(in[c] * 257);
                const float real = static_cast<float>(in[c]) / 255.0F;
                if (image.depth == ofx::kDepthByte) out[c] = in[c];
                if (image.depth == ofx::kDepthShort) std::memcpy(out + 2 * c, &wide, 2);
                if (image.depth == ofx::kDepthFloat) std::memcpy(out + 4 * c, &real, 4);
            }
        }
    }
}

/// Reads pixel (x, y from the top) back as bytes.
inline std::array<int, 4> bytesAt(const TestImage& image, int x, int y) {
    std::array<int, 4> values{};
    const std::uint8_t* p = image.fromTop(x, y);
    for (std::size_t c = 0; c < 4; ++c) {
        if (image.depth == ofx::kDepthByte) values[c] = p[c];
        if (image.depth == ofx::kDepthShort) {
            std::uint16_t v;
            std::memcpy(&v, p + 2 * c, 2);
            values[c] = v / 257;
        }
        if (image.depth == ofx::kDepthFloat) {
            float v;
            std::memcpy(&v, p + 4 * c, 4);
            values[c] = static_cast<int>(std::lround(v * 255));
        }
    }
    return values;
}

/// Both scenes in bytes, and an image of their size for the result.
struct TwoScenes {
    TestImage from, to, out;
    TwoScenes(int width, int height)
        : from(TestImage::make(width, height)),
          to(TestImage::make(width, height)),
          out(TestImage::make(width, height)) {
        fill(from, scene(0, width, height));
        fill(to, scene(1, width, height));
    }
    /// Their colours are said to carry alpha, or not to.
    void setAlpha(const char* alpha) {
        for (TestImage* image : {&from, &to, &out}) image->alpha = alpha;
    }
};

/// The context, besides the general one, in which hosts find the effect.
inline const char* contextFor(const plugin::EffectRecord& effect) {
    return adapters::joinsTwoClips(effect) ? ofx::kContextTransition : ofx::kContextFilter;
}

class EveryPlugin : public testing::TestWithParam<int> {
  protected:
    const int index = GetParam();
    const plugin::EffectRecord& effect = plugin::effectRecord(static_cast<short>(index));
};

}  // namespace tumblewash::test
