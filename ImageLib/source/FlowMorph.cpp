#include "ImageLib/source/FlowMorph.h"

#include <cmath>
#include <cstddef>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/DeepBilinearRow.h"
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

/// Rows of both fields of a frame, read into those of another.
class MorphedFrame {
  public:
    MorphedFrame(const PixRectWrap<ARGBVal>& source, const PixRectWrap<ARGBVal>& dest)
        : columns(dest.width()),
          sourceColumns(source.width()),
          sourceRows((source.height() + 1) / 2),
          sameSize(source.width() == dest.width() && source.height() == dest.height()),
          _even(fieldOf(source, 0)),
          _odd(fieldOf(source, 1)),
          _dest(dest) {}

    void standStill(int y, int first, int end) const {
        const Outputs out = outputs(y, first);
        tumblewash::kernels::bilinearStillRow(out.fields, 2, first, y, end - first);
    }
    void read(int y, int first, int end, const float* atX, const float* atY) {
        const Outputs out = outputs(y, first);
        const int count = end - first;
        if (_finely > 0) {
            --_finely;
            tumblewash::kernels::bilinearRowFinely(out.fields, 2, atX + first, atY + first, count);
        } else if (tumblewash::kernels::bilinearRow(out.fields, 2, atX + first, atY + first, count) >
                   2 * count / kManyDoubts) {
            _finely = kStretchesAlike;
        }
    }

    int columns;
    int sourceColumns;
    int sourceRows;  ///< of the even field
    bool sameSize;

  private:
    /// Where more than one pixel in so many was in doubt, the next so many stretches of rows are expected to
    /// be alike: equal cells repeat a displacement, and its fraction may be a simple one.
    static constexpr int kManyDoubts = 8;
    static constexpr int kStretchesAlike = 15;

    struct Outputs {
        tumblewash::kernels::FieldReading fields[2];
    };

    Outputs outputs(int y, int column) const {
        const auto pitch = static_cast<std::ptrdiff_t>(columns) * 4;
        unsigned char* out = bytesOf(_dest) + 2 * y * pitch + std::ptrdiff_t{column} * 4;
        return {{{_even, out}, {_odd, out + pitch}}};
    }

    tumblewash::kernels::FieldPixels _even;
    tumblewash::kernels::FieldPixels _odd;
    const PixRectWrap<ARGBVal>& _dest;
    int _finely = 0;
};

/// Rows of both fields of a deep picture, read to where `lay` says.
class MorphedDeep {
  public:
    MorphedDeep(const tumblewash::imagelib::DeepView& source, const tumblewash::kernels::DeepPixel& nothing)
        : columns(source.width),
          sourceColumns(source.width),
          sourceRows((source.height + 1) / 2),
          _even{source.bytes(), 2 * source.stride, source.width, sourceRows, nothing, {}},
          _odd{source.row(1), 2 * source.stride, source.width, source.height / 2, nothing, {}} {}

    /// The next row's even and odd line.
    void lay(unsigned char* even, unsigned char* odd) {
        _outEven = even;
        _outOdd = odd;
    }
    void standStill(int y, int first, int end) const {
        const Outputs out = outputs(first);
        tumblewash::kernels::deepStillRow(out.fields, 2, first, y, end - first);
    }
    void read(int /*y*/, int first, int end, const float* atX, const float* atY) const {
        const Outputs out = outputs(first);
        tumblewash::kernels::deepBilinearRow(out.fields, 2, atX + first, atY + first, end - first);
    }

    int columns;
    int sourceColumns;
    int sourceRows;  ///< of the even field
    bool sameSize = true;

  private:
    struct Outputs {
        tumblewash::kernels::DeepReading fields[2];
    };

    Outputs outputs(int column) const {
        const std::ptrdiff_t at = column * tumblewash::kernels::kDeepPixelBytes;
        return {{{_even, _outEven + at}, {_odd, _outOdd + at}}};
    }

    tumblewash::kernels::DeepField _even;
    tumblewash::kernels::DeepField _odd;
    unsigned char* _outEven = nullptr;
    unsigned char* _outOdd = nullptr;
};

/// The rows that both fields of a picture have, one by one.
template <class Road>
class MorphedRows {
  public:
    MorphedRows(Road& road, PixRectRW<RGBPixel<float>>& flow, float t)
        : _road(road),
          _columns(road.columns),
          _t(t),
          _field(flow, road.sourceColumns, road.sourceRows, _columns),
          _everything{{0, _columns}},
          _atX(static_cast<std::size_t>(_columns)),
          _atY(_atX.size()) {}

    void morph(int y) {
        int done = 0;
        for (const FieldRows::Columns& span : movingColumns(y)) {
            _road.standStill(y, done, span.first);
            move(y, span.first, span.end);
            done = span.end;
        }
        _road.standStill(y, done, _columns);
    }

  private:
    using FieldRows = tumblewash::imagelib::FieldRows;

    /// What may move in row y; rows between the same cells share it.
    const std::vector<FieldRows::Columns>& movingColumns(int y) {
        constexpr int worthwhile = 64;
        const bool told =
            _field.coversColumns() && _field.coversRow(y) && std::isfinite(_t) && _road.sameSize;
        if (!told) return _everything;
        const FieldRows::Between at = _field.between(y);
        if (at.above != _above || at.below != _below) {
            _moving = _field.movingColumns(at, worthwhile);
            _above = at.above;
            _below = at.below;
        }
        return _moving;
    }

    void move(int y, int first, int end) {
        _field.select(y, first, end);
        tumblewash::kernels::morphPositionRow(_field.red(), _field.green(), _t, y, first, end, _atX.data(),
                                              _atY.data());
        _road.read(y, first, end, _atX.data(), _atY.data());
    }

    Road& _road;
    int _columns;
    float _t;
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
    MorphedFrame road(source, dest);
    MorphedRows<MorphedFrame> morphed(road, flow, t);
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

void tumblewash::imagelib::morphDeep(const DeepMorph& morph, const DeepTarget& dest, float forward,
                                     float back, int level, const kernels::DeepPixel& nothing) {
    if (dest.width < 1 || dest.height < 1) return;
    const std::size_t rowBytes = static_cast<std::size_t>(dest.width * kernels::kDeepPixelBytes);
    std::vector<unsigned char> over(2 * rowBytes);
    MorphedDeep away(morph.first, nothing), towards(morph.last, nothing);
    towards.lay(over.data(), over.data() + rowBytes);
    MorphedRows<MorphedDeep> leaving(away, *morph.forward, forward), arriving(towards, *morph.backward, back);
    for (int y = 0; y < dest.height / 2; ++y) {
        unsigned char* const even = dest.row(2 * y);
        unsigned char* const odd = dest.row(2 * y + 1);
        away.lay(even, odd);
        leaving.morph(y);
        arriving.morph(y);
        kernels::deepBlendRow(even, over.data(), dest.width, level);
        kernels::deepBlendRow(odd, over.data() + rowBytes, dest.width, level);
    }
    if (dest.height % 2 == 0) return;
    for (int x = 0; x < dest.width; ++x)
        kernels::storeDeep(dest.row(dest.height - 1) + x * kernels::kDeepPixelBytes, nothing);
}
