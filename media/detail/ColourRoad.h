// The path of pictures that need more than the 8 bits and the one signal that filter graphs convert in: clips
// of 10 bits and more, HDR, other primaries, and a change of matrix that must not cut off what lies beyond
// white. Line by line: to deep words, through the table, to the layout asked, dithered where bits are
// dropped. Sizes and turns are the graph's, before it.
#pragma once

#include <memory>

#include "media/Reader.h"
#include "media/detail/ColourTable.h"
#include "media/detail/ProbeDetail.h"

namespace tumblewash::media {

class ColourRoad {
  public:
    ColourRoad(const ProbeDetail& facts, const ReaderSettings& settings);

    /// True when pictures like this one, of which alpha is not asked for, must come this way.
    bool takes(const AVFrame& frame) const;
    /// True when the signal is converted; packed 8-bit pictures of the clip may then come too.
    bool converts() const noexcept { return table_ != nullptr; }
    /// True when pictures with alpha, whatever becomes of it, must come this way, as RGBA of 16 bits.
    bool takesAlpha() const noexcept {
        return table_ || deep_ || settings_.layout == PixelLayout::deep ||
               settings_.layout == PixelLayout::yuv420p10;
    }
    /// The pixel format in which it wants them, in the clip's own matrix (see `matrix`), limited range.
    AVPixelFormat format(const AVFrame& frame) const;
    /// The matrix of Y'CbCr pictures handed in.
    ColourMatrix matrix() const noexcept { return from_; }
    /// A picture of the layout, matrix and signal that the settings ask for. Packed ones keep the alpha
    /// of RGBA.
    PictureRef convert(const AVFrame& frame, FieldOrder fields) const;

  private:
    struct Rows;
    void load(const AVFrame& frame, int y, bool fields, Rows& rows, size_t set) const;
    PictureRef toPlanes(const AVFrame& frame, FieldOrder fields) const;
    PictureRef toPacked(const AVFrame& frame, FieldOrder fields) const;
    PictureRef dropBits(const AVFrame& frame, FieldOrder fields) const;

    const ReaderSettings& settings_;
    ColourMatrix from_;
    bool rgb_;
    bool deep_;  // the clip has more than 8 bits
    bool sameMatrix_;
    std::shared_ptr<const ColourTable> table_;  // null when the signal stays
};

/// The conversion between a clip's signal and the one asked for.
SignalConversion conversionOf(const ClipColour& colour, const ReaderSettings& settings);

}  // namespace tumblewash::media
