// A ride past a city at night: moon, three rows of houses with lit windows, an elevated train, traffic; a
// soft beat.
#include <algorithm>
#include <cmath>
#include <vector>

#include "media/detail/Scenes.h"

namespace tumblewash::media {

namespace {

constexpr double kStreet = 0.86;

void drawNight(Canvas& canvas, double t) {
    const Stop sky[] = {{0, {0.03, 0.04, 0.15}},
                        {0.35, {0.16, 0.08, 0.34}},
                        {0.62, {0.55, 0.16, 0.46}},
                        {0.78, {0.95, 0.42, 0.38}},
                        {1, {0.98, 0.62, 0.36}}};
    canvas.gradient(sky);
    for (int i = 0; i < 110; ++i) {
        const double y = 0.5 * scatter(i, 1) * scatter(i, 2);
        const double twinkle = 0.55 + 0.45 * std::sin(t * (1 + 3 * scatter(i, 3)) + 30 * scatter(i, 4));
        canvas.disc({scatter(i, 5) * canvas.aspect(), y}, 0.0014 + 0.0014 * scatter(i, 6),
                    {1, 0.97, 0.9, twinkle});
    }
    const Point moon{canvas.aspect() * (0.80 - 0.004 * t), 0.19};
    canvas.glow(moon, 0.34, {0.75, 0.62, 0.95, 0.35});
    canvas.disc(moon, 0.083, {0.98, 0.95, 0.86}, 0.003);
    constexpr double craters[][3] = {
        {-0.03, -0.02, 0.018}, {0.025, 0.012, 0.022}, {-0.012, 0.038, 0.012}, {0.035, -0.04, 0.010}};
    for (const auto& crater : craters)
        canvas.disc({moon.x + crater[0], moon.y + crater[1]}, crater[2], {0.86, 0.82, 0.76, 0.7}, 0.006);
}

/// One row of houses: the further, the smaller, paler and slower.
struct Row {
    double spacing, speed, base, low, high;
    Paint wall, roof;
    double window;
};

void drawWindows(Canvas& canvas, int house, double left, double right, double top, const Row& row, double t,
                 int seed) {
    const double step = row.window * 2;
    const int columns = static_cast<int>((right - left) / step - 0.3);
    const int floors = static_cast<int>((row.base - top) / (step * 1.2) - 0.6);
    const double margin = ((right - left) - columns * step) / 2 + step * 0.25;
    for (int c = 0; c < columns; ++c)
        for (int f = 0; f < floors; ++f) {
            const double chance = scatter(house * 131 + c * 17 + seed, f);
            if (chance < 0.42) continue;
            // Now and then somebody switches the light on or off.
            const double cycle = std::sin(t * 0.9 + 60 * chance);
            const double lit = chance > 0.9 ? 0.5 + 0.5 * std::clamp(cycle * 8, -1.0, 1.0) : 1;
            const double x = left + margin + c * step, y = top + step * 0.9 + f * step * 1.2;
            const Paint warm =
                chance > 0.78 ? Paint{0.55, 0.85, 1, 0.75 * lit} : Paint{1, 0.80, 0.42, 0.85 * lit};
            canvas.rectangle(x, y, x + step * 0.5, y + step * 0.68, warm);
        }
}

void drawRow(Canvas& canvas, const Row& row, double t, int seed) {
    const double shift = t * row.speed;
    const int first = static_cast<int>(std::floor(shift / row.spacing)) - 1;
    const int count = static_cast<int>(canvas.aspect() / row.spacing) + 3;
    for (int i = first; i < first + count; ++i) {
        const double left = i * row.spacing - shift;
        const double right = left + row.spacing * (0.82 + 0.2 * scatter(i, seed));
        const double top = row.base - row.low - (row.high - row.low) * scatter(i, seed + 1);
        canvas.rectangle(left, top, right, row.base, row.wall);
        canvas.rectangle(left, top, left + (right - left) * 0.18, row.base,
                         {row.roof.red, row.roof.green, row.roof.blue, 0.5});
        const double kind = scatter(i, seed + 2);
        const double middle = (left + right) / 2;
        if (kind > 0.72) {
            canvas.stroke({middle, top + 0.005}, {middle, top - 0.3 * row.low}, 0.1 * row.window + 0.002,
                          row.wall);
            const double blink = 0.5 + 0.5 * std::sin(kTau * t * 0.7 + i);
            canvas.glow({middle, top - 0.3 * row.low}, 0.022, {1, 0.15, 0.12, blink});
        } else if (kind > 0.45) {
            const Point roof[] = {{left, top + 0.001}, {middle, top - 0.22 * row.low}, {right, top + 0.001}};
            canvas.polygon(roof, row.wall);
        } else if (kind > 0.25) {
            canvas.rectangle(left + (right - left) * 0.25, top - 0.12 * row.low,
                             right - (right - left) * 0.25, top + 0.002, row.wall);
        }
        drawWindows(canvas, i, left, right, top, row, t, seed);
    }
}

void drawTrain(Canvas& canvas, double t) {
    const double rail = 0.735, width = canvas.aspect();
    canvas.rectangle(-0.1, rail, width + 0.1, rail + 0.022, {0.10, 0.08, 0.18});
    const double shift = wrapped(t * 0.42, 0.45);
    for (double x = -shift; x < width + 0.1; x += 0.45) {
        const Point pier[] = {{x - 0.012, rail + 0.02},
                              {x + 0.012, rail + 0.02},
                              {x + 0.018, kStreet + 0.02},
                              {x - 0.018, kStreet + 0.02}};
        canvas.polygon(pier, {0.10, 0.08, 0.18});
    }
    const double head = wrapped(0.35 * t + 0.9, width + 2.4) - 1.1;
    for (int car = 0; car < 4; ++car) {
        const double right = head - car * 0.265, left = right - 0.255, top = rail - 0.078;
        const Point body[] = {{left, top},
                              {car == 0 ? right - 0.03 : right, top},
                              {right, rail - 0.03},
                              {right, rail - 0.008},
                              {left, rail - 0.008}};
        canvas.polygon(body, {0.16, 0.72, 0.78});
        canvas.rectangle(left, rail - 0.026, right, rail - 0.015, {0.98, 0.92, 0.55});
        for (int w = 0; w < 6; ++w)
            canvas.rectangle(left + 0.016 + 0.036 * w, top + 0.014, left + 0.042 + 0.036 * w, top + 0.042,
                             {1, 0.95, 0.75});
    }
    canvas.glow({head + 0.01, rail - 0.028}, 0.11, {1, 0.95, 0.7, 0.6});
}

void drawTraffic(Canvas& canvas, double t) {
    const double width = canvas.aspect();
    const Stop street[] = {{kStreet, {0.09, 0.07, 0.15}}, {1, {0.16, 0.12, 0.22}}};
    canvas.gradient(street);
    const double dash = wrapped(t * 0.9, 0.2);
    for (double x = -dash; x < width + 0.2; x += 0.2) {
        const Point mark[] = {{x, 0.93}, {x + 0.09, 0.93}, {x + 0.085, 0.937}, {x - 0.005, 0.937}};
        canvas.polygon(mark, {0.95, 0.85, 0.55, 0.8});
    }
    constexpr Paint colours[] = {
        {0.92, 0.25, 0.30}, {0.98, 0.72, 0.20}, {0.35, 0.55, 0.95}, {0.88, 0.88, 0.92}, {0.35, 0.80, 0.45}};
    for (int i = 0; i < 7; ++i) {
        const bool towards = i % 2 == 0;
        const double span = width + 0.8;
        const double speed = towards ? -0.75 - 0.1 * scatter(i, 40) : 0.22 + 0.1 * scatter(i, 41);
        const double x = wrapped(i * span / 7 + speed * t, span) - 0.4, foot = towards ? 0.985 : 0.925;
        const double size = towards ? 0.075 : 0.058, face = towards ? -1 : 1;
        const Point cabin[] = {{x - size * 0.75, foot - size * 0.42},
                               {x - size * 0.5, foot - size * 0.8},
                               {x + size * 0.4, foot - size * 0.8},
                               {x + size * 0.75, foot - size * 0.42}};
        canvas.polygon(cabin, {0.55, 0.75, 0.9, 0.9});
        const Point body[] = {{x - size * 1.2, foot - size * 0.12},
                              {x - size * 1.15, foot - size * 0.45},
                              {x + size * 1.15, foot - size * 0.45},
                              {x + size * 1.2, foot - size * 0.12}};
        canvas.polygon(body, colours[i % 5]);
        for (const double wheel : {-0.65, 0.65}) {
            canvas.disc({x + wheel * size, foot - size * 0.1}, size * 0.22, {0.05, 0.05, 0.07});
            canvas.disc({x + wheel * size, foot - size * 0.1}, size * 0.1, {0.6, 0.6, 0.65});
        }
        canvas.glow({x + face * size * 1.25, foot - size * 0.3}, size * 1.5, {1, 0.93, 0.65, 0.5});
        canvas.glow({x - face * size * 1.2, foot - size * 0.3}, size * 0.7, {1, 0.1, 0.1, 0.6});
    }
}

}  // namespace

void drawCity(Canvas& canvas, double t) {
    const Row rows[] = {
        {0.13, 0.035, kStreet, 0.26, 0.48, {0.36, 0.16, 0.42}, {0.55, 0.25, 0.48}, 0.0065},
        {0.19, 0.090, kStreet, 0.18, 0.40, {0.20, 0.11, 0.32}, {0.34, 0.17, 0.42}, 0.0095},
        {0.27, 0.200, kStreet, 0.10, 0.30, {0.10, 0.07, 0.21}, {0.20, 0.12, 0.30}, 0.0135},
    };
    drawNight(canvas, t);
    int seed = 20;
    for (const Row& row : rows) drawRow(canvas, row, t, seed += 10);
    drawTrain(canvas, t);
    drawTraffic(canvas, t);
}

Ears playCity(double t) {
    // A minor seventh broken into eighths over a soft bass note, each note with its own short swell and fall.
    constexpr double notes[] = {220.00, 261.63, 329.63, 392.00, 523.25, 392.00, 329.63, 261.63};
    constexpr double beat = 0.25;
    const int step = static_cast<int>(std::floor(t / beat));
    Ears out{0, 0};
    for (int back = 0; back < 3; ++back) {
        const int n = step - back;
        if (n < 0) break;
        const double age = t - n * beat;
        const double strength = std::min(age * 200, 1.0) * std::exp(-5 * age);
        const double note = notes[n % 8];
        const double tone = std::sin(kTau * note * age) + 0.3 * std::sin(kTau * 2 * note * age) +
                            0.1 * std::sin(kTau * 3 * note * age);
        const double pan = 0.5 + 0.35 * (n % 2 == 0 ? -1 : 1);
        out.left += 0.16 * strength * tone * (1 - pan);
        out.right += 0.16 * strength * tone * pan;
    }
    const double bar = t / (8 * beat) - std::floor(t / (8 * beat));
    const double bass =
        0.14 * std::min(bar * 60, 1.0) * std::min((1 - bar) * 60, 1.0) * std::sin(kTau * 55 * t);
    return {out.left + bass, out.right + bass};
}

}  // namespace tumblewash::media
