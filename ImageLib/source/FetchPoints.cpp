#include "ImageLib/source/FetchPoints.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tumblewash::imagelib {

using kernels::estimateIndexRow;
using kernels::kFarthestEstimate;
using kernels::WarpEstimate;
using kernels::warpIndexRow;
using kernels::warpIndexRowScalar;
using kernels::WarpShape;

namespace {

/// Displacements, columns and rows are held to half of what an estimate may reach.
constexpr double farthest = kFarthestEstimate / 2.0;

/// More undecided columns than one in so many: the whole row is formed exactly, by vectors.
constexpr int kUndecidedShare = 16;

}  // namespace

FetchPoints::FetchPoints(const WarpShape& shape, PixRectRW<RGBPixel<float>>& flow)
    : _shape(shape),
      _field(flow, shape.stride, shape.fieldRows, shape.stride),
      _index(static_cast<std::size_t>(shape.stride)),
      _undecided(_index.size() + 16) {
    _red.scale = static_cast<float>(shape.stride);
    _green.scale = static_cast<float>(shape.fieldRows);
    // A channel of zeros is no displacement, unless an infinite strength makes no number of it.
    const bool finite = std::isfinite(shape.strength);
    _red.moves = _field.anyRed() || !finite;
    _green.moves = _field.anyGreen() || !finite;
    _estimates = _field.coversColumns() && prepare(_red, _field.redCells()) &&
                 prepare(_green, _field.greenCells()) && std::max(shape.stride, shape.fieldRows) < farthest &&
                 shape.width >= 0 && shape.width <= shape.stride;
    for (int y = 0; _estimates && y < shape.fieldRows; ++y) {
        _estimates = _field.coversRow(y);
        if (_estimates) _rows.push_back(_field.between(y));
    }
}

bool FetchPoints::prepare(Channel& channel, const std::vector<float>& cells) {
    if (!channel.moves) return true;
    const double factor = static_cast<double>(_shape.strength) * static_cast<double>(channel.scale);
    const auto width = static_cast<std::size_t>(_field.cellsAcross());
    channel.pixels.reserve(cells.size());
    for (std::size_t start = 0; start < cells.size(); start += width) {
        float reach = 0.0F;
        bool level = true;
        for (std::size_t i = start; i < start + width; ++i) {
            channel.pixels.push_back(static_cast<float>(factor * static_cast<double>(cells[i])));
            reach = std::max(reach, std::fabs(channel.pixels.back()));
            level = level && cells[i] == cells[start];
            // Where the exact path overflows or nears the end of float, it is taken.
            if (!(std::fabs(cells[i]) * static_cast<double>(channel.scale) < 1.0e30)) return false;
        }
        if (!(reach < farthest)) return false;
        channel.reach.push_back(reach);
        channel.level.push_back(level);
    }
    for (std::vector<float>& row : channel.enlarged) row.resize(_index.size());
    return std::fabs(factor) < kFarthestEstimate;
}

/// Between two rows of equal cells every column has the same displacement, if the sum of the four products,
/// however its steps round, is narrowed to the same float.
bool FetchPoints::oneDisplacement(const Channel& channel, const std::vector<float>& cells,
                                  const FieldRows::Between& at, float& displacement) const {
    const auto above = static_cast<std::size_t>(at.above);
    const auto below = static_cast<std::size_t>(at.below);
    if (channel.level[above] == 0 || channel.level[below] == 0) return false;
    const auto width = static_cast<std::size_t>(_field.cellsAcross());
    const double upper = static_cast<double>(cells[above * width]) * (1.0 - at.fraction);
    const double lower = static_cast<double>(cells[below * width]) * at.fraction;
    const double sum = upper + lower;
    const double slack = (std::fabs(upper) + std::fabs(lower)) * 0x1p-49;
    const auto value = static_cast<float>(sum - slack);
    displacement = _shape.strength * (channel.scale * value);
    return value == static_cast<float>(sum + slack);
}

WarpEstimate FetchPoints::estimate(Channel& channel, const std::vector<float>& cells,
                                   const FieldRows::Between& at, int limit, int first, int end) {
    WarpEstimate result = {nullptr, nullptr, 0.0F, 0.0F};
    if (!channel.moves || oneDisplacement(channel, cells, at, result.fixed)) return result;
    const auto enlarged = [&](int cellRow) -> const float* {
        const auto slot = static_cast<std::size_t>(cellRow % 2);
        if (channel.held[slot] != cellRow) {
            const auto width = static_cast<std::size_t>(_field.cellsAcross());
            _field.enlarge(&channel.pixels[static_cast<std::size_t>(cellRow) * width], first, end,
                           channel.enlarged[slot].data());
            channel.held[slot] = cellRow;
        }
        return channel.enlarged[slot].data();
    };
    result.upper = enlarged(at.above);
    result.lower = enlarged(at.below);
    const float reach = std::max(channel.reach[static_cast<std::size_t>(at.above)],
                                 channel.reach[static_cast<std::size_t>(at.below)]);
    result.bound = (11.0F * reach + 3.0F * static_cast<float>(limit)) * 0x1p-24F;
    return result;
}

void FetchPoints::exactRow(int y, int first, int end) {
    _field.select(y, first, end);
    warpIndexRow(_shape, _red.moves ? _field.red() : nullptr, _green.moves ? _field.green() : nullptr, y,
                 first, end, _index.data());
}

const std::int32_t* FetchPoints::row(int y, int first, int end) {
    if (!_estimates) {
        exactRow(y, first, end);
        return _index.data();
    }
    if (first != _first || end != _end) {
        _first = first;
        _end = end;
        for (Channel* channel : {&_red, &_green}) channel->held[0] = channel->held[1] = -1;
    }
    const FieldRows::Between& at = _rows[static_cast<std::size_t>(y)];
    const WarpEstimate green = estimate(_green, _field.greenCells(), at, _shape.fieldRows, first, end);
    const float sy = green.fixed + static_cast<float>(y);
    if (green.upper == nullptr && !(sy >= 0.0F && sy < _green.scale)) return nullptr;
    const WarpEstimate red = estimate(_red, _field.redCells(), at, _shape.stride, first, end);
    const int undecided =
        estimateIndexRow(_shape, red, green, static_cast<float>(1.0 - at.fraction),
                         static_cast<float>(at.fraction), y, first, end, _index.data(), _undecided.data());
    if (undecided * kUndecidedShare > end - first) {
        exactRow(y, first, end);
        return _index.data();
    }
    for (int i = 0; i < undecided; ++i) {
        const int x = _undecided[static_cast<std::size_t>(i)];
        _field.selectColumn(at, x);
        warpIndexRowScalar(_shape, _red.moves ? _field.red() : nullptr,
                           _green.moves ? _field.green() : nullptr, y, x, x + 1, _index.data());
    }
    return _index.data();
}

}  // namespace tumblewash::imagelib
