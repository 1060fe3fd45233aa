// The drawn scenes, each a picture at a moment and a sound at a moment.
// All functions of time alone, so that any picture can be drawn without those before it.
// The table that names them is Pattern.cpp's.
#pragma once

#include <cmath>
#include <numbers>

#include "media/detail/Canvas.h"

namespace tumblewash::media {

/// A full turn.
constexpr double kTau = 2 * std::numbers::pi;

/// `value` brought into 0..length by whole lengths.
inline double wrapped(double value, double length) {
    return value - length * std::floor(value / length);
}

/// One stereo sample.
struct Ears {
    double left, right;
};

void drawHarbour(Canvas& canvas, double seconds);
Ears playHarbour(double seconds);
void drawCity(Canvas& canvas, double seconds);
Ears playCity(double seconds);
/// Colour bars at 75 percent, with a white line wandering below them; a 1 kHz tone.
void drawBars(Canvas& canvas, double seconds);
Ears playBars(double seconds);
/// White during the first twentieth of every second, dark blue with a wandering dial otherwise; a beep with
/// each flash.
void drawFlash(Canvas& canvas, double seconds);
Ears playFlash(double seconds);

}  // namespace tumblewash::media
