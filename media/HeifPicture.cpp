#include "media/detail/HeifPicture.h"

#include <libheif/heif.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "media/Probe.h"
#include "media/Quoting.h"
#include "media/detail/ExifOrientation.h"
#include "media/detail/HeifItems.h"

namespace tumblewash::media {

namespace {

constexpr int64_t kMaxPixels = 100'000'000;
constexpr size_t kMaxBytes = size_t{256} << 20;
constexpr size_t kMaxExif = size_t{1} << 20;
constexpr size_t kMostWords = 160;
constexpr size_t kMaxProfile = size_t{32} << 20;

template <auto Free>
struct Release {
    template <typename T>
    void operator()(T* object) const noexcept {
        Free(object);
    }
};
using Context = std::unique_ptr<heif_context, Release<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Release<heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Release<heif_image_release>>;
using Options = std::unique_ptr<heif_decoding_options, Release<heif_decoding_options_free>>;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::undecodable, path, why);
}

/// The library's words on one line, without the numbers that it adds in brackets.
std::string wordsOf(const heif_error& error) {
    const std::string_view words = error.message != nullptr ? error.message : "unknown error";
    return printable(words.substr(0, words.find(" (")).substr(0, kMostWords));
}

void check(const heif_error& error, const std::string& path) {
    if (error.code == heif_error_Ok) return;
    if (error.subcode == heif_suberror_Security_limit_exceeded)
        refuse(path, "claims more than this program accepts (" + wordsOf(error) + "); scale it first");
    if (error.code == heif_error_Memory_allocation_error) throw std::bad_alloc();
    if (error.code == heif_error_Unsupported_feature && error.subcode == heif_suberror_Unsupported_codec)
        refuse(path,
               "needs a decoder that libheif has not got; install libheif-plugin-libde265 for HEIC or "
               "libheif-plugin-dav1d for AVIF, or convert the picture to JPEG");
    if (error.code == heif_error_Unsupported_feature || error.code == heif_error_Unsupported_filetype)
        refuse(path, "is of a kind that cannot be read (" + wordsOf(error) + "); convert it to JPEG first");
    refuse(path, "is damaged or cut off (" + wordsOf(error) + "); get a complete copy");
}

std::vector<uint8_t> profileBytes(const heif_image_handle* handle, const std::string& path) {
    const heif_color_profile_type type = heif_image_handle_get_color_profile_type(handle);
    if (type != heif_color_profile_type_rICC && type != heif_color_profile_type_prof) return {};
    const size_t size = heif_image_handle_get_raw_color_profile_size(handle);
    // What is too long to be a profile is judged as one that is damaged.
    if (size == 0 || size > kMaxProfile) return {0};
    std::vector<uint8_t> out(size);
    check(heif_image_handle_get_raw_color_profile(handle, out.data()), path);
    return out;
}

/// The turn in the picture's EXIF block, 1 when it has none.
int exifTurn(const heif_image_handle* handle) {
    std::array<heif_item_id, 16> ids{};
    const int count = heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", ids.data(),
                                                                       static_cast<int>(ids.size()));
    for (int i = 0; i < count; ++i) {
        const heif_item_id id = ids[static_cast<size_t>(i)];
        const size_t size = heif_image_handle_get_metadata_size(handle, id);
        if (size <= 4 || size > kMaxExif) continue;
        std::vector<uint8_t> block(size);
        if (heif_image_handle_get_metadata(handle, id, block.data()).code != heif_error_Ok) continue;
        // The block begins with the number of bytes between that number and the header of the EXIF data.
        const size_t skip =
            size_t{block[0]} << 24 | size_t{block[1]} << 16 | size_t{block[2]} << 8 | block[3];
        if (skip > size - 4) continue;
        if (const int turn = exifOrientation(std::span(block).subspan(4 + skip)); turn != 0) return turn;
    }
    return 1;
}

bool hasGainMap(const heif_image_handle* handle) {
    constexpr int filter = LIBHEIF_AUX_IMAGE_FILTER_OMIT_ALPHA | LIBHEIF_AUX_IMAGE_FILTER_OMIT_DEPTH;
    std::array<heif_item_id, 16> ids{};
    const int count = heif_image_handle_get_list_of_auxiliary_image_IDs(handle, filter, ids.data(),
                                                                        static_cast<int>(ids.size()));
    for (int i = 0; i < count; ++i) {
        heif_image_handle* raw = nullptr;
        const heif_item_id id = ids[static_cast<size_t>(i)];
        if (heif_image_handle_get_auxiliary_image_handle(handle, id, &raw).code != heif_error_Ok) continue;
        const Handle part(raw);
        const char* type = nullptr;
        if (heif_image_handle_get_auxiliary_type(part.get(), &type).code != heif_error_Ok || type == nullptr)
            continue;
        const bool gain = std::string_view(type).find("hdrgainmap") != std::string_view::npos;
        heif_image_handle_free_auxiliary_types(part.get(), &type);
        if (gain) return true;
    }
    return false;
}

