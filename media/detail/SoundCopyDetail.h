// What a copy of sound holds inside this room: its file, the place of its packets, and how packets of its
// codec overlap. Plain data, filled once by `SoundCopy::of`.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "media/SoundCopy.h"
#include "media/detail/Av.h"
#include "media/detail/InputBytes.h"
#include "media/detail/NalUnits.h"

namespace tumblewash::media {

struct SoundCopy::Detail {
    std::shared_ptr<const InputBytes> bytes;
    int stream = -1;
    AVCodecID codec = AV_CODEC_ID_NONE;
    int64_t unit = 0;     ///< sample frames of a packet
    int64_t place = 0;    ///< the movie's sample frame at which packet 0 begins to be heard; mostly below 0
    int64_t first = 0;    ///< packet that the movie begins with
    int64_t packets = 0;  ///< that follow one another without a gap, from packet 0 on
    int64_t at(int64_t packet) const noexcept { return place + packet * unit; }
};

/// The half of a window with which an AAC packet overlaps the one behind it.
struct WindowHalf {
    bool longHalf = true;  ///< over 1024 samples; else over 128 of them
    bool kaiser = false;   ///< Kaiser-Bessel derived; else a sine
    bool operator==(const WindowHalf&) const = default;
};

/// Of an AAC packet of one or two channels with one window for both; nothing where they have two, or it
/// cannot be read.
std::optional<WindowHalf> windowBehind(ByteView packet);

/// The rising half of such a window at `n` of its 1024 samples.
double windowAt(bool kaiser, int n);

/// Changes the 1024 interleaved sample frames of an overlap as little as may be, so that the packet behind it
/// has the coefficients with the rising half of `own` that it would have of the true ones with that of
/// `wanted`; true means Kaiser-Bessel.
void bendOverlap(float* samples, size_t channels, bool wanted, bool own);

/// True for a packet of Opus that comes from the transform alone, as music does.
bool isTransformOpus(ByteView packet);

}  // namespace tumblewash::media
