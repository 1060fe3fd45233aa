// FieldRow: one row of a coarse displacement field, enlarged bilinearly to picture columns.
// The reading of a float ContImageRef through a sampled view, for a whole row at once, over plain arrays.
// It knows no rectangles and makes no tables; ImageLib/source/FieldRows prepares both.
#pragma once

namespace tumblewash {

/// Consecutive columns [first, end) that lie between the same two cells of a field row.
struct FieldRun {
    int first;
    int end;
    int left;
    int right;
};

/// Enlarges one channel of one row. For each run and each column x in it, with the weights
/// near[x] * nearY, far[x] * nearY, far[x] * farY, near[x] * farY for upper[left], upper[right],
/// lower[right], lower[left], out[x] is the sum of the four products, added in that order to 0 in double and
/// narrowed to float once. `far` holds the fraction of each column, `near` one minus it; `upper` and `lower`
/// are the rows of cells above and below. Columns that belong to no run are not written.
void enlargeFieldRowScalar(const FieldRun* runs, int runCount, const double* near, const double* far,
                           double nearY, double farY, const float* upper, const float* lower, float* out);

/// The version in use.
inline void enlargeFieldRow(const FieldRun* runs, int runCount, const double* near, const double* far,
                            double nearY, double farY, const float* upper, const float* lower, float* out) {
    enlargeFieldRowScalar(runs, runCount, near, far, nearY, farY, upper, lower, out);
}

}  // namespace tumblewash
