#include "effects/Frames.h"

#include <atomic>
#include <cstring>
#include <new>

namespace tumblewash::effects {

namespace {

const std::uint8_t* rowOf(const Picture& picture, int y) noexcept {
    return picture.pixels + y * picture.stride;
}

std::uint8_t* rowOf(const Target& target, int y) noexcept {
    return target.pixels + y * target.stride;
}

void weighRow(std::uint8_t* row, int width) noexcept {
    for (std::uint8_t* p = row; p != row + std::ptrdiff_t{width} * 4; p += 4)
        for (int c = 1; c < 4; ++c) p[c] = premultiplied(p[c], p[0]);
}

void unweighRow(std::uint8_t* row, int width) noexcept {
    for (std::uint8_t* p = row; p != row + std::ptrdiff_t{width} * 4; p += 4) {
        if (p[0] == 255) continue;
        for (int c = 1; c < 4; ++c) p[c] = straight(p[c], p[0]);
    }
}

void fillAlphaRow(std::uint8_t* row, int width) noexcept {
    for (int x = 0; x < width; ++x) row[4 * x] = 255;
}

/// A row from one kind of alpha to another. Where the result shall be opaque, what lies under the picture is
/// black.
void changeAlphaRow(std::uint8_t* row, int width, Alpha from, Alpha to) noexcept {
    if (from == to && from != Alpha::opaque) return;
    if (from == Alpha::opaque) return fillAlphaRow(row, width);
    if (from == Alpha::straight) weighRow(row, width);
    if (to == Alpha::straight) unweighRow(row, width);
    if (to == Alpha::opaque) fillAlphaRow(row, width);
}

}  // namespace

Frame newFrame(int width, int height) {
    void* memory = memory::newFrameMemory(frameBytes(width, height));
    if (memory == nullptr) throw std::bad_alloc();
    return Frame(static_cast<std::uint8_t*>(memory));
}

namespace {

/// A picture's bytes in a frame, from one kind of alpha to another.
Frame copyOf(const Picture& picture, Alpha wanted, const RowThreads& threads) {
    Frame frame = newFrame(picture.width, picture.height);
    const Target whole{frame.get(), std::ptrdiff_t{picture.width} * 4, picture.width, picture.height, wanted};
    threads.eachBand(picture.width, picture.height, [&](const imagelib::LineBand& band) {
        copyPicture(linesOf(picture, band), linesOf(whole, band));
    });
    return frame;
}

bool opaqueLines(const Picture& picture) noexcept {
    for (int y = 0; y < picture.height; ++y) {
        const std::uint8_t* row = rowOf(picture, y);
        for (int x = 0; x < picture.width; ++x)
            if (row[4 * x] != 255) return false;
    }
    return true;
}

}  // namespace

Source::Source(const Picture& picture, const RowThreads& threads)
    : width_(picture.width), height_(picture.height) {
    if (picture.stride == std::ptrdiff_t{picture.width} * 4) {
        pixels_ = const_cast<std::uint8_t*>(picture.pixels);
        return;
    }
    own_ = copyOf(picture, picture.alpha == Alpha::opaque ? Alpha::premultiplied : picture.alpha, threads);
    pixels_ = own_.get();
}

Source::Source(Frame frame, int width, int height) noexcept
    : width_(width), height_(height), pixels_(frame.get()), own_(std::move(frame)) {}

Source Source::weighed(const Picture& picture, const RowThreads& threads) {
    Picture counted = picture;
    counted.alpha = Alpha::straight;
    if (picture.alpha == Alpha::premultiplied || isOpaque(counted, threads)) return Source(picture, threads);
    return Source(copyOf(picture, Alpha::premultiplied, threads), picture.width, picture.height);
}

std::uint8_t* Source::scratch(const RowThreads& threads) {
    if (own_ == nullptr) {
        const Picture same{pixels_, std::ptrdiff_t{width_} * 4, width_, height_, Alpha::straight};
        own_ = copyOf(same, Alpha::straight, threads);
        pixels_ = own_.get();
    }
    return pixels_;
}

bool isOpaque(const Picture& picture, const RowThreads& threads) {
    if (picture.alpha == Alpha::opaque) return true;
    std::atomic<bool> opaque = true;
    threads.eachBand(picture.width, picture.height, [&](const imagelib::LineBand& band) {
        if (opaque && !opaqueLines(linesOf(picture, band))) opaque = false;
    });
    return opaque;
}

void copyPicture(const Picture& from, const Target& to) noexcept {
    for (int y = 0; y < to.height; ++y) {
        std::uint8_t* row = rowOf(to, y);
        std::memcpy(row, rowOf(from, y), static_cast<std::size_t>(to.width) * 4);
        changeAlphaRow(row, to.width, from.alpha, to.alpha);
    }
}

void clearPicture(const Target& to) noexcept {
    for (int y = 0; y < to.height; ++y) {
        std::memset(rowOf(to, y), 0, static_cast<std::size_t>(to.width) * 4);
        if (to.alpha == Alpha::opaque) fillAlphaRow(rowOf(to, y), to.width);
    }
}

void settleAlpha(const Target& target, bool opaque) noexcept {
    for (int y = 0; y < target.height; ++y)
        changeAlphaRow(rowOf(target, y), target.width, opaque ? Alpha::opaque : Alpha::premultiplied,
                       target.alpha);
}

}  // namespace tumblewash::effects
