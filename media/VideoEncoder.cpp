#include "media/detail/VideoEncoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>

extern "C" {
#include <libavutil/cpu.h>
#include <libavutil/mastering_display_metadata.h>
}

#include "media/detail/AlphaPictures.h"
#include "media/detail/FrameRows.h"

namespace tumblewash::media {

namespace {

/// The presets from fast to thorough, and what VP9 and AV1 call them.
struct Preset {
    const char* name;
    int vp9;
    int av1;
};
constexpr std::array kPresets{
    Preset{"ultrafast", 8, 12}, Preset{"superfast", 7, 11}, Preset{"veryfast", 6, 10},
    Preset{"faster", 5, 9},     Preset{"fast", 4, 8},       Preset{"medium", 3, 7},
    Preset{"slow", 2, 6},       Preset{"slower", 1, 5},     Preset{"veryslow", 0, 4}};

// More encoder threads cost memory and gain little beside the decoding and rendering threads.
constexpr int kMaxEncoderThreads = 8;

// Every large picture an H.264 encoder holds back costs seven megabytes, one that others are made from
// twelve, of 10 bits in HEVC 36 in all: there it keeps fewer. Memory counts for more here than the last
// percents of file size. Its threads share one picture; those that work on pictures of their own hold some
// each.
constexpr const char* kLargeParameters = "sync-lookahead=0:rc-lookahead=3:b-pyramid=none:sliced-threads=1";
constexpr const char* kLargeHevcParameters =
    ":rc-lookahead=2:bframes=1:b-pyramid=0:ref=1:weightp=0:lookahead-slices=0:ctu=32";
constexpr const char* kUsualParameters = "sync-lookahead=0";
constexpr int kUsualLookahead = 20;
constexpr int kUsualLag = 12;
constexpr int kLargeLag = 4;

const Preset& presetOf(const std::string& output, const std::string& name) {
    const std::string_view wanted = name.empty() ? "veryfast" : std::string_view(name);
    for (const Preset& preset : kPresets)
        if (wanted == preset.name) return preset;
    std::string all;
    for (const Preset& preset : kPresets) all.append(all.empty() ? "" : ", ").append(preset.name);
    throw MediaError(MediaErrorCode::badRequest, output, "unknown preset " + name + "; choose one of " + all);
}

AVPixelFormat formatOf(const MovieColour& colour) {
    if (colour.codec == Codec::prores) return AV_PIX_FMT_YUV422P10;
    if (colour.codec == Codec::mjpeg) return AV_PIX_FMT_YUVJ420P;
    if (colour.codec == Codec::dnxhr) return colour.depth > 8 ? AV_PIX_FMT_YUV422P10 : AV_PIX_FMT_YUV422P;
    return colour.depth > 8 ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P;
}

void tagColours(const WriterSettings& settings, const MovieColour& colour, AVCodecContext& codec) {
    if (colour.codec == Codec::mjpeg) {
        // JFIF's colours. BT.709's primaries are those of sRGB, and its curve is BT.601's.
        codec.color_range = AVCOL_RANGE_JPEG;
        codec.chroma_sample_location = AVCHROMA_LOC_CENTER;
        codec.colorspace = AVCOL_SPC_BT470BG;
        codec.color_primaries = AVCOL_PRI_BT709;
        codec.color_trc = AVCOL_TRC_BT709;
        return;
    }
    codec.color_range = AVCOL_RANGE_MPEG;
    codec.chroma_sample_location = colour.chromaTopLeft ? AVCHROMA_LOC_TOPLEFT : AVCHROMA_LOC_LEFT;
    if (colour.transfer != Transfer::sdr) {
        codec.colorspace = AVCOL_SPC_BT2020_NCL;
        codec.color_primaries = AVCOL_PRI_BT2020;
        codec.color_trc = colour.transfer == Transfer::hlg ? AVCOL_TRC_ARIB_STD_B67 : AVCOL_TRC_SMPTE2084;
        return;
    }
    if (colour.matrix == ColourMatrix::bt709) {
        codec.colorspace = AVCOL_SPC_BT709;
        codec.color_primaries = AVCOL_PRI_BT709;
        codec.color_trc = AVCOL_TRC_BT709;
        return;
    }
    codec.colorspace = AVCOL_SPC_SMPTE170M;
    codec.color_primaries = settings.height == 576 ? AVCOL_PRI_BT470BG : AVCOL_PRI_SMPTE170M;
    codec.color_trc = AVCOL_TRC_SMPTE170M;
}

std::string formatted(const char* pattern, double a, double b) {
    char out[64];
    std::snprintf(out, sizeof out, pattern, a, b);
    return out;
}

/// Mastering display in an encoder's notation: `pair` prints two numbers, which are multiplied first.
std::string displayWords(const MasteringDisplay& display, const char* pair, double chroma, double luminance) {
    const auto& c = display.chromaticity;
    const auto point = [&](size_t i) { return formatted(pair, chroma * c[i][0], chroma * c[i][1]); };
    std::string out = "G";
    out += point(1) + "B";
    out += point(2) + "R";
    out += point(0) + "WP";
    out += point(3) + "L";
    return out + formatted(pair, luminance * display.maxNits, luminance * display.minNits);
}

bool isWhole(const MovieColour& colour) {
    return colour.mastering && colour.mastering->hasChromaticity && colour.mastering->maxNits > 0;
}

std::string lightWords(const LightLevel& light) {
    return std::to_string(light.maxContent) + "," + std::to_string(light.maxAverage);
}

void setH264(const WriterSettings& settings, const Preset& preset, AVCodecContext& codec) {
    const bool large = isLarge(settings.width, settings.height);
    throwIfNoRoom(av_opt_set(codec.priv_data, "preset", preset.name, 0));
    if (!large && preset.vp9 < 6)
        throwIfNoRoom(av_opt_set_int(codec.priv_data, "rc-lookahead", kUsualLookahead, 0));
    std::string parameters = large ? kLargeParameters : kUsualParameters;
    if (settings.fields != FieldOrder::progressive) {
        const bool top = settings.fields == FieldOrder::topFirst;
        codec.flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
        codec.field_order = top ? AV_FIELD_TT : AV_FIELD_BB;
        // The encoder settles the fields' times before the first picture tells it their order.
        parameters += top ? ":tff=1" : ":bff=1";
    }
    throwIfNoRoom(av_opt_set(codec.priv_data, "x264-params", parameters.c_str(), 0));
}

void setHevc(const WriterSettings& settings, const Preset& preset, const MovieColour& colour,
             AVCodecContext& codec) {
    throwIfNoRoom(av_opt_set(codec.priv_data, "preset", preset.name, 0));
    // No words of its own on standard error, and one picture at a time: the machine's other cores render.
    std::string parameters =
        "log-level=error:info=0:frame-threads=1:pools=" + std::to_string(codec.thread_count);
    if (isLarge(settings.width, settings.height)) parameters += kLargeHevcParameters;
    if (colour.transfer == Transfer::pq) parameters += ":hdr10=1:repeat-headers=1";
    if (isWhole(colour))
        parameters += ":master-display=" + displayWords(*colour.mastering, "(%.0f,%.0f)", 50000, 10000);
    if (colour.light) parameters += ":max-cll=" + lightWords(*colour.light);
    throwIfNoRoom(av_opt_set(codec.priv_data, "x265-params", parameters.c_str(), 0));
}

void setVp9(const WriterSettings& settings, const Preset& preset, AVCodecContext& codec) {
    codec.bit_rate = 0;
    codec.gop_size = static_cast<int>(std::lround(5 * settings.rate.value()));
    throwIfNoRoom(av_opt_set(codec.priv_data, "deadline", "good", 0));
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "cpu-used", preset.vp9, 0));
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "row-mt", 1, 0));
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "lag-in-frames",
                                 isLarge(settings.width, settings.height) ? kLargeLag : kUsualLag, 0));
}

