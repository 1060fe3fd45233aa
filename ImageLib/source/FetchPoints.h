// FetchPoints: which pixel every column of a warped row fetches, row by row, from a coarse displacement
// field. The indices are those of the exact fetch points; most of them are found from a cheap estimate whose
// error is bounded, and only where the estimate lies too near to a whole number is the exact point formed. It
// neither reads nor writes pixels; FlowWarp does.
#pragma once

#include <cstdint>
#include <vector>

#include "ImageLib/kernels/WarpRow.h"
#include "ImageLib/source/FieldRows.h"

namespace tumblewash::imagelib {

/// The fetch points of one frame, row by row.
class FetchPoints {
  public:
    /// Prepares the rows of a frame of this shape. `flow` must outlive the object and not change.
    FetchPoints(const kernels::WarpShape& shape, PixRectRW<RGBPixel<float>>& flow);

    /// True when neighbouring columns may fetch from different rows.
    bool crossesRows() const { return _green.moves; }
    /// The indices of row y, as `warpIndexRow` gives them, for columns first ... end - 1 of the memory that
    /// is returned; null where all of them are `kLeavePixel`. Fastest when rows of one strip of columns
    /// follow each other. Valid until the next call.
    const std::int32_t* row(int y, int first, int end);

  private:
    /// One coordinate's displacements.
    struct Channel {
        float scale = 0.0F;  ///< pixels of the whole frame or field
        bool moves = false;  ///< false where every displacement is zero
        std::vector<float>
            pixels;                ///< displacement of every cell in pixels; empty where nothing is estimated
        std::vector<float> reach;  ///< the longest displacement of a row of cells, in pixels
        std::vector<char> level;   ///< whether all cells of a row are equal
        std::vector<float> enlarged[2];
        int held[2] = {-1, -1};  ///< the row of cells in each of `enlarged`
    };

    bool prepare(Channel& channel, const std::vector<float>& cells);
    bool oneDisplacement(const Channel& channel, const std::vector<float>& cells,
                         const FieldRows::Between& at, float& displacement) const;
    kernels::WarpEstimate estimate(Channel& channel, const std::vector<float>& cells,
                                   const FieldRows::Between& at, int limit, int first, int end);
    void exactRow(int y, int first, int end);

    kernels::WarpShape _shape;
    FieldRows _field;
    Channel _red;
    Channel _green;
    bool _estimates = false;
    int _first = 0;
    int _end = 0;
    std::vector<FieldRows::Between> _rows;
    std::vector<std::int32_t> _index;
    std::vector<int> _undecided;
};

}  // namespace tumblewash::imagelib
