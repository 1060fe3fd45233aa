#include "media/detail/ColourRoad.h"

#include <algorithm>
#include <array>
#include <vector>

#include "media/detail/DeepMatrix.h"
#include "media/detail/Dither.h"
#include "media/detail/FrameRows.h"

namespace tumblewash::media {

namespace {

/// One line in deep words, a plane for each colour.
struct Line {
    std::vector<uint16_t> alpha, red, green, blue;
    explicit Line(int width)
        : alpha(static_cast<size_t>(width), kDeepOpaque),
          red(static_cast<size_t>(width)),
          green(static_cast<size_t>(width)),
          blue(static_cast<size_t>(width)) {}
    kernels::DeepRow row() const { return {red.data(), green.data(), blue.data()}; }
};

template <typename Sample>
void lineFromPlanes(const AVFrame& frame, const DeepMatrix& c, int y, bool fields, Line& out) {
    const bool halved = frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUV420P10;
    const int row = halved ? std::min(sharedChromaLine(y, fields), (frame.height + 1) / 2 - 1) : y;
    const Sample* luma = rowOf<Sample>(frame, 0, y);
    const Sample* cb = rowOf<Sample>(frame, 1, row);
    const Sample* cr = rowOf<Sample>(frame, 2, row);
    kernels::deepRowFromYuv(c, luma, cb, cr, halved, static_cast<size_t>(frame.width), out.red.data(),
                            out.green.data(), out.blue.data());
}

/// Whole-range samples of four to a pixel, alpha at `alpha`, red at `red`, green and blue behind it.
template <typename Sample>
void lineFromRgb(const Sample* in, int alpha, int red, int width, Line& out) {
    constexpr uint32_t swing = kDeepWhite - kDeepBlack;
    constexpr uint32_t full = sizeof(Sample) == 1 ? 255 : 65535;
    const auto word = [](Sample v) {
        return static_cast<uint16_t>(kDeepBlack + (v * swing + full / 2) / full);
    };
    for (size_t x = 0; x < static_cast<size_t>(width); ++x, in += 4) {
        out.alpha[x] = static_cast<uint16_t>(in[alpha] * (65535 / full));
        out.red[x] = word(in[red]);
        out.green[x] = word(in[red + 1]);
        out.blue[x] = word(in[red + 2]);
    }
}

void argbOf(const Line& in, size_t width, unsigned y, uint8_t* out) {
    // Bytes in 256ths: 56064 is 255.
    const auto byte = [](uint16_t word, unsigned share) {
        const uint32_t inside = std::clamp<uint32_t>(word, kDeepBlack, kDeepWhite) - kDeepBlack;
        return static_cast<uint8_t>((((inside * 38155) >> 15) + share) >> 8);
    };
    for (size_t x = 0; x < width; ++x, out += 4) {
        const unsigned share = ditherShare(static_cast<unsigned>(x), y);
        out[0] = static_cast<uint8_t>((in.alpha[x] + 128) / 257);
        out[1] = byte(in.red[x], share);
        out[2] = byte(in.green[x], share);
        out[3] = byte(in.blue[x], share);
    }
}

void wordsOf(const Line& in, size_t width, uint16_t* out) {
    for (size_t x = 0; x < width; ++x, out += 4) {
        out[0] = in.alpha[x];
        out[1] = in.red[x];
        out[2] = in.green[x];
        out[3] = in.blue[x];
    }
}

}  // namespace

SignalConversion conversionOf(const ClipColour& colour, const ReaderSettings& settings) {
    SignalConversion out;
    out.fromTransfer = colour.transfer;
    out.fromPrimaries = colour.primaries;
    // Only PQ has a peak of its own; equal conversions shall share their table.
    out.fromPeak = colour.transfer == Transfer::pq ? peakOf(colour) : kHlgPeak;
    out.toTransfer = settings.transfer;
    out.toPrimaries = settings.transfer == Transfer::sdr ? Primaries::bt709 : Primaries::bt2020;
    out.toneMap = settings.toneMap;
    return out;
}

ColourRoad::ColourRoad(const ProbeDetail& facts, const ReaderSettings& settings)
    : settings_(settings),
      from_(matrixOf(facts.space)),
      rgb_(facts.space == AVCOL_SPC_RGB),
      deep_(asRead(facts.info.colour).depth > 8),
      sameMatrix_(from_ == settings.matrix) {
    const SignalConversion conversion = conversionOf(asRead(facts.info.colour), settings);
    if (!conversion.none()) table_ = ColourTable::of(conversion);
}

bool ColourRoad::takes(const AVFrame&) const {
    if (table_ || settings_.layout == PixelLayout::deep) return true;
    if (settings_.layout == PixelLayout::argb) return deep_;
    if (rgb_) return deep_ || settings_.layout == PixelLayout::yuv420p10;
    return !sameMatrix_ || (deep_ && settings_.layout == PixelLayout::yuv420);
}

AVPixelFormat ColourRoad::format(const AVFrame&) const {
    if (rgb_) return deep_ ? AV_PIX_FMT_RGBA64 : AV_PIX_FMT_ARGB;
    if (isPacked(settings_.layout)) return deep_ ? AV_PIX_FMT_YUV444P10 : AV_PIX_FMT_YUV444P;
    return deep_ ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P;
}

PictureRef ColourRoad::convert(const AVFrame& frame, FieldOrder fields) const {
    if (isPacked(settings_.layout)) return toPacked(frame, fields);
    const bool isRgb = frame.format == AV_PIX_FMT_ARGB || frame.format == AV_PIX_FMT_RGBA64;
    const bool bitsOnly = !table_ && !isRgb && sameMatrix_;
    return bitsOnly ? dropBits(frame, fields) : toPlanes(frame, fields);
}

struct ColourRoad::Rows {
    explicit Rows(int width) : line{Line(width), Line(width)} {}
    std::array<Line, 2> line;
};

void ColourRoad::load(const AVFrame& frame, int y, bool fields, Rows& rows, size_t set) const {
    Line& line = rows.line[set];
    const DeepMatrix& matrix = deepMatrixOf(from_);
    if (frame.format == AV_PIX_FMT_ARGB)
        lineFromRgb(rowOf<uint8_t>(frame, 0, y), 0, 1, frame.width, line);
    else if (frame.format == AV_PIX_FMT_RGBA64)
        lineFromRgb(rowOf<uint16_t>(frame, 0, y), 3, 0, frame.width, line);
    else if (frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUV444P)
        lineFromPlanes<uint8_t>(frame, matrix, y, fields, line);
    else
        lineFromPlanes<uint16_t>(frame, matrix, y, fields, line);
    if (table_)
        table_->convertRow(line.red.data(), line.green.data(), line.blue.data(),
                           static_cast<size_t>(frame.width));
}

namespace {

FramePtr newPlanarFrame(const AVFrame& like, AVPixelFormat format) {
    FramePtr out = newFrame();
    out->width = like.width;
    out->height = like.height;
    out->format = format;
    out->sample_aspect_ratio = {1, 1};
    out->pts = like.pts;
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    return out;
}

}  // namespace

PictureRef ColourRoad::toPlanes(const AVFrame& frame, FieldOrder fields) const {
    const bool ten = settings_.layout == PixelLayout::yuv420p10;
    const bool apart = fields != FieldOrder::progressive;
    const bool dither = deep_ || table_;
    const DeepMatrix& to = deepMatrixOf(settings_.matrix);
    const auto width = static_cast<size_t>(frame.width);
    FramePtr out = newPlanarFrame(frame, ten ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P);
    Rows rows(frame.width);
    const auto writePair = [&](auto sample, int row) {
        using Sample = decltype(sample);
        const auto [above, below] = lumaLines(row, frame.height, apart);
        load(frame, above, apart, rows, 0);
        load(frame, below, apart, rows, 1);
        const kernels::DeepRow upper = rows.line[0].row(), lower = rows.line[1].row();
        kernels::lumaRowFromDeep(to, upper, width, static_cast<unsigned>(above), dither,
                                 rowOf<Sample>(*out, 0, above));
        kernels::lumaRowFromDeep(to, lower, width, static_cast<unsigned>(below), dither,
                                 rowOf<Sample>(*out, 0, below));
        kernels::chromaRowFromDeep(to, upper, lower, width, static_cast<unsigned>(row), dither,
                                   rowOf<Sample>(*out, 1, row), rowOf<Sample>(*out, 2, row));
    };
    for (int row = 0; row < frame.height / 2; ++row)
        if (ten)
            writePair(uint16_t{}, row);
        else
            writePair(uint8_t{}, row);
    return wrapFrame(std::move(out), fields, settings_.matrix);
}

PictureRef ColourRoad::toPacked(const AVFrame& frame, FieldOrder fields) const {
    const bool deep = settings_.layout == PixelLayout::deep;
    const bool apart = fields != FieldOrder::progressive;
    const auto width = static_cast<size_t>(frame.width);
    FramePtr out = deep ? newDeepFrame(frame.width, frame.height) : newArgbFrame(frame.width, frame.height);
    Rows rows(frame.width);
    for (int y = 0; y < frame.height; ++y) {
        load(frame, y, apart, rows, 0);
        if (deep)
            wordsOf(rows.line[0], width, rowOf<uint16_t>(*out, 0, y));
        else
            argbOf(rows.line[0], width, static_cast<unsigned>(y), rowOf<uint8_t>(*out, 0, y));
    }
    return wrapFrame(std::move(out), fields, settings_.matrix);
}

PictureRef ColourRoad::dropBits(const AVFrame& frame, FieldOrder fields) const {
    FramePtr out = newPlanarFrame(frame, AV_PIX_FMT_YUV420P);
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? frame.width : frame.width / 2;
        const int height = plane == 0 ? frame.height : frame.height / 2;
        for (int y = 0; y < height; ++y)
            ditherRow(rowOf<uint16_t>(frame, plane, y), static_cast<size_t>(width), static_cast<unsigned>(y),
                      2, rowOf<uint8_t>(*out, plane, y));
    }
    return wrapFrame(std::move(out), fields, settings_.matrix);
}

}  // namespace tumblewash::media
