// FieldRows: a coarse displacement field, read row by row at the size of one picture field.
// The same numbers as the sampled view over a bilinear ContImageRef, from tables of cells and fractions.
// It never expands the field to a picture: one row of red and green at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "ImageLib/kernels/FieldRow.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

namespace tumblewash::imagelib {

/// Rows of a field enlarged to `width` x `height` (one field of the source picture). Column x, row y is bit
/// for bit `SamplePixRectNC<RGBPixel<float>, RGBPixel<float>>(ContImageRef(field, SIInterpBilinear), xs, ys,
/// SIBestSample).pix(x, y)` with xs = (float)field width / (float)width and ys likewise: zero outside the
/// view's bounds. The field is read at construction only and, where it is coarse enough to be averaged
/// instead (both factors 2 or more), in every row.
class FieldRows {
  public:
    /// Prepares rows of `columns` columns.
    FieldRows(PixRectRW<RGBPixel<float>>& field, int width, int height, int columns);

    /// Makes row y the current one.
    void select(int y);
    /// Makes row y the current one, as far as columns first ... end - 1 are concerned; the others are
    /// undefined.
    void select(int y, int first, int end);
    /// False when every cell's red is zero, whole rows then being zero too.
    bool anyRed() const { return _anyRed || _reduced; }
    /// False when every cell's green is zero.
    bool anyGreen() const { return _anyGreen || _reduced; }
    /// Red of the current row, one float a column.
    const float* red() const { return _red.data(); }
    /// Green of the current row.
    const float* green() const { return _green.data(); }

    /// The two rows of cells that a picture row lies between, and how far it is from the one above.
    struct Between {
        int above;        ///< row of cells at or above the picture row
        int below;        ///< the next row of cells, or the same where the picture row lies on one
        double fraction;  ///< 0 at `above`, below 1
    };
    /// True when every column lies between cells, and every cell is finite.
    bool coversColumns() const;
    /// True when row y lies between cells.
    bool coversRow(int y) const { return !_runs.empty() && y >= _ly && y <= _hy; }
    /// Where row y, which is covered, lies.
    Between between(int y) const;
    /// Columns first ... end - 1 of a row.
    struct Columns {
        int first;  ///< the first of them
        int end;    ///< the one behind the last
    };
    /// The columns that may be displaced in rows at `at`, in ascending spans; red and green are zero in all
    /// others. Stretches of zeros of fewer than `least` columns are not told apart. Every column must be
    /// covered.
    std::vector<Columns> movingColumns(const Between& at, int least) const;
    /// Red of every cell, row after row; empty where the field is averaged or has no cells.
    const std::vector<float>& redCells() const { return _cellRed; }
    /// Green of every cell.
    const std::vector<float>& greenCells() const { return _cellGreen; }
    /// Cells of a row.
    int cellsAcross() const { return _field.width(); }
    /// Enlarges a row of cellsAcross() numbers as a row of cells is enlarged, for columns first ... end - 1
    /// of `out`; other columns of `out`, which holds all of them, are undefined.
    void enlarge(const float* cells, int first, int end, float* out) const;
    /// Makes the row at `at` the current one, as far as column x is concerned. Every column must be covered.
    void selectColumn(const Between& at, int x);

  private:
    void makeColumns(int columns, int lx, int hx);
    void enlargeBetween(const Between& at, const kernels::FieldRun* runs, int count);
    int runsWithin(int first, int end, const kernels::FieldRun*& from) const;
    void selectReduced(int y);

    PixRectRW<RGBPixel<float>>& _field;
    float _xs;
    float _ys;
    int _ly = 0;
    int _hy = -1;
    bool _reduced;
    bool _finite = true;
    bool _anyRed = false;
    bool _anyGreen = false;
    std::vector<float> _cellRed;
    std::vector<float> _cellGreen;
    std::vector<kernels::FieldRun> _runs;
    std::vector<std::int32_t> _runOf;
    std::vector<double> _near;
    std::vector<double> _far;
    std::vector<float> _red;
    std::vector<float> _green;
};

}  // namespace tumblewash::imagelib