/// Both streams of VP9 with alpha share one quality, and what is hardly seen in colours shows at the edges of
/// a matte: there nothing is lost unless a quality is asked for.
int crfOf(const WriterSettings& settings, const CodecFacts& facts) {
    if (settings.crf >= 0) return settings.crf;
    return settings.keepAlpha ? 0 : facts.usualCrf;
}

void setAv1(const WriterSettings& settings, const Preset& preset, const MovieColour& colour,
            AVCodecContext& codec) {
    // Its library talks on standard error unless it is told otherwise here.
    setenv("SVT_LOG", "1", 0);
    codec.gop_size = static_cast<int>(std::lround(5 * settings.rate.value()));
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "preset", preset.av1, 0));
    std::string parameters = "lp=" + std::to_string(codec.thread_count);
    // FFmpeg takes a quality of 0 for none given.
    if (crfOf(settings, factsOf(Codec::av1)) == 0) parameters += ":crf=0";
    if (isWhole(colour))
        parameters += ":mastering-display=" + displayWords(*colour.mastering, "(%.5f,%.5f)", 1, 1);
    if (colour.light) parameters += ":content-light=" + lightWords(*colour.light);
    throwIfNoRoom(av_opt_set(codec.priv_data, "svtav1-params", parameters.c_str(), 0));
}

