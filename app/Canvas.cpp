#include "app/Canvas.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/HostError.h"

namespace tumblewash::app {

using host::HostError;
using media::PictureRef;
using media::PixelLayout;
using media::toArgb;

namespace {

// Makes a world current for a while.
class Current {
  public:
    explicit Current(GWorldPtr world) {
        GetGWorld(&before_, &device_);
        SetGWorld(world, nullptr);
    }
    ~Current() { SetGWorld(before_, device_); }
    Current(const Current&) = delete;
    Current& operator=(const Current&) = delete;

  private:
    CGrafPtr before_ = nullptr;
    GDHandle device_ = nullptr;
};

// A length-prefixed string, cut at 255 bytes on a character's boundary.
struct Pascal {
    explicit Pascal(const std::string& words) {
        std::size_t length = std::min<std::size_t>(255, words.size());
        while (length < words.size() && length > 0 &&
               (static_cast<unsigned char>(words[length]) & 0xC0) == 0x80)
            --length;
        bytes[0] = static_cast<unsigned char>(length);
        std::memcpy(bytes + 1, words.data(), length);
    }
    Str255 bytes;
};

void setStyle(int size, Face face) {
    TextSize(static_cast<short>(size));
    TextFont(face == Face::Mono ? monacoFont : genevaFont);
}

RGBColor platformColour(Colour c) {
    const auto wide = [](std::uint8_t v) { return static_cast<std::uint16_t>(v * 257); };
    return {wide(c.r), wide(c.g), wide(c.b)};
}

double distanceToSegment(double x, double y, double x0, double y0, double x1, double y1) {
    const double dx = x1 - x0;
    const double dy = y1 - y0;
    const double length2 = dx * dx + dy * dy;
    const double t = length2 > 0 ? std::clamp(((x - x0) * dx + (y - y0) * dy) / length2, 0.0, 1.0) : 0.0;
    return std::hypot(x - (x0 + t * dx), y - (y0 + t * dy));
}

}  // namespace

const Palette& paletteOf(Theme theme) {
    static const Palette kDark{{18, 20, 24},    {27, 30, 36},   {48, 53, 62}, {236, 238, 242},
                               {140, 147, 158}, {92, 200, 190}, {34, 37, 43}, {42, 46, 53}};
    static const Palette kLight{{250, 250, 248}, {240, 240, 237}, {214, 214, 209}, {28, 30, 34},
                                {112, 116, 122}, {18, 130, 122},  {236, 236, 233}, {223, 223, 219}};
    return theme == Theme::Light ? kLight : kDark;
}

Colour blend(Colour a, Colour b, double t) {
    const auto one = [t](std::uint8_t from, std::uint8_t to) {
        return static_cast<std::uint8_t>(std::lround(from + (to - from) * std::clamp(t, 0.0, 1.0)));
    };
    return {one(a.r, b.r), one(a.g, b.g), one(a.b, b.b)};
}

Canvas::Canvas(int width, int height, Colour paper) : picture_(PictureRef::makeArgb(width, height)) {
    const Rect bounds{0, 0, static_cast<std::int16_t>(height), static_cast<std::int16_t>(width)};
    if (platform::NewGWorldOver(&world_, picture_.data(), static_cast<std::int32_t>(picture_.stride()),
                                &bounds) != noErr)
        throw HostError("the sheet is wider than 4095 pixels; use fewer --columns");
    unclip();
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = picture_.data() + y * picture_.stride() + x * 4;
            p[0] = 255;
            p[1] = paper.r;
            p[2] = paper.g;
            p[3] = paper.b;
        }
}

void Canvas::clip(int x, int y, int w, int h) {
    left_ = std::max(0, x);
    top_ = std::max(0, y);
    right_ = std::min(width(), x + w);
    bottom_ = std::min(height(), y + h);
}

Canvas::~Canvas() {
    DisposeGWorld(world_);
}

void Canvas::mix(int x, int y, Colour colour, double opacity) {
    if (x < left_ || y < top_ || x >= right_ || y >= bottom_ || opacity <= 0) return;
    std::uint8_t* p = picture_.data() + y * picture_.stride() + x * 4;
    const Colour mixed = blend({p[1], p[2], p[3]}, colour, opacity);
    p[1] = mixed.r;
    p[2] = mixed.g;
    p[3] = mixed.b;
}

void Canvas::fill(int x, int y, int w, int h, Colour colour, double opacity) {
    for (int row = std::max(0, y); row < std::min(height(), y + h); ++row)
        for (int column = std::max(0, x); column < std::min(width(), x + w); ++column)
            mix(column, row, colour, opacity);
}

void Canvas::frame(int x, int y, int w, int h, Colour colour) {
    fill(x, y, w, 1, colour);
    fill(x, y + h - 1, w, 1, colour);
    fill(x, y, 1, h, colour);
    fill(x + w - 1, y, 1, h, colour);
}

void Canvas::line(double x0, double y0, double x1, double y1, double thickness, Colour colour,
                  double opacity) {
    const double reach = thickness / 2 + 1;
    const int left = static_cast<int>(std::floor(std::min(x0, x1) - reach));
    const int right = static_cast<int>(std::ceil(std::max(x0, x1) + reach));
    const int top = static_cast<int>(std::floor(std::min(y0, y1) - reach));
    const int bottom = static_cast<int>(std::ceil(std::max(y0, y1) + reach));
    for (int y = std::max(0, top); y <= std::min(height() - 1, bottom); ++y)
        for (int x = std::max(0, left); x <= std::min(width() - 1, right); ++x) {
            const double away = distanceToSegment(x + 0.5, y + 0.5, x0, y0, x1, y1);
            mix(x, y, colour, opacity * std::clamp(thickness / 2 + 0.5 - away, 0.0, 1.0));
        }
}

