// The kinds of movie files: who writes them, and how their sound is coded. Which codecs their pictures may
// have is Codecs.h's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "media/Writer.h"

namespace tumblewash::media {

/// An encoder of sound, and its bits in a second for two channels; 0 where it has no choice.
struct SoundCoding {
    const char* encoder;
    int64_t bits;
};

/// One kind of movie file.
struct Container {
    const char* ending;
    const char* muxer;
    SoundCoding sound;  ///< the usual one
    bool faststart;     ///< its index is moved to the front
    bool webm() const { return std::string_view(muxer) == "webm"; }
};

/// The kind that the output's name ends in. Throws MediaError (badRequest).
const Container& containerOf(const std::string& output);

/// How the settings ask for the sound to be coded.
SoundCoding soundCodingOf(const WriterSettings& settings, const Container& container);

}  // namespace tumblewash::media
