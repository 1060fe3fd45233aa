// Which picture codec goes into which kind of file, with how many bits, with or without transparency: one
// table that the writer, the help texts, the lists for programs and the colour plan read.
// It opens nothing; whether the FFmpeg of this machine has an encoder shows when a file is written.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/MediaError.h"

namespace tumblewash::media {

enum class Codec { h264, hevc, vp9, av1, prores, ffv1, mjpeg, dnxhr };

/// One codec.
struct CodecFacts {
    Codec id;
    const char* word;     ///< on the command line
    const char* name;     ///< for readers
    const char* encoder;  ///< the library's
    bool eight;           ///< takes 8 bits a component
    bool ten;             ///< takes 10
    bool alpha;           ///< can hold transparency
    bool tenAlpha;        ///< with 10 bits a component too
    int worstCrf;         ///< --crf goes from 0 to this; -1: it has no such scale
    int usualCrf;         ///< where none is asked for
    bool presets;         ///< its encoder can take more time for better or smaller pictures
    bool beside = false;  ///< never asked for: its pictures are made beside those that are copied from clips
    bool bt601 = false;   ///< decoders take its pictures for BT.601, whatever the file says
};

/// An encoder of sound, and its bits in a second for two channels; 0 where it has no choice.
struct SoundCoding {
    const char* encoder;
    int64_t bits;
};

/// One kind of movie file.
struct MovieKind {
    const char* ending;                 ///< ".mp4"
    const char* muxer;                  ///< the library's
    SoundCoding sound{"aac", 192'000};  ///< the usual one
    bool pcm = false;                   ///< it can hold sound as it is
    bool flac = false;                  ///< and as FLAC
    bool faststart = false;             ///< its index is moved to the front
    bool colourTags = true;             ///< it can say which colours its pictures have
    bool chapters = true;               ///< it can hold chapters
    std::vector<Codec> codecs{};        ///< the first one is used unless another is asked for, or needed
    std::optional<Codec> deepCodec{};   ///< used for 10 bits unless another is asked for; none: it holds 8
    std::vector<Codec> alpha{};         ///< those that hold transparency in this kind of file
    std::vector<Codec> beside{};        ///< more that clips' packets may have
};

const std::vector<CodecFacts>& codecTable();
const CodecFacts& factsOf(Codec codec);
const std::vector<MovieKind>& movieKinds();
/// The kind of file that `output` names by its ending; null when it is no movie.
const MovieKind* movieKindOf(const std::string& output);
/// The same for an output that has to be one. Throws MediaError (badRequest).
const MovieKind& movieKindFor(const std::string& output);
/// ".mp4, .mov and .webm": the endings of all kinds, or of those that hold 10 bits, the last one after
/// `last`.
std::string movieEndings(const char* last, bool tenBits = false);

/// The codec for `output`, a movie: the one asked for, else the usual one for this depth. Throws MediaError
/// (badRequest) that says what goes into such files when the choice does not.
Codec codecFor(const std::string& output, std::optional<Codec> wanted, int depth);

/// True when `output` can hold 10-bit pictures with the codec asked for, if any.
bool carriesTenBits(const std::string& output, std::optional<Codec> wanted);

/// True when files of this kind can hold packets of such clips.
bool holdsCopies(const MovieKind& kind, Codec codec);

/// "mp4, mov, mkv": the kinds of file that hold a codec.
std::string endingsOf(Codec codec);

}  // namespace tumblewash::media
