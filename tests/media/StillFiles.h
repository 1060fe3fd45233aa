// Photos made byte by byte for tests: PNG and TIFF of any depth, JPEG and WebP with the blocks that cameras
// put in, and colour profiles. Nothing here is read back by the code under test's own writers.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "media/Picture.h"

namespace tumblewash::test {

/// Codes of a picture, `channels` numbers a pixel, row by row.
struct Codes {
    int width = 0, height = 0;
    int channels = 3;  // grey, grey and alpha, RGB, RGB and alpha
    int depth = 8;     // 8 or 16
    std::vector<uint16_t> values;
    uint16_t& at(int x, int y, int c) { return values[index(x, y, c)]; }
    uint16_t at(int x, int y, int c) const { return values[index(x, y, c)]; }

  private:
    size_t index(int x, int y, int c) const {
        return (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) *
                   static_cast<size_t>(channels) +
               static_cast<size_t>(c);
    }
};

/// A picture of the given shape, filled by `code(x, y, channel)`.
Codes codes(int width, int height, int channels, int depth, const std::function<int(int, int, int)>& code);

/// Blocks that go into a file beside its pixels; empty ones are left out.
struct Blocks {
    std::string profile;  // ICC
    std::string exif;     // from "II" or "MM" on
    std::vector<std::pair<std::string, std::string>> chunks =
        {};  // of a PNG: type and content, before the pixels
};

std::string pngFile(const Codes& picture, const Blocks& blocks = {});
/// An uncompressed TIFF with the orientation's tag, and one that no decoder knows.
std::string tiffFile(const Codes& picture, int orientation = 0, const std::string& profile = {},
                     bool bigEndian = false);
/// An uncompressed OpenEXR picture of 32-bit floating-point numbers, grey 0.5 under an alpha of its own for
/// each pixel.
std::string exrFile(int width, int height, const std::function<float(int, int)>& alpha);
/// A grey JPEG of 16 x 16 pixels in four inks.
std::string inkJpeg();
/// `jpeg` with blocks behind its first marker.
std::string withBlocksJpeg(const std::string& jpeg, const Blocks& blocks);
/// A plain WebP file as an extended one with blocks.
std::string withBlocksWebp(const std::string& webp, int width, int height, const Blocks& blocks);

/// An EXIF block that says nothing but the orientation.
std::string exifBlock(int orientation, bool bigEndian = false);

/// x and y of red, green, blue and white, CIE 1931.
using Primaries = std::array<double, 8>;
constexpr Primaries kDisplayP3{0.680, 0.320, 0.265, 0.690, 0.150, 0.060, 0.3127, 0.3290};
constexpr Primaries kAdobeRgb{0.640, 0.330, 0.210, 0.710, 0.150, 0.060, 0.3127, 0.3290};
constexpr Primaries kProPhoto{0.7347, 0.2653, 0.1596, 0.8404, 0.0366, 0.0001, 0.3457, 0.3585};
constexpr Primaries kSrgb{0.640, 0.330, 0.300, 0.600, 0.150, 0.060, 0.3127, 0.3290};

/// A profile of three curves and a matrix. `gamma` 0: the curve of sRGB.
std::string rgbProfile(const Primaries& primaries, double gamma, const std::string& name);
std::string greyProfile(double gamma, const std::string& name);
/// A profile of one table, for RGB: sRGB with red and blue exchanged.
std::string swappedTableProfile();
/// One that links two devices, and one for ink.
std::string linkProfile();
std::string inkProfile();

/// What a colour of 0..1 in the given space is in sRGB, by the definition in double precision, clipped.
std::array<double, 3> inSrgb(const Primaries& primaries, double gamma, const std::array<double, 3>& colour);

}  // namespace tumblewash::test
