// What every kind of output does with finished pictures and samples, and the makers of each.
// Called from Writer's own thread, pictures and sound in order, sound never beyond the pictures.
// A sink destroyed before `finish` leaves nothing behind.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "media/Pieces.h"
#include "media/Writer.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

class Sink {
  public:
    virtual ~Sink() = default;
    virtual void picture(const PictureRef& picture) = 0;
    /// The next picture is one that the settings' copy plan takes from a clip.
    virtual void copiedPicture() {}
    virtual void samples(const float* interleaved, size_t frames) = 0;
    /// The same for sound that is, from the movie's start up to here, what the settings' `soundCopy` holds.
    virtual void ownSamples(const float* interleaved, size_t frames) { samples(interleaved, frames); }
    /// How long a thread of its own has worked on sound; 0 where there is none.
    virtual double soundSeconds() const { return 0; }
    /// Sample frames whose packets were copied.
    virtual int64_t copiedSamples() const noexcept { return 0; }
    /// Completes the output and puts it in place.
    virtual void finish() = 0;
    /// What a user should know about the finished output.
    virtual std::vector<std::string> warnings() const { return {}; }
};

/// One record of the table of outputs.
struct SinkKind {
    OutputKind shown;
    /// True when this kind writes `output`.
    bool (*matches)(const std::string& output);
    /// Checks settings and target without making anything. Throws MediaError.
    void (*check)(const std::string& output, const WriterSettings& settings);
    std::unique_ptr<Sink> (*make)(const std::string& output, const WriterSettings& settings);
    PixelLayout layout;
};

/// The record for `output`. Throws MediaError (badRequest) that lists the choices.
const SinkKind& sinkKindOf(const std::string& output);

// The makers and checkers of the table's rows.
void checkMovie(const std::string& output, const WriterSettings& settings);
std::unique_ptr<Sink> makeMovie(const std::string& output, const WriterSettings& settings);
/// The movie of these pieces, put in place; what `mergePieces` does once they are checked.
MergedPrints mergeMovie(const std::string& output, const WriterSettings& settings,
                        const std::vector<PlacedPiece>& pictures, const std::string& sound);
void checkSequence(const std::string& output, const WriterSettings& settings);
std::unique_ptr<Sink> makeSequence(const std::string& output, const WriterSettings& settings);
void checkDigest(const std::string& output, const WriterSettings& settings);
std::unique_ptr<Sink> makeDigest(const std::string& output, const WriterSettings& settings);
void checkNull(const std::string& output, const WriterSettings& settings);
std::unique_ptr<Sink> makeNull(const std::string& output, const WriterSettings& settings);

}  // namespace tumblewash::media
