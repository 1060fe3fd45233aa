#include "media/detail/ReadColour.h"

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

extern "C" {
#include <libavutil/dovi_meta.h>
#include <libavutil/mastering_display_metadata.h>
}

namespace tumblewash::media {

namespace {

// Brighter than any signal can be.
constexpr double kMostNits = 10000;

template <typename Tag>
Tag said(Tag frame, Tag stream, Tag nothing) {
    return frame != nothing ? frame : stream;
}

std::string nameOf(const char* name) {
    return name != nullptr ? name : "unknown";
}

Transfer transferOf(AVColorTransferCharacteristic tag) {
    if (tag == AVCOL_TRC_ARIB_STD_B67) return Transfer::hlg;
    return tag == AVCOL_TRC_SMPTE2084 ? Transfer::pq : Transfer::sdr;
}

bool isUnknown(AVColorTransferCharacteristic tag) {
    return tag == AVCOL_TRC_LINEAR || tag == AVCOL_TRC_LOG || tag == AVCOL_TRC_LOG_SQRT ||
           tag == AVCOL_TRC_SMPTE428;
}

/// HDR without a word about primaries is BT.2020: no other is in use with it.
Primaries primariesOf(AVColorPrimaries tag, Transfer transfer) {
    switch (tag) {
        case AVCOL_PRI_BT2020:
            return Primaries::bt2020;
        case AVCOL_PRI_SMPTE432:
            return Primaries::displayP3;
        case AVCOL_PRI_SMPTE431:
            return Primaries::dciP3;
        case AVCOL_PRI_UNSPECIFIED:
            return transfer == Transfer::sdr ? Primaries::bt709 : Primaries::bt2020;
        default:
            return Primaries::bt709;
    }
}

std::string chromaOf(const AVPixFmtDescriptor& d) {
    if ((d.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) return "RGB";
    if (d.nb_components <= 2) return "grey";
    struct Row {
        int width, height;
        const char* name;
    };
    constexpr std::array rows{Row{0, 0, "4:4:4"}, Row{1, 0, "4:2:2"}, Row{1, 1, "4:2:0"},
                              Row{2, 0, "4:1:1"}, Row{0, 1, "4:4:0"}, Row{2, 2, "4:1:0"}};
    for (const Row& row : rows)
        if (row.width == d.log2_chroma_w && row.height == d.log2_chroma_h) return row.name;
    return "other";
}

/// Whether a stored alpha, an integer or a floating-point number of `depth` bits, is fully opaque.
bool isOpaque(uint32_t alpha, int depth, bool floating) {
    if (!floating) return alpha >= (uint64_t{1} << depth) - 1;
    const uint32_t one = depth == 16 ? 0x3C00 : 0x3F800000, sign = uint32_t{1} << (depth - 1);
    // Positive floating-point numbers are ordered as their bits are.
    return (alpha & sign) == 0 && alpha >= one;
}

bool hasTransparentPixel(const AVFrame& frame, const AVPixFmtDescriptor& d) {
    const bool palette = (d.flags & AV_PIX_FMT_FLAG_PAL) != 0;
    const bool floating = (d.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
    const int component = palette ? 3 : d.nb_components - 1;
    const int depth = palette ? 8 : d.comp[component].depth;
    std::vector<uint32_t> line(static_cast<size_t>(frame.width));
    for (int y = 0; y < frame.height; ++y) {
        av_read_image_line2(line.data(), const_cast<const uint8_t**>(frame.data), frame.linesize, &d, 0, y,
                            component, frame.width, palette ? 1 : 0, sizeof line[0]);
        for (const uint32_t alpha : line)
            if (!isOpaque(alpha, depth, floating)) return true;
    }
    return false;
}

double number(AVRational value) {
    return value.den == 0 ? -1 : av_q2d(value);
}

/// Side data of the picture, else of the stream; null where neither has it.
template <typename Record>
const Record* record(const AVStream& stream, const AVFrame& frame, AVFrameSideDataType inFrame,
                     AVPacketSideDataType inStream) {
    const AVFrameSideData* side = av_frame_get_side_data(&frame, inFrame);
    if (side != nullptr && side->size >= sizeof(Record)) return reinterpret_cast<const Record*>(side->data);
    size_t size = 0;
    const uint8_t* data = av_stream_get_side_data(&stream, inStream, &size);
    return data != nullptr && size >= sizeof(Record) ? reinterpret_cast<const Record*>(data) : nullptr;
}

void readMastering(const AVMasteringDisplayMetadata& from, ClipColour& out) {
    MasteringDisplay display;
    bool sound = true;
    if (from.has_luminance != 0) {
        display.maxNits = number(from.max_luminance);
        display.minNits = number(from.min_luminance);
        sound = display.maxNits > 0 && display.maxNits <= kMostNits && display.minNits >= 0 &&
                display.minNits < display.maxNits;
    }
    if (from.has_primaries != 0) {
        display.hasChromaticity = true;
        for (size_t i = 0; i < 4; ++i) {
            const AVRational* at = i < 3 ? from.display_primaries[i] : from.white_point;
            for (size_t k = 0; k < 2; ++k) display.chromaticity[i][k] = number(at[k]);
            const auto [x, y] = display.chromaticity[i];
            sound = sound && x >= 0 && y > 0 && x + y <= 1.0001;
        }
        // Three colours on one line span no gamut.
        const auto& c = display.chromaticity;
        const double area =
            (c[1][0] - c[0][0]) * (c[2][1] - c[0][1]) - (c[2][0] - c[0][0]) * (c[1][1] - c[0][1]);
        sound = sound && std::abs(area) > 0.001;
    }
    if (sound && (from.has_luminance != 0 || from.has_primaries != 0))
        out.mastering = display;
    else if (!sound)
        out.brokenLight = true;
}

void readLight(const AVStream& stream, const AVFrame& frame, ClipColour& out) {
    if (const auto* display = record<AVMasteringDisplayMetadata>(
            stream, frame, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA, AV_PKT_DATA_MASTERING_DISPLAY_METADATA))
        readMastering(*display, out);
    const auto* light = record<AVContentLightMetadata>(stream, frame, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL,
                                                       AV_PKT_DATA_CONTENT_LIGHT_LEVEL);
    if (light == nullptr || (light->MaxCLL == 0 && light->MaxFALL == 0)) return;
    if (light->MaxCLL > kMostNits || light->MaxFALL > kMostNits)
        out.brokenLight = true;
    else
        out.light = LightLevel{static_cast<int>(light->MaxCLL), static_cast<int>(light->MaxFALL)};
}

void readDolbyVision(const std::string& path, const AVStream& stream, const AVFrame& frame, ClipColour& out) {
    size_t size = 0;
    const uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DOVI_CONF, &size);
    if (data != nullptr && size >= sizeof(AVDOVIDecoderConfigurationRecord)) {
        AVDOVIDecoderConfigurationRecord dovi;
        std::memcpy(&dovi, data, sizeof dovi);
        out.dolbyVision = dovi.dv_profile;
        out.dolbyCompatibility = dovi.dv_bl_signal_compatibility_id;
        if (dovi.dv_profile == 5)
            throw MediaError(MediaErrorCode::undecodable, path,
                             "is Dolby Vision profile 5, whose picture only Dolby's own decoders show in its "
                             "colours; export it as HDR10, HLG or SDR first");
    } else if (av_frame_get_side_data(&frame, AV_FRAME_DATA_DOVI_METADATA) != nullptr ||
               av_frame_get_side_data(&frame, AV_FRAME_DATA_DOVI_RPU_BUFFER) != nullptr) {
        out.dolbyVision = 0;  // its data are there, the file does not say which profile
    }
}

void refuseMatrix(const std::string& path, AVColorSpace space) {
    switch (space) {
        case AVCOL_SPC_YCGCO:
        case AVCOL_SPC_BT2020_CL:
        case AVCOL_SPC_SMPTE2085:
        case AVCOL_SPC_CHROMA_DERIVED_NCL:
        case AVCOL_SPC_CHROMA_DERIVED_CL:
        case AVCOL_SPC_ICTCP:
            throw MediaError(MediaErrorCode::undecodable, path,
                             std::string("its colours are coded with the matrix ") +
                                 nameOf(av_color_space_name(space)) +
                                 ", which this program cannot convert; convert the clip to BT.709 first");
        default:
            return;
    }
}

/// The tags that a picture has, or those of the stream it comes from.
struct Tags {
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorSpace space = AVCOL_SPC_UNSPECIFIED;
    AVChromaLocation location = AVCHROMA_LOC_UNSPECIFIED;
};

ClipColour colourOf(const std::string& path, const AVFrame& frame, const Tags& stream, bool still) {
    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    ClipColour out;
    const auto transfer = said(frame.color_trc, stream.transfer, AVCOL_TRC_UNSPECIFIED);
    const auto primaries = said(frame.color_primaries, stream.primaries, AVCOL_PRI_UNSPECIFIED);
    const auto space = said(frame.colorspace, stream.space, AVCOL_SPC_UNSPECIFIED);
    out.transferName = nameOf(av_color_transfer_name(transfer));
    out.primariesName = nameOf(av_color_primaries_name(primaries));
    out.matrixName = nameOf(av_color_space_name(space));
    out.transfer = transferOf(transfer);
    out.unknownTransfer = isUnknown(transfer);
    out.primaries = primariesOf(primaries, out.transfer);
    out.chromaTopLeft =
        said(frame.chroma_location, stream.location, AVCHROMA_LOC_UNSPECIFIED) == AVCHROMA_LOC_TOPLEFT;
    const bool rgb = d != nullptr && (d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
    if (!rgb) refuseMatrix(path, space);
    describeFormat(frame, still, out);
    return out;
}

}  // namespace

void describeFormat(const AVFrame& frame, bool still, ClipColour& out) {
    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (d == nullptr) return;
    out.depth = (d->flags & AV_PIX_FMT_FLAG_PAL) != 0 ? 8 : d->comp[0].depth;
    out.chroma = chromaOf(*d);
    const bool channel = (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    out.alpha = channel && (!still || hasTransparentPixel(frame, *d));
}

ClipColour readPhotoColour(const std::string& path, const AVFrame& frame) {
    return colourOf(path, frame, {}, true);
}

ClipColour readColour(const std::string& path, const AVStream& stream, const AVFrame& frame, bool still) {
    const AVCodecParameters& p = *stream.codecpar;
    ClipColour out =
        colourOf(path, frame, {p.color_trc, p.color_primaries, p.color_space, p.chroma_location}, still);
    if (const AVFrameSideData* icc = av_frame_get_side_data(&frame, AV_FRAME_DATA_ICC_PROFILE))
        out.hasProfile = icc->size > 0;
    // The library hands a PNG's primaries out as a mastering display, which no photo has.
    if (!still) readLight(stream, frame, out);
    out.hdr10Plus = av_frame_get_side_data(&frame, AV_FRAME_DATA_DYNAMIC_HDR_PLUS) != nullptr;
    readDolbyVision(path, stream, frame, out);
    return out;
}

}  // namespace tumblewash::media
