// The two drawn sources made for measuring: colour bars, and flashes with beeps.
#include <cmath>

#include "media/detail/Scenes.h"

namespace tumblewash::media {

namespace {

constexpr double kFlashSeconds = 0.05;

double withinSecond(double seconds) {
    return seconds - std::floor(seconds + 1e-9);
}

}  // namespace

void drawBars(Canvas& canvas, double seconds) {
    constexpr double level = 0.75;
    constexpr Paint bars[] = {{level, level, level}, {level, level, 0}, {0, level, level}, {0, level, 0},
                              {level, 0, level},     {level, 0, 0},     {0, 0, level},     {0, 0, 0}};
    const double width = canvas.aspect();
    for (int i = 0; i < 8; ++i) canvas.rectangle(width * i / 8, 0, width * (i + 1) / 8, 0.8, bars[i]);
    const Stop ramp[] = {{0.8, {0.1, 0.1, 0.1}}, {1, {0.3, 0.3, 0.3}}};
    canvas.gradient(ramp);
    const double at = (0.5 - 0.45 * std::cos(seconds * kTau / 4)) * width;
    canvas.rectangle(at - 0.02, 0.82, at + 0.02, 0.98, {1, 1, 1});
}

Ears playBars(double seconds) {
    const double value = 0.25 * std::sin(kTau * 1000 * seconds);
    return {value, value};
}

void drawFlash(Canvas& canvas, double seconds) {
    const double part = withinSecond(seconds);
    const bool flash = part < kFlashSeconds - 1e-6;
    const Paint ground = flash ? Paint{1, 1, 1} : Paint{0.05, 0.08, 0.2};
    const Stop whole[] = {{0, ground}, {1, ground}};
    canvas.gradient(whole);
    if (flash) return;
    const Point centre{canvas.aspect() / 2, 0.5};
    canvas.disc(centre, 0.3, {0.15, 0.3, 0.55});
    const double angle = part * kTau;
    canvas.stroke(centre, {centre.x + 0.28 * std::sin(angle), centre.y - 0.28 * std::cos(angle)}, 0.03,
                  {1, 0.8, 0.3});
}

Ears playFlash(double seconds) {
    if (withinSecond(seconds) >= kFlashSeconds) return {0, 0};
    const double value = 0.5 * std::sin(kTau * 1000 * seconds);
    return {value, value};
}

}  // namespace tumblewash::media
