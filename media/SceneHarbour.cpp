// An evening by the sea: sinking sun, clouds, a lighthouse, sailing boats, gulls; a slow major chord and
// surf.
#include <algorithm>
#include <cmath>
#include <vector>

#include "media/detail/Scenes.h"

namespace tumblewash::media {

namespace {

constexpr double kHorizon = 0.62;

void drawSky(Canvas& canvas, double t) {
    const Stop sky[] = {{0, {0.10, 0.22, 0.48}},
                        {0.25, {0.28, 0.42, 0.68}},
                        {0.45, {0.93, 0.60, 0.50}},
                        {0.56, {1.00, 0.78, 0.47}},
                        {kHorizon, {1.00, 0.88, 0.60}}};
    canvas.gradient(sky);
    const Point sun{canvas.aspect() * 0.63, 0.44 + 0.008 * t};
    canvas.glow(sun, 0.55, {1, 0.62, 0.25, 0.45});
    canvas.disc(sun, 0.085, {1, 0.95, 0.72}, 0.006);
}

void drawCloud(Canvas& canvas, double x, double y, double size, const Paint& lit, const Paint& shade) {
    constexpr double puffs[][3] = {
        {-1.5, 0.1, 0.5}, {-0.8, -0.2, 0.75}, {0.1, -0.42, 0.95}, {0.95, -0.12, 0.7}, {1.65, 0.12, 0.45}};
    for (const auto& puff : puffs)
        canvas.ellipse({x + puff[0] * size, y + (puff[1] + 0.16) * size}, puff[2] * size,
                       puff[2] * size * 0.55, shade, size * 0.3);
    for (const auto& puff : puffs)
        canvas.ellipse({x + puff[0] * size, y + puff[1] * size}, puff[2] * size * 0.92, puff[2] * size * 0.48,
                       lit, size * 0.3);
}

void drawClouds(Canvas& canvas, double t) {
    const double span = canvas.aspect() + 0.8;
    for (int i = 0; i < 5; ++i) {
        const double x = wrapped(i * span / 5 + 0.25 * scatter(i, 1) + t * (0.018 + 0.006 * i), span) - 0.4;
        drawCloud(canvas, x, 0.10 + 0.055 * i, 0.085 - 0.008 * i, {1, 0.90 - 0.03 * i, 0.84 - 0.05 * i, 0.8},
                  {0.62, 0.45, 0.60, 0.35});
    }
}

void drawHills(Canvas& canvas) {
    const double width = canvas.aspect();
    for (int layer = 0; layer < 2; ++layer) {
        std::vector<Point> outline{{-0.1, kHorizon}};
        for (int i = 0; i <= 60; ++i) {
            const double x = -0.1 + (width + 0.2) * i / 60;
            const double rise =
                layer == 0
                    ? 0.05 + 0.035 * std::sin(3.1 * x + 0.4) + 0.018 * std::sin(7.3 * x)
                    : 0.085 * std::exp(-6 * x * x) + 0.012 * std::sin(9 * x) * std::exp(-2 * x) + 0.004;
            outline.push_back({x, kHorizon - std::max(0.0, rise)});
        }
        outline.push_back({width + 0.1, kHorizon});
        canvas.polygon(outline, layer == 0 ? Paint{0.56, 0.42, 0.58, 0.85} : Paint{0.22, 0.26, 0.36});
    }
}

void drawLighthouse(Canvas& canvas, double t) {
    const double x = 0.24, foot = kHorizon - 0.055, top = foot - 0.30;
    // The beam sweeps round: seen from the side it stretches and folds with the sine of its angle.
    const double turn = kTau * t / 4;
    const double reach = 0.9 * std::cos(turn);
    const double spread = 0.03 + 0.05 * std::abs(std::cos(turn));
    for (int part = 1; part <= 8; ++part) {
        const double far = reach * part / 8, wide = spread * part / 8;
        const Point beam[] = {{x, top - 0.012}, {x + far, top - 0.012 - wide}, {x + far, top - 0.012 + wide}};
        canvas.polygon(beam, {1, 0.96, 0.7, 0.055});
    }
    for (int i = 0; i < 6; ++i) {
        const double a = top + (foot - top) * i / 6, b = top + (foot - top) * (i + 1) / 6;
        const double wa = 0.024 + 0.016 * i / 6, wb = 0.024 + 0.016 * (i + 1) / 6;
        const Point band[] = {{x - wa, a}, {x + wa, a}, {x + wb, b}, {x - wb, b}};
        canvas.polygon(band, i % 2 == 0 ? Paint{0.86, 0.22, 0.20} : Paint{0.96, 0.93, 0.88});
        const Point shade[] = {{x - wa, a}, {x - wa * 0.3, a}, {x - wb * 0.3, b}, {x - wb, b}};
        canvas.polygon(shade, {0.15, 0.12, 0.3, 0.3});
    }
    canvas.rectangle(x - 0.034, top - 0.008, x + 0.034, top + 0.004, {0.2, 0.2, 0.26});
    canvas.rectangle(x - 0.018, top - 0.04, x + 0.018, top - 0.008, {1, 0.93, 0.6});
    const Point roof[] = {{x - 0.026, top - 0.038}, {x, top - 0.075}, {x + 0.026, top - 0.038}};
    canvas.polygon(roof, {0.55, 0.13, 0.15});
    canvas.glow({x, top - 0.024}, 0.10 + 0.08 * std::abs(std::sin(turn)), {1, 0.85, 0.5, 0.7});
}

void drawSea(Canvas& canvas, double t) {
    const double width = canvas.aspect();
    const Stop sea[] = {{kHorizon, {0.96, 0.72, 0.52}},
                        {kHorizon + 0.05, {0.55, 0.52, 0.60}},
                        {0.82, {0.13, 0.36, 0.50}},
                        {1.0, {0.04, 0.18, 0.33}}};
    canvas.gradient(sea);
    for (int i = 0; i < 90; ++i) {
        const double depth = scatter(i, 11);
        const double y = kHorizon + 0.01 + 0.3 * depth * depth;
        const double wander = (scatter(i, 12) - 0.5) * (0.10 + 0.5 * depth) + 0.015 * std::sin(t * 1.3 + i);
        const double shine = 0.5 + 0.5 * std::sin(t * (2 + 2 * scatter(i, 13)) + 40 * scatter(i, 14));
        canvas.ellipse({width * 0.63 + wander, y}, 0.012 + 0.035 * depth, 0.0016 + 0.003 * depth,
                       {1, 0.88, 0.58, 0.75 * shine});
    }
}

void drawWaves(Canvas& canvas, double t, int from, int to) {
    const double width = canvas.aspect();
    for (int layer = from; layer < to; ++layer) {
        const double depth = (layer + 1) / 6.0;
        const double level = kHorizon + 0.07 + 0.33 * depth * depth;
        const double height = 0.004 + 0.014 * depth;
        const double speed = 0.4 + 0.7 * depth;
        std::vector<Point> outline{{-0.1, 1.1}};
        for (int i = 0; i <= 120; ++i) {
            const double x = -0.1 + (width + 0.2) * i / 120;
            const double swell = std::sin(x * (22 - 11 * depth) - t * speed * 2 + layer) +
                                 0.5 * std::sin(x * (37 - 15 * depth) + t * speed + 2 * layer);
            outline.push_back({x, level + height * swell});
        }
        outline.push_back({width + 0.1, 1.1});
        canvas.polygon(outline, {0.09 - 0.01 * layer, 0.36 - 0.045 * layer, 0.50 - 0.05 * layer, 0.5});
    }
}

void drawBoat(Canvas& canvas, double x, double y, double size, double lean, const Paint& sail,
              const Paint& jib, double facing) {
    const auto at = [&](double dx, double dy) -> Point {
        dx *= facing;
        return {x + size * (dx * std::cos(lean) - dy * std::sin(lean)),
                y + size * (dx * std::sin(lean) + dy * std::cos(lean))};
    };
    const Point shadow[] = {at(-0.55, 0.2), at(0.6, 0.2), at(0.2, 0.95), at(-0.1, 1.0)};
    canvas.polygon(shadow, {sail.red, sail.green, sail.blue, 0.18});
    const Point main[] = {at(0.02, -1.5), at(0.0, -0.12), at(-0.72, -0.12), at(-0.42, -0.62),
                          at(-0.14, -1.15)};
    canvas.polygon(main, sail);
    const Point front[] = {at(0.06, -1.35), at(0.62, -0.12), at(0.07, -0.12)};
    canvas.polygon(front, jib);
    canvas.stroke(at(0.03, -1.56), at(0.03, 0.0), 0.035 * size, {0.25, 0.16, 0.12});
    const Point hull[] = {at(-0.75, -0.05), at(0.85, -0.08), at(0.58, 0.22), at(-0.55, 0.22)};
    canvas.polygon(hull, {0.36, 0.14, 0.12});
    const Point rail[] = {at(-0.75, -0.05), at(0.85, -0.08), at(0.82, -0.02), at(-0.73, 0.01)};
    canvas.polygon(rail, {0.98, 0.93, 0.85});
}

void drawGulls(Canvas& canvas, double t) {
    const double span = canvas.aspect() + 0.4;
    for (int i = 0; i < 6; ++i) {
        const double x = wrapped(0.3 * i + t * (0.09 + 0.02 * scatter(i, 5)), span) - 0.2;
        const double y = 0.18 + 0.05 * i * scatter(i, 6) + 0.02 * std::sin(t * 0.9 + i);
        const double size = 0.02 + 0.012 * scatter(i, 7);
        const double flap = std::sin(t * (6 + scatter(i, 8)) + 2 * i) * 0.5;
        for (const double side : {-1.0, 1.0}) {
            canvas.stroke({x, y}, {x + side * size * 0.55, y - size * (0.35 + 0.5 * flap)}, size * 0.16,
                          {0.16, 0.15, 0.24});
            canvas.stroke({x + side * size * 0.52, y - size * (0.33 + 0.5 * flap)},
                          {x + side * size * 1.15, y - size * (0.15 - 0.25 * flap)}, size * 0.12,
                          {0.16, 0.15, 0.24});
        }
    }
}

}  // namespace

void drawHarbour(Canvas& canvas, double t) {
    const double width = canvas.aspect();
    drawSky(canvas, t);
    drawClouds(canvas, t);
    drawHills(canvas);
    drawSea(canvas, t);
    drawLighthouse(canvas, t);
    drawWaves(canvas, t, 0, 2);
    const double far = wrapped(0.45 * width + 0.035 * t, width + 0.4) - 0.2;
    drawBoat(canvas, far, kHorizon + 0.075 + 0.003 * std::sin(1.6 * t), 0.065, 0.04 * std::sin(1.3 * t),
             {0.98, 0.95, 0.9}, {0.90, 0.45, 0.30}, 1);
    drawWaves(canvas, t, 2, 4);
    const double near = width + 0.15 - wrapped(0.62 * width + 0.075 * t, width + 0.5);
    drawBoat(canvas, near, 0.835 + 0.007 * std::sin(1.9 * t + 1), 0.19, 0.06 * std::sin(1.5 * t),
             {0.97, 0.78, 0.32}, {0.88, 0.28, 0.26}, -1);
    drawWaves(canvas, t, 4, 6);
    drawGulls(canvas, t);
}

Ears playHarbour(double t) {
    constexpr double notes[] = {130.81, 196.00, 261.63, 329.63, 493.88};
    Ears out{0, 0};
    for (int i = 0; i < 5; ++i) {
        const double swell = 0.6 + 0.4 * std::sin(kTau * t / (5 + i) + i);
        const double tone = std::sin(kTau * notes[i] * t) + 0.25 * std::sin(kTau * 2 * notes[i] * t);
        const double pan = 0.5 + 0.4 * std::sin(kTau * t / 9 + 1.3 * i);
        out.left += 0.055 * swell * tone * (1 - pan);
        out.right += 0.055 * swell * tone * pan;
    }
    // Surf: scattered numbers, smoothed, in slow waves.
    const double at = t * 6000;
    const int cell = static_cast<int>(at);
    const double part = at - cell;
    const double surf = (scatter(cell, 77) * (1 - part) + scatter(cell + 1, 77) * part - 0.5) *
                        (0.035 + 0.03 * std::sin(kTau * t / 4));
    return {out.left + surf, out.right + surf};
}

}  // namespace tumblewash::media
