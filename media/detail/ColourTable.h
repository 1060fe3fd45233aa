// The table of one colour conversion over deep words, and its use on rows of them.
// It is made from the formulas of Signal.h and shared by all who ask for the same conversion.
// Not a format of table files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/Signal.h"

namespace tumblewash::media {

class ColourTable {
  public:
    /// The table of a conversion, made once (some tenths of a second); the last few are kept. Any thread may
    /// ask.
    static std::shared_ptr<const ColourTable> of(const SignalConversion& conversion);

    explicit ColourTable(const SignalConversion& conversion);

    /// Converts `pixels` deep words of each colour where they stand.
    void convertRow(uint16_t* red, uint16_t* green, uint16_t* blue, size_t pixels) const;

  private:
    std::vector<int16_t> nodes_;
    // PQ has no use for nodes above the clip's peak, and needs close ones below it, where a step of its own
    // is much light: its words are multiplied by this over 2^14, so that the peak stands at the last node. 0:
    // not.
    int spread_ = 0;
    // Of conversions to SDR the nodes hold light, bent by a curve that goes on below black: where colours
    // leave the gamut, interpolation then meets no kink. These are the deep words of that curve; empty for
    // others.
    std::vector<uint16_t> finish_;
};

}  // namespace tumblewash::media
