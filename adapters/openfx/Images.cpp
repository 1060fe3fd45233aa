#include "adapters/openfx/Images.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace tumblewash::ofx {

using adapters::AlphaKind;
using adapters::Canvas;

namespace {

// Far beyond any picture, and sums of such coordinates stay inside an int.
constexpr int kFarthest = 1 << 24;

Depth depthNamed(const std::string& name) {
    if (name == kDepthByte) return Depth::byte;
    if (name == kDepthShort) return Depth::half16;
    if (name == kDepthFloat) return Depth::real;
    throw StatusError{kErrUnsupported};
}

AlphaKind alphaNamed(const std::string& name) {
    if (name == kImageOpaque) return AlphaKind::opaque;
    return name == kImageUnPreMultiplied ? AlphaKind::straight : AlphaKind::premultiplied;
}

std::uint8_t byteOf(std::uint16_t value) {
    return static_cast<std::uint8_t>((static_cast<unsigned>(value) * 255 + 32767) / 65535);
}
std::uint8_t byteOf(float value) {
    if (!(value > 0)) return 0;
    return static_cast<std::uint8_t>(std::lrintf(std::min(value, 1.0F) * 255));
}
void fromByte(std::uint8_t byte, std::uint16_t& value) {
    value = static_cast<std::uint16_t>(byte * 257);
}
void fromByte(std::uint8_t byte, float& value) {
    value = static_cast<float>(byte) / 255.0F;
}

// Foreign memory need not be aligned for its type.
template <class T>
void bytesFromRow(const std::uint8_t* row, int values, std::uint8_t* bytes) {
    for (int i = 0; i < values; ++i) {
        T value;
        std::memcpy(&value, row + static_cast<std::size_t>(i) * sizeof(T), sizeof(T));
        bytes[i] = byteOf(value);
    }
}
template <class T>
void rowFromBytes(const std::uint8_t* bytes, int values, std::uint8_t* row) {
    for (int i = 0; i < values; ++i) {
        T value;
        fromByte(bytes[i], value);
        std::memcpy(row + static_cast<std::size_t>(i) * sizeof(T), &value, sizeof(T));
    }
}

/// Channels red, green, blue, alpha as numbers, 1 being white and opaque.
using Channels = std::array<float, 4>;

Channels loadPixel(const std::uint8_t* at, Depth depth) {
    Channels pixel{};
    for (std::size_t c = 0; c < 4; ++c) {
        if (depth == Depth::byte) pixel[c] = static_cast<float>(at[c]) / 255.0F;
        if (depth == Depth::half16) {
            std::uint16_t value;
            std::memcpy(&value, at + 2 * c, 2);
            pixel[c] = static_cast<float>(value) / 65535.0F;
        }
        if (depth == Depth::real) std::memcpy(&pixel[c], at + 4 * c, 4);
    }
    return pixel;
}

std::uint16_t codeOf(float value, float least, float span) {
    const float code = least + value * span;
    if (!(code > 0)) return 0;  // not-a-number, too
    return static_cast<std::uint16_t>(std::lrintf(std::min(code, 65535.0F)));
}

/// A foreign pixel as a deep one.
kernels::DeepPixel deepPixel(const std::uint8_t* at, Depth depth, AlphaKind kind,
                             const kernels::DeepRange& range) {
    Channels pixel = loadPixel(at, depth);
    if (kind == AlphaKind::opaque) pixel[3] = 1;
    if (kind == AlphaKind::straight)
        for (std::size_t c = 0; c < 3; ++c) pixel[c] *= std::clamp(pixel[3], 0.0F, 1.0F);
    const auto least = static_cast<float>(range.black), span = static_cast<float>(range.white - range.black);
    return {codeOf(pixel[3], 0, 65535), codeOf(pixel[0], least, span), codeOf(pixel[1], least, span),
            codeOf(pixel[2], least, span)};
}

/// And back.
void storePixel(const kernels::DeepPixel& deep, AlphaKind kind, const kernels::DeepRange& range, Depth depth,
                std::uint8_t* at) {
    const float span = static_cast<float>(range.white - range.black);
    const auto value = [&](std::uint16_t code) { return static_cast<float>(code - range.black) / span; };
    Channels pixel{value(deep.red), value(deep.green), value(deep.blue),
                   static_cast<float>(deep.alpha) / 65535.0F};
    if (kind == AlphaKind::opaque) pixel[3] = 1;
    if (kind == AlphaKind::straight && deep.alpha != 65535)
        for (std::size_t c = 0; c < 3; ++c) pixel[c] = deep.alpha == 0 ? 0 : pixel[c] / pixel[3];
    for (std::size_t c = 0; c < 4; ++c) {
        const auto wide = codeOf(pixel[c], 0, 65535);
        if (depth == Depth::half16) std::memcpy(at + 2 * c, &wide, 2);
        if (depth == Depth::real) std::memcpy(at + 4 * c, &pixel[c], 4);
    }
}

}  // namespace

