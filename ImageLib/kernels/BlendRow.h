// BlendRow: one row of packed pixels mixed into another, four bytes a pixel, alpha first; alpha stays.
// The rules of one byte are PixelBytes'. Pixels are mixed in ascending order, so that a source looking at the
// destination's own memory sees every pixel mixed before its turn. It never sees rectangles or views.
#pragma once

#include <cstddef>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// dst = (dst p + src) / (p + 1) for each colour of `pixels` pixels.
void blendInProportionRowScalar(unsigned char* dst, const unsigned char* src, std::size_t pixels, float p);

/// dst = (256 dst + a src) / (a + 255) for each colour, a being the source pixel's alpha; 0 changes nothing.
void blendByAlphaRowScalar(unsigned char* dst, const unsigned char* src, std::size_t pixels);

/// The versions in use: the same bytes, with the vectors of the machine they run on.
void blendInProportionRow(unsigned char* dst, const unsigned char* src, std::size_t pixels, float p,
                          InstructionSet set = InstructionSet::best);
void blendByAlphaRow(unsigned char* dst, const unsigned char* src, std::size_t pixels,
                     InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
