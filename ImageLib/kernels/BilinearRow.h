// BilinearRow: a row of bilinear readings, from one field of a frame or from both at the same positions.
// The byte-for-byte reading of ContImageRef<ARGBVal> with SIInterpBilinear over plain frame memory. Pixels
// are four bytes in memory, alpha first; memory needs no alignment. It forms no positions of its own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// One field of a frame: `rows` rows of `columns` pixels, `pitch` bytes from one row to the next.
struct FieldPixels {
    const unsigned char* first;
    std::ptrdiff_t pitch;
    int columns;
    int rows;
};

/// A field to read and the pixels that its readings become.
struct FieldReading {
    FieldPixels from;
    unsigned char* out;
};

/// Writes `count` pixels of each of `fieldCount` (one or two) outputs: pixel i is the bilinear reading of its
/// field at (atX[i], atY[i]), the zero pixel where the truncated position lies outside the field. Two fields
/// have the same columns and the same pitch; the second has as many rows as the first or fewer.
void bilinearRowScalar(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                       int count);

/// The version in use: the same bytes, with the vectors of the machine it runs on; one of the two below.
/// Returns how many of the pixels, of all fields together, weights of 16 bits left in doubt; 0 on the scalar
/// path.
int bilinearRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY, int count,
                InstructionSet set = InstructionSet::best);

/// The same bytes by vector gathers, where the instruction set has such as may pay.
int bilinearRowGathering(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                         int count, InstructionSet set = InstructionSet::best);

/// The same bytes by loads put together, which `GatherChoice` finds quicker on some machines.
int bilinearRowSingly(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                      int count, InstructionSet set = InstructionSet::best);

/// What `bilinearMovedRow` learnt about pairs of fractions that come back, from one row to the next.
struct RepeatedFractions {
    struct Entry {
        float dx = -1.0F, dy = -1.0F;  ///< the fractions of positions; below 0 where the entry is empty
        int met = 0;                   ///< vectors that had them before their multipliers were looked for
        bool found = false;            ///< whether there are such multipliers
        std::uint16_t multipliers[4] = {};  ///< of the four neighbours, in 2^-16: exact for every byte
    };
    Entry entries[64];
};

/// The same bytes where a stretch of pixels often has one displacement, so that positions repeat their
/// fractions: those are mixed by multipliers that `repeated`, which begins empty, keeps. Of the others,
/// `finely` has weights of 32 bits, which leave hardly a pixel in doubt: slower unless weights of 16 bits
/// have every eighth pixel or more in doubt, as where fractions are simple. Returns what `bilinearRow` does.
int bilinearMovedRow(const FieldReading* fields, int fieldCount, const float* atX, const float* atY,
                     int count, RepeatedFractions& repeated, bool finely,
                     InstructionSet set = InstructionSet::best);

/// The same for the positions (column, row), (column + 1, row) ... of something that stands still, all of
/// them inside each field: its pixels, with four times their alpha and 255.
void bilinearStillRow(const FieldReading* fields, int fieldCount, int column, int row, int count);

}  // namespace tumblewash::kernels