/// The matrices between R'G'B' and Y'CbCr that the room's own conversion knows.
bool isOwnMatrix(int matrix) {
    return matrix == AVCOL_SPC_BT709 || matrix == AVCOL_SPC_UNSPECIFIED || matrix == AVCOL_SPC_FCC ||
           matrix == AVCOL_SPC_BT470BG || matrix == AVCOL_SPC_SMPTE170M || matrix == AVCOL_SPC_SMPTE240M ||
           matrix == AVCOL_SPC_BT2020_NCL;
}

/// Tags for the library's copy of the file. It makes R'G'B' of every picture, cut off at black and white,
/// whatever is asked for.
using Tags = std::array<uint8_t, 7>;
/// R'G'B' by the matrix that leaves all as it is (ITU-T H.273, identity): Y' comes back as green, Cb as blue,
/// Cr as red, each code as it was coded and chroma repeated to every pixel.
constexpr Tags kIdentity{0, 1, 0, 13, 0, 0, 0x80};
/// What the library takes where nothing is said: sRGB by BT.601, full range. For pictures made from others,
/// whose parts may have no tags to change.
constexpr Tags kUsual{0, 1, 0, 13, 0, 6, 0x80};

void retag(std::vector<uint8_t>& file, const std::vector<size_t>& places, const Tags& tags) {
    for (const size_t place : places)
        std::copy(tags.begin(), tags.end(), file.begin() + static_cast<ptrdiff_t>(place));
}

/// How an image is laid out, in this room's terms.
struct Layout {
    std::array<heif_channel, 4> planes{};  // in the order of the frame's planes
    size_t colours = 0;
    bool alpha = false;
    int depth = 8;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int formatDepth = 8;
    bool repeated = false;  // chroma of the image is repeated to every pixel, the frame's is not
};

/// The chroma of a picture that came through the identity. One with coarse columns alone may be turned: it
/// keeps all that is repeated.
std::string chromaFamily(HeifChroma coded, bool turned) {
    if (coded == HeifChroma::yuv420) return "420";
    return coded == HeifChroma::yuv422 && !turned ? "422" : "444";
}

std::string formatName(const std::string& family, bool alpha, int depth) {
    const std::string name =
        family == "gbr" ? (alpha ? "gbrap" : "gbrp") : (alpha ? "yuva" : "yuv") + family + "p";
    return depth == 8 ? name : name + std::to_string(depth) + (AV_HAVE_BIGENDIAN != 0 ? "be" : "le");
}

/// `identity`: the chroma to give planes that came through the identity; empty for all others.
Layout layoutOf(const heif_image* image, const std::string& identity, const std::string& path) {
    Layout out;
    std::string family;
    out.alpha = heif_image_has_channel(image, heif_channel_Alpha) != 0;
    const heif_colorspace space = heif_image_get_colorspace(image);
    const heif_chroma chroma = heif_image_get_chroma_format(image);
    if (space == heif_colorspace_RGB && chroma == heif_chroma_444) {
        family = identity.empty() ? "gbr" : identity;
        out.repeated = !identity.empty();
        out.planes = {heif_channel_G, heif_channel_B, heif_channel_R};
        out.colours = 3;
    } else if (space == heif_colorspace_YCbCr && chroma >= heif_chroma_420 && chroma <= heif_chroma_444) {
        family = chroma == heif_chroma_420 ? "420" : chroma == heif_chroma_422 ? "422" : "444";
        out.planes = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
        out.colours = 3;
    } else if (space == heif_colorspace_monochrome) {
        // Grey with alpha gets chroma of its own, which says nothing.
        family = "420";
        out.planes = {heif_channel_Y};
        out.colours = 1;
    } else {
        refuse(path, "has pixels of a kind that cannot be read; convert it to JPEG first");
    }
    out.depth = heif_image_get_bits_per_pixel_range(image, out.planes[0]);
    if (out.depth < 8 || out.depth > 16)
        refuse(path, "has pixels of an unknown depth; convert it to JPEG first");
    out.formatDepth = out.depth;
    out.format = av_get_pix_fmt(formatName(family, out.alpha, out.depth).c_str());
    if (out.format == AV_PIX_FMT_NONE) {
        out.formatDepth = 16;
        out.format = av_get_pix_fmt(formatName(family, out.alpha, 16).c_str());
    }
    if (out.format == AV_PIX_FMT_NONE) throw std::bad_alloc();
    return out;
}