void setProres(AVCodecContext& codec) {
    throwIfNoRoom(av_opt_set(codec.priv_data, "profile", "hq", 0));
    throwIfNoRoom(av_opt_set(codec.priv_data, "vendor", "apl0", 0));
}

void setFfv1(AVCodecContext& codec) {
    codec.level = 3;
    codec.gop_size = 1;
    codec.slices = 4;
    throwIfNoRoom(av_opt_set_int(codec.priv_data, "slicecrc", 1, 0));
}

/// Its quality is the size of the steps of its tables, 1 to 31. One thread: slices of several would mark
/// their ends, and the bytes would depend on their number.
void setMjpeg(const WriterSettings& settings, AVCodecContext& codec) {
    codec.flags |= AV_CODEC_FLAG_QSCALE;
    codec.qmin = 1;
    codec.global_quality = std::max(1, crfOf(settings, factsOf(Codec::mjpeg))) * FF_QP2LAMBDA;
    codec.thread_count = 1;
}

/// What the encoders want besides, to keep transparency.
void setAlpha(const WriterSettings& settings, AVCodecContext& codec) {
    if (codec.pix_fmt == AV_PIX_FMT_YUVA420P) {
        // Its two streams must have their pictures in step.
        throwIfNoRoom(av_opt_set_int(codec.priv_data, "auto-alt-ref", 0, 0));
        if (settings.crf <= 0) throwIfNoRoom(av_opt_set_int(codec.priv_data, "lossless", 1, 0));
    } else if (codec.pix_fmt == AV_PIX_FMT_YUVA444P10) {
        throwIfNoRoom(av_opt_set(codec.priv_data, "profile", "4444", 0));
        throwIfNoRoom(av_opt_set(codec.priv_data, "vendor", "apl0", 0));
        throwIfNoRoom(av_opt_set_int(codec.priv_data, "alpha_bits", 16, 0));
    } else {
        codec.level = 3;
        codec.slices = 4;
        codec.colorspace = AVCOL_SPC_RGB;
        codec.color_range = AVCOL_RANGE_JPEG;
        throwIfNoRoom(av_opt_set_int(codec.priv_data, "slicecrc", 1, 0));
    }
}

[[noreturn]] void refusePreset(const std::string& output, const std::string& codec) {
    throw MediaError(MediaErrorCode::badRequest, output, codec + " has no presets; leave out --preset");
}

