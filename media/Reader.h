// A clip, a still or a drawn source as a run of equal pictures at a constant rate, with its sound beside it.
// Time 0 is the moment of the first picture; sound before it is cut, missing sound is silence.
// It knows no transitions and makes no decisions about lengths: it gives what was asked for, exactly.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/DecodedPicture.h"
#include "media/Probe.h"

namespace tumblewash::media {

/// How a picture is brought to a size of another shape.
enum class Fit {
    contain,  ///< whole picture, black beside it
    blur,     ///< whole picture between strips of an enlarged, blurred copy of it; nothing beside it where
              ///< transparency is kept
    cover,    ///< no black, the surplus cut off evenly
    stretch   ///< both sides to measure
};

/// What the pictures and the sound of a Reader shall be.
struct ReaderSettings {
    int width = 0;   ///< 0: the display width of the source
    int height = 0;  ///< 0: the display height of the source
    Fit fit = Fit::contain;
    FrameRate rate;           ///< 0: the source's own (stills: 25)
    double stillSeconds = 4;  ///< how long a still lasts
    int64_t stillFrames = 0;  ///< the same in pictures; wins when above 0
    int sampleRate = 48000;
    int channels = 2;  ///< of the sound: 1 mono, 2 left and right, 6 as 5.1 (FL FR FC LFE BL BR)
    PixelLayout layout = PixelLayout::argb;
    ColourMatrix matrix = ColourMatrix::bt709;  ///< of planar pictures; take the writer's
    Transfer transfer = Transfer::sdr;   ///< what signal the pictures shall be: SDR in BT.709, or HLG or
                                         ///< PQ in BT.2020. Clips of another kind are converted
    ToneMap toneMap = ToneMap::natural;  ///< how HDR becomes SDR
    bool keepAlpha = false;  ///< ARGB: keep straight alpha as stored; else flattened on black, 255
    bool keepFields = true;  ///< false: interlaced pictures are always made progressive. True: only
                             ///< when lines are scaled, cut to an odd offset, or turned
    int threads = 0;         ///< decoder threads, 0: by the machine. Output never depends on it
    int prefetch = 3;        ///< pictures decoded ahead in a thread of the reader; 0: no thread
    bool sound = true;       ///< false: nobody asks for sound, and none is opened
    std::optional<FileIdentity> identity;  ///< only this very file will do: what was decided from an earlier
                                           ///< look at the name holds for no other
    CancelFlag cancel = nullptr;
};

/// One open input. Movable, not copyable. One thread may use it at a time.
class Reader {
  public:
    /// Opens and checks as `probe` does, and counts. Throws MediaError.
    static Reader open(const std::string& path, const ReaderSettings& settings = {});

    Reader(Reader&&) noexcept;
    Reader& operator=(Reader&&) noexcept;
    ~Reader();

    const MediaInfo& info() const noexcept;
    /// As asked, with the zeros replaced by what they came to.
    const ReaderSettings& settings() const noexcept;
    /// Line order of the pictures delivered: progressive once they were scaled, turned or deinterlaced.
    FieldOrder fields() const noexcept;

    /// How many pictures `readPicture` gives from the start. Found by reading the file's packets once and,
    /// where they leave doubt, decoding its last group of pictures. Only a clip that turns out broken later
    /// on can give fewer; `warnings` then says so.
    int64_t frameCount() const noexcept;
    /// Index of the picture that `readPicture` gives next.
    int64_t position() const noexcept;

    /// The next picture, or an empty reference after the last one. Throws MediaError (cancelled, encoding for
    /// a filter that fails); damage in the clip is no error, see `warnings`.
    PictureRef readPicture();
    /// The same as its decoder left it, to be converted when it is wanted; empty after the last one. Only of
    /// readers with `prefetch` 0. Throws MediaError.
    DecodedPicture readDecoded();

    /// The next `frames` sample frames into `interleaved` (channels x frames floats, full scale -1..1; clips
    /// may go beyond). Always fills
    /// all of them; silence where there is no sound and after its end. Independent of `readPicture`: picture
    /// k begins at sample frame `firstSampleOf(k)`.
    void readSamples(float* interleaved, size_t frames);
    /// Index of the sample frame that `readSamples` gives next.
    int64_t samplePosition() const noexcept;
    /// floor(index x sampleRate / rate): the sample frame with which a picture begins, on this clip's clock.
    int64_t firstSampleOf(int64_t index) const noexcept;

    /// Makes picture `index` (0..frameCount) the next one, exactly, and sample frame `firstSampleOf(index)`
    /// the next.
    void seek(int64_t index);
    /// The same for the pictures alone; the sound stands where it stood.
    void seekPictures(int64_t index);

    /// What was lost so far, one line each, without the file's name: missing pictures, unreadable sound, an
    /// early end. What is converted on purpose is `info().conversions`.
    std::vector<std::string> warnings() const;

  private:
    friend class KnownInput;
    struct Impl;
    explicit Reader(std::unique_ptr<Impl> impl) noexcept;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tumblewash::media
