#include "ImageLib/source/ContImage.h"

#include <cmath>

#include "ImageLib/source/RealPosition.h"

using tumblewash::imagelib::wholePart;

namespace {

constexpr float kHalfRoot2 = 0.70710677F;

/// Where a position lies: the corners of its cell and the fractions within it.
struct Cell {
    int fx, fy, cx, cy;
    double dx, dy;
};

/// The bilinear weights in the order of the four neighbours.
struct Weights {
    double w[4];
};

Weights bilinearWeights(double dx, double dy) {
    return {{(1.0 - dx) * (1.0 - dy), dx * (1.0 - dy), dx * dy, (1.0 - dx) * dy}};
}

unsigned char sumOfTruncated(const Weights& weights, const unsigned char (&channel)[4]) {
    int sum = 0;
    for (int i = 0; i < 4; ++i) {
        sum += static_cast<int>(weights.w[i] * channel[i]);
    }
    return static_cast<unsigned char>(sum & 255);
}

float sumNarrowedOnce(const Weights& weights, const float (&channel)[4]) {
    double sum = 0.0;
    for (int i = 0; i < 4; ++i) {
        sum += weights.w[i] * static_cast<double>(channel[i]);
    }
    return static_cast<float>(sum);
}

ARGBVal bilinear(const Weights& weights, const ARGBVal (&n)[4]) {
    const unsigned char red[4] = {n[0].getred(), n[1].getred(), n[2].getred(), n[3].getred()};
    const unsigned char green[4] = {n[0].getgreen(), n[1].getgreen(), n[2].getgreen(), n[3].getgreen()};
    const unsigned char blue[4] = {n[0].getblue(), n[1].getblue(), n[2].getblue(), n[3].getblue()};
    const int alpha = 255 + n[0].getalpha() + n[1].getalpha() + n[2].getalpha() + n[3].getalpha();
    return ARGBVal(static_cast<unsigned char>(alpha & 255), sumOfTruncated(weights, red),
                   sumOfTruncated(weights, green), sumOfTruncated(weights, blue));
}

GreyPixel<unsigned char> bilinear(const Weights& weights, const GreyPixel<unsigned char> (&n)[4]) {
    const unsigned char grey[4] = {n[0].getgrey(), n[1].getgrey(), n[2].getgrey(), n[3].getgrey()};
    GreyPixel<unsigned char> result;
    result.setgrey(sumOfTruncated(weights, grey));
    return result;
}

GreyPixel<float> bilinear(const Weights& weights, const GreyPixel<float> (&n)[4]) {
    const float grey[4] = {n[0].getgrey(), n[1].getgrey(), n[2].getgrey(), n[3].getgrey()};
    GreyPixel<float> result;
    result.setgrey(sumNarrowedOnce(weights, grey));
    return result;
}

RGBPixel<float> bilinear(const Weights& weights, const RGBPixel<float> (&n)[4]) {
    const float red[4] = {n[0].getred(), n[1].getred(), n[2].getred(), n[3].getred()};
    const float green[4] = {n[0].getgreen(), n[1].getgreen(), n[2].getgreen(), n[3].getgreen()};
    const float blue[4] = {n[0].getblue(), n[1].getblue(), n[2].getblue(), n[3].getblue()};
    return RGBPixel<float>(sumNarrowedOnce(weights, red), sumNarrowedOnce(weights, green),
                           sumNarrowedOnce(weights, blue));
}

/// Three running sums, one per colour; grey pixels use all three alike.
struct Sum {
    float red = 0.0F, green = 0.0F, blue = 0.0F;

