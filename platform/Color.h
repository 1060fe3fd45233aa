// The two drawing colours of the current world, and filling with the background colour.
// Without a current world the colours are kept for the thread and nothing is drawn.
#pragma once

#include "platform/Types.h"

inline constexpr SInt32 whiteColor = 30;     ///< `ForeColor` and `BackColor`: white
inline constexpr SInt32 blackColor = 33;     ///< black
inline constexpr SInt32 yellowColor = 69;    ///< yellow
inline constexpr SInt32 magentaColor = 137;  ///< magenta
inline constexpr SInt32 redColor = 205;      ///< red
inline constexpr SInt32 cyanColor = 273;     ///< cyan
inline constexpr SInt32 greenColor = 341;    ///< green
inline constexpr SInt32 blueColor = 409;     ///< blue

/// Sets the foreground colour of the current world (text). A null colour is ignored.
void RGBForeColor(const RGBColor* colour);

/// Sets the background colour of the current world (`EraseRect`). A null colour is ignored.
void RGBBackColor(const RGBColor* colour);

/// Copies the foreground colour; black in a fresh world.
void GetForeColor(RGBColor* colour);

/// Copies the background colour; white in a fresh world.
void GetBackColor(RGBColor* colour);

/// Sets the foreground colour to one of the eight named ones; another number is ignored.
void ForeColor(SInt32 colour);

/// Sets the background colour to one of the eight named ones; another number is ignored.
void BackColor(SInt32 colour);

/// Fills the part of `r` inside the current world with the background colour's high bytes and alpha 255.
void EraseRect(const Rect* r);