/// Copies one plane, codes brought from `depth` to the frame's.
void copyPlane(const heif_image* image, heif_channel channel, const Layout& layout, AVFrame& frame, int plane,
               bool stretch, const std::string& path) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(layout.format);
    const bool chroma = (plane == 1 || plane == 2) && (format.flags & AV_PIX_FMT_FLAG_RGB) == 0;
    const int width = chroma ? AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w) : frame.width;
    const int height = chroma ? AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h) : frame.height;
    const int depth = heif_image_get_bits_per_pixel_range(image, channel);
    const bool wide = heif_image_get_bits_per_pixel(image, channel) > 8;
    const bool repeated = chroma && layout.repeated;
    const int columns = repeated ? 1 << format.log2_chroma_w : 1,
              rows = repeated ? 1 << format.log2_chroma_h : 1;
    const int fromWidth = repeated ? frame.width : width, fromHeight = repeated ? frame.height : height;
    int stride = 0;
    const uint8_t* from = heif_image_get_plane_readonly(image, channel, &stride);
    if (from == nullptr || depth < 1 || depth > 16 || heif_image_get_width(image, channel) < fromWidth ||
        heif_image_get_height(image, channel) < fromHeight || stride < fromWidth * (wide ? 2 : 1))
        refuse(path, "is damaged: its planes do not go together; get a good copy");
    const uint32_t top = (1U << depth) - 1, newTop = (1U << layout.formatDepth) - 1;
    const auto coded = [&](uint32_t code) {
        if (depth == layout.formatDepth) return code;
        if (stretch) return (std::min(code, top) * newTop + top / 2) / top;
        return depth < layout.formatDepth ? code << (layout.formatDepth - depth)
                                          : code >> (depth - layout.formatDepth);
    };
    for (int y = 0; y < height; ++y, from += ptrdiff_t{stride} * rows) {
        uint8_t* to = frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane];
        for (int x = 0; x < width; ++x) {
            const ptrdiff_t at = ptrdiff_t{x} * columns;
            uint16_t code = 0;
            if (wide)
                std::memcpy(&code, from + 2 * at, sizeof code);
            else
                code = from[at];
            const uint32_t value = coded(code);
            if (layout.formatDepth == 8)
                to[x] = static_cast<uint8_t>(value);
            else
                reinterpret_cast<uint16_t*>(to)[x] = static_cast<uint16_t>(value);
        }
    }
}

void fillPlane(AVFrame& frame, int plane, const Layout& layout) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(layout.format);
    const int height = AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h);
    const int width = AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w);
    const auto middle = static_cast<uint16_t>(1U << (layout.formatDepth - 1));
    for (int y = 0; y < height; ++y) {
        uint8_t* to = frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane];
        if (layout.formatDepth == 8)
            std::fill_n(to, width, static_cast<uint8_t>(middle));
        else
            std::fill_n(reinterpret_cast<uint16_t*>(to), width, middle);
    }
}

FramePtr frameOf(const heif_image* image, const std::string& identity, const std::string& path) {
    const Layout layout = layoutOf(image, identity, path);
    FramePtr frame = newFrame();
    frame->width = heif_image_get_width(image, layout.planes[0]);
    frame->height = heif_image_get_height(image, layout.planes[0]);
    frame->format = layout.format;
    if (frame->width < 1 || frame->height < 1 || frame->width > kMaxPictureSide ||
        frame->height > kMaxPictureSide || int64_t{frame->width} * frame->height > kMaxPixels)
        refuse(path, "claims pictures of " + std::to_string(frame->width) + "x" +
                         std::to_string(frame->height) + ", more than this program accepts; scale it first");
    if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::bad_alloc();
    for (size_t plane = 0; plane < layout.colours; ++plane)
        copyPlane(image, layout.planes[plane], layout, *frame, static_cast<int>(plane), false, path);
    for (int plane = static_cast<int>(layout.colours); plane < 3; ++plane) fillPlane(*frame, plane, layout);
    if (layout.alpha) copyPlane(image, heif_channel_Alpha, layout, *frame, 3, true, path);
    return frame;
}

