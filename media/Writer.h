// A movie, a sequence of pictures, or their fingerprint, made beside its final name and put in place at the
// end. Until `commit` an older file of that name stays as it was; a writer destroyed without it leaves
// nothing behind. The kinds of output are records of one table; `outputKinds` lists them for help texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/CopyPlan.h"
#include "media/MediaError.h"
#include "media/MovieColour.h"
#include "media/Picture.h"

namespace tumblewash::media {

/// A named moment of a movie; it lasts until the next one.
struct Chapter {
    int64_t frame = 0;  ///< its first picture; ascending, the first one 0
    std::string title;
};

class SoundCopy;

/// How a movie's sound is coded.
enum class SoundCodec {
    usual,  ///< AAC, in .webm Opus, in .avi PCM
    pcm,    ///< as it is; .mov, .mkv and .avi
    flac    ///< without a loss; .mkv
};

/// A stretch of a movie on its own, for a movie that is made in several places (Pieces.h).
enum class Piece { none, pictures, sound };

/// What to write, in sizes, rates and quality.
struct WriterSettings {
    int width = 0;  ///< movies: even, 16..16384; pictures: 1..16384
    int height = 0;
    FrameRate rate{25, 1};
    bool sound = true;  ///< false: no sound stream at all
    int sampleRate =
        48000;         ///< movies: a rate the sound encoder takes (48000 and 44100 always work; WebM: 48000)
    int channels = 2;  ///< of the sound: 1 mono, 2 stereo, 6 as 5.1
    int crf = -1;      ///< quality, lower is better; -1: the codec's usual one, see codecTable
    std::string preset;  ///< H.264: ultrafast..veryslow, VP9: the same names; empty: veryfast. Only for
                         ///< codecs that have some, see codecTable
    FieldOrder fields =
        FieldOrder::progressive;         ///< interlaced coding and tags (H.264); others need progressive
    std::optional<ColourMatrix> matrix;  ///< of the movie's pictures and tags; none: `colourMatrixFor` its
                                         ///< size. The clips' own saves them a conversion
    std::optional<MovieColour> colour;   ///< movies: signal, depth, matrix and codec; none: SDR of 8 bits in
                                         ///< the file's usual codec, with `matrix`
    bool keepAlpha = false;  ///< straight alpha as it comes: PNG sequences, .mov (ProRes 4444), .mkv (FFV1),
                             ///< .webm (VP9); else alpha is dropped, the colour bytes as they are
    bool force = false;      ///< replace an existing output
    std::string title;       ///< movies: tags, none where empty
    std::string comment;
    std::vector<Chapter> chapters;  ///< movies: none or two and more make sense
    int64_t pictures = 0;           ///< how many will be written, where that is known: the last chapter's end
    std::shared_ptr<const CopyPlan> copies;      ///< movies: pictures that are taken from clips as they are
                                                 ///< coded; none: all are encoded
    std::shared_ptr<const SoundCopy> soundCopy;  ///< movies: what the sound begins with as it is coded, see
                                                 ///< `writeOwnSamples`; none: all is encoded
    SoundCodec soundCodec = SoundCodec::usual;
    int soundBits = 0;          ///< of a sample of `pcm` and `flac`: 16 or 24
    int threads = 0;            ///< encoder threads, 0: `usualEncoderThreads`
    bool ownThread = true;      ///< encode in a thread of the writer's own; false: within each call
    bool soundThread = false;   ///< movies: sound is encoded in a thread of its own, with the same bytes
    Piece piece = Piece::none;  ///< movies: not the file but a piece of it goes into `pieceFile`
    std::string pieceFile;
    int64_t firstPicture = 0;  ///< fingerprints: the number of the first picture
    CancelFlag cancel = nullptr;
};

/// One open output. Movable, not copyable. One thread may use it at a time; encoding runs in a thread of its
/// own behind a short queue, so a call may wait for it. Errors of that thread are thrown by the next call.
/// With `ownThread` false nothing runs beside the caller, and errors are thrown by the call itself.
class Writer {
  public:
    /// `output` is FILE.mp4, FILE.mov, FILE.mkv (H.264 or another codec of `movieKinds`, AAC), FILE.webm (VP9
    /// or AV1, Opus), FILE.avi (Motion JPEG, PCM), NAME%05d.png (any %d, numbered from 1), `null:`, `md5:`
    /// (standard output) or `md5:FILE`. Throws MediaError: badRequest for an unknown type or impossible
    /// settings, notWritable for an output that exists (without `force`), is a directory or no regular file,
    /// or lies in a directory that is missing or not writable.
    static Writer open(const std::string& output, const WriterSettings& settings);

    /// The checks of `open` without making anything, so that a program can refuse before it decodes.
    static void check(const std::string& output, const WriterSettings& settings);

    Writer(Writer&&) noexcept;
    Writer& operator=(Writer&&) noexcept;
    /// Without `commit` before, removes everything made so far.
    ~Writer();

    const WriterSettings& settings() const noexcept;
    /// The layout this output takes without a conversion: what readers should be asked for; ARGB with alpha.
    PixelLayout preferredLayout() const noexcept;
    /// The matrix of planar pictures it takes without a conversion: as set, else `colourMatrixFor` its size.
    ColourMatrix matrix() const noexcept;

    /// The next picture, of the settings' size, in any layout. Shares the picture until it is encoded: its
    /// bytes must not change afterwards. Throws MediaError.
    void writePicture(const PictureRef& picture);
    /// The same from the caller's memory (alpha, red, green, blue), copied before the call returns.
    void writePicture(const uint8_t* argb, ptrdiff_t stride);
    /// The next picture is one that the settings' copy plan takes from a clip. Throws MediaError.
    void copyPicture();
    /// A picture that is not written here, of which only the sound counts.
    void skipPicture();
    /// The next sample frames, interleaved; any number. Beyond the pictures' length they are
    /// dropped, what is missing is filled with silence, both at `commit`.
    void writeSamples(const float* interleaved, size_t frames);
    /// The same for sound that is the settings' `soundCopy` to the bit, as all before it was: its packets may
    /// be copied.
    void writeOwnSamples(const float* interleaved, size_t frames);

    int64_t pictures() const noexcept;
    int64_t samples() const noexcept;

    /// Seconds spent on pictures and on sound, side by side with `soundThread`.
    double pictureSeconds() const;
    double soundSeconds() const;
    /// Sample frames whose packets were copied; once it is committed.
    int64_t copiedSamples() const noexcept;

    /// Finishes the file: the encoder's last pictures, the index, fsync, close, rename, fsync of the folder.
    /// Afterwards the output is complete under its name. Throws MediaError, and then the old file is as it
    /// was; CopyCheckFailed when copied pictures do not decode as their clips' do, and SoundCopyFailed when
    /// copied sound cannot be joined to what follows it.
    void commit();

    /// What a user should know about the committed output, one line each without its name.
    std::vector<std::string> warnings() const;

    struct Impl;

  private:
    explicit Writer(std::unique_ptr<Impl> impl) noexcept;
    std::unique_ptr<Impl> impl_;
};

/// One kind of output, for help texts: the pattern a name must have, and what comes of it.
struct OutputKind {
    const char* pattern;
    const char* description;
};

/// All kinds, in the order they are tried.
std::vector<OutputKind> outputKinds();

/// How many threads an encoder is given where none are asked for: by the machine, at most 8. The bytes of
/// some codecs depend on their number.
int usualEncoderThreads();

/// True when the encoders of this output need even sides (4:2:0 chroma); such sizes are the caller's to
/// round.
bool needsEvenSize(const std::string& output);

}  // namespace tumblewash::media
