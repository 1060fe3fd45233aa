// FieldRows: a coarse displacement field, read row by row at the size of one picture field.
// The same numbers as the sampled view over a bilinear ContImageRef, from tables of cells and fractions.
// It never expands the field to a picture: one row of red and green at a time.
#pragma once

#include <vector>

#include "ImageLib/kernels/FieldRow.h"
#include "ImageLib/source/PixRect.h"
#include "ImageLib/source/RGBPixel.h"

namespace tumblewash {

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

  private:
    void makeColumns(int columns, int lx, int hx);
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
    std::vector<FieldRun> _runs;
    std::vector<double> _near;
    std::vector<double> _far;
    std::vector<float> _red;
    std::vector<float> _green;
};

}  // namespace tumblewash
