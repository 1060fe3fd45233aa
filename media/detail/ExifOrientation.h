// The turn that a camera noted in a picture's EXIF block, for the formats whose decoder does not hand it out.
// It reads one number and nothing else of the block, and two more facts of TIFF files, which are built like
// it.
#pragma once

#include <cstdint>
#include <span>

#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// Orientation 1..8 of an EXIF block ("II" or "MM" first, or "Exif" and two zeros before that), 0 when it
/// says none or is damaged.
int exifOrientation(std::span<const uint8_t> block) noexcept;

/// The orientation that a PNG or TIFF file states, 0 when it is another format or states none.
int orientationOfFile(const InputBytes& file);

/// True when `file` is a TIFF file of inks rather than light.
bool tiffIsForInk(const InputBytes& file);

/// True when `file` is a TIFF file whose strips or tiles of pixels end behind the end of the file.
bool tiffIsCutOff(const InputBytes& file);

}  // namespace tumblewash::media