void checkAlpha(const std::string& output, const WriterSettings& settings) {
    const AlphaEncoder& encoder = alphaEncoderFor(output);
    if (!settings.preset.empty() && !encoder.crf) refusePreset(output, encoder.name);
    const auto refuse = [&](const std::string& why) {
        throw MediaError(MediaErrorCode::badRequest, output, why);
    };
    if (settings.crf >= 0 && !encoder.crf)
        refuse(std::string("transparency goes into ") + encoder.name +
               " here, which has no --crf; leave it out");
    if (settings.colour && encoder.formatFor(settings.colour->depth) == AV_PIX_FMT_NONE)
        refuse(std::string(encoder.name) + " holds transparency with 8 bits; leave out --depth 10");
    if (settings.fields != FieldOrder::progressive) refuse("pictures with transparency are not interlaced");
    presetOf(output, settings.preset);
}

void setCodec(const WriterSettings& settings, const Preset& preset, const MovieColour& colour,
              AVCodecContext& codec) {
    switch (colour.codec) {
        case Codec::h264:
            return setH264(settings, preset, codec);
        case Codec::hevc:
            return setHevc(settings, preset, colour, codec);
        case Codec::vp9:
            return setVp9(settings, preset, codec);
        case Codec::av1:
            return setAv1(settings, preset, colour, codec);
        case Codec::prores:
            return setProres(codec);
        case Codec::ffv1:
            return setFfv1(codec);
        case Codec::mjpeg:
            return setMjpeg(settings, codec);
        case Codec::dnxhr:
            // Only written beside copied pictures, and then like them.
            return;
    }
}

FramePtr emptyFrame(int width, int height, AVPixelFormat format) {
    FramePtr out = newFrame();
    out->width = width;
    out->height = height;
    out->format = format;
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    return out;
}

/// 4:2:2 from 4:2:0: each line of colour is nearer to one of its two and takes three quarters of that.
template <typename Sample>
FramePtr withMoreChroma(const AVFrame& from, AVPixelFormat format) {
    FramePtr out = emptyFrame(from.width, from.height, format);
    av_image_copy_plane(out->data[0], out->linesize[0], from.data[0], from.linesize[0],
                        static_cast<int>(sizeof(Sample)) * from.width, from.height);
    const int rows = from.height / 2;
    for (int plane = 1; plane < 3; ++plane)
        for (int y = 0; y < from.height; ++y) {
            const int other = std::clamp(y / 2 + (y % 2 == 0 ? -1 : 1), 0, rows - 1);
            const auto* near = rowOf<Sample>(from, plane, y / 2);
            const auto* far = rowOf<Sample>(from, plane, other);
            auto* to = rowOf<Sample>(*out, plane, y);
            for (int x = 0; x < from.width / 2; ++x)
                to[x] = static_cast<Sample>((3 * near[x] + far[x] + 2) / 4);
        }
    return out;
}

/// The codes of the full range for those of the limited one, which go from 16 to 235 and, of colour, to 240.
std::array<uint8_t, 256> fullRangeCodes(bool chroma) {
    std::array<uint8_t, 256> out{};
    const double scale = 255.0 / (chroma ? 224 : 219);
    const int from = chroma ? 128 : 16;
    const int to = chroma ? 128 : 0;
    for (int code = 0; code < 256; ++code)
        out[static_cast<size_t>(code)] =
            static_cast<uint8_t>(std::clamp<long>(std::lround((code - from) * scale) + to, 0, 255));
    return out;
}

FramePtr inFullRange(const AVFrame& from, AVPixelFormat format) {
    static const std::array codes{fullRangeCodes(false), fullRangeCodes(true)};
    FramePtr out = emptyFrame(from.width, from.height, format);
    for (int plane = 0; plane < 3; ++plane) {
        const std::array<uint8_t, 256>& table = codes[plane == 0 ? 0 : 1];
        const int width = plane == 0 ? from.width : from.width / 2;
        const int height = plane == 0 || format == AV_PIX_FMT_YUVJ422P ? from.height : from.height / 2;
        for (int y = 0; y < height; ++y)
            std::transform(rowOf<uint8_t>(from, plane, y), rowOf<uint8_t>(from, plane, y) + width,
                           rowOf<uint8_t>(*out, plane, y), [&](uint8_t code) { return table[code]; });
    }
    return out;
}

