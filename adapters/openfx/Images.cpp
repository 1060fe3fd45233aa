#include "adapters/openfx/Images.h"

#include <algorithm>
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

void Image::copyFrom(const Image& source, const OfxRectI& window) {
    if (empty()) return;
    if (source.empty() || source.depth_ != depth_ || source.alpha_ != alpha_) {
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
