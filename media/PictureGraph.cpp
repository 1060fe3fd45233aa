#include "media/detail/PictureGraph.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "media/Fitting.h"
#include "media/detail/FrameRows.h"

extern "C" {
#include <libswscale/swscale.h>
}

namespace tumblewash::media {

namespace {

constexpr const char* kScaleFlags = "bicubic+accurate_rnd+full_chroma_int+full_chroma_inp+bitexact";

[[noreturn]] void graphFailed(const std::string& file, int error) {
    throw MediaError(MediaErrorCode::encoding, file,
                     "its pictures cannot be converted (" + avMessage(error) + ")");
}

bool hasAlpha(int format) {
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    return descriptor != nullptr && (descriptor->flags & (AV_PIX_FMT_FLAG_ALPHA)) != 0;
}

bool isPalette(int format) {
    return format == AV_PIX_FMT_PAL8;
}

/// The name the scaler gives a matrix; null where it has none to apply.
const char* matrixName(AVColorSpace space) {
    switch (space) {
        case AVCOL_SPC_BT709:
            return "bt709";
        case AVCOL_SPC_FCC:
            return "fcc";
        case AVCOL_SPC_SMPTE240M:
            return "smpte240m";
        case AVCOL_SPC_BT2020_NCL:
        case AVCOL_SPC_BT2020_CL:
            return "bt2020";
        case AVCOL_SPC_RGB:
            return nullptr;
        default:
            return "bt601";
    }
}

const char* matrixName(ColourMatrix matrix) {
    if (matrix == ColourMatrix::bt2020) return "bt2020";
    return matrix == ColourMatrix::bt709 ? "bt709" : "bt601";
}

const char* turnFilters(int orientation) {
    constexpr const char* filters[] = {"",
                                       "hflip,",
                                       "hflip,vflip,",
                                       "vflip,",
                                       "transpose=cclock_flip,",
                                       "transpose=clock,",
                                       "transpose=clock_flip,",
                                       "transpose=cclock,"};
    return filters[std::clamp(orientation, 1, 8) - 1];
}

/// Where alpha and red stand in a pixel of four samples.
template <typename Sample>
struct Places;
template <>
struct Places<uint8_t> {  // AV_PIX_FMT_ARGB
    static constexpr int alpha = 0, red = 1;
};
template <>
struct Places<uint16_t> {  // AV_PIX_FMT_RGBA64
    static constexpr int alpha = 3, red = 0;
};

template <typename Sample>
void multiplied(AVFrame& frame) {
    constexpr uint32_t top = std::numeric_limits<Sample>::max();
    for (int y = 0; y < frame.height; ++y) {
        auto* p = rowOf<Sample>(frame, 0, y);
        for (int x = 0; x < frame.width; ++x, p += 4)
            for (int c = Places<Sample>::red; c < Places<Sample>::red + 3; ++c)
                p[c] = static_cast<Sample>((uint32_t{p[c]} * p[Places<Sample>::alpha] + top / 2) / top);
    }
}

template <typename Sample>
void divided(AVFrame& frame) {
    constexpr uint32_t top = std::numeric_limits<Sample>::max();
    for (int y = 0; y < frame.height; ++y) {
        auto* p = rowOf<Sample>(frame, 0, y);
        for (int x = 0; x < frame.width; ++x, p += 4) {
            const uint32_t alpha = p[Places<Sample>::alpha];
            for (int c = Places<Sample>::red; c < Places<Sample>::red + 3 && alpha != 0; ++c)
                p[c] = static_cast<Sample>(std::min(top, (p[c] * top + alpha / 2) / alpha));
        }
    }
}

template <typename Sample>
void madeOpaque(AVFrame& frame) {
    for (int y = 0; y < frame.height; ++y) {
        auto* p = rowOf<Sample>(frame, 0, y) + Places<Sample>::alpha;
        for (int x = 0; x < frame.width; ++x) p[4 * x] = std::numeric_limits<Sample>::max();
    }
}

bool isWide(const AVFrame& frame) {
    return frame.format == AV_PIX_FMT_RGBA64;
}
void multiplyByAlpha(AVFrame& frame) {
    isWide(frame) ? multiplied<uint16_t>(frame) : multiplied<uint8_t>(frame);
}
void divideByAlpha(AVFrame& frame) {
    isWide(frame) ? divided<uint16_t>(frame) : divided<uint8_t>(frame);
}
void setOpaque(AVFrame& frame) {
    isWide(frame) ? madeOpaque<uint16_t>(frame) : madeOpaque<uint8_t>(frame);
}

/// True when square pixels need one more line or column, or both, and nothing else to have the size asked:
/// they are given copies of their last ones, since scaling would soften every line for the sake of one.
bool missesALine(const MediaInfo& info, const ReaderSettings& settings) {
    const int columns = settings.width - info.width, lines = settings.height - info.height;
    const int turned = info.orientation >= 5 ? info.codedHeight : info.codedWidth;
    return info.pixelAspect == FrameRate{1, 1} && turned == info.width && columns >= 0 && columns <= 1 &&
           lines >= 0 && lines <= 1 && columns + lines > 0;
}

}  // namespace

/// What has to happen to pictures of one kind.
struct PictureGraph::Plan {
    Placement place;
    bool deinterlace = false;
    bool keepsFields = false;
    bool scale = false;
    bool toArgb = false;
    bool road = false;                          // the colours are converted behind the graph, by ColourRoad
    AVPixelFormat format = AV_PIX_FMT_NONE;     // at the graph's end
    ColourMatrix matrix = ColourMatrix::bt709;  // there, of Y'CbCr
};

PictureGraph::PictureGraph(const ProbeDetail& facts, const ReaderSettings& settings)
    : facts_(facts), settings_(settings), road_(facts, settings), grows_(missesALine(facts.info, settings)) {}

PictureGraph::Plan PictureGraph::plan(const AVFrame& frame) const {
    Plan out;
    // R'G'B' sources become Y'CbCr by this room's own conversion, the one that leaves no step at a seam.
    out.toArgb = alpha_ || settings_.layout == PixelLayout::argb || facts_.space == AVCOL_SPC_RGB;
    out.road = !alpha_ && road_.takes(frame);
    out.matrix = out.road ? road_.matrix() : settings_.matrix;
    out.format = out.road                                     ? road_.format(frame)
                 : deepAlpha_                                 ? AV_PIX_FMT_RGBA64
                 : out.toArgb                                 ? AV_PIX_FMT_ARGB
                 : settings_.layout == PixelLayout::yuv420p10 ? AV_PIX_FMT_YUV420P10
                                                              : AV_PIX_FMT_YUV420P;
    if (out.road) out.toArgb = facts_.space == AVCOL_SPC_RGB;
    const bool swap = facts_.info.orientation >= 5;
    // A stream that changes its size in the middle keeps filling the place of its first pictures.
    const double shownWidth = grows_ ? settings_.width : facts_.info.width;
    const double shownHeight = grows_ ? settings_.height : facts_.info.height;
    const bool interlaced = frame.interlaced_frame != 0;
    out.place = placeOf(shownWidth, shownHeight, settings_.width, settings_.height, settings_.fit,
                        {!isPacked(settings_.layout), interlaced});
    const int storedWidth = swap ? frame.height : frame.width;
    const int storedHeight = swap ? frame.width : frame.height;
    const bool linesMove = out.place.height != storedHeight || facts_.info.orientation > 2;
    out.deinterlace = interlaced && (!settings_.keepFields || linesMove);
    out.keepsFields = interlaced && !out.deinterlace;
    out.scale = out.place.width != storedWidth || out.place.height != storedHeight;
    return out;
}

/// The picture between two strips of a copy of itself that fills the size. The copy is blurred small and then
/// enlarged: nobody sees the difference, and a photo costs little more than with bars.
std::string PictureGraph::blurredBeside(const Plan& plan) const {
    constexpr int kSmaller = 8;
    const int width = evenNear(static_cast<double>(settings_.width) / kSmaller);
    const int height = evenNear(static_cast<double>(settings_.height) / kSmaller);
    // The middle in the shape of the whole, a tenth smaller: the picture's edges do not show in the blur.
    constexpr double kLarger = 1.1;
    const double shape = static_cast<double>(settings_.width) / settings_.height;
    const auto middle = [](double side, int most) { return std::min(most, evenNear(side / kLarger)); };
    const int wide = middle(std::min<double>(plan.place.width, plan.place.height * shape), plan.place.width);
    const int high = middle(std::min<double>(plan.place.height, plan.place.width / shape), plan.place.height);
    // The blur knows planes, and what is stacked has one format.
    const char* planes = plan.format == AV_PIX_FMT_ARGB     ? "gbrap"
                         : plan.format == AV_PIX_FMT_RGBA64 ? "gbrap16"
                                                            : av_get_pix_fmt_name(plan.format);
    const bool across = plan.place.width < settings_.width;
    const int before = across ? plan.place.padX : plan.place.padY;
    const int after =
        across ? settings_.width - plan.place.width - before : settings_.height - plan.place.height - before;
    const int room = across ? width : height, full = across ? settings_.width : settings_.height;
    const auto strip = [&](const char* name, int length, bool far) {
        if (length == 0) return std::string();
        const int part = std::clamp(2 * ((length * room + 2 * full - 1) / (2 * full)), 2, room);
        const int at = far ? room - part : 0;
        char text[200];
        std::snprintf(text, sizeof text,
                      ";[%sblur]crop=%d:%d:%d:%d:exact=1,scale=w=%d:h=%d:flags=bicubic,format=%s[%s]", name,
                      across ? part : width, across ? height : part, across ? at : 0, across ? 0 : at,
                      across ? length : settings_.width, across ? settings_.height : length,
                      av_get_pix_fmt_name(plan.format), name);
        return std::string(text);
    };
    const bool both = before > 0 && after > 0;
    char text[300];
    std::snprintf(text, sizeof text,
                  ",split[whole][copy];[copy]crop=%d:%d:exact=1,scale=w=%d:h=%d:flags=area,format=%s,"
                  "gblur=sigma=%.2f:steps=2%s",
                  wide, high, width, height, planes, std::max(1.0, std::min(width, height) / 16.0),
                  both         ? ",split[headblur][tailblur]"
                  : before > 0 ? "[headblur]"
                               : "[tailblur]");
    return text + strip("head", before, false) + strip("tail", after, true) + ";" +
           (before > 0 ? "[head]" : "") + "[whole]" + (after > 0 ? "[tail]" : "") +
           (across ? "hstack" : "vstack") + "=inputs=" + (both ? "3" : "2");
}

std::string PictureGraph::describe(const AVFrame& frame, const Plan& plan) const {
    std::string text;
    if (plan.deinterlace) text += "bwdif=mode=send_frame:parity=auto:deint=interlaced,";
    text += turnFilters(facts_.info.orientation);
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    const bool rgb =
        descriptor != nullptr && (descriptor->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
    const bool grey = descriptor != nullptr && descriptor->nb_components <= 2 && !rgb;
    const bool sameYuv = !plan.toArgb && format == plan.format && !facts_.info.fullRange &&
                         std::strcmp(matrixName(facts_.space) != nullptr ? matrixName(facts_.space) : "",
                                     matrixName(plan.matrix)) == 0;
    const bool sameRgb = plan.toArgb && format == plan.format;
    if (plan.scale || !(sameYuv || sameRgb)) {
        char line[256];
        std::snprintf(line, sizeof line, "scale=w=%d:h=%d:flags=%s:interl=%d", plan.place.width,
                      plan.place.height, kScaleFlags, plan.keepsFields ? 1 : 0);
        text += line;
        if (!rgb && !grey && matrixName(facts_.space) != nullptr) {
            text += std::string(":in_color_matrix=") + matrixName(facts_.space);
            text += facts_.info.fullRange ? ":in_range=full" : ":in_range=limited";
        }
        if (!plan.toArgb)
            text += std::string(":out_color_matrix=") + matrixName(plan.matrix) + ":out_range=limited";
        text += ",";
    }
    text += std::string("format=") + av_get_pix_fmt_name(plan.format);
    char line[160];
    if (plan.place.width > settings_.width || plan.place.height > settings_.height) {
        std::snprintf(line, sizeof line, ",crop=%d:%d:%d:%d:exact=1",
                      std::min(plan.place.width, settings_.width),
                      std::min(plan.place.height, settings_.height), plan.place.cropX, plan.place.cropY);
        text += line;
    }
    const bool smaller = plan.place.width < settings_.width || plan.place.height < settings_.height;
    if (smaller && settings_.fit == Fit::blur && !(alpha_ && settings_.keepAlpha)) {
        text += blurredBeside(plan);
    } else if (smaller) {
        // The bars' filter does not know every format, and what it is given instead goes back.
        std::snprintf(line, sizeof line, ",pad=%d:%d:%d:%d:color=black@%d,format=%s", settings_.width,
                      settings_.height, plan.place.padX, plan.place.padY,
                      alpha_ && settings_.keepAlpha ? 0 : 1, av_get_pix_fmt_name(plan.format));
        text += line;
    }
    return text;
}

void PictureGraph::build(const AVFrame& frame) {
    const Plan what = plan(frame);
    graph_.reset(orBadAlloc(avfilter_graph_alloc()));
    graph_->nb_threads = settings_.threads;
    throwIfNoRoom(
        av_opt_set(graph_.get(), "scale_sws_opts", (std::string("flags=") + kScaleFlags).c_str(), 0));
    char arguments[256];
    const AVRational base = facts_.timeBase;
    const AVRational rate = asAv(facts_.info.rate ? facts_.info.rate : FrameRate{25, 1});
    std::snprintf(arguments, sizeof arguments,
                  "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d:frame_rate=%d/%d:pixel_aspect=1/1",
                  frame.width, frame.height, frame.format, base.num, base.den, rate.num, rate.den);
    const auto check = [&](int result) {
        throwIfNotStarted(result);
        if (result < 0) graphFailed(facts_.info.path, result);
    };
    check(avfilter_graph_create_filter(&in_, avfilter_get_by_name("buffer"), "in", arguments, nullptr,
                                       graph_.get()));
    check(avfilter_graph_create_filter(&out_, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr,
                                       graph_.get()));
    check(connectGraph(*graph_, *in_, *out_, describe(frame, what)));
    width_ = frame.width;
    height_ = frame.height;
    format_ = frame.format;
    interlaced_ = frame.interlaced_frame != 0;
    deinterlaces_ = what.deinterlace;
    onRoad_ = what.road;
    premultiplied_ = alpha_ && !(settings_.keepAlpha && !what.scale);
    fieldsOut_ = what.keepsFields ? media::fieldsOf(frame) : FieldOrder::progressive;
}

bool PictureGraph::takesAlone(const AVFrame& frame) const {
    return !holdsBack() && !plan(frame).deinterlace;
}

FieldOrder PictureGraph::fieldsOf(const AVFrame& frame) const {
    return plan(frame).keepsFields ? media::fieldsOf(frame) : FieldOrder::progressive;
}

/// A graph that deinterlaces passes progressive pictures as they are; one that does not needs a look again.
bool PictureGraph::fits(const AVFrame& frame) const {
    return graph_ && frame.width == width_ && frame.height == height_ && frame.format == format_ &&
           (deinterlaces_ || (frame.interlaced_frame != 0) == interlaced_);
}

/// The stored picture with its last line or column once more, as the size asked wants it.
FramePtr PictureGraph::grown(FramePtr frame) const {
    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
    const bool bySamples = d != nullptr &&
                           (d->flags & (AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL)) == 0 &&
                           ((d->flags & AV_PIX_FMT_FLAG_PLANAR) != 0 || d->log2_chroma_w == 0);
    if (!bySamples || frame->width != facts_.info.codedWidth || frame->height != facts_.info.codedHeight)
        return frame;
    const bool turned = facts_.info.orientation >= 5;
    FramePtr out = newFrame();
    out->format = frame->format;
    out->width = turned ? settings_.height : settings_.width;
    out->height = turned ? settings_.width : settings_.height;
    if (av_frame_get_buffer(out.get(), 0) < 0 || av_frame_copy_props(out.get(), frame.get()) < 0)
        throw std::bad_alloc();
    const int period = frame->interlaced_frame != 0 ? 2 : 1;
    for (int plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
        int step = 0;
        for (int c = 0; c < d->nb_components; ++c)
            if (d->comp[c].plane == plane) step = std::max(step, d->comp[c].step);
        const bool chroma = plane == 1 || plane == 2;
        const auto side = [&](int length, int shift) {
            return chroma ? AV_CEIL_RSHIFT(length, shift) : length;
        };
        const int width = side(frame->width, d->log2_chroma_w),
                  height = side(frame->height, d->log2_chroma_h);
        const int wide = side(out->width, d->log2_chroma_w), high = side(out->height, d->log2_chroma_h);
        for (int y = 0; y < high; ++y) {
            const int from = y < height ? y : std::max(0, y - period);
            const uint8_t* in = frame->data[plane] + ptrdiff_t{from} * frame->linesize[plane];
            uint8_t* to = out->data[plane] + ptrdiff_t{y} * out->linesize[plane];
            std::memcpy(to, in, static_cast<size_t>(width) * static_cast<size_t>(step));
            if (wide > width)
                std::memcpy(to + width * step, to + (width - 1) * step, static_cast<size_t>(step));
        }
    }
    return out;
}

FramePtr PictureGraph::prepareAlpha(FramePtr frame, bool premultiply) const {
    if (frame->format == (deepAlpha_ ? AV_PIX_FMT_RGBA64 : AV_PIX_FMT_ARGB)) {
        if (premultiply) {
            if (av_frame_make_writable(frame.get()) < 0) throw std::bad_alloc();
            multiplyByAlpha(*frame);
        }
        return frame;
    }
    if (deepAlpha_) {
        FramePtr rgba = deepRgba(*frame, facts_.space, facts_.info.fullRange);
        rgba->pts = frame->pts;
        return rgba;
    }
    FramePtr argb = newArgbFrame(frame->width, frame->height);
    SwsContext* scaler = sws_getContext(
        frame->width, frame->height, static_cast<AVPixelFormat>(frame->format), frame->width, frame->height,
        AV_PIX_FMT_ARGB,
        SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP | SWS_BITEXACT, nullptr,
        nullptr, nullptr);
    if (scaler == nullptr && sws_isSupportedInput(static_cast<AVPixelFormat>(frame->format)) != 0)
        throw std::bad_alloc();
    if (scaler == nullptr) graphFailed(facts_.info.path, AVERROR(EINVAL));
    const int* table = sws_getCoefficients(facts_.space == AVCOL_SPC_BT709        ? SWS_CS_ITU709
                                           : facts_.space == AVCOL_SPC_BT2020_NCL ? SWS_CS_BT2020
                                                                                  : SWS_CS_ITU601);
    sws_setColorspaceDetails(scaler, table, facts_.info.fullRange ? 1 : 0, table, 1, 0, 1 << 16, 1 << 16);
    sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, argb->data, argb->linesize);
    sws_freeContext(scaler);
    argb->pts = frame->pts;
    return argb;
}

void PictureGraph::push(TimedFrame timed) {
    if (!timed.frame) {
        if (graph_) {
            const int ended = av_buffersrc_add_frame(in_, nullptr);
            if (ended < 0) graphFailed(facts_.info.path, ended);
            drain();
        }
        return;
    }
    FramePtr frame = std::move(timed.frame);
    frame->pts = timed.pts;
    frame->pict_type = AV_PICTURE_TYPE_NONE;
    frame->sample_aspect_ratio = {1, 1};
    const bool alpha = (hasAlpha(frame->format) || isPalette(frame->format)) && !facts_.pattern;
    deepAlpha_ = alpha && road_.takesAlpha() && isReadable(*frame);
    if (alpha) frame = prepareAlpha(std::move(frame), false);
    if (grows_) frame = grown(std::move(frame));
    if (!fits(*frame) || alpha != alpha_) {
        if (graph_) push(TimedFrame{});
        alpha_ = alpha;
        build(*frame);
    }
    if (premultiplied_) frame = prepareAlpha(std::move(frame), true);
    const int added = av_buffersrc_add_frame_flags(in_, frame.get(), 0);
    if (added == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (added < 0) graphFailed(facts_.info.path, added);
    drain();
}

void PictureGraph::drain() {
    for (;;) {
        FramePtr frame = newFrame();
        const int got = av_buffersink_get_frame(out_, frame.get());
        if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
        if (got == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (got < 0) graphFailed(facts_.info.path, got);
        frame->pts = av_rescale_q(frame->pts, av_buffersink_get_time_base(out_), facts_.timeBase);
        collect(std::move(frame));
    }
}

void PictureGraph::collect(FramePtr frame) {
    const int64_t pts = frame->pts;
    if (onRoad_) {
        ready_.push_back({road_.convert(*frame, fieldsOut_), pts});
        return;
    }
    if (alpha_) {
        if (av_frame_make_writable(frame.get()) < 0) throw std::bad_alloc();
        if (!settings_.keepAlpha)
            setOpaque(*frame);
        else if (premultiplied_)
            divideByAlpha(*frame);
        if (deepAlpha_ || road_.converts()) {
            ready_.push_back({road_.convert(*frame, fieldsOut_), pts});
            return;
        }
    }
    PictureRef picture = wrapFrame(std::move(frame), fieldsOut_, settings_.matrix);
    picture = inLayout(picture, settings_.layout, settings_.matrix, fieldsOut_);
    ready_.push_back({std::move(picture), pts});
}

TimedPicture PictureGraph::pull() {
    if (ready_.empty()) return {};
    TimedPicture out = std::move(ready_.front());
    ready_.pop_front();
    return out;
}

void PictureGraph::reset() {
    graph_.reset();
    ready_.clear();
}

}  // namespace tumblewash::media
