// Moving pictures with sound that this room draws itself, so that everything runs without a single file.
// A drawn source is named "pattern:NAME?size=1280x720&seconds=6&fps=25&sound=0"; every part behind NAME is
// optional. Drawn the same on every machine: the arithmetic is plain, nothing is random and nothing is read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/Picture.h"

namespace tumblewash::media {

/// A parsed drawn source.
struct DrawnScene {
    std::string name;  ///< one of `patternNames`
    int width = 1280;  ///< 16..16384
    int height = 720;
    double seconds = 6;     ///< above 0, up to 86400
    FrameRate rate{25, 1};  ///< up to 240
    bool sound = true;
};

/// True for names that begin with "pattern:".
bool isPattern(const std::string& path) noexcept;

/// Parses "pattern:NAME?key=value&...". Throws MediaError (badRequest) that names the wrong part and the
/// choices.
DrawnScene parsePattern(const std::string& path);

/// The scenes: harbour, city, bars (colour bars), flash (a white flash and a beep each second, for sync
/// checks).
std::vector<std::string> patternNames();

/// Draws the picture at `seconds` from the scene's start into ARGB bytes, opaque. `stride` in bytes.
void drawPattern(const DrawnScene& drawn, double seconds, uint8_t* argb, ptrdiff_t stride);

/// The scene's sound: `frames` sample frames, interleaved left, right, from sample frame `first` on.
void playPattern(const DrawnScene& drawn, int sampleRate, int64_t first, float* interleaved, size_t frames);

}  // namespace tumblewash::media
