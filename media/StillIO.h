// Single pictures: any still or one picture of a clip into ARGB, ARGB into a PNG file.
// Pixels are untouched when no other size is asked for; PNG files are written beside and renamed.
// Not for runs of pictures: those are Reader's and Writer's.
#pragma once

#include <string>

#include "media/MediaError.h"
#include "media/Picture.h"
#include "media/Reader.h"

namespace tumblewash::media {

/// Size and shape wanted of one picture.
struct StillSettings {
    int width = 0;   ///< 0: the display width of the source
    int height = 0;  ///< 0: the display height of the source
    Fit fit = Fit::contain;
    bool keepAlpha = false;  ///< straight alpha as stored; else flattened on black with alpha 255
    int64_t index = 0;       ///< which picture of a clip, 0 the first; past the end is an error
    FrameRate rate;          ///< the rate `index` counts in; 0: the clip's own
    CancelFlag cancel = nullptr;
};

/// Reads one picture as ARGB with square pixels, upright. Throws MediaError.
PictureRef readStill(const std::string& path, const StillSettings& settings = {});

/// What becomes of alpha in a picture file.
enum class PngAlpha {
    keep,    ///< RGBA, straight
    drop,    ///< RGB, the colour bytes as they are
    flatten  ///< RGB, colours times alpha / 255, rounded: the picture on black
};

/// Writes ARGB as an 8-bit PNG. `stride` in bytes, at least 4 x width. An existing file is replaced only with
/// `force`, and only by a complete new one. Throws MediaError (notWritable, badRequest).
void writePng(const std::string& path, const uint8_t* argb, int width, int height, ptrdiff_t stride,
              PngAlpha alpha = PngAlpha::drop, bool force = false);

/// The same for a picture of either layout.
void writePng(const std::string& path, const PictureRef& picture, PngAlpha alpha = PngAlpha::drop,
              bool force = false);

}  // namespace tumblewash::media
