#include "ImageLib/source/FlowMorph.h"

#include <cmath>
#include <cstddef>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/MorphRow.h"
#include "ImageLib/source/FieldRows.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/SICommon.h"

namespace {

unsigned char* bytesOf(const PixRectWrap<ARGBVal>& frame) {
    return reinterpret_cast<unsigned char*>(frame.getwrapdata());
}

/// The field of a frame that begins with line `first` (0 even, 1 odd).
tumblewash::kernels::FieldPixels fieldOf(const PixRectWrap<ARGBVal>& frame, int first) {
    const auto pitch = static_cast<std::ptrdiff_t>(frame.width()) * 4;
    return {bytesOf(frame) + first * pitch, 2 * pitch, frame.width(), (frame.height() + 1 - first) / 2};
}

/// The rows that both fields of a picture have, one by one.
class MorphedRows {
  public:
    MorphedRows(const PixRectWrap<ARGBVal>& source, const PixRectWrap<ARGBVal>& dest,
                PixRectRW<RGBPixel<float>>& flow, float t)
        : _source(source),
          _dest(dest),
          _columns(dest.width()),
          _t(t),
          _even(fieldOf(source, 0)),
          _odd(fieldOf(source, 1)),
          _field(flow, _even.columns, _even.rows, _columns),
          _everything{{0, _columns}},
          _atX(static_cast<std::size_t>(_columns)),
          _atY(_atX.size()) {}

    void morph(int y) {
        int done = 0;
        for (const FieldRows::Columns& span : movingColumns(y)) {
            standStill(y, done, span.first);
            move(y, span.first, span.end);
            done = span.end;
        }
        standStill(y, done, _columns);
    }

  private:
    using FieldRows = tumblewash::imagelib::FieldRows;

    /// What may move in row y; rows between the same cells share it.
    const std::vector<FieldRows::Columns>& movingColumns(int y) {
        constexpr int worthwhile = 64;
        const bool told = _field.coversColumns() && _field.coversRow(y) && std::isfinite(_t) &&
                          _source.width() == _columns && _source.height() == _dest.height();
        if (!told) return _everything;
        const FieldRows::Between at = _field.between(y);
        if (at.above != _above || at.below != _below) {
            _moving = _field.movingColumns(at, worthwhile);
            _above = at.above;
            _below = at.below;
        }
        return _moving;
    }

    void standStill(int y, int first, int end) {
        const Outputs out = outputs(y, first);
        tumblewash::kernels::bilinearStillRow(out.fields, 2, first, y, end - first);
    }

    void move(int y, int first, int end) {
        _field.select(y, first, end);
        tumblewash::kernels::morphPositionRow(_field.red(), _field.green(), _t, y, first, end, _atX.data(),
                                              _atY.data());
        const Outputs out = outputs(y, first);
        tumblewash::kernels::bilinearRow(out.fields, 2, _atX.data() + first, _atY.data() + first,
                                         end - first);
    }

    struct Outputs {
        tumblewash::kernels::FieldReading fields[2];
    };

    Outputs outputs(int y, int column) const {
        const auto pitch = static_cast<std::ptrdiff_t>(_columns) * 4;
        unsigned char* out = bytesOf(_dest) + 2 * y * pitch + std::ptrdiff_t{column} * 4;
        return {{{_even, out}, {_odd, out + pitch}}};
    }

    const PixRectWrap<ARGBVal>& _source;
    const PixRectWrap<ARGBVal>& _dest;
    int _columns;
    float _t;
    tumblewash::kernels::FieldPixels _even;
    tumblewash::kernels::FieldPixels _odd;
    FieldRows _field;
    std::vector<FieldRows::Columns> _everything;
    std::vector<FieldRows::Columns> _moving;
    int _above = -1;
    int _below = -1;
    std::vector<float> _atX;
    std::vector<float> _atY;
};

void morphRows(const PixRectWrap<ARGBVal>& source, const PixRectWrap<ARGBVal>& dest,
               PixRectRW<RGBPixel<float>>& flow, float t) {
    MorphedRows morphed(source, dest, flow, t);
    const int rows = dest.height() / 2;
    for (int y = 0; y < rows; ++y) {
        if (y == rows - 1) {
            dest._debug(DBGProblem, "MorphBetween2- Last Row = Even=%d Odd=%d\n", (dest.height() + 1) / 2 - 1,
                        dest.height() / 2 - 1);
        }
        morphed.morph(y);
    }
}

}  // namespace

void MorphBetween(PixRectWrap<ARGBVal>& source, PixRectWrap<ARGBVal>& /*other*/, PixRectWrap<ARGBVal>& dest,
                  PixRectRW<RGBPixel<float>>* flow, float t) {
    tumblewash::imagelib::logLine("MorphBetween1\n\r");
    tumblewash::imagelib::logLine("MorphBetween2\n\r");
    const bool somePixels = source.getwrapdata() != nullptr && dest.getwrapdata() != nullptr &&
                            dest.width() >= 0 && dest.height() > 1 && source.width() >= 0 &&
                            source.height() > 0;
    if (somePixels) {
        morphRows(source, dest, *flow, t);
    }
    tumblewash::imagelib::logLine("MorphBetween3\n\r");
}
