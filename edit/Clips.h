// One input of a run: its pictures in order at the output's size and rate, its sound beside them.
// A clip that breaks early holds its last picture, so that every length stays as planned; what was lost is
// told in words. It takes no decisions about transitions.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "edit/StillMove.h"
#include "media/KnownInput.h"
#include "media/Reader.h"

namespace tumblewash::edit {

/// An input that can be opened, counted, closed and opened again; or black, which needs no file. Frames are
/// counted from 0 within the stretch that is used.
class Clip {
  public:
    /// Opens and counts. Throws MediaError.
    Clip(std::string path, const media::ReaderSettings& settings);
    /// A still that was probed: `settings` says how many frames it lasts. It is opened when it is needed.
    Clip(media::MediaInfo still, const media::ReaderSettings& settings);
    /// A clip that was looked at and counted. It is opened when it is needed.
    Clip(const media::KnownInput& known, const media::ReaderSettings& settings);
    /// A clip that was opened and counted earlier: `frames` frames of it from its frame `in` on. It is opened
    /// when it is needed.
    Clip(media::MediaInfo known, const media::ReaderSettings& settings, std::int64_t in, std::int64_t frames);
    /// Black and silence of `frames` frames, in the layout and line order of the settings.
    static Clip black(std::int64_t frames, const media::ReaderSettings& settings, media::FieldOrder fields);

    /// The same file once more from its first frame, opened when it is needed. The clip must not be trimmed.
    Clip again() const;
    /// The same, to be read with other settings of the same rate.
    Clip again(const media::ReaderSettings& settings) const;
    /// Opens the file for somebody else, with other settings.
    media::Reader open(const media::ReaderSettings& settings) const;

    /// Makes a still last this many frames.
    void last(std::int64_t frames);

    /// Makes a still go this way while it is shown, from its first frame to its last.
    void move(const StillMove& way);
    /// The way it goes; nothing where it stands.
    const std::optional<StillMove>& way() const noexcept { return move_; }

    /// Uses frames [in, out) alone, which must lie within the clip.
    void trim(std::int64_t in, std::int64_t out);

    /// Closes the file; it is opened again at its start when needed. Memory then holds nothing of it.
    void close();

    /// Closes the file and forgets what was lost so far: it is read anew.
    void restart();

    /// The file's name; "black" for black.
    const std::string& path() const noexcept { return path_; }
    bool isBlack() const noexcept { return black_; }
    const media::MediaInfo& info() const noexcept { return info_; }
    /// Pictures at the output's rate, as planned from.
    std::int64_t frames() const noexcept { return frames_; }
    /// Pictures of the whole file at that rate, trimmed or not, of which a clip that was counted earlier
    /// knows no more than it uses; of a still or black, as many as it lasts.
    std::int64_t wholeFrames() const noexcept { return whole_; }
    /// The file's frame that is frame 0 here.
    std::int64_t in() const noexcept { return in_; }
    /// What the clip's samples are multiplied by; 1 unless set.
    double gain() const noexcept { return gain_; }
    void setGain(double linear) noexcept { gain_ = linear; }
    /// Line order of the pictures delivered.
    media::FieldOrder fields() const noexcept { return fields_; }

    /// The next picture; after an early end the last one again. Throws MediaError.
    media::PictureRef nextPicture();
    /// Leaves the next picture out; the sound stands where it stood.
    void passPicture() noexcept { ++passed_; }
    /// The next sample frames, exactly as many as `interleaved` holds.
    void nextSamples(std::vector<float>& interleaved);
    /// Picture `index` out of turn; the clip then stands at its start again.
    media::PictureRef pictureAt(std::int64_t index);

    /// Makes frame `index` the next one, and the sample frame `sample` (from 0 at frame 0) the next one.
    void seek(std::int64_t index, std::int64_t sample);

    /// The same for the pictures alone, where nobody asks for sound.
    void seekPicture(std::int64_t index);

    /// What is damaged or missing, one line each, beginning with the file's name.
    std::vector<std::string> warnings() const;
    /// What is done to a photo, one line each, beginning with the file's name; known once it was opened.
    std::vector<std::string> conversions() const;

  private:
    Clip() = default;
    media::Reader& reader();
    std::size_t width() const noexcept { return static_cast<std::size_t>(settings_.channels); }
    media::PictureRef blackNow();
    media::PictureRef movedAt(std::int64_t index);
    std::vector<std::string> named(const std::vector<std::string>& lines) const;

    std::string path_;
    media::ReaderSettings settings_;
    std::optional<media::KnownInput> known_;
    std::unique_ptr<media::Reader> reader_;
    media::MediaInfo info_;
    std::int64_t in_ = 0;
    double gain_ = 1;
    std::int64_t frames_ = 0;
    std::int64_t whole_ = 0;
    bool black_ = false;
    media::FieldOrder fields_ = media::FieldOrder::progressive;
    media::PictureRef last_;
    std::int64_t missing_ = 0;
    std::int64_t passed_ = 0;  ///< pictures left out since the last one
    std::optional<StillMove> move_;
    std::optional<MovingStill> moving_;
    std::int64_t next_ = 0;  // of a still that moves: the next frame
    std::vector<std::string> closedWarnings_;
};

}  // namespace tumblewash::edit
