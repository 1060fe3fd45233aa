// DeepBilinearRow: a row of bilinear readings of deep pixels, from one field of a picture or from both at the
// same positions, and the blend of two such rows. The neighbours and edges of BilinearRow.h; the four weights
// are single-precision floats, and their sum is rounded once instead of truncated four times.
// It forms no positions of its own.
#pragma once

#include <cstddef>

#include "ImageLib/kernels/DeepPixel.h"
#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// A frame painted around a field, as it is read: the memory stays as it is. A painted pixel has the colour
/// of `pixel` and the alpha that lies under the paint.
struct DeepRim {
    int columns = 0;  ///< painted on the left and on the right
    int rows = 0;     ///< painted above and below
    DeepPixel pixel;  ///< its colours, opaque
};

/// One field of a picture: `rows` rows of `columns` pixels, `pitch` bytes from one row to the next.
struct DeepField {
    const unsigned char* first;
    std::ptrdiff_t pitch;
    int columns;
    int rows;
    DeepPixel nothing;  ///< what lies outside
    DeepRim rim;        ///< by default none
};

/// A field to read and the pixels that its readings become.
struct DeepReading {
    DeepField from;
    unsigned char* out;
};

/// Writes `count` pixels of each of `fieldCount` (one or two) outputs: pixel i is the bilinear reading of its
/// field at (atX[i], atY[i]), `nothing` where the truncated position lies outside the field. Two fields have
/// the same columns, pitch and rim; the second has as many rows as the first or fewer.
///
/// With dx and dy the fractions of a position and the neighbours numbered (floor, floor), (ceil, floor),
/// (ceil, ceil), (floor, ceil), each channel is ((n0 w0 + n3 w3) + (n1 w1 + n2 w2)) + 0.5 truncated, every
/// operation rounded to float: w0 = (1 - dx)(1 - dy), w1 = dx (1 - dy), w2 = dx dy, w3 = (1 - dx) dy.
void deepBilinearRowScalar(const DeepReading* fields, int fieldCount, const float* atX, const float* atY,
                           int count);

/// The version in use: the same pixels, with the vectors of the machine it runs on.
void deepBilinearRow(const DeepReading* fields, int fieldCount, const float* atX, const float* atY, int count,
                     InstructionSet set = InstructionSet::best);

/// Writes `count` pixels: pixel i is the one at (atX[i], atY[i]) truncated, which lies inside the field.
void deepNearestRow(const DeepReading& field, const float* atX, const float* atY, int count);

/// The same as `deepBilinearRow` for the positions (column, row), (column + 1, row) ... of something that
/// stands still, all of them inside each field, which have no rim: its pixels.
void deepStillRow(const DeepReading* fields, int fieldCount, int column, int row, int count);

/// Blends `count` pixels of `over` onto `out` by level / 255, 0 <= level <= 255: each channel becomes
/// (over * level + out * (255 - level)) / 255 in single precision, rounded to nearest.
void deepBlendRowScalar(unsigned char* out, const unsigned char* over, int count, int level);

/// The version in use: the same pixels.
void deepBlendRow(unsigned char* out, const unsigned char* over, int count, int level,
                  InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
