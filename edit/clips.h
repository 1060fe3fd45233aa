// One input of a run: its pictures in order at the output's size and rate, its sound beside them.
// A clip that breaks early holds its last picture, so that every length stays as planned; what was lost is
// told in words. It takes no decisions about transitions.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/Reader.h"

namespace tumblewash::edit {

/// An input that can be opened, counted, closed and opened again.
class Clip {
  public:
    /// Opens and counts. Throws MediaError.
    Clip(std::string path, const media::ReaderSettings& settings);

    /// Closes the file; it is opened again at its start when needed. Memory then holds nothing of it.
    void close();

    const std::string& path() const noexcept { return path_; }
    const media::MediaInfo& info() const noexcept { return info_; }
    /// Pictures at the output's rate, as planned from.
    std::int64_t frames() const noexcept { return frames_; }
    /// Line order of the pictures delivered.
    media::FieldOrder fields() const noexcept { return fields_; }

    /// The next picture; after an early end the last one again. Throws MediaError.
    media::PictureRef nextPicture();
    /// The next sample frames, exactly as many as `interleaved` holds pairs.
    void nextSamples(std::vector<float>& interleaved);
    /// Picture `index` out of turn; the clip then stands at its start again.
    media::PictureRef pictureAt(std::int64_t index);

    /// What was lost, one line each, beginning with the file's name.
    std::vector<std::string> warnings() const;

  private:
    media::Reader& reader();

    std::string path_;
    media::ReaderSettings settings_;
    std::unique_ptr<media::Reader> reader_;
    media::MediaInfo info_;
    std::int64_t frames_ = 0;
    media::FieldOrder fields_ = media::FieldOrder::progressive;
    media::PictureRef last_;
    std::int64_t missing_ = 0;
    std::vector<std::string> closedWarnings_;
};

}  // namespace tumblewash::edit
