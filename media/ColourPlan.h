// What the colours of a result are, and what that does to each clip: decided once, before anything is read,
// from the clips, the wishes and the kind of output; told in one line for each loss or conversion.
// Pure: no file is opened here.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/MovieColour.h"
#include "media/Probe.h"

namespace tumblewash::media {

/// What becomes of HDR.
enum class HdrPolicy {
    automatic,  ///< kept when all clips are of one HDR kind and the output holds it, else toned down to SDR
    keep,       ///< an HDR movie as soon as one clip is HDR; the others are put into it
    sdr         ///< always an ordinary movie
};

/// What somebody asked for; what is unset is the program's choice.
struct ColourWishes {
    std::optional<HdrPolicy> hdr;    ///< else automatic
    std::optional<ToneMap> toneMap;  ///< else natural
    std::optional<int> depth;        ///< 8 or 10
    std::optional<Codec> codec;
    bool alpha = false;  ///< transparency is kept: 8 bits of SDR, in the codec that holds it
    bool operator==(const ColourWishes&) const = default;

    HdrPolicy policy() const noexcept { return hdr.value_or(HdrPolicy::automatic); }
    ToneMap map() const noexcept { return toneMap.value_or(ToneMap::natural); }
    /// What is unset here is taken from `other`; alpha is kept when either asks for it.
    ColourWishes orElse(const ColourWishes& other) const;
};

struct ColourPlan {
    MovieColour movie;
    std::vector<std::string> lines;  ///< each begins with a clip's name
};

/// Plans a result of `width` x `height` named `output`. Throws MediaError (badRequest) for wishes that
/// contradict each other or the kind of output.
ColourPlan planColours(const std::vector<MediaInfo>& clips, const ColourWishes& wishes,
                       const std::string& output, int width, int height);

/// What is left out of a clip besides, in one line with its name; empty when nothing is. `channels`: how
/// many the result's sound has, 0 without sound.
std::string restLine(const MediaInfo& clip, int channels);

}  // namespace tumblewash::media
