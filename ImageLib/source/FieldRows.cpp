#include "ImageLib/source/FieldRows.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "ImageLib/source/ContImage.h"
#include "ImageLib/source/SICommon.h"
#include "ImageLib/source/SamplePixRect.h"

namespace tumblewash::imagelib {

using kernels::enlargeCellRow;
using kernels::enlargeFieldRow;
using kernels::enlargeFieldRowScalar;
using kernels::FieldChannel;
using kernels::FieldColumns;
using kernels::FieldRun;

namespace {

using Field = PixRectRW<RGBPixel<float>>;
using SampledField = SamplePixRectNC<RGBPixel<float>, RGBPixel<float>>;

/// Where a sampled coordinate falls among the cells 0 ... size - 1: the position is formed in double and
/// clamped.
struct CellAt {
    int floor;
    int ceiling;
    double fraction;

    CellAt(int at, int low, int size, float scale) {
        const int high = low + size - 1;
        const double position = std::clamp((static_cast<double>(at) - low) * static_cast<double>(scale) + low,
                                           static_cast<double>(low), static_cast<double>(high));
        const double below = std::floor(position);
        floor = static_cast<int>(below) - low;
        ceiling = static_cast<int>(std::ceil(position)) - low;
        fraction = position - below;
    }
};

}  // namespace

FieldRows::FieldRows(Field& field, int width, int height, int columns)
    : _field(field),
      _xs(static_cast<float>(field.width()) / static_cast<float>(width)),
      _ys(static_cast<float>(field.height()) / static_cast<float>(height)),
      _reduced(_xs >= 2.0F && _ys >= 2.0F),
      _near(static_cast<std::size_t>(std::max(columns, 0))),
      _far(_near.size()),
      _red(_near.size()),
      _green(_near.size()) {
    if (_reduced || columns <= 0 || field.rasters() == nullptr || field.width() <= 0 || field.height() <= 0) {
        return;
    }
    const auto cellCount = static_cast<std::size_t>(field.width()) * static_cast<std::size_t>(field.height());
    _cellRed.reserve(cellCount);
    _cellGreen.reserve(cellCount);
    for (int y = field.ly(); y <= field.hy(); ++y) {
        const RGBPixel<float>* row = field.rasters()[y];
        for (int x = field.lx(); x <= field.hx(); ++x) {
            _cellRed.push_back(row[x]._red);
            _cellGreen.push_back(row[x]._green);
        }
    }
    const auto moves = [](float v) { return v != 0.0F; };
    const auto finite = [](float v) { return std::isfinite(v); };
    _anyRed = std::any_of(_cellRed.begin(), _cellRed.end(), moves);
    _anyGreen = std::any_of(_cellGreen.begin(), _cellGreen.end(), moves);
    _finite = std::all_of(_cellRed.begin(), _cellRed.end(), finite) &&
              std::all_of(_cellGreen.begin(), _cellGreen.end(), finite);
    const SampledField shape(field, static_cast<double>(_xs), static_cast<double>(_ys), SIBestSample);
    _ly = shape.ly();
    _hy = shape.hy();
    makeColumns(columns, shape.lx(), shape.hx());
}

void FieldRows::makeColumns(int columns, int lx, int hx) {
    const int last = _field.width() - 1;
    for (int x = std::max(lx, 0); x <= hx && x < columns; ++x) {
        CellAt cell(x, lx, last + 1, _xs);
        // A whole position has no right neighbour of its own. Its weight is 0, so any finite one will do, and
        // the run of the columns behind it need not be cut.
        if (_finite && cell.ceiling == cell.floor && cell.floor < last) {
            ++cell.ceiling;
        }
        _far[static_cast<std::size_t>(x)] = cell.fraction;
        _near[static_cast<std::size_t>(x)] = 1.0 - cell.fraction;
        if (!_runs.empty() && _runs.back().left == cell.floor && _runs.back().right == cell.ceiling) {
            _runs.back().end = x + 1;
        } else {
            _runs.push_back({x, x + 1, cell.floor, cell.ceiling});
        }
        _runOf.push_back(static_cast<std::int32_t>(_runs.size()) - 1);
    }
}

void FieldRows::select(int y) {
    select(y, 0, static_cast<int>(_red.size()));
}

void FieldRows::select(int y, int first, int end) {
    if (_reduced) {
        selectReduced(y);
        return;
    }
    if (!coversRow(y)) {
        std::fill(_red.begin(), _red.end(), 0.0F);
        std::fill(_green.begin(), _green.end(), 0.0F);
        return;
    }
    const FieldRun* from = nullptr;
    const int count = runsWithin(first, end, from);
    enlargeBetween(between(y), from, count);
}

bool FieldRows::coversColumns() const {
    return _finite && !_runs.empty() && _runs.front().first == 0 &&
           _runs.back().end == static_cast<int>(_red.size());
}

FieldRows::Between FieldRows::between(int y) const {
    const CellAt cell(y, _ly, _field.height(), _ys);
    return {cell.floor, cell.ceiling, cell.fraction};
}

int FieldRows::runsWithin(int first, int end, const FieldRun*& from) const {
    const auto touched = [](const FieldRun& run, int column) { return run.end <= column; };
    const auto start = std::lower_bound(_runs.begin(), _runs.end(), first, touched);
    const auto past =
        std::find_if(start, _runs.end(), [end](const FieldRun& run) { return run.first >= end; });
    from = _runs.data() + (start - _runs.begin());
    return static_cast<int>(past - start);
}

void FieldRows::enlargeBetween(const Between& at, const FieldRun* runs, int runCount) {
    const auto width = static_cast<std::size_t>(_field.width());
    const std::size_t upper = static_cast<std::size_t>(at.above) * width;
    const std::size_t lower = static_cast<std::size_t>(at.below) * width;
    // A channel of zeros stays the zeros it was made with.
    FieldChannel channels[2];
    int count = 0;
    if (_anyRed) {
        channels[count++] = {&_cellRed[upper], &_cellRed[lower], _red.data()};
    }
    if (_anyGreen) {
        channels[count++] = {&_cellGreen[upper], &_cellGreen[lower], _green.data()};
    }
    if (count == 0) {
        return;
    }
    const FieldColumns columns = {_near.data(), _far.data()};
    if (runCount == 1 && runs->end - runs->first == 1) {
        enlargeFieldRowScalar(runs, 1, columns, 1.0 - at.fraction, at.fraction, channels, count, runs->end);
    } else {
        enlargeFieldRow(runs, runCount, columns, 1.0 - at.fraction, at.fraction, channels, count,
                        _runs.back().end);
    }
}

std::vector<FieldRows::Columns> FieldRows::movingColumns(const Between& at, int least) const {
    const auto moves = [this](int row, int column) {
        const auto cell = static_cast<std::size_t>(row) * static_cast<std::size_t>(_field.width()) +
                          static_cast<std::size_t>(column);
        return _cellRed[cell] != 0.0F || _cellGreen[cell] != 0.0F;
    };
    std::vector<Columns> spans;
    for (const FieldRun& run : _runs) {
        if (!moves(at.above, run.left) && !moves(at.above, run.right) && !moves(at.below, run.left) &&
            !moves(at.below, run.right)) {
            continue;
        }
        if (!spans.empty() && run.first - spans.back().end < least) {
            spans.back().end = run.end;
        } else {
            spans.push_back({run.first, run.end});
        }
    }
    return spans;
}

void FieldRows::selectColumn(const Between& at, int x) {
    FieldRun run = _runs[static_cast<std::size_t>(_runOf[static_cast<std::size_t>(x)])];
    run.first = x;
    run.end = x + 1;
    enlargeBetween(at, &run, 1);
}

void FieldRows::enlarge(const float* cells, int first, int end, float* out) const {
    const FieldRun* from = nullptr;
    const int count = runsWithin(first, end, from);
    enlargeCellRow(from, count, {_near.data(), _far.data()}, cells, out, _runs.back().end);
}

// A picture less than half the size of the field in both directions: tiny, and read as the views read it.
void FieldRows::selectReduced(int y) {
    ContImageRef<RGBPixel<float>> image(_field, SIInterpBilinear);
    const SampledField sampled(image, static_cast<double>(_xs), static_cast<double>(_ys), SIBestSample);
    for (std::size_t x = 0; x < _red.size(); ++x) {
        const RGBPixel<float> displacement = sampled.pix(static_cast<int>(x), y);
        _red[x] = displacement.getred();
        _green[x] = displacement.getgreen();
    }
}

}  // namespace tumblewash::imagelib
