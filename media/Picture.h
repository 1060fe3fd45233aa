// One picture in memory, shared by reference count, and the conversions between its layouts.
// It is not an image library: no drawing, no scaling, no file formats.
// The bytes come from pools; a released picture's memory serves the next one of the same size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace tumblewash::media {

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
    argb,    ///< bytes alpha, red, green, blue; rows follow each other without padding; base 64-byte aligned
    yuv420,  ///< planar Y'CbCr 4:2:0, 8 bits, limited range: what the movie encoders take. Opaque to callers
    yuv420p10,  ///< the same with 10 bits
    deep  ///< 16-bit words alpha, red, green, blue in the machine's byte order; rows and base as `argb`.
          ///< The colours are the movie's own R'G'B' signal between `kDeepBlack` and `kDeepWhite`, with
          ///< what lies beyond white and below black kept; alpha goes from 0 to 65535
};

/// True for layouts whose pixels lie side by side and whose words callers may use.
constexpr bool isPacked(PixelLayout layout) noexcept {
    return layout == PixelLayout::argb || layout == PixelLayout::deep;
}

/// True for the layouts of more than 8 bits.
constexpr bool isDeep(PixelLayout layout) noexcept {
    return layout == PixelLayout::deep || layout == PixelLayout::yuv420p10;
}

/// From so many pixels on, a picture of more than 8 bits takes five megabytes and more: where it can be
/// helped, fewer of them are held.
constexpr int64_t kLargePicture = 1'500'000;

constexpr bool isLarge(int width, int height) noexcept {
    return int64_t{width} * height > kLargePicture;
}

/// True for pictures of more than 8 bits (`deep`) of such a size.
constexpr bool isLargeDeep(bool deep, int width, int height) noexcept {
    return deep && isLarge(width, height);
}

/// Black and nominal white of a deep picture's colours: the limited range of 16-bit signals, 256 times the 16
/// and 235 of 8 bits and 64 times the 64 and 940 of 10. Luma codes 1 to 254 of 8 bits and their whole range
/// of 10 go there and back unchanged.
constexpr uint16_t kDeepBlack = 4096;
constexpr uint16_t kDeepWhite = 60160;
constexpr uint16_t kDeepOpaque = 65535;

/// The matrix between R'G'B' and Y'CbCr.
enum class ColourMatrix { bt601, bt709, bt2020 };

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
    /// The same for a deep picture.
    static PictureRef makeDeep(int width, int height);

    explicit operator bool() const noexcept { return storage_ != nullptr; }
    /// True when no other reference shares the picture's bytes: its holder may write them. False when empty.
    bool isUnique() const noexcept;
    PixelLayout layout() const noexcept;
    /// Columns; 0 when empty.
    int width() const noexcept;
    /// Lines; 0 when empty.
    int height() const noexcept;
    /// First byte (alpha of the top left pixel) of an ARGB picture; null for other layouts and when empty.
    uint8_t* data() const noexcept;
    /// First word (alpha of the top left pixel) of a deep picture; null for other layouts and when empty.
    uint16_t* words() const noexcept;
    /// Bytes from one row to the next: exactly 4 x width for ARGB, 8 x width for deep, 0 for other layouts.
    ptrdiff_t stride() const noexcept;
    /// Line order in time, as the source said.
    FieldOrder fields() const noexcept;
    /// Matrix of a planar picture; for ARGB and deep the matrix of the picture it was made from.
    ColourMatrix matrix() const noexcept;
    /// For this room's own code.
    const std::shared_ptr<Storage>& storage() const noexcept { return storage_; }

  private:
    std::shared_ptr<Storage> storage_;
};

/// A new ARGB picture with its own bytes (alpha 255, that of a deep picture rounded), whatever the layout of
/// `picture`; ARGB is copied as it is. What lies outside black and white is clipped. Each 2 x 2 block shares
/// its chroma (per field in interlaced pictures), so that `fromArgb` gives back the same Y'CbCr to one code
/// value wherever the colour lies inside the RGB cube.
PictureRef toArgb(const PictureRef& picture);

/// The same into the caller's memory: `stride` bytes a row, at least 4 x width.
void toArgb(const PictureRef& picture, uint8_t* argb, ptrdiff_t stride);

/// A yuv420 picture from an ARGB one; alpha is ignored, chroma is the mean of each 2 x 2 block (per field
/// when `fields` is not progressive). Width and height must be even, else MediaError (badRequest). A yuv420
/// picture of the same matrix is returned as it is.
PictureRef fromArgb(const PictureRef& picture, ColourMatrix matrix,
                    FieldOrder fields = FieldOrder::progressive);

/// A new deep picture with its own words (alpha 65535, that of an ARGB picture spread), whatever the layout
/// of `picture`; deep is copied as it is. Nothing is clipped but what 16 bits cannot hold.
PictureRef toDeep(const PictureRef& picture);

/// A yuv420p10 or yuv420 picture (`layout`) from a deep one, as `fromArgb` makes it from ARGB; values are
/// rounded, so that Y'CbCr which became deep comes back with the same codes. Codes outside black and white
/// are kept. Throws MediaError (badRequest) for odd sides, another layout asked, or a picture that is not
/// deep.
PictureRef fromDeep(const PictureRef& picture, PixelLayout layout, ColourMatrix matrix,
                    FieldOrder fields = FieldOrder::progressive);

/// `picture` in `layout`: itself where it is that already, else by the conversions above.
PictureRef inLayout(const PictureRef& picture, PixelLayout layout, ColourMatrix matrix,
                    FieldOrder fields = FieldOrder::progressive);

/// True when a yuv420 picture has an area, a block of 8x8 pixels, whose luma lies more than a code beyond
/// black or white throughout: single pixels are what encoders leave beside edges. False for other layouts and
/// for nothing.
bool reachesBeyondWhite(const PictureRef& picture);

}  // namespace tumblewash::media
