// MorphRow: one row of the morph, both fields read bilinearly at real positions and written whole.
// The byte-for-byte reading of ContImageRef<ARGBVal> with SIInterpBilinear over a field of plain frame
// memory. Pixels are four bytes in memory, alpha first; memory needs no alignment.
#pragma once

#include <cstddef>

namespace tumblewash {

/// One field of a frame: `rows` rows of `columns` pixels, `pitch` bytes from one row to the next.
struct FieldPixels {
    const unsigned char* first;
    std::ptrdiff_t pitch;
    int columns;
    int rows;
};

/// The fetch positions of row y: outX[x] = t * red[x] + x and outY[x] = t * green[x] + y, each operation
/// rounded to float.
void morphPositionRowScalar(const float* red, const float* green, float t, int y, int count, float* outX,
                            float* outY);

/// Writes `count` pixels of a row of both fields: evenOut[x] and oddOut[x] are the bilinear readings of
/// `even` and `odd` at (atX[x], atY[x]), the zero pixel where the truncated position lies outside the field.
/// The fields have the same columns; `odd` has as many rows as `even` or one less.
void morphFetchRowScalar(const FieldPixels& even, const FieldPixels& odd, const float* atX, const float* atY,
                         int count, unsigned char* evenOut, unsigned char* oddOut);

/// The version in use.
inline void morphPositionRow(const float* red, const float* green, float t, int y, int count, float* outX,
                             float* outY) {
    morphPositionRowScalar(red, green, t, y, count, outX, outY);
}

/// The version in use.
inline void morphFetchRow(const FieldPixels& even, const FieldPixels& odd, const float* atX, const float* atY,
                          int count, unsigned char* evenOut, unsigned char* oddOut) {
    morphFetchRowScalar(even, odd, atX, atY, count, evenOut, oddOut);
}

}  // namespace tumblewash
