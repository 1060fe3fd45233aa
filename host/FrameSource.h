// Where a session's pictures and samples come from. The session borrows, the plug-in reads, the source gets
// it back. Pixels are 32 bits, bytes alpha, red, green, blue in memory, top row first; strides are in bytes.
// No decoding happens here: a source answers from what it has, on the session's thread, inside renderFrame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hostapi/HYPlugin.h"

namespace tumblewash::host {

/// Pixel memory of somebody: `stride` is the distance in bytes from a row to the one below it and may be
/// negative (bottom row first in memory) or hold padding. Nothing is owned.
struct Picture {
    std::uint8_t* pixels = nullptr;  ///< first pixel, alpha first; not owned
    std::ptrdiff_t stride = 0;       ///< bytes from a row to the one below it
    int width = 0;                   ///< pixels
    int height = 0;                  ///< rows
};

/// The stride, in bytes, of pictures that a session can lend to the plug-in without copying them.
[[nodiscard]] constexpr std::ptrdiff_t pictureStride(int width) noexcept {
    return std::ptrdiff_t{4} * width;
}

/// What a session asks of a source.
struct FrameRequest {
    std::int32_t number = 0;  ///< The number the plug-in asked for.
    int clip = 0;             ///< 0 the outgoing (or only) clip, 1 the incoming one.
    std::int32_t index = 0;   ///< The frame's place in that clip, see locateFrame in Session.h.
    int width = 0;            ///< Size the picture must have, in pixels.
    int height = 0;           ///< rows
    HYRefDVQuality quality = kDVHighQuality;  ///< kDVLowQuality when a rougher conversion will do.
    int sampleCount = 0;                      ///< Sample frames that the output frame lasts; 0 without sound.
};

/// What a source lends. Pixels stay valid and unmoved until giveBack, samples until lend is called again.
struct LentFrame {
    Picture picture;  ///< the pixels
    /// False when the bytes must stay as they are: the session then works on a copy, since the tumbling plate
    /// draws a border into the picture it is lent.
    bool writable = true;
    int volume = 255;  ///< The clip's own volume, 0 to 255 (full).
    /// Interleaved samples in the session's channel count, nominally -1 to 1; null is silence. What is
    /// missing of `sampleCount` is silence, what is more is cut.
    const float* samples = nullptr;
    int sampleCount = 0;    ///< sample frames at `samples`
    void* token = nullptr;  ///< The source's own mark, handed back untouched.
};

/// Lends frames by number. One source serves one session at a time and is called on its thread only.
class FrameSource {
  public:
    virtual ~FrameSource() = default;

    /// Lends one picture of exactly the size asked for. Several loans may be out at once, of one number too.
    /// Throws when it cannot be had: HostError's code goes to the plug-in, any other exception becomes
    /// kPluginCantGetNeededFrame, std::bad_alloc kPluginOutOfMemory.
    virtual LentFrame lend(const FrameRequest& request) = 0;

    /// Ends a loan; called exactly once for each, when the plug-in releases it or at the latest at the end of
    /// the request in which it was lent.
    virtual void giveBack(const LentFrame& frame) noexcept = 0;
};

}  // namespace tumblewash::host