void Canvas::triangle(const double (&xs)[3], const double (&ys)[3], Colour colour, double opacity) {
    const auto [left, right] = std::minmax({xs[0], xs[1], xs[2]});
    const auto [top, bottom] = std::minmax({ys[0], ys[1], ys[2]});
    const double area = (xs[1] - xs[0]) * (ys[2] - ys[0]) - (xs[2] - xs[0]) * (ys[1] - ys[0]);
    const double sign = area < 0 ? -1 : 1;
    for (int y = static_cast<int>(std::floor(top)) - 1; y <= static_cast<int>(bottom) + 1; ++y)
        for (int x = static_cast<int>(std::floor(left)) - 1; x <= static_cast<int>(right) + 1; ++x) {
            // Signed distances to the three edges; the nearest decides the coverage.
            double inside = 1;
            for (int i = 0; i < 3; ++i) {
                const int j = (i + 1) % 3;
                const double dx = xs[j] - xs[i];
                const double dy = ys[j] - ys[i];
                const double length = std::hypot(dx, dy);
                if (length <= 0) continue;
                const double side = (dx * (y + 0.5 - ys[i]) - dy * (x + 0.5 - xs[i])) / length * sign;
                inside = std::min(inside, side + 0.5);
            }
            mix(x, y, colour, opacity * std::clamp(inside, 0.0, 1.0));
        }
}

void Canvas::arrow(double x0, double y0, double x1, double y1, double thickness, Colour colour) {
    const double length = std::hypot(x1 - x0, y1 - y0);
    if (length < 0.5) {
        line(x0, y0, x0, y0, thickness + 0.5, colour);
        return;
    }
    const double ux = (x1 - x0) / length;
    const double uy = (y1 - y0) / length;
    const double head = std::min(length * 0.6, 3.0 + thickness * 2.6);
    const double half = head * 0.45;
    line(x0, y0, x1 - ux * head * 0.8, y1 - uy * head * 0.8, thickness, colour);
    triangle({x1, x1 - ux * head - uy * half, x1 - ux * head + uy * half},
             {y1, y1 - uy * head + ux * half, y1 - uy * head - ux * half}, colour);
}

void Canvas::image(const PictureRef& picture, int x, int y, int w, int h, const Palette& palette) {
    const PictureRef source = picture.layout() == PixelLayout::argb ? picture : toArgb(picture);
    const double scaleX = static_cast<double>(source.width()) / w;
    const double scaleY = static_cast<double>(source.height()) / h;
    for (int row = 0; row < h; ++row) {
        const int top = static_cast<int>(row * scaleY);
        const int bottom = std::max(top + 1, static_cast<int>(std::ceil((row + 1) * scaleY)));
        for (int column = 0; column < w; ++column) {
            const int left = static_cast<int>(column * scaleX);
            const int right = std::max(left + 1, static_cast<int>(std::ceil((column + 1) * scaleX)));
            double sum[3] = {0, 0, 0};
            double weight = 0;
            double seen = 0;
            for (int sy = top; sy < std::min(bottom, source.height()); ++sy) {
                const double wy =
                    std::min<double>(sy + 1, (row + 1) * scaleY) - std::max<double>(sy, row * scaleY);
                for (int sx = left; sx < std::min(right, source.width()); ++sx) {
                    const double wx = std::min<double>(sx + 1, (column + 1) * scaleX) -
                                      std::max<double>(sx, column * scaleX);
                    const std::uint8_t* p = source.data() + sy * source.stride() + sx * 4;
                    const double share = wx * wy;
                    weight += share;
                    if (p[0] == 0) continue;
                    seen += share;
                    for (int c = 0; c < 3; ++c) sum[c] += share * p[c + 1];
                }
            }
            const bool odd = ((row / 8) ^ (column / 8)) & 1;
            mix(x + column, y + row, odd ? palette.checkA : palette.checkB, 1);
            if (seen <= 0) continue;
            const auto byte = [&](int c) { return static_cast<std::uint8_t>(std::lround(sum[c] / seen)); };
            mix(x + column, y + row, {byte(0), byte(1), byte(2)}, seen / weight);
        }
    }
}

int Canvas::textWidth(const std::string& words, int size, Face face) {
    const Current current(world_);
    setStyle(size, face);
    return StringWidth(Pascal(words).bytes);
}

int Canvas::text(int x, int y, const std::string& words, int size, Colour colour, Face face, Align align) {
    const Current current(world_);
    setStyle(size, face);
    const Pascal pascal(words);
    const int wide = StringWidth(pascal.bytes);
    const int start = align == Align::Left ? x : align == Align::Right ? x - wide : x - wide / 2;
    const RGBColor ink = platformColour(colour);
    RGBForeColor(&ink);
    MoveTo(static_cast<short>(start), static_cast<short>(y));
    DrawString(pascal.bytes);
    return wide;
}

std::string Canvas::fitted(const std::string& words, int width, int size, Face face) {
    if (textWidth(words, size, face) <= width) return words;
    std::string cut = words;
    while (!cut.empty()) {
        do cut.pop_back();
        while (!cut.empty() && (static_cast<unsigned char>(cut.back()) & 0xC0) == 0x80);
        if (!cut.empty() && (static_cast<unsigned char>(cut.back()) & 0x80)) cut.pop_back();
        if (textWidth(cut + "…", size, face) <= width) return cut + "…";
    }
    return "…";
}

}  // namespace tumblewash::app
