#include "media/detail/PngColour.h"

#include <array>
#include <optional>
#include <string_view>

#include "media/detail/Av.h"
#include "media/detail/PngChunks.h"

namespace tumblewash::media {

namespace {

// In hundred thousandths: 1/2.2, and the white, red, green and blue of sRGB as x and y.
constexpr uint32_t kGamma = 45455;
constexpr std::array<uint32_t, 8> kChromaticities{31270, 32900, 64000, 33000, 30000, 60000, 15000, 6000};
// Programs round, and some write the gamma of 2.2 as 0.45 or 0.4545.
constexpr uint32_t kGammaSlack = 500;
constexpr uint32_t kChromaticitySlack = 200;

bool isNear(uint32_t a, uint32_t b, uint32_t slack) {
    return (a > b ? a - b : b - a) <= slack;
}

/// The chunks in front of the pixels that speak of colour.
struct Chunks {
    std::optional<std::array<uint8_t, 4>> coded;
    std::optional<std::array<uint8_t, 4>> gamma;
    std::optional<std::array<uint8_t, 32>> chromaticities;
    bool srgb = false;
};

template <std::size_t Size>
void take(const InputBytes& file, uint64_t at, uint32_t length,
          std::optional<std::array<uint8_t, Size>>& out) {
    std::array<uint8_t, Size> bytes{};
    if (length == Size && file.read(at, bytes) == Size) out = bytes;
}

Chunks chunksOf(const InputBytes& file) {
    Chunks out;
    eachPngChunk(file, [&](std::string_view type, uint64_t at, uint32_t length) {
        if (type == "cICP") take(file, at, length, out.coded);
        if (type == "gAMA") take(file, at, length, out.gamma);
        if (type == "cHRM") take(file, at, length, out.chromaticities);
        if (type == "sRGB") out.srgb = true;
        return type != "IDAT";
    });
    return out;
}

/// ITU-T H.273 numbers: BT.709 primaries with the transfer of sRGB, or of BT.709 or 601, which is shown
/// alike.
bool isOrdinary(const std::array<uint8_t, 4>& coded) {
    return coded[0] == AVCOL_PRI_BT709 && (coded[1] == AVCOL_TRC_IEC61966_2_1 ||
                                           coded[1] == AVCOL_TRC_BT709 || coded[1] == AVCOL_TRC_SMPTE170M);
}

std::string wordOf(const char* name, uint8_t number) {
    return name != nullptr ? name : std::to_string(number);
}

std::string unused(const std::string& what) {
    return what + " not used: the picture is shown as sRGB; convert it to sRGB first";
}

}  // namespace

std::string pngColourRemark(const InputBytes& file, bool profiled) {
    const Chunks chunks = chunksOf(file);
    if (chunks.coded) {
        if (isOrdinary(*chunks.coded)) return {};
        const auto [primaries, transfer, matrix, range] = *chunks.coded;
        return unused(
            "its cICP colours (" +
            wordOf(av_color_primaries_name(static_cast<AVColorPrimaries>(primaries)), primaries) + ", " +
            wordOf(av_color_transfer_name(static_cast<AVColorTransferCharacteristic>(transfer)), transfer) +
            ") are");
    }
    if (profiled || chunks.srgb) return {};
    if (chunks.gamma && !isNear(pngNumber(chunks.gamma->data()), kGamma, kGammaSlack))
        return unused("its gamma (gAMA) is");
    if (!chunks.chromaticities) return {};
    for (std::size_t i = 0; i < kChromaticities.size(); ++i)
        if (!isNear(pngNumber(chunks.chromaticities->data() + 4 * i), kChromaticities[i], kChromaticitySlack))
            return unused("its primaries (cHRM) are");
    return {};
}

}  // namespace tumblewash::media
