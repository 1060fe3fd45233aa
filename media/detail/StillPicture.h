// One photo as its decoder gave it, with what is known of its colours, and the step that makes it an ordinary
// picture: its profile turned to sRGB, more than 8 bits brought to 8.
// It turns nothing upright and scales nothing: that is the graph's.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/detail/Av.h"
#include "media/detail/IccProfile.h"

namespace tumblewash::media {

struct StillPicture {
    FramePtr frame;                              ///< with its colour tags
    AVColorSpace space = AVCOL_SPC_UNSPECIFIED;  ///< how Y'CbCr frames are meant
    bool fullRange = false;                      ///< the same
    std::optional<IccProfile> profile;           ///< only one that changes colours
    bool premultiplied = false;                  ///< its colours are stored times alpha
    int orientation = 1;                         ///< how to turn it upright, in EXIF's numbers
    std::string codec;                           ///< short name, for reports
    std::vector<std::string> remarks;            ///< what is converted or left out, without the file's name
    std::string damage;  ///< what the decoder made up, in words; empty for a whole one
};

/// Judges the profile in `bytes` (none when empty) for `still.frame`, and the frame's own primaries where
/// there is none: sets `profile` and adds a remark, or only a remark for a profile that cannot be used.
void setProfile(StillPicture& still, std::span<const uint8_t> bytes);

/// True when `ordinary` has something to do.
bool needsWork(const StillPicture& still);

/// True for frames of whole numbers in a layout that this room reads line by line.
bool isReadable(const AVFrame& frame);

/// A readable frame as AV_PIX_FMT_RGBA64 over all of 0..65535, straight alpha.
/// `space` and `fullRange` say how Y'CbCr is meant.
FramePtr deepRgba(const AVFrame& frame, AVColorSpace space, bool fullRange);

/// The picture in sRGB as AV_PIX_FMT_RGBA64 over all of 0..65535 with straight alpha, nothing rounded to 8
/// bits; the frame itself where nothing is to be done.
FramePtr ordinaryDeep(const StillPicture& still);

/// The picture in sRGB as 8-bit ARGB with straight alpha, the frame itself where nothing is to be done.
FramePtr ordinary(const StillPicture& still);

}  // namespace tumblewash::media
