#include "bench/Yardsticks.h"

#include <cmath>
#include <cstring>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>

namespace tumblewash::bench {

namespace {

cv::Mat matOf(const Picture& p) {
    return cv::Mat(p.height, p.width, CV_8UC4, const_cast<std::uint8_t*>(p.bytes.data()));
}

}  // namespace

Picture scene(int width, int height, unsigned seed) {
    Picture p(width, height);
    std::mt19937 random(seed);
    std::uint8_t* out = p.data();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double u = static_cast<double>(x) / width, v = static_cast<double>(y) / height;
            const auto noise = static_cast<int>(random() % 9);
            *out++ = 255;
            for (int c = 1; c < 4; ++c) {
                const double wave = 120.0 + 100.0 * std::sin(6.0 * u * c + 5.0 * v + seed + c);
                *out++ = static_cast<std::uint8_t>(static_cast<int>(wave) + noise);
            }
        }
    }
    return p;
}

void useOneThread() {
    cv::setNumThreads(1);
}

void copyFrame(const Picture& from, Picture& to) {
    std::memcpy(to.data(), from.bytes.data(), from.bytes.size());
}

void remapAlong(const Picture& from, Picture& to, const CoarseField& field, float strength, bool bilinear) {
    static cv::Mat identity, enlarged, maps;
    const cv::Size size(from.width, from.height);
    if (identity.size() != size) {
        identity.create(size, CV_32FC2);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                identity.at<cv::Vec2f>(y, x) = cv::Vec2f(static_cast<float>(x), static_cast<float>(y));
            }
        }
    }
    const cv::Mat coarse(field.height, field.width, CV_32FC2, const_cast<float*>(field.cells.data()));
    cv::resize(coarse, enlarged, size, 0, 0, cv::INTER_LINEAR);
    cv::scaleAdd(enlarged, static_cast<double>(strength), identity, maps);
    cv::Mat out = matOf(to);
    cv::remap(matOf(from), out, maps, cv::noArray(), bilinear ? cv::INTER_LINEAR : cv::INTER_NEAREST,
              cv::BORDER_TRANSPARENT);
}

void warpPerspectiveFrame(const Picture& from, Picture& to, double degrees, double scale) {
    const double w = from.width, h = from.height;
    cv::Mat turn = cv::getRotationMatrix2D(cv::Point2f(static_cast<float>(w / 2), static_cast<float>(h / 2)),
                                           degrees, scale);
    cv::Mat perspective = cv::Mat::eye(3, 3, CV_64F);
    turn.copyTo(perspective.rowRange(0, 2));
    perspective.at<double>(2, 0) = 1.0e-5;
    cv::Mat out = matOf(to);
    cv::warpPerspective(matOf(from), out, perspective, out.size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
}

void blendHalf(const Picture& from, Picture& to) {
    cv::Mat out = matOf(to);
    cv::addWeighted(matOf(from), 0.4, out, 0.6, 0.0, out);
}

void resizeNearest(const Picture& from, Picture& to) {
    cv::Mat out = matOf(to);
    cv::resize(matOf(from), out, out.size(), 0, 0, cv::INTER_NEAREST);
}

void resizeArea(const Picture& from, Picture& to) {
    cv::Mat out = matOf(to);
    cv::resize(matOf(from), out, out.size(), 0, 0, cv::INTER_AREA);
}

void filter5x5(const Picture& from, Picture& to, const float (&kernel)[25]) {
    cv::Mat out = matOf(to);
    const cv::Mat weights(5, 5, CV_32F, const_cast<float*>(kernel));
    cv::filter2D(matOf(from), out, -1, weights);
}

double sumOfDifferences(const Picture& a, const Picture& b) {
    return cv::norm(matOf(a), matOf(b), cv::NORM_L1);
}

double sumOfSquares(const Picture& a, const Picture& b) {
    static cv::Mat greyA, greyB, difference;
    cv::cvtColor(matOf(a), greyA, cv::COLOR_BGRA2GRAY);
    cv::cvtColor(matOf(b), greyB, cv::COLOR_BGRA2GRAY);
    cv::absdiff(greyA, greyB, difference);
    double low = 0, high = 0;
    cv::minMaxLoc(difference, &low, &high);
    return cv::norm(difference, cv::NORM_L2SQR) + low + high;
}

double sumOfGrey(const Picture& a) {
    static cv::Mat grey;
    cv::cvtColor(matOf(a), grey, cv::COLOR_BGRA2GRAY);
    return cv::sum(grey)[0];
}

void addFrames(const Picture& from, Picture& to) {
    cv::Mat out = matOf(to);
    cv::add(matOf(from), out, out);
}

void scaleFrame(const Picture& from, Picture& to, double factor) {
    cv::Mat out = matOf(to);
    matOf(from).convertTo(out, -1, factor);
}

void tableFrame(const Picture& from, Picture& to, const std::uint8_t (&table)[256]) {
    cv::Mat out = matOf(to);
    const cv::Mat row(1, 256, CV_8U, const_cast<std::uint8_t*>(table));
    cv::LUT(matOf(from), row, out);
}

void fillFrame(Picture& to) {
    cv::Mat out = matOf(to);
    out.setTo(cv::Scalar(1, 2, 3, 4));
}

}  // namespace tumblewash::bench
