#include "tests/media/Charts.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "media/detail/Av.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::PictureRef;
using media::PixelLayout;

void writeChart(const std::string& path, int width, int height, const ChartTags& tags,
                const std::function<Colour3(int x, int y)>& draw) {
    const bool wide = tags.matrix == "bt2020nc";
    const double kr = wide ? 0.2627 : tags.matrix == "bt709" ? 0.2126 : 0.299;
    const double kb = wide ? 0.0593 : tags.matrix == "bt709" ? 0.0722 : 0.114;
    const double unit = std::pow(2.0, tags.depth - 8);
    const auto w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    std::vector<double> luma(w * h), cb(w * h / 4), cr(w * h / 4);
    for (size_t y = 0; y < h; ++y)
        for (size_t x = 0; x < w; ++x) {
            const Colour3 c = draw(static_cast<int>(x), static_cast<int>(y));
            const double grey = kr * c[0] + (1 - kr - kb) * c[1] + kb * c[2];
            luma[y * w + x] = unit * (16 + 219 * grey);
            cb[y / 2 * (w / 2) + x / 2] += unit * (128 + 112 * (c[2] - grey) / (1 - kb)) / 4;
            cr[y / 2 * (w / 2) + x / 2] += unit * (128 + 112 * (c[0] - grey) / (1 - kr)) / 4;
        }
    std::string raw;
    for (const auto* plane : {&luma, &cb, &cr})
        for (const double value : *plane) {
            const long code = std::lround(value);
            raw.push_back(static_cast<char>(code & 255));
            if (tags.depth > 8) raw.push_back(static_cast<char>(code >> 8));
        }
    std::string all;
    for (int i = 0; i < tags.frames; ++i) all += raw;
    writeFile(path + ".yuv", all);
    ffmpeg("-f rawvideo -pix_fmt " + std::string(tags.depth > 8 ? "yuv420p10le" : "yuv420p") + " -s " +
           std::to_string(width) + "x" + std::to_string(height) + " -r 25 -color_trc " + tags.transfer +
           " -color_primaries " + tags.primaries + " -colorspace " + tags.matrix + " -color_range tv -i " +
           path + ".yuv " + tags.encoder + " -color_trc " + tags.transfer + " -color_primaries " +
           tags.primaries + " -colorspace " + tags.matrix + " -color_range tv " + path);
    std::remove((path + ".yuv").c_str());
}

int codeAt(const PictureRef& picture, int plane, int x, int y) {
    const AVFrame& frame = *picture.storage()->frame;
    const uint8_t* row = frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane];
    return picture.layout() == PixelLayout::yuv420 ? row[x] : reinterpret_cast<const uint16_t*>(row)[x];
}

double hlgLight(double signal) {
    const double a = 0.17883277, b = 1 - 4 * a, c = 0.5 - a * std::log(4 * a);
    signal = std::max(signal, 0.0);
    return signal <= 0.5 ? signal * signal / 3 : (b + std::exp((signal - c) / a)) / 12;
}

namespace {

double hlgSignal(double light) {
    const double a = 0.17883277, b = 1 - 4 * a, c = 0.5 - a * std::log(4 * a);
    light = std::max(light, 0.0);
    return light <= 1.0 / 12 ? std::sqrt(3 * light) : a * std::log(12 * light - b) + c;
}

double lumaOf(const Colour3& c) {
    return 0.2627 * c[0] + 0.6780 * c[1] + 0.0593 * c[2];
}

constexpr double kM1 = 0.1593017578125, kM2 = 78.84375, kC1 = 0.8359375, kC2 = 18.8515625, kC3 = 18.6875;

/// Linear light between BT.2020 and BT.709, rounded as BT.2087 prints it.
Colour3 narrow(const Colour3& c) {
    return {1.6605 * c[0] - 0.5876 * c[1] - 0.0728 * c[2], -0.1246 * c[0] + 1.1329 * c[1] - 0.0083 * c[2],
            -0.0182 * c[0] - 0.1006 * c[1] + 1.1187 * c[2]};
}
Colour3 widened(const Colour3& c) {
    return {0.6274 * c[0] + 0.3293 * c[1] + 0.0433 * c[2], 0.0691 * c[0] + 0.9195 * c[1] + 0.0114 * c[2],
            0.0164 * c[0] + 0.0880 * c[1] + 0.8956 * c[2]};
}

Colour3 sdrOf(const Colour3& light) {
    Colour3 out;
    for (size_t i = 0; i < 3; ++i) out[i] = std::pow(std::clamp(light[i], 0.0, 1.0), 1 / 2.4);
    return out;
}

Colour3 nitsOf(const Colour3& sdr) {
    Colour3 light;
    for (size_t i = 0; i < 3; ++i) light[i] = 203 * std::pow(std::max(sdr[i], 0.0), 2.4);
    return widened(light);
}

}  // namespace

