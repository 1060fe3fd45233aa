// The drawn scenes, each a picture at a moment and a sound at a moment.
// All functions of time alone, so that any picture can be drawn without those before it.
// The table that names them is Pattern.cpp's.
#pragma once

#include "media/detail/Canvas.h"

namespace tumblewash {

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

}  // namespace tumblewash
