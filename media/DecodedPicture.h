// A picture as its decoder left it, which becomes a picture of any size when one is wanted, and what makes
// it. For whoever keeps many: 4:2:0 takes three eighths of ARGB, and nothing is converted that nobody looks
// at. It reads no files; Reader::readDecoded gives these.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "media/Picture.h"

namespace tumblewash::media {

/// A counted reference to one decoded picture. May pass between threads, and outlives its reader.
class DecodedPicture {
  public:
    /// What the reference points at; known inside this room only.
    struct Storage;

    /// Refers to nothing.
    DecodedPicture() = default;
    explicit DecodedPicture(std::shared_ptr<const Storage> storage) noexcept : storage_(std::move(storage)) {}

    explicit operator bool() const noexcept { return storage_ != nullptr; }
    /// True when pictures of every size can be made of it. False where the reader had to convert it, at its
    /// own size: pictures made progressive need their neighbours.
    bool anySize() const noexcept;
    /// Bytes of memory that it holds.
    std::size_t bytes() const noexcept;
    /// For this room's own code.
    const std::shared_ptr<const Storage>& storage() const noexcept { return storage_; }

  private:
    std::shared_ptr<const Storage> storage_;
};

/// Makes pictures of decoded ones. It keeps what the newest few took to set up. One thread at a time.
class PictureMaker {
  public:
    /// Up to `threads` threads work on one picture. The bytes never depend on it.
    explicit PictureMaker(int threads = 1);
    ~PictureMaker();
    PictureMaker(const PictureMaker&) = delete;
    PictureMaker& operator=(const PictureMaker&) = delete;

    /// The picture with these sides, byte for byte as `Reader::readPicture` of a reader with this size and
    /// else the same settings gives it. The caller may write to it. Where `anySize` is false the size must be
    /// the reader's own. Throws MediaError: badRequest for another size or sides outside 1 to 16384,
    /// encoding.
    PictureRef make(const DecodedPicture& picture, int width, int height);

    /// Gives back what it keeps.
    void forget() noexcept;

  private:
    struct Setup;
    Setup& setupFor(const DecodedPicture::Storage& storage, int width, int height);

    const int threads_;
    std::vector<std::unique_ptr<Setup>> setups_;  ///< the most recently used first
};

}  // namespace tumblewash::media