double pqLight(double signal) {
    const double p = std::pow(std::clamp(signal, 0.0, 1.0), 1 / kM2);
    return 1e4 * std::pow(std::max(0.0, p - kC1) / (kC2 - kC3 * p), 1 / kM1);
}

double pqSignal(double nits) {
    const double p = std::pow(std::clamp(nits, 0.0, 1e4) / 1e4, kM1);
    return std::pow((kC1 + kC2 * p) / (1 + kC3 * p), kM2);
}

Colour3 hlgDisplay(const Colour3& signal) {
    const Colour3 scene{hlgLight(signal[0]), hlgLight(signal[1]), hlgLight(signal[2])};
    const double gain = 1000 * std::pow(lumaOf(scene), 0.2);
    return {gain * scene[0], gain * scene[1], gain * scene[2]};
}

Colour3 naturalSdr(const Colour3& nits, double peak) {
    Colour3 hdr;
    for (size_t i = 0; i < 3; ++i) hdr[i] = std::pow(std::clamp(nits[i] / peak, 0.0, 1.0), 1 / 2.4);
    const double y = lumaOf(hdr);
    if (y <= 0) return {0, 0, 0};
    const double pHdr = 1 + 32 * std::pow(peak / 10000, 1 / 2.4), pSdr = 1 + 32 * std::pow(0.01, 1 / 2.4);
    const double yp = std::log(1 + (pHdr - 1) * y) / std::log(pHdr);
    double yc = 0.5 * yp + 0.5;
    if (yp < 0.9909) yc = -1.1510 * yp * yp + 2.7811 * yp - 0.6302;
    if (yp <= 0.7399) yc = 1.0770 * yp;
    const double ySdr = (std::pow(pSdr, yc) - 1) / (pSdr - 1);
    const double f = ySdr / (1.1 * y);
    const double cb = f * (hdr[2] - y) / 1.8814, cr = f * (hdr[0] - y) / 1.4746;
    const double yTmo = ySdr - std::max(0.1 * cr, 0.0);
    const Colour3 rgb{yTmo + 1.4746 * cr, yTmo - 0.16455 * cb - 0.57135 * cr, yTmo + 1.8814 * cb};
    Colour3 light;
    for (size_t i = 0; i < 3; ++i) light[i] = std::pow(std::max(rgb[i], 0.0), 2.4);
    return sdrOf(narrow(light));
}

Colour3 whiteSdr(const Colour3& nits, double peak) {
    const double most = std::min(*std::max_element(nits.begin(), nits.end()), peak);
    if (most <= 0) return {0, 0, 0};
    const double top = pqSignal(peak), e = pqSignal(most) / top, target = pqSignal(203) / top;
    const double ks = 1.5 * target - 0.5;
    double mapped = e;
    if (e > ks) {
        const double t = (e - ks) / (1 - ks);
        mapped = (2 * std::pow(t, 3) - 3 * t * t + 1) * ks + (std::pow(t, 3) - 2 * t * t + t) * (1 - ks) +
                 (-2 * std::pow(t, 3) + 3 * t * t) * target;
    }
    const double ratio = pqLight(mapped * top) / most / 203;
    return sdrOf(narrow({std::clamp(nits[0], 0.0, peak) * ratio, std::clamp(nits[1], 0.0, peak) * ratio,
                         std::clamp(nits[2], 0.0, peak) * ratio}));
}

Colour3 sdrAsHlg(const Colour3& sdr) {
    const Colour3 nits = nitsOf(sdr);
    const double y = lumaOf(nits) / 1000;
    Colour3 out;
    for (size_t i = 0; i < 3; ++i) out[i] = y <= 0 ? 0 : hlgSignal(nits[i] / 1000 * std::pow(y, -1 / 6.0));
    return out;
}

Colour3 sdrAsPq(const Colour3& sdr) {
    const Colour3 nits = nitsOf(sdr);
    return {pqSignal(nits[0]), pqSignal(nits[1]), pqSignal(nits[2])};
}

double deltaE(const Colour3& a, const Colour3& b) {
    const auto lab = [](const Colour3& c) {
        double l[3];
        for (size_t i = 0; i < 3; ++i) l[i] = std::pow(std::clamp(c[i], 0.0, 1.0), 2.4);
        const auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116; };
        const double x = f((0.4124 * l[0] + 0.3576 * l[1] + 0.1805 * l[2]) / 0.9505);
        const double y = f(0.2126 * l[0] + 0.7152 * l[1] + 0.0722 * l[2]);
        const double z = f((0.0193 * l[0] + 0.1192 * l[1] + 0.9505 * l[2]) / 1.089);
        return Colour3{116 * y - 16, 500 * (x - y), 200 * (y - z)};
    };
    const Colour3 p = lab(a), q = lab(b);
    return std::sqrt(std::pow(p[0] - q[0], 2) + std::pow(p[1] - q[1], 2) + std::pow(p[2] - q[2], 2));
}

}  // namespace tumblewash::test