OfxRectI intersection(const OfxRectI& a, const OfxRectI& b) noexcept {
    return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

Image::Image(const Suites& suites, OfxImageClipHandle clip, OfxTime time) : suites_(suites) {
    if (clip == nullptr || suites.effect->clipGetImage(clip, time, nullptr, &image_) != kOK) image_ = nullptr;
    if (image_ == nullptr) return;
    try {
        const Properties properties(suites, image_);
        if (properties.string(kPropComponents, kComponentRGBA) != kComponentRGBA)
            throw StatusError{kErrUnsupported};
        depth_ = depthNamed(properties.string(kPropPixelDepth, kDepthByte));
        alpha_ = alphaNamed(properties.string(kPropPreMultiplication, kImagePreMultiplied));
        bounds_ = properties.rectangle(kPropImageBounds);
        for (const int corner : {bounds_.x1, bounds_.y1, bounds_.x2, bounds_.y2})
            if (corner < -kFarthest || corner > kFarthest) throw StatusError{kErrValue};
        const bool hollow = bounds_.x2 <= bounds_.x1 || bounds_.y2 <= bounds_.y1;
        data_ = hollow ? nullptr : static_cast<std::uint8_t*>(properties.pointer(kPropImageData));
        // Zero stands for rows without gaps.
        rowBytes_ = properties.integer(kPropImageRowBytes, 0);
        if (rowBytes_ == 0) rowBytes_ = pixelBytes() * (bounds_.x2 - bounds_.x1);
    } catch (...) {
        suites.effect->clipReleaseImage(image_);
        throw;
    }
}

Image::~Image() {
    if (image_ != nullptr) suites_.effect->clipReleaseImage(image_);
}

std::ptrdiff_t Image::pixelBytes() const noexcept {
    return depth_ == Depth::byte ? 4 : depth_ == Depth::half16 ? 8 : 16;
}

std::uint8_t* Image::at(int x, int y) const noexcept {
    return data_ + (y - bounds_.y1) * rowBytes_ + (x - bounds_.x1) * pixelBytes();
}

void Image::read(const OfxRectI& region, Canvas& canvas) const {
    const int width = region.x2 - region.x1;
    canvas.resize(width, region.y2 - region.y1);
    const OfxRectI part = empty() ? OfxRectI{} : intersection(region, bounds_);
    std::vector<std::uint8_t> bytes(depth_ == Depth::byte ? 0 : static_cast<std::size_t>(width) * 4);
    bool opaque =
        part.x1 == region.x1 && part.x2 == region.x2 && part.y1 == region.y1 && part.y2 == region.y2;
    for (int row = 0; row < canvas.height(); ++row) {
        std::uint8_t* out = canvas.row(row);
        if (part.x2 - part.x1 != width) std::fill_n(out, 4 * width, std::uint8_t{0});
        const int y = region.y2 - 1 - row;
        if (y < part.y1 || y >= part.y2 || part.x2 <= part.x1) {
            std::fill_n(out, 4 * width, std::uint8_t{0});
            continue;
        }
        const int count = part.x2 - part.x1;
        const std::uint8_t* in = at(part.x1, y);
        if (depth_ == Depth::half16) bytesFromRow<std::uint16_t>(in, 4 * count, bytes.data());
        if (depth_ == Depth::real) bytesFromRow<float>(in, 4 * count, bytes.data());
        opaque &= adapters::rowFromRgba(depth_ == Depth::byte ? in : bytes.data(), count, alpha_,
                                        out + 4 * (part.x1 - region.x1));
    }
    canvas.setOpaque(opaque);
}

void Image::write(const Canvas& canvas, const OfxRectI& region, const OfxRectI& window) {
    if (empty()) return;
    const OfxRectI part = intersection(intersection(window, bounds_), region);
    const int count = part.x2 - part.x1;
    if (count <= 0) return;
    std::vector<std::uint8_t> bytes(depth_ == Depth::byte ? 0 : static_cast<std::size_t>(count) * 4);
    for (int y = part.y1; y < part.y2; ++y) {
        const std::uint8_t* in = canvas.row(region.y2 - 1 - y) + 4 * (part.x1 - region.x1);
        std::uint8_t* out = at(part.x1, y);
        adapters::rowToRgba(in, count, adapters::kindFor(canvas, alpha_),
                            depth_ == Depth::byte ? out : bytes.data());
        if (depth_ == Depth::half16) rowFromBytes<std::uint16_t>(bytes.data(), 4 * count, out);
        if (depth_ == Depth::real) rowFromBytes<float>(bytes.data(), 4 * count, out);
    }
}

kernels::DeepRange Image::range() const noexcept {
    return depth_ == Depth::real ? kernels::DeepRange{4096, 60160} : kernels::DeepRange{};
}

DeepCanvas Image::readDeep(const OfxRectI& region, const kernels::DeepRange& range) const {
    DeepCanvas canvas(region);
    const OfxRectI part = empty() ? OfxRectI{} : intersection(region, bounds_);
    const kernels::DeepPixel nothing = range.nothing();
    for (int row = 0; row < canvas.height; ++row) {
        unsigned char* out = canvas.target().row(row);
        const int y = region.y2 - 1 - row;
        const bool some = y >= part.y1 && y < part.y2;
        for (int x = region.x1; x < region.x2; ++x, out += kernels::kDeepPixelBytes)
            kernels::storeDeep(out, some && x >= part.x1 && x < part.x2
                                        ? deepPixel(at(x, y), depth_, alpha_, range)
                                        : nothing);
    }
    return canvas;
}

void Image::writeDeep(const DeepCanvas& canvas, const OfxRectI& region, const OfxRectI& window) {
    if (empty()) return;
    const OfxRectI part = intersection(intersection(window, bounds_), region);
    const kernels::DeepRange codes = range();
    for (int y = part.y1; y < part.y2; ++y) {
        const unsigned char* in = canvas.view().row(region.y2 - 1 - y);
        for (int x = part.x1; x < part.x2; ++x)
            storePixel(kernels::loadDeep(in + (x - region.x1) * kernels::kDeepPixelBytes), alpha_, codes,
                       depth_, at(x, y));
    }
}

void Image::copyFrom(const Image& source, const OfxRectI& window) {
    if (empty()) return;
    if (source.empty() || source.depth_ != depth_) {
        Canvas canvas;
        const OfxRectI part = intersection(window, bounds_);
        if (part.x2 <= part.x1 || part.y2 <= part.y1) return;
        source.read(part, canvas);
        return write(canvas, part, part);
    }
    clear(window);
    const OfxRectI part = intersection(intersection(window, bounds_), source.bounds_);
    if (part.x2 <= part.x1) return;
    for (int y = part.y1; y < part.y2; ++y)
        std::memcpy(at(part.x1, y), source.at(part.x1, y),
                    static_cast<std::size_t>((part.x2 - part.x1) * pixelBytes()));
}

void Image::clear(const OfxRectI& window) {
    if (empty()) return;
    const OfxRectI part = intersection(window, bounds_);
    if (part.x2 <= part.x1) return;
    for (int y = part.y1; y < part.y2; ++y)
        std::memset(at(part.x1, y), 0, static_cast<std::size_t>((part.x2 - part.x1) * pixelBytes()));
}

}  // namespace tumblewash::ofx
