// An input that was looked at and counted: enough to plan with, and to open it again without looking at all
// of it once more. It holds no file open, and reads nothing by itself.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "media/Reader.h"

namespace tumblewash::media {

/// What opening an input has found out. Never changed once it is made; cheap to copy, safe to share.
class KnownInput {
  public:
    /// Checks and counts as `Reader::open` does, but prepares nothing to be read. Throws MediaError.
    static KnownInput of(const std::string& path, const ReaderSettings& settings);

    const MediaInfo& info() const noexcept;
    /// How many pictures a reader of these settings gives: `Reader::frameCount`.
    int64_t frameCount(const ReaderSettings& settings) const;
    /// What the container promises and the file does not hold, without the file's name; empty when it is
    /// whole.
    const std::string& warning() const noexcept;

    /// Opens the same file. Throws MediaError as `Reader::open` does, unreadable where the name stands for
    /// another file by now, or the file was rewritten.
    Reader open(const ReaderSettings& settings) const;

  private:
    struct Facts;
    explicit KnownInput(std::shared_ptr<const Facts> facts) noexcept : facts_(std::move(facts)) {}

    std::shared_ptr<const Facts> facts_;
};

}  // namespace tumblewash::media
