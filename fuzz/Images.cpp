// Sampled and continuous images at wild coordinates: any reading ends, stays inside, and gives the zero pixel
// where there is nothing.

#include <cmath>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/PixRectRef.h"
#include "ImageLib/source/SamplePixRect.h"
#include "fuzz/Target.h"
#include "tests/faults/Choice.h"

namespace {

using tumblewash::faults::ByteChoice;
using tumblewash::fuzz::demand;
using Grey = GreyPixel<float>;
using Vector = RGBPixel<float>;

template <class T>
bool isZero(const T& pixel);
template <>
bool isZero(const ARGBVal& p) {
    return p._alpha == 0 && p._red == 0 && p._green == 0 && p._blue == 0;
}
template <>
bool isZero(const Grey& p) {
    return p._grey == 0;
}
template <>
bool isZero(const Vector& p) {
    return p._red == 0 && p._green == 0 && p._blue == 0;
}

void fill(ByteChoice& choice, PixRectRW<ARGBVal>& rect) {
    const std::uint32_t seed = choice.bits();
    for (int y = rect.ly(); y <= rect.hy(); ++y)
        for (int x = rect.lx(); x <= rect.hx(); ++x) {
            const auto v = static_cast<unsigned char>(seed + static_cast<unsigned>(x * 31 + y * 7));
            rect.set(x, y,
                     ARGBVal(255, v, static_cast<unsigned char>(v * 3), static_cast<unsigned char>(v ^ 85)));
        }
}
void fill(ByteChoice& choice, PixRectRW<Grey>& rect) {
    const auto v = static_cast<float>(choice.wildReal());
    for (int y = rect.ly(); y <= rect.hy(); ++y)
        for (int x = rect.lx(); x <= rect.hx(); ++x) rect.set(x, y, Grey(v * static_cast<float>(x)));
}
void fill(ByteChoice& choice, PixRectRW<Vector>& rect) {
    const auto v = static_cast<float>(choice.wildReal());
    for (int y = rect.ly(); y <= rect.hy(); ++y)
        for (int x = rect.lx(); x <= rect.hx(); ++x)
            rect.set(x, y, Vector(v, static_cast<float>(x), static_cast<float>(y)));
}

/// Readings at wild places; outside, by the truncated position, there is the zero pixel.
template <class T>
void readAll(ByteChoice& choice, const PixRect<T>& image) {
    for (int n = 0; n < 12; ++n) {
        const double x = choice.wildReal(), y = choice.wildReal();
        const T pixel = image.pixdd(x, y);
        const double tx = std::trunc(x), ty = std::trunc(y);
        const bool inside = tx >= image.lx() && tx <= image.hx() && ty >= image.ly() && ty <= image.hy();
        demand(inside || isZero(pixel), "something was read outside of an image");
    }
    for (int n = 0; n < 6; ++n) static_cast<void>(image.pix(choice.wild32(), choice.wild32()));
}

double anyFactor(ByteChoice& choice) {
    return choice.once(3) ? choice.range(1, 400) / 100.0 : choice.range(1, 64) / 8.0;
}

template <class T>
void images(ByteChoice& choice) {
    const int lx = choice.range(-20, 20), ly = choice.range(-20, 20);
    PixRectRW<T> source(lx, ly, lx + choice.range(0, 17), ly + choice.range(0, 17));
    fill(choice, source);
    readAll<T>(choice, source);
    const auto way = static_cast<siinterpcode>(choice.range(0, 4));
    ContImageRef<T> smooth(source, way);
    readAll<T>(choice, smooth);
    const int cx = choice.range(-30, 30), cy = choice.range(-30, 30);
    ContImageRef<T> part(source, cx, cy, cx + choice.range(-3, 20), cy + choice.range(-3, 20), way);
    readAll<T>(choice, part);
    const auto code = static_cast<sisamplecodes>(choice.range(0, 4));
    const double fx = anyFactor(choice), fy = anyFactor(choice);
    SamplePixRectNC<T, T> view(source, fx, fy, code);
    view.setScaleInvariant(choice.once(2));
    readAll<T>(choice, view);
    SamplePixRectNC<T, T> stacked(smooth, fy, fx, code);
    readAll<T>(choice, stacked);
    if (fx * fy > 0.05) {
        SamplePixRect<T, T> made(smooth, fx, fy, code);
        for (int n = 0; n < 6; ++n) static_cast<void>(made.pixdd(choice.wildReal(), choice.wildReal()));
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteChoice choice({data, size});
    switch (choice.range(0, 2)) {
        case 0:
            images<ARGBVal>(choice);
            break;
        case 1:
            images<Grey>(choice);
            break;
        default:
            images<Vector>(choice);
    }
    return 0;
}