/// `tags` null: the picture came by the library's conversion, or has none, and is BT.601 in full range.
void setTags(AVFrame& frame, const HeifTags* tags) {
    const bool rgb =
        (av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    frame.colorspace = rgb ? AVCOL_SPC_RGB : AVCOL_SPC_SMPTE170M;
    frame.color_range = AVCOL_RANGE_JPEG;
    frame.sample_aspect_ratio = {1, 1};
    if (tags == nullptr || rgb) return;
    if (tags->matrix != AVCOL_SPC_UNSPECIFIED) frame.colorspace = static_cast<AVColorSpace>(tags->matrix);
    frame.color_range = tags->fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
}

void setLight(AVFrame& frame, const HeifTags& tags) {
    const auto named = [](int value, int names, int none) {
        return value > 0 && value < names ? value : none;
    };
    frame.color_primaries =
        static_cast<AVColorPrimaries>(named(tags.primaries, AVCOL_PRI_NB, AVCOL_PRI_UNSPECIFIED));
    frame.color_trc =
        static_cast<AVColorTransferCharacteristic>(named(tags.transfer, AVCOL_TRC_NB, AVCOL_TRC_UNSPECIFIED));
}

/// The decoder of AV1 that keeps to itself: the other one writes to standard error about damage.
const char* quietDecoder() {
    constexpr const char* quiet = "aom";
    std::array<const heif_decoder_descriptor*, 8> found{};
    const int count =
        heif_get_decoder_descriptors(heif_compression_AV1, found.data(), static_cast<int>(found.size()));
    for (int i = 0; i < count; ++i)
        if (std::strcmp(heif_decoder_descriptor_get_id_name(found[static_cast<size_t>(i)]), quiet) == 0)
            return quiet;
    return nullptr;
}

Image decode(const heif_image_handle* handle, bool av1, heif_colorspace space, heif_chroma chroma,
             const std::string& path) {
    const Options options(orBadAlloc(heif_decoding_options_alloc()));
    if (av1 && options->version >= 4) options->decoder_id = quietDecoder();
    heif_image* raw = nullptr;
    check(heif_decode_image(handle, &raw, space, chroma, options.get()), path);
    return Image(orBadAlloc(raw));
}

/// In the chroma of the file; the library's own way is R'G'B'.
Image decodeAsStored(const heif_image_handle* handle, bool av1, HeifChroma chroma, const std::string& path) {
    switch (chroma) {
        case HeifChroma::yuv420:
            return decode(handle, av1, heif_colorspace_YCbCr, heif_chroma_420, path);
        case HeifChroma::yuv422:
            return decode(handle, av1, heif_colorspace_YCbCr, heif_chroma_422, path);
        case HeifChroma::yuv444:
            return decode(handle, av1, heif_colorspace_YCbCr, heif_chroma_444, path);
        default:
            return decode(handle, av1, heif_colorspace_undefined, heif_chroma_undefined, path);
    }
}

void checkSize(const heif_image_handle* handle, const std::string& path) {
    const int width = heif_image_handle_get_width(handle), height = heif_image_handle_get_height(handle);
    if (width < 1 || height < 1 || width > kMaxPictureSide || height > kMaxPictureSide ||
        int64_t{width} * height > kMaxPixels)
        refuse(path, "claims pictures of " + std::to_string(width) + "x" + std::to_string(height) +
                         ", more than this program accepts; scale it first");
}

}  // namespace

StillPicture decodeHeif(const InputBytes& input, CancelFlag cancel) {
    const std::string& path = input.path();
    throwIfRaised(cancel, path);
    std::vector<uint8_t> file = input.whole(kMaxBytes);
    const HeifItems items = readHeifItems(file, path);
    const bool asCoded = items.tags && isOwnMatrix(items.tags->matrix) && items.chroma != HeifChroma::unknown;
    const bool exact = asCoded && items.ownTags && items.chroma != HeifChroma::grey;
    if (asCoded) retag(file, items.tagPlaces, exact ? kIdentity : kUsual);
    const Context context(orBadAlloc(heif_context_alloc()));
    heif_context_set_maximum_image_size_limit(context.get(), kMaxPictureSide);
    check(heif_context_read_from_memory_without_copy(context.get(), file.data(), items.end, nullptr), path);
    heif_image_handle* raw = nullptr;
    check(heif_context_get_primary_image_handle(context.get(), &raw), path);
    const Handle handle(orBadAlloc(raw));
    checkSize(handle.get(), path);
    throwIfRaised(cancel, path);

    const bool rgb = exact || (items.tags && !isOwnMatrix(items.tags->matrix));
    const bool av1 = items.codec == "av1";
    const Image image = rgb ? decode(handle.get(), av1, heif_colorspace_RGB, heif_chroma_444, path)
                            : decodeAsStored(handle.get(), av1, items.chroma, path);
    throwIfRaised(cancel, path);

    StillPicture out;
    out.frame = frameOf(image.get(), exact ? chromaFamily(items.chroma, items.turned) : std::string(), path);
    setTags(*out.frame, asCoded ? &*items.tags : nullptr);
    if (items.tags) setLight(*out.frame, *items.tags);
    out.codec = items.codec;
    out.premultiplied = heif_image_handle_is_premultiplied_alpha(handle.get()) != 0;
    out.orientation = items.turned ? 1 : exifTurn(handle.get());
    if (heif_image_get_decoding_warnings(image.get(), 0, nullptr, 0) > 0)
        out.damage = "the picture is damaged; what is missing of it is made up";
    setProfile(out, profileBytes(handle.get(), path));
    if (items.gainMap || hasGainMap(handle.get()))
        out.remarks.push_back("its HDR gain map is left out; the ordinary picture is used");
    return out;
}

}  // namespace tumblewash::media
