#include "ImageLib/source/FlowMorph.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

#include "ImageLib/kernels/BilinearRow.h"
#include "ImageLib/kernels/DeepBilinearRow.h"
#include "ImageLib/kernels/MorphRow.h"
#include "ImageLib/source/FieldRows.h"
#include "ImageLib/source/LogHook.h"
#include "ImageLib/source/SICommon.h"
#include "memory/FrameMemory.h"

namespace {

const unsigned char* bytesOf(const PixRectWrap<ARGBVal>& frame) {
    return reinterpret_cast<const unsigned char*>(frame.getwrapdata());
}

/// Rows of both fields of a frame without gaps, read to where `lay` says.
class MorphedFrame {
  public:
    /// The rows read have `destColumns` columns, those of a frame of `destHeight` lines.
    MorphedFrame(const unsigned char* source, int width, int height, int destColumns, int destHeight)
        : columns(destColumns),
          sourceColumns(width),
          sourceRows(height / 2 + height % 2),
          sameSize(width == destColumns && height == destHeight),
          _even{source, 2 * pitchOf(width), width, sourceRows},
          _odd{source + pitchOf(width), 2 * pitchOf(width), width, height / 2} {}

    /// The next row's even and odd line.
    void lay(unsigned char* even, unsigned char* odd) {
        _outEven = even;
        _outOdd = odd;
    }
    void standStill(int y, int first, int end) const {
        const Outputs out = outputs(first);
        tumblewash::kernels::bilinearStillRow(out.fields, 2, first, y, end - first);
    }
    void read(int first, int end, const float* atX, const float* atY) {
        const Outputs out = outputs(first);
        const int count = end - first;
        const bool finely = _finely > 0;
        const int doubts = tumblewash::kernels::bilinearMovedRow(out.fields, 2, atX + first, atY + first,
                                                                 count, _repeated, finely);
        if (finely) {
            --_finely;
        } else if (doubts > 2 * count / kManyDoubts) {
            _finely = kStretchesAlike;
        }
    }
    /// Bytes from one line of a frame to the next.
    static std::ptrdiff_t pitchOf(int width) { return static_cast<std::ptrdiff_t>(width) * 4; }

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

    Outputs outputs(int column) const {
        const std::ptrdiff_t at = pitchOf(column);
        return {{{_even, _outEven + at}, {_odd, _outOdd + at}}};
    }

    tumblewash::kernels::FieldPixels _even;
    tumblewash::kernels::FieldPixels _odd;
    unsigned char* _outEven = nullptr;
    unsigned char* _outOdd = nullptr;
    tumblewash::kernels::RepeatedFractions _repeated;
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
    void read(int first, int end, const float* atX, const float* atY) const {
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
        _road.read(first, end, _atX.data(), _atY.data());
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
    MorphedFrame road(bytesOf(source), source.width(), source.height(), dest.width(), dest.height());
    MorphedRows<MorphedFrame> morphed(road, flow, t);
    const std::ptrdiff_t pitch = MorphedFrame::pitchOf(dest.width());
    auto* line = reinterpret_cast<unsigned char*>(dest.getwrapdata());
    const int rows = dest.height() / 2;
    for (int y = 0; y < rows; ++y) {
        if (y == rows - 1) {
            dest._debug(DBGProblem, "MorphBetween2- Last Row = Even=%d Odd=%d\n", (dest.height() + 1) / 2 - 1,
                        dest.height() / 2 - 1);
        }
        road.lay(line, line + pitch);
        morphed.morph(y);
        line += 2 * pitch;
    }
}

/// A whole morph frame, some rows of both fields at a time: `away` and `towards` read the two pictures,
/// out(line) is where a line of the result begins, and mix(line, over) mixes a line of `lineBytes` bytes into
/// it. As many rows as the second cache keeps, and no fewer: memory foresees long stretches of one picture.
template <class Road, class Out, class Mix>
void morphBoth(Road& away, MorphedRows<Road>& leaving, Road& towards, MorphedRows<Road>& arriving,
               const tumblewash::imagelib::LineBand& band, int height, std::size_t lineBytes, Out out,
               Mix mix) {
    constexpr std::size_t blockBytes = std::size_t{1} << 20;
    const int endRow = band.endOddRow(height);
    const int rows = std::max(endRow - band.firstRow(), 1);
    const auto blockRows = static_cast<int>(
        std::clamp<std::size_t>(blockBytes / (2 * lineBytes), 1, static_cast<std::size_t>(rows)));
    std::vector<unsigned char, tumblewash::memory::FrameAllocator<unsigned char>> over(
        2 * lineBytes * static_cast<std::size_t>(blockRows));
    for (int first = band.firstRow(); first < endRow; first += blockRows) {
        const int end = std::min(first + blockRows, endRow);
        for (int y = first; y < end; ++y) {
            away.lay(out(2 * y), out(2 * y + 1));
            leaving.morph(y);
        }
        const auto overAt = [&](int line) {
            return &over[static_cast<std::size_t>(line - 2 * first) * lineBytes];
        };
        for (int y = first; y < end; ++y) {
            towards.lay(overAt(2 * y), overAt(2 * y + 1));
            arriving.morph(y);
        }
        for (int line = 2 * first; line < 2 * end; ++line) mix(out(line), overAt(line));
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

void tumblewash::imagelib::morphFrame(const FrameMorph& morph, unsigned char* dest, float forward, float back,
                                      unsigned level, const LineBand& band) {
    const int width = morph.width, height = morph.height;
    if (width < 1 || height < 1) return;
    const std::ptrdiff_t pitch = MorphedFrame::pitchOf(width);
    MorphedFrame away(morph.first, width, height, width, height);
    MorphedFrame towards(morph.last, width, height, width, height);
    MorphedRows<MorphedFrame> leaving(away, *morph.forward, forward),
        arriving(towards, *morph.backward, back);
    morphBoth(
        away, leaving, towards, arriving, band, height, static_cast<std::size_t>(pitch),
        [&](int line) { return dest + line * pitch; },
        [&](unsigned char* line, const unsigned char* over) {
            morph.blend(line, over, static_cast<int>(pitch), level);
        });
    if (height % 2 != 0 && band.endIn(height) == height)
        std::memset(dest + (height - 1) * pitch, 0, static_cast<std::size_t>(pitch));
}

void tumblewash::imagelib::morphDeep(const DeepMorph& morph, const DeepTarget& dest, float forward,
                                     float back, int level, const kernels::DeepPixel& nothing,
                                     const LineBand& band) {
    if (dest.width < 1 || dest.height < 1) return;
    MorphedDeep away(morph.first, nothing), towards(morph.last, nothing);
    MorphedRows<MorphedDeep> leaving(away, *morph.forward, forward), arriving(towards, *morph.backward, back);
    morphBoth(
        away, leaving, towards, arriving, band, dest.height,
        static_cast<std::size_t>(dest.width * kernels::kDeepPixelBytes),
        [&](int line) { return dest.row(line); },
        [&](unsigned char* line, const unsigned char* over) {
            kernels::deepBlendRow(line, over, dest.width, level);
        });
    if (dest.height % 2 == 0 || band.endIn(dest.height) < dest.height) return;
    for (int x = 0; x < dest.width; ++x)
        kernels::storeDeep(dest.row(dest.height - 1) + x * kernels::kDeepPixelBytes, nothing);
}