    template <class T>
    void add(float weight, const T& pixel) {
        red += weight * static_cast<float>(pixel.getred());
        green += weight * static_cast<float>(pixel.getgreen());
        blue += weight * static_cast<float>(pixel.getblue());
    }
};

/// Nearest byte, clamped; a NaN gives 0.
unsigned char nearestByte(float v) {
    if (!(v > 0.0F)) {
        return 0;
    }
    return v >= 255.0F ? static_cast<unsigned char>(255) : static_cast<unsigned char>(v + 0.5F);
}

void finish(const Sum& sum, ARGBVal& result) {
    result.set(255, nearestByte(sum.red), nearestByte(sum.green), nearestByte(sum.blue));
}

void finish(const Sum& sum, GreyPixel<unsigned char>& result) {
    result.setgrey(nearestByte(sum.red));
}

void finish(const Sum& sum, GreyPixel<float>& result) {
    result.setgrey(sum.red);
}

void finish(const Sum& sum, RGBPixel<float>& result) {
    result = RGBPixel<float>(sum.red, sum.green, sum.blue);
}

void smoothWeights(const Cell& cell, float (&w)[4]) {
    const float farX = (static_cast<float>(cell.dx) + 0.5F) * 0.5F;
    const float farY = (static_cast<float>(cell.dy) + 0.5F) * 0.5F;
    const float nearX = 1.0F - farX;
    const float nearY = 1.0F - farY;
    w[0] = nearX * nearY;
    w[1] = farX * nearY;
    w[2] = farX * farY;
    w[3] = nearX * farY;
}

void pyramidWeights(const Cell& cell, float (&w)[4]) {
    const float dx = static_cast<float>(cell.dx);
    const float dy = static_cast<float>(cell.dy);
    const bool corner = (dx == 0.0F || dx == 1.0F) && (dy == 0.0F || dy == 1.0F);
    const bool centre = dx == 0.5F && dy == 0.5F;
    float r = corner ? 1.0F : 0.0F;
    if (!corner && !centre) {
        r = std::sqrt((dx - 0.5F) * (dx - 0.5F) + (dy - 0.5F) * (dy - 0.5F)) / kHalfRoot2;
    }
    const Weights bilinear = bilinearWeights(cell.dx, cell.dy);
    for (int i = 0; i < 4; ++i) {
        w[i] = 0.25F * (1.0F - r) + r * static_cast<float>(bilinear.w[i]);
    }
}

template <class T>
T bicubic(const PixRectRef<T>& view, const Cell& cell) {
    float wx[4];
    float wy[4];
    for (int i = 0; i < 4; ++i) {
        wx[i] = cubic_bspline(cell.dx - (i - 1));
        wy[i] = cubic_bspline(cell.dy - (i - 1));
    }
    Sum sum;
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 4; ++i) {
            sum.add(wx[i] * wy[j], view.PixRectRef<T>::pix(cell.fx + i - 1, cell.fy + j - 1));
        }
    }
    T result;
    finish(sum, result);
    return result;
}

float cubeOfPositive(double u) {
    return u > 0.0 ? static_cast<float>(u * u * u) : 0.0F;
}

}  // namespace

float cubic_bspline(double t) {
    return (cubeOfPositive(t + 2.0) - 4.0F * cubeOfPositive(t + 1.0) + 6.0F * cubeOfPositive(t) -
            4.0F * cubeOfPositive(t - 1.0)) *
           0.16666667F;
}

template <class T>
ContImageRef<T>::ContImageRef(PixRect<T>& src, siinterpcode type) : PixRectRef<T>(src), _type(type) {}

template <class T>
ContImageRef<T>::ContImageRef(PixRect<T>& src, int lx, int ly, int hx, int hy, siinterpcode type)
    : PixRectRef<T>(src, lx, ly, hx, hy), _type(type) {}

template <class T>
T ContImageRef<T>::pix(int x, int y) const {
    return interpPix(x, y);
}

template <class T>
T ContImageRef<T>::pixNB(int x, int y) const {
    return interpPix(x, y);
}

template <class T>
T ContImageRef<T>::pixdd(double x, double y) const {
    int xi = 0;
    int yi = 0;
    if (!wholePart(x, xi) || !wholePart(y, yi) || !this->withinbounds(xi, yi)) {
        return this->blackpixel;
    }
    return interpPix(x, y);
}

template <class T>
T ContImageRef<T>::interpPix(double x, double y) const {
    int xi = 0;
    int yi = 0;
    if (!wholePart(x, xi) || !wholePart(y, yi)) {
        return this->blackpixel;
    }
    Cell cell{};
    if (!wholePart(std::floor(x), cell.fx) || !wholePart(std::floor(y), cell.fy) ||
        !wholePart(std::ceil(x), cell.cx) || !wholePart(std::ceil(y), cell.cy) ||
        !this->withinbounds(cell.cx, cell.cy)) {
        return PixRectRef<T>::pix(xi, yi);
    }
    cell.dx = x - std::floor(x);
    cell.dy = y - std::floor(y);
    if (_type == SIInterpBicubic) {
        return bicubic<T>(*this, cell);
    }
    // The tested read: a cell that begins at -1 takes the zero pixel there.
    const T neighbours[4] = {PixRectRef<T>::pix(cell.fx, cell.fy), PixRectRef<T>::pix(cell.cx, cell.fy),
                             PixRectRef<T>::pix(cell.cx, cell.cy), PixRectRef<T>::pix(cell.fx, cell.cy)};
    if (_type != SIInterpSmooth && _type != SIInterpPyramid) {
        return bilinear(bilinearWeights(cell.dx, cell.dy), neighbours);
    }
    float w[4];
    _type == SIInterpSmooth ? smoothWeights(cell, w) : pyramidWeights(cell, w);
    Sum sum;
    for (int i = 0; i < 4; ++i) {
        sum.add(w[i], neighbours[i]);
    }
    T result;
    finish(sum, result);
    return result;
}

template <class T>
void ContImageRef<T>::printInfo() const {
    siprintf("ContImageRef :");
    PixRectRef<T>::printInfo();
}

template class ContImageRef<ARGBVal>;
template class ContImageRef<GreyPixel<float>>;
template class ContImageRef<GreyPixel<unsigned char>>;
template class ContImageRef<RGBPixel<float>>;