/// A picture of 4:2:0 in the limited range as an encoder's pixel format has it.
FramePtr inFormat(const AVFrame& from, AVPixelFormat format) {
    switch (format) {
        case AV_PIX_FMT_YUV422P10:
            return withMoreChroma<uint16_t>(from, format);
        case AV_PIX_FMT_YUV422P:
            return withMoreChroma<uint8_t>(from, format);
        case AV_PIX_FMT_YUVJ420P:
            return inFullRange(from, format);
        case AV_PIX_FMT_YUVJ422P:
            return inFullRange(*withMoreChroma<uint8_t>(from, AV_PIX_FMT_YUV422P), format);
        default:
            return shareFrame(from);
    }
}

FramePtr opaqueFrame(const PictureRef& picture, const WriterSettings& settings, const AVCodecContext& codec,
                     const MovieColour& colour) {
    const PixelLayout layout = colour.depth > 8 ? PixelLayout::yuv420p10 : PixelLayout::yuv420;
    const PictureRef native = inLayout(picture, layout, colour.matrix, settings.fields);
    return inFormat(*native.storage()->frame, codec.pix_fmt);
}

AVRational rational(double value, int unit) {
    return {static_cast<int>(std::lround(value * unit)), unit};
}

void addLight(const MovieColour& colour, AVStream& stream) {
    if (colour.mastering) {
        auto* display = reinterpret_cast<AVMasteringDisplayMetadata*>(orBadAlloc(av_stream_new_side_data(
            &stream, AV_PKT_DATA_MASTERING_DISPLAY_METADATA, sizeof(AVMasteringDisplayMetadata))));
        *display = {};
        display->has_primaries = colour.mastering->hasChromaticity ? 1 : 0;
        display->has_luminance = colour.mastering->maxNits > 0 ? 1 : 0;
        display->max_luminance = rational(colour.mastering->maxNits, 10000);
        display->min_luminance = rational(colour.mastering->minNits, 10000);
        for (size_t i = 0; i < 4; ++i)
            for (size_t k = 0; k < 2; ++k)
                (i < 3 ? display->display_primaries[i][k] : display->white_point[k]) =
                    rational(colour.mastering->chromaticity[i][k], 50000);
    }
    if (colour.light) {
        auto* light = reinterpret_cast<AVContentLightMetadata*>(orBadAlloc(av_stream_new_side_data(
            &stream, AV_PKT_DATA_CONTENT_LIGHT_LEVEL, sizeof(AVContentLightMetadata))));
        light->MaxCLL = static_cast<unsigned>(colour.light->maxContent);
        light->MaxFALL = static_cast<unsigned>(colour.light->maxAverage);
    }
}

}  // namespace

int usualEncoderThreads() {
    return std::clamp(av_cpu_count(), 1, kMaxEncoderThreads);
}

MovieColour movieColourOf(const std::string& output, const WriterSettings& settings) {
    if (settings.colour) return *settings.colour;
    MovieColour out;
    out.codec = codecFor(output, {}, 8);
    out.matrix = factsOf(out.codec).bt601
                     ? ColourMatrix::bt601
                     : settings.matrix.value_or(colourMatrixFor(settings.width, settings.height));
    return out;
}

void checkVideo(const std::string& output, const WriterSettings& settings) {
    const auto refuse = [&](const std::string& why) {
        throw MediaError(MediaErrorCode::badRequest, output, why);
    };
    if (settings.keepAlpha) checkAlpha(output, settings);
    const MovieColour colour = movieColourOf(output, settings);
    const CodecFacts& facts = factsOf(
        settings.keepAlpha || settings.copies ? colour.codec : codecFor(output, colour.codec, colour.depth));
    if (settings.crf >= 0 && facts.worstCrf < 0)
        refuse(std::string(facts.name) + " has one quality; leave out --crf");
    if (settings.crf > facts.worstCrf)
        refuse("--crf goes from 0 to " + std::to_string(facts.worstCrf) + " here");
    if (!settings.preset.empty() && !facts.presets && !settings.keepAlpha) refusePreset(output, facts.name);
    if (facts.bt601 && colour.matrix != ColourMatrix::bt601)
        refuse(std::string(facts.name) + " has colours of BT.601");
    if (settings.fields != FieldOrder::progressive && colour.codec != Codec::h264)
        refuse(std::string(facts.name) + " has no interlaced pictures here");
    presetOf(output, settings.preset);
}

