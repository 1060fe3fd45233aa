// One picture in memory, shared by reference count, and the two conversions between its two layouts.
// It is not an image library: no drawing, no scaling, no file formats.
// The bytes come from pools; a released picture's memory serves the next one of the same size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tumblewash {

/// An exact rate or ratio, num / den, den > 0.
struct FrameRate {
    int64_t num = 0;
    int64_t den = 1;

    double value() const noexcept { return static_cast<double>(num) / static_cast<double>(den); }
    explicit operator bool() const noexcept { return num > 0; }
    bool operator==(const FrameRate& other) const noexcept { return num * other.den == other.num * den; }
};

/// How a picture's bytes lie in memory.
enum class PixelLayout {
    argb,   ///< bytes alpha, red, green, blue; rows follow each other without padding; base 64-byte aligned
    yuv420  ///< planar Y'CbCr 4:2:0, 8 bits, limited range: what the movie encoders take. Opaque to callers
};

/// The matrix between R'G'B' and Y'CbCr.
enum class ColourMatrix { bt601, bt709 };

/// How the lines of a picture belong to moments in time.
enum class FieldOrder { progressive, topFirst, bottomFirst };

/// The matrix a picture of this size is taken to have when nothing says otherwise, and the one written to
/// movies: BT.709 from 1280 columns or 720 lines on, else BT.601.
constexpr ColourMatrix colourMatrixFor(int width, int height) noexcept {
    return width >= 1280 || height >= 720 ? ColourMatrix::bt709 : ColourMatrix::bt601;
}

/// A counted reference to one picture. Copying shares the picture, it never copies pixels.
/// A picture handed out by `Reader::readPicture` in ARGB may be written to by its receiver.
/// The reference may pass between threads; the pixels want one writer at a time.
class PictureRef {
  public:
    /// What the reference points at; known inside this room only.
    struct Storage;

    /// Refers to nothing.
    PictureRef() = default;
    explicit PictureRef(std::shared_ptr<Storage> storage) noexcept : storage_(std::move(storage)) {}

    /// A new ARGB picture with undefined bytes. Throws MediaError (badRequest) for sizes outside 1..32767.
    static PictureRef makeArgb(int width, int height);

    explicit operator bool() const noexcept { return storage_ != nullptr; }
    PixelLayout layout() const noexcept;
    /// Columns; 0 when empty.
    int width() const noexcept;
    /// Lines; 0 when empty.
    int height() const noexcept;
    /// First byte (alpha of the top left pixel) of an ARGB picture; null for other layouts and when empty.
    uint8_t* data() const noexcept;
    /// Bytes from one row to the next: exactly 4 x width for ARGB, 0 for other layouts.
    ptrdiff_t stride() const noexcept;
    /// Line order in time, as the source said.
    FieldOrder fields() const noexcept;
    /// Matrix of a yuv420 picture; for ARGB the matrix of the picture it was made from.
    ColourMatrix matrix() const noexcept;
    /// For this room's own code.
    const std::shared_ptr<Storage>& storage() const noexcept { return storage_; }

  private:
    std::shared_ptr<Storage> storage_;
};

/// A new ARGB picture with its own bytes (alpha 255), whatever the layout of `picture`; ARGB is copied as it
/// is. Each 2 x 2 block shares its chroma (per field in interlaced pictures), so that `fromArgb` gives back
/// the same Y'CbCr to one code value wherever the colour lies inside the RGB cube.
PictureRef toArgb(const PictureRef& picture);

/// The same into the caller's memory: `stride` bytes a row, at least 4 x width.
void toArgb(const PictureRef& picture, uint8_t* argb, ptrdiff_t stride);

/// A yuv420 picture from an ARGB one; alpha is ignored, chroma is the mean of each 2 x 2 block (per field
/// when `fields` is not progressive). Width and height must be even, else MediaError (badRequest). A yuv420
/// picture of the same matrix is returned as it is.
PictureRef fromArgb(const PictureRef& picture, ColourMatrix matrix,
                    FieldOrder fields = FieldOrder::progressive);

}  // namespace tumblewash
