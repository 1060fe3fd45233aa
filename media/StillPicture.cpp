#include "media/detail/StillPicture.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "media/detail/EightBits.h"
#include "media/detail/FrameRows.h"

namespace tumblewash::media {

namespace {

// Pictures are worked on in bands of lines, so that 16 bits never take the memory of a whole photo.
constexpr int kBand = 128;
// Lines read above and below a band: as far as the scaler looks for chroma, and a multiple of its blocks.
constexpr int kMargin = 8;

const AVPixFmtDescriptor& described(const AVFrame& frame) {
    return *orBadAlloc(av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format)));
}

bool isRgb(const AVPixFmtDescriptor& format) {
    return (format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}
bool isGrey(const AVPixFmtDescriptor& format) {
    return !isRgb(format) && format.nb_components <= 2;
}
bool isDeep(const AVPixFmtDescriptor& format) {
    return format.comp[0].depth > 8;
}
/// Whole numbers in a layout that the lines below read.
bool isReadable(const AVPixFmtDescriptor& format) {
    if ((format.flags & (AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_HWACCEL)) != 0)
        return false;
    return isRgb(format) || isGrey(format) || (format.flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
}

bool isHdr(const AVFrame& frame) {
    return frame.color_trc == AVCOL_TRC_SMPTE2084 || frame.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

/// The primaries that a frame's tags name, where photos have them.
std::optional<IccProfile> profileOfTags(const AVFrame& frame) {
    // CIE 1931 x, y of red, green, blue and the white D65: ITU-T H.273, table 2.
    constexpr std::array p3{0.680, 0.320, 0.265, 0.690, 0.150, 0.060, 0.3127, 0.3290};
    constexpr std::array wide{0.708, 0.292, 0.170, 0.797, 0.131, 0.046, 0.3127, 0.3290};
    if (frame.color_primaries == AVCOL_PRI_SMPTE432) return IccProfile::fromPrimaries("Display P3", p3);
    if (frame.color_primaries == AVCOL_PRI_BT2020) return IccProfile::fromPrimaries("BT.2020", wide);
    return std::nullopt;
}

/// Why a profile is of no use for this frame; empty when it is.
std::string unfit(const IccProfile& profile, const AVFrame& frame) {
    if (!isReadable(described(frame))) return "its colour profile does not go with this kind of pixels";
    if (profile.pixels() == ProfilePixels::ink) return "its colour profile is one for ink";
    if (!profile.usable()) return "its colour profile is damaged or of another kind";
    if (profile.pixels() == ProfilePixels::grey && !isGrey(described(frame)))
        return "its colour profile is one for grey pictures";
    return {};
}

/// 16-bit codes for the codes of one channel.
std::vector<uint16_t> stretched(int depth, bool fullRange) {
    const uint32_t codes = 1U << depth;
    std::vector<uint16_t> out(codes);
    const double black = fullRange ? 0 : 16.0 * (codes / 256.0);
    const double white = fullRange ? codes - 1 : 235.0 * (codes / 256.0);
    for (uint32_t i = 0; i < codes; ++i)
        out[i] = static_cast<uint16_t>(std::clamp((i - black) / (white - black), 0.0, 1.0) * 65535 + 0.5);
    return out;
}

/// Lines of 16-bit red, green, blue, alpha from a frame of any layout.
class DeepLines {
  public:
    virtual ~DeepLines() = default;
    /// Line `y` into `rgba`; lines are asked for from the first to the last.
    virtual void read(int y, uint16_t* rgba) = 0;
};

/// One channel of a line at the depth it is stored in, and what its codes are in 16 bits.
class Channel {
  public:
    Channel(const AVFrame& frame, int number, bool fullRange)
        : frame_(frame),
          format_(described(frame)),
          number_(number),
          codes_(static_cast<size_t>(frame.width)),
          table_(stretched(format_.comp[number].depth, fullRange)) {
        if (frame.format == AV_PIX_FMT_MONOWHITE) std::reverse(table_.begin(), table_.end());
    }
    /// Into every fourth number from `to` on.
    void read(int y, uint16_t* to) {
        av_read_image_line2(codes_.data(), const_cast<const uint8_t**>(frame_.data), frame_.linesize,
                            &format_, 0, y, number_, frame_.width, 0, sizeof codes_[0]);
        for (const uint16_t code : codes_) {
            *to = table_[std::min<size_t>(code, table_.size() - 1)];
            to += 4;
        }
    }

  private:
    const AVFrame& frame_;
    const AVPixFmtDescriptor& format_;
    int number_;
    std::vector<uint16_t> codes_;
    std::vector<uint16_t> table_;
};

/// The channel of alpha, nothing for opaque formats.
std::optional<Channel> alphaOf(const AVFrame& frame) {
    const AVPixFmtDescriptor& format = described(frame);
    if ((format.flags & AV_PIX_FMT_FLAG_ALPHA) == 0 || (format.flags & AV_PIX_FMT_FLAG_PAL) != 0) return {};
    return std::make_optional<Channel>(frame, format.nb_components - 1, true);
}

void readAlpha(std::optional<Channel>& alpha, int y, int width, uint16_t* rgba) {
    if (alpha) return alpha->read(y, rgba + 3);
    for (int x = 0; x < width; ++x) rgba[4 * x + 3] = 0xFFFF;
}

/// A picture of palette entries.
class PaletteLines final : public DeepLines {
  public:
    explicit PaletteLines(const AVFrame& frame) : frame_(frame) {}
    void read(int y, uint16_t* rgba) override {
        const uint8_t* codes = frame_.data[0] + ptrdiff_t{y} * frame_.linesize[0];
        for (int x = 0; x < frame_.width; ++x, rgba += 4) {
            uint32_t entry = 0;  // alpha in the highest byte
            std::memcpy(&entry, frame_.data[1] + ptrdiff_t{4} * codes[x], sizeof entry);
            for (int c = 0; c < 3; ++c) rgba[c] = static_cast<uint16_t>((entry >> (16 - 8 * c) & 0xFF) * 257);
            rgba[3] = static_cast<uint16_t>((entry >> 24) * 257);
        }
    }

  private:
    const AVFrame& frame_;
};

/// R'G'B' and grey: codes as they are, stretched to 16 bits.
class PlainLines final : public DeepLines {
  public:
    explicit PlainLines(const AVFrame& frame) : frame_(frame), alpha_(alphaOf(frame)) {
        const bool full = frame.color_range != AVCOL_RANGE_MPEG;
        for (int c = 0; c < (isGrey(described(frame)) ? 1 : 3); ++c) colours_.emplace_back(frame, c, full);
    }
    void read(int y, uint16_t* rgba) override {
        for (size_t c = 0; c < colours_.size(); ++c) colours_[c].read(y, rgba + c);
        for (int x = 0; x < frame_.width && colours_.size() == 1; ++x)
            rgba[4 * x + 1] = rgba[4 * x + 2] = rgba[4 * x];
        readAlpha(alpha_, y, frame_.width, rgba);
    }

  private:
    const AVFrame& frame_;
    std::vector<Channel> colours_;
    std::optional<Channel> alpha_;
};

/// Y'CbCr through the scaler, a band at a time.
class ScaledLines final : public DeepLines {
  public:
    ScaledLines(const AVFrame& frame, AVColorSpace space, bool fullRange)
        : frame_(frame),
          format_(described(frame)),
          space_(space),
          fullRange_(fullRange),
          alpha_(alphaOf(frame)) {
        // The scaler shifts codes up to 16 bits where they ought to be stretched: white is this code.
        const int depth = format_.comp[0].depth;
        white_ = fullRange ? ((1U << depth) - 1) << (16 - depth) : 0xFF00;
        band_ = newFrame();
        band_->width = frame.width;
        band_->height = std::min(frame.height, kBand + 2 * kMargin);
        band_->format = AV_PIX_FMT_RGBA64;
        if (av_frame_get_buffer(band_.get(), 0) < 0) throw std::bad_alloc();
    }
    void read(int y, uint16_t* rgba) override {
        if (y < first_ || y >= last_) fill(y);
        const auto* from =
            reinterpret_cast<const uint16_t*>(band_->data[0] + ptrdiff_t{y - top_} * band_->linesize[0]);
        for (int i = 0; i < 4 * frame_.width; ++i)
            rgba[i] = static_cast<uint16_t>(std::min((from[i] * 65535U + white_ / 2) / white_, 65535U));
        readAlpha(alpha_, y, frame_.width, rgba);
    }

  private:
    void fill(int y) {
        first_ = y / kBand * kBand;
        last_ = std::min(first_ + kBand, frame_.height);
        top_ = std::max(0, first_ - kMargin);
        const int bottom = std::min(frame_.height, last_ + kMargin);
        const int lines = bottom - top_;
        if (!scaler_ || lines != lines_) open(lines);
        std::array<const uint8_t*, 4> planes{};
        for (size_t p = 0; p < 4 && frame_.data[p] != nullptr; ++p)
            planes[p] = frame_.data[p] + ptrdiff_t{p == 1 || p == 2 ? top_ >> format_.log2_chroma_h : top_} *
                                             frame_.linesize[p];
        sws_scale(scaler_.get(), planes.data(), frame_.linesize, 0, lines, band_->data, band_->linesize);
    }
    void open(int lines) {
        lines_ = lines;
        scaler_.reset(sws_alloc_context());
        if (!scaler_) throw std::bad_alloc();
        const auto set = [&](const char* name, int64_t value) {
            throwIfNoRoom(av_opt_set_int(scaler_.get(), name, value, 0));
        };
        set("srcw", frame_.width);
        set("srch", lines);
        set("src_format", frame_.format);
        set("dstw", frame_.width);
        set("dsth", lines);
        set("dst_format", AV_PIX_FMT_RGBA64);
        set("sws_flags",
            SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP | SWS_BITEXACT);
        if (format_.log2_chroma_h == 1) set("src_v_chr_pos", 128);
        const int* table = sws_getCoefficients(
            space_ == AVCOL_SPC_BT709                                         ? SWS_CS_ITU709
            : space_ == AVCOL_SPC_BT2020_NCL || space_ == AVCOL_SPC_BT2020_CL ? SWS_CS_BT2020
            : space_ == AVCOL_SPC_SMPTE240M                                   ? SWS_CS_SMPTE240M
            : space_ == AVCOL_SPC_FCC                                         ? SWS_CS_FCC
                                                                              : SWS_CS_ITU601);
        sws_setColorspaceDetails(scaler_.get(), table, fullRange_ ? 1 : 0, table, 1, 0, 1 << 16, 1 << 16);
        if (sws_init_context(scaler_.get(), nullptr, nullptr) < 0)
            throw MediaError(MediaErrorCode::encoding, "", "a picture's colours cannot be converted");
    }

    const AVFrame& frame_;
    const AVPixFmtDescriptor& format_;
    AVColorSpace space_;
    bool fullRange_;
    std::optional<Channel> alpha_;
    uint32_t white_ = 0xFFFF;
    FramePtr band_;
    ScalerPtr scaler_;
    int first_ = 0, last_ = 0, top_ = 0, lines_ = 0;
};

std::unique_ptr<DeepLines> linesOf(const AVFrame& frame, AVColorSpace space, bool fullRange) {
    const AVPixFmtDescriptor& format = described(frame);
    if ((format.flags & AV_PIX_FMT_FLAG_PAL) != 0) return std::make_unique<PaletteLines>(frame);
    if (isRgb(format) || isGrey(format)) return std::make_unique<PlainLines>(frame);
    return std::make_unique<ScaledLines>(frame, space, fullRange);
}

FramePtr newRgba64Frame(int width, int height) {
    FramePtr out = newFrame();
    out->width = width;
    out->height = height;
    out->format = AV_PIX_FMT_RGBA64;
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    return out;
}

/// Undoes the multiplication with alpha.
void divideByAlpha(uint16_t* rgba, int width) {
    for (int x = 0; x < width; ++x, rgba += 4) {
        const uint32_t alpha = rgba[3];
        for (int c = 0; c < 3 && alpha != 0; ++c)
            rgba[c] = static_cast<uint16_t>(
                std::min((uint64_t{rgba[c]} * 65535 + alpha / 2) / alpha, uint64_t{65535}));
    }
}

}  // namespace

void setProfile(StillPicture& still, std::span<const uint8_t> bytes) {
    const AVFrame& frame = *still.frame;
    if (isHdr(frame)) return;
    if (bytes.empty()) {
        std::optional<IccProfile> tagged = profileOfTags(frame);
        if (!tagged) return;
        still.remarks.push_back("profile " + tagged->name() + " turned to sRGB");
        still.profile = std::move(tagged);
        return;
    }
    IccProfile profile = IccProfile::fromBytes(bytes);
    if (const std::string why = unfit(profile, frame); !why.empty()) {
        still.remarks.push_back(why + " and is left out; its colours may be off");
        return;
    }
    if (profile.isSrgb()) return;
    still.remarks.push_back((profile.name().empty() ? "its colour profile" : "profile " + profile.name()) +
                            " turned to sRGB");
    still.profile = std::move(profile);
}

bool needsWork(const StillPicture& still) {
    const AVPixFmtDescriptor& format = described(*still.frame);
    if (!isReadable(format)) return false;
    return still.profile || still.premultiplied || (isDeep(format) && !isHdr(*still.frame)) ||
           (isRgb(format) && still.frame->color_range == AVCOL_RANGE_MPEG);
}

bool isReadable(const AVFrame& frame) {
    return isReadable(described(frame));
}

FramePtr deepRgba(const AVFrame& frame, AVColorSpace space, bool fullRange) {
    const std::unique_ptr<DeepLines> lines = linesOf(frame, space, fullRange);
    FramePtr out = newRgba64Frame(frame.width, frame.height);
    for (int y = 0; y < frame.height; ++y) lines->read(y, rowOf<uint16_t>(*out, 0, y));
    return out;
}

namespace {

/// Lines of a still in sRGB, straight alpha, from the first to the last.
class SrgbLines {
  public:
    explicit SrgbLines(const StillPicture& still)
        : still_(still), lines_(linesOf(*still.frame, still.space, still.fullRange)) {}
    void read(int y, uint16_t* rgba) {
        const int width = still_.frame->width;
        lines_->read(y, rgba);
        if (still_.premultiplied) divideByAlpha(rgba, width);
        if (still_.profile) still_.profile->toSrgb(rgba, static_cast<size_t>(width));
    }

  private:
    const StillPicture& still_;
    std::unique_ptr<DeepLines> lines_;
};

}  // namespace

FramePtr ordinaryDeep(const StillPicture& still) {
    const AVFrame& frame = *still.frame;
    if (!needsWork(still)) return shareFrame(frame);
    SrgbLines lines(still);
    FramePtr out = newRgba64Frame(frame.width, frame.height);
    for (int y = 0; y < frame.height; ++y) lines.read(y, rowOf<uint16_t>(*out, 0, y));
    out->pts = frame.pts;
    return out;
}

FramePtr ordinary(const StillPicture& still) {
    const AVFrame& frame = *still.frame;
    if (!needsWork(still)) return shareFrame(frame);
    SrgbLines lines(still);
    const Steps steps = isDeep(described(frame)) ? Steps::dither : Steps::round;
    FramePtr out = newArgbFrame(frame.width, frame.height);
    std::vector<uint16_t> line(size_t{4} * static_cast<size_t>(frame.width));
    for (int y = 0; y < frame.height; ++y) {
        lines.read(y, line.data());
        toEightBits(line.data(), frame.width, y, steps, out->data[0] + ptrdiff_t{y} * out->linesize[0]);
    }
    out->pts = frame.pts;
    return out;
}

}  // namespace tumblewash::media