CodecPtr makeVideoEncoder(const std::string& output, const WriterSettings& settings, bool globalHeader) {
    const MovieColour colour = movieColourOf(output, settings);
    const CodecFacts& facts = factsOf(colour.codec);
    const AlphaEncoder* const alpha = settings.keepAlpha ? &alphaEncoderFor(output) : nullptr;
    const char* const name = alpha != nullptr ? alpha->encoder : facts.encoder;
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (encoder == nullptr)
        throw MediaError(
            MediaErrorCode::encoding, output,
            std::string("this FFmpeg lacks the encoder ") + name + "; install Debian's libavcodec59");
    CodecPtr made(orBadAlloc(avcodec_alloc_context3(encoder)));
    AVCodecContext& codec = *made;
    codec.flags |= AV_CODEC_FLAG_BITEXACT;
    if (globalHeader) codec.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    codec.width = settings.width;
    codec.height = settings.height;
    codec.pix_fmt = alpha != nullptr ? alpha->formatFor(colour.depth) : formatOf(colour);
    codec.framerate = asAv(settings.rate);
    codec.time_base = av_inv_q(codec.framerate);
    codec.sample_aspect_ratio = {1, 1};
    codec.thread_count = settings.threads > 0 ? settings.threads : usualEncoderThreads();
    tagColours(settings, colour, codec);
    const Preset& preset = presetOf(output, settings.preset);
    if (facts.worstCrf >= 0 && colour.codec != Codec::mjpeg && (alpha == nullptr || alpha->crf))
        throwIfNoRoom(av_opt_set_int(codec.priv_data, "crf", crfOf(settings, facts), 0));
    if (alpha == nullptr || colour.codec == Codec::vp9) setCodec(settings, preset, colour, codec);
    if (alpha != nullptr) setAlpha(settings, codec);
    return made;
}

void markVideoStream(const std::string& output, const WriterSettings& settings, AVStream& stream) {
    const MovieColour colour = movieColourOf(output, settings);
    addLight(colour, stream);
    const MovieKind* kind = movieKindOf(output);
    const bool boxes =
        kind != nullptr && (std::string_view(kind->muxer) == "mp4" || std::string_view(kind->muxer) == "mov");
    // The tag that phones and QuickTime ask for: parameters in the header only.
    if (boxes && colour.codec == Codec::hevc) stream.codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
}

FramePtr encoderFrame(const PictureRef& picture, const WriterSettings& settings, const AVCodecContext& codec,
                      const MovieColour& colour) {
    FramePtr frame = settings.keepAlpha ? alphaFrame(picture, codec.pix_fmt, colour.matrix)
                                        : opaqueFrame(picture, settings, codec, colour);
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->pkt_duration = 1;
    if ((codec.flags & AV_CODEC_FLAG_QSCALE) != 0) frame->quality = codec.global_quality;
    frame->sample_aspect_ratio = {1, 1};
    frame->color_range = codec.color_range;
    frame->colorspace = codec.colorspace;
    frame->color_primaries = codec.color_primaries;
    frame->color_trc = codec.color_trc;
    frame->chroma_location = codec.chroma_sample_location;
    frame->interlaced_frame = settings.fields != FieldOrder::progressive ? 1 : 0;
    frame->top_field_first = settings.fields == FieldOrder::topFirst ? 1 : 0;
    // What the source's container said of its picture is not true of this one.
    while (frame->nb_side_data > 0) av_frame_remove_side_data(frame.get(), frame->side_data[0]->type);
    av_dict_free(&frame->metadata);
    return frame;
}

}  // namespace tumblewash::media
