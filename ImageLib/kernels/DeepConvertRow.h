// DeepConvertRow: rows of deep pixels from frames of four bytes and back, and colours weighed by their alpha
// and back. Every step is rounded to nearest in whole numbers. Not a change of matrix, primaries or transfer.
#pragma once

#include "ImageLib/kernels/DeepPixel.h"

namespace tumblewash::kernels {

/// Deep pixels from `count` frame pixels (alpha, red, green, blue; colours not weighed): a colour c becomes
/// black + c (white - black) / 255, weighed by alpha x 257.
void frameToDeepRow(const unsigned char* frame, unsigned char* deep, int count, const DeepRange& range);

/// Frame pixels from `count` deep ones, held to 0 ... 255; colours stay weighed, as if laid on black.
void deepToFrameRow(const unsigned char* deep, unsigned char* frame, int count, const DeepRange& range);

/// The same with colours unweighed, as files with straight alpha want them; black where alpha is 0.
void deepToStraightFrameRow(const unsigned char* deep, unsigned char* frame, int count,
                            const DeepRange& range);

/// Weighs the colours of `count` pixels by their alpha, in place: black + (c - black) alpha / 65535.
void weighDeepRow(unsigned char* deep, int count, const DeepRange& range);

/// Takes the weight off again, in place, held to 0 ... 65535; black where alpha is 0.
void unweighDeepRow(unsigned char* deep, int count, const DeepRange& range);

}  // namespace tumblewash::kernels
