// FieldRow: one row of a coarse displacement field, enlarged bilinearly to picture columns.
// The reading of a float ContImageRef through a sampled view, for a whole row at once, over plain arrays.
// It knows no rectangles and makes no tables; ImageLib/source/FieldRows prepares both.
#pragma once

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// Consecutive columns [first, end) that lie between the same two cells of a field row.
struct FieldRun {
    int first;
    int end;
    int left;
    int right;
};

/// One channel of a field row: the cells above and below it, and the enlarged row.
struct FieldChannel {
    const float* upper;
    const float* lower;
    float* out;
};

/// Where the columns of a row fall: `far` holds the fraction of each, `near` one minus it.
struct FieldColumns {
    const double* near;
    const double* far;
};

/// Enlarges one or two channels of one row. For each run and each column x in it, with the weights
/// near[x] * nearY, far[x] * nearY, far[x] * farY, near[x] * farY for upper[left], upper[right],
/// lower[right], lower[left], out[x] is the sum of the four products, added in that order to 0 in double and
/// narrowed to float once. Runs ascend and adjoin each other. Columns that belong to no run are not written,
/// but for those behind the last run and before `limit`, which may be.
void enlargeFieldRowScalar(const FieldRun* runs, int runCount, const FieldColumns& columns, double nearY,
                           double farY, const FieldChannel* channels, int channelCount, int limit);

/// Enlarges one row of cells: for each run and each column x in it, out[x] is near[x] * cells[left] +
/// far[x] * cells[right] in double, narrowed to float once. What is written where is as above.
void enlargeCellRowScalar(const FieldRun* runs, int runCount, const FieldColumns& columns, const float* cells,
                          float* out, int limit);

/// The version in use: the same bits, with the vectors of the machine it runs on.
void enlargeFieldRow(const FieldRun* runs, int runCount, const FieldColumns& columns, double nearY,
                     double farY, const FieldChannel* channels, int channelCount, int limit,
                     InstructionSet set = InstructionSet::best);

/// The version in use: the same bits, with the vectors of the machine it runs on.
void enlargeCellRow(const FieldRun* runs, int runCount, const FieldColumns& columns, const float* cells,
                    float* out, int limit, InstructionSet set = InstructionSet::best);

}  // namespace tumblewash::kernels
