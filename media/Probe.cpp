#include "media/Probe.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string_view>

#include "media/detail/Allowance.h"
#include "media/detail/ExifOrientation.h"
#include "media/detail/GainMap.h"
#include "media/detail/HeifItems.h"
#include "media/detail/HeifPicture.h"
#include "media/detail/Input.h"
#include "media/detail/PngColour.h"
#include "media/detail/ProbeDetail.h"
#include "media/detail/ReadColour.h"
#include "media/detail/RestOfClip.h"
#include "media/detail/WebpAnimation.h"

namespace tumblewash::media {

namespace {

// A file whose first packets give no picture at all is refused instead of being read to its end.
constexpr int64_t kProbePatience = 300;

// Looking for it may take this many seconds of the processor.
constexpr double kFirstPictureSeconds = 4;

bool near(AVRational a, AVRational b, double tolerance) {
    return b.num > 0 && std::abs(av_q2d(a) / av_q2d(b) - 1) <= tolerance;
}

}  // namespace

AVRational standardRate(AVRational measured) {
    constexpr AVRational standards[] = {{24000, 1001}, {24, 1}, {25, 1},       {30000, 1001},
                                        {30, 1},       {48, 1}, {50, 1},       {12, 1},
                                        {15, 1},       {60, 1}, {60000, 1001}, {120, 1}};
    const AVRational* best = nullptr;
    for (const AVRational& rate : standards)
        if (near(measured, rate, 0.005) &&
            (best == nullptr ||
             std::abs(av_q2d(measured) - av_q2d(rate)) < std::abs(av_q2d(measured) - av_q2d(*best))))
            best = &rate;
    if (best != nullptr) return *best;
    AVRational reduced;
    av_reduce(&reduced.num, &reduced.den, measured.num, measured.den, 100'000);
    return reduced;
}

namespace {

/// Containers state a base rate and an average; variable rates and field rates make the two differ.
AVRational rateOf(const AVStream& stream) {
    const AVRational average = stream.avg_frame_rate;
    const AVRational base = stream.r_frame_rate;
    const bool averageGood =
        average.num > 0 && average.den > 0 && av_q2d(average) <= 240 && av_q2d(average) > 0.001;
    const bool baseGood = base.num > 0 && base.den > 0 && av_q2d(base) <= 240 && av_q2d(base) > 0.001;
    if (baseGood && (!averageGood || near(base, average, 0.02))) return base;
    if (averageGood) return standardRate(average);
    return {25, 1};
}

/// EXIF's orientation number of a display matrix; slanted turns count as the nearest right angle, and a
/// matrix that leaves no picture as none.
int orientationOf(const int32_t* matrix) {
    if (matrix == nullptr) return 1;
    const int64_t a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];  // x' = ax + cy, y' = bx + dy
    if (a * d == b * c) return 1;
    if (std::abs(a) + std::abs(d) >= std::abs(b) + std::abs(c))
        return a < 0 ? (d < 0 ? 3 : 2) : (d < 0 ? 4 : 1);
    return b > 0 ? (c > 0 ? 5 : 6) : (c > 0 ? 8 : 7);
}

int orientationOf(const AVStream& stream, const AVFrame& frame) {
    if (const AVDictionaryEntry* exif = av_dict_get(frame.metadata, "Orientation", nullptr, 0)) {
        const long number = std::strtol(exif->value, nullptr, 10);
        if (number >= 1 && number <= 8) return static_cast<int>(number);
    }
    if (const AVFrameSideData* side = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX))
        return orientationOf(reinterpret_cast<const int32_t*>(side->data));
    return orientationOf(reinterpret_cast<const int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr)));
}

AVRational pixelAspectOf(AVFormatContext& context, AVStream& stream, AVFrame& frame) {
    const AVRational aspect = av_guess_sample_aspect_ratio(&context, &stream, &frame);
    if (aspect.num <= 0 || aspect.den <= 0 || av_q2d(aspect) > 10 || av_q2d(aspect) < 0.1) return {1, 1};
    return aspect;
}

AVColorSpace spaceOf(const AVFrame& frame, bool rgb, const ClipColour& colour) {
    if (rgb) return AVCOL_SPC_RGB;
    if (frame.colorspace != AVCOL_SPC_UNSPECIFIED && frame.colorspace != AVCOL_SPC_RGB)
        return frame.colorspace;
    // Wide signals that do not say their matrix have the one made for them.
    if (colour.primaries == Primaries::bt2020) return AVCOL_SPC_BT2020_NCL;
    return colourMatrixFor(frame.width, frame.height) == ColourMatrix::bt709 ? AVCOL_SPC_BT709
                                                                             : AVCOL_SPC_SMPTE170M;
}

void fillColour(const AVFrame& frame, ProbeDetail& out) {
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    const uint64_t flags = descriptor != nullptr ? descriptor->flags : 0;
    const bool rgb = (flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
    const bool fullFormat = format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P ||
                            format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
                            format == AV_PIX_FMT_YUVJ411P;
    out.space = spaceOf(frame, rgb, out.info.colour);
    out.info.matrix = matrixOf(out.space);
    out.info.fullRange = rgb || fullFormat || frame.color_range == AVCOL_RANGE_JPEG;
    out.info.colour.fullRange = out.info.fullRange;
    out.info.hasAlpha = (flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

void fillPicture(InputFile& file, AVStream& stream, AVFrame& frame, bool still, ProbeDetail& out) {
    MediaInfo& info = out.info;
    info.colour = readColour(file.path(), stream, frame, still);
    info.codedWidth = frame.width;
    info.codedHeight = frame.height;
    const AVRational aspect = pixelAspectOf(file.context(), stream, frame);
    info.pixelAspect = fromAv(aspect);
    info.orientation = orientationOf(stream, frame);
    if (file.isImage() && info.orientation == 1)
        info.orientation = std::max(1, orientationOfFile(file.bytes()));
    info.width = std::max(1, static_cast<int>(std::lround(frame.width * av_q2d(aspect))));
    info.height = frame.height;
    if (info.orientation >= 5) std::swap(info.width, info.height);
    info.fields = fieldsOf(frame);
    fillColour(frame, out);
}

/// A photo, or a file of a moving kind of pictures that holds a single one. `decoder` has given its first
/// picture.
bool isStill(const InputFile& file, StreamDecoder& decoder) {
    const std::string_view container = file.context().iformat->name;
    const bool sequenceOfOne = file.context().nb_streams == 1 && file.context().streams[0]->nb_frames == 1 &&
                               heifKind(file.bytes()) == HeifKind::sequence;
    return file.isImage() || sequenceOfOne ||
           ((container == "gif" || container == "apng") && !decoder.next());
}

void fillTimes(const AVStream& stream, const AVFrame& frame, ProbeDetail& out) {
    out.timeBase = stream.time_base;
    out.firstPts = frame.pts == AV_NOPTS_VALUE ? 0 : frame.pts;
}

void fillRate(const InputFile& file, const AVStream& stream, ProbeDetail& out) {
    MediaInfo& info = out.info;
    info.rate = fromAv(rateOf(stream));
    if (stream.nb_frames > 0) info.frameCount = stream.nb_frames;
    if (stream.duration > 0)
        info.seconds = static_cast<double>(stream.duration) * av_q2d(stream.time_base);
    else if (file.context().duration > 0)
        info.seconds = static_cast<double>(file.context().duration) / AV_TIME_BASE;
}

void fillSound(const InputFile& file, ProbeDetail& out) {
    const int index = file.isImage() ? -1 : file.bestAudio();
    if (index < 0) return;
    const AVCodecParameters& sound = *file.context().streams[index]->codecpar;
    if (sound.sample_rate <= 0 || sound.ch_layout.nb_channels <= 0) return;
    out.audioStream = index;
    out.info.hasAudio = true;
    out.info.sampleRate = sound.sample_rate;
    out.info.channels = sound.ch_layout.nb_channels;
    out.info.channelLayout = channelsWord(sound.ch_layout);
    out.info.audioCodec = avcodec_get_name(sound.codec_id);
    out.info.audioBits = sound.bits_per_raw_sample;
}

/// Makes `still` the one picture of `out`, whose size and colour tags stand there already.
void keepStill(StillPicture still, ProbeDetail& out) {
    MediaInfo& info = out.info;
    info.kind = MediaKind::still;
    info.frameCount = 1;
    still.space = out.space;
    still.fullRange = info.fullRange;
    info.conversions = still.remarks;
    if (!still.damage.empty()) out.damage = still.damage;
    if (needsWork(still)) {
        out.space = AVCOL_SPC_RGB;
        info.fullRange = true;
        info.colour.readAsOrdinary = !info.colour.hdr();
    }
    out.still = std::make_shared<const StillPicture>(std::move(still));
}

/// True for pictures of four inks, of which the decoder makes R'G'B' by a rule of thumb.
bool isForInk(const AVFrame& frame, const MediaInfo& info, const InputBytes& bytes) {
    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    // A JPEG has no transparency: its fourth channel is black ink.
    if (info.videoCodec == "mjpeg") return d != nullptr && (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    return info.videoCodec == "tiff" && tiffIsForInk(bytes);
}

/// A photo decoded by FFmpeg: what its frame says of colours, and what only the file knows.
StillPicture stillOf(FramePtr frame, const MediaInfo& info, const InputBytes& bytes) {
    StillPicture out;
    out.frame = std::move(frame);
    std::span<const uint8_t> profile;
    if (const AVFrameSideData* side = av_frame_get_side_data(out.frame.get(), AV_FRAME_DATA_ICC_PROFILE))
        profile = {side->data, side->size};
    setProfile(out, profile);
    if (profile.empty() && isForInk(*out.frame, info, bytes))
        out.remarks.push_back("a picture for print (CMYK) without a colour profile; its colours may be off");
    if (info.videoCodec == "mjpeg" && jpegHasGainMap(bytes))
        out.remarks.push_back("its HDR gain map is left out; the ordinary picture is used");
    if (info.videoCodec == "png")
        if (std::string remark = pngColourRemark(bytes, !profile.empty()); !remark.empty())
            out.remarks.push_back(std::move(remark));
    return out;
}

/// Size and tags of a picture that another library decoded.
void fillStill(const StillPicture& still, ProbeDetail& out) {
    MediaInfo& info = out.info;
    const AVFrame& frame = *still.frame;
    info.codedWidth = frame.width;
    info.codedHeight = frame.height;
    info.width = frame.width;
    info.height = frame.height;
    info.orientation = still.orientation;
    if (info.orientation >= 5) std::swap(info.width, info.height);
    info.colour = readPhotoColour(info.path, frame);
    fillColour(frame, out);
}

ProbeDetail probeHeif(const InputBytes& bytes, CancelFlag cancel) {
    ProbeDetail out;
    out.info.path = bytes.path();
    out.info.container = "heif";
    StillPicture still = decodeHeif(bytes, cancel);
    out.info.videoCodec = still.codec;
    fillStill(still, out);
    keepStill(std::move(still), out);
    return out;
}

ProbeDetail probeWebp(const InputBytes& bytes, CancelFlag cancel) {
    const std::string& path = bytes.path();
    throwIfRaised(cancel, path);
    WebpAnimation animation(bytes);
    ProbeDetail out;
    MediaInfo& info = out.info;
    info.path = path;
    info.container = info.videoCodec = "webp";
    StillPicture first;
    first.frame = animation.next();
    if (!first.frame)
        throw MediaError(MediaErrorCode::undecodable, path,
                         "none of its pictures can be decoded; the file is damaged, get a complete copy");
    first.orientation = std::max(1, exifOrientation(animation.exif()));
    setProfile(first, animation.profile());
    fillStill(first, out);
    info.hasAlpha = animation.hasAlpha();
    if (animation.cutOff()) out.damage = "the file is cut off: pictures are missing at its end";
    if (animation.durations().size() == 1) {
        keepStill(std::move(first), out);
        return out;
    }
    info.conversions = first.remarks;
    out.milliseconds = animation.durations();
    out.timeBase = {1, 1000};
    info.rate = rateOfDurations(out.milliseconds);
    info.frameCount = static_cast<int64_t>(out.milliseconds.size());
    info.seconds = std::accumulate(out.milliseconds.begin(), out.milliseconds.end(), 0.0) / 1000;
    return out;
}

ProbeDetail probePattern(const std::string& path) {
    ProbeDetail out;
    out.pattern = parsePattern(path);
    const DrawnScene& drawn = *out.pattern;
    MediaInfo& info = out.info;
    info.path = path;
    info.width = info.codedWidth = drawn.width;
    info.height = info.codedHeight = drawn.height;
    info.rate = drawn.rate;
    info.frameCount = std::max<int64_t>(1, std::llround(drawn.seconds * drawn.rate.value()));
    info.seconds = static_cast<double>(*info.frameCount) / drawn.rate.value();
    info.fullRange = true;
    info.matrix = colourMatrixFor(drawn.width, drawn.height);
    info.colour.fullRange = true;
    info.colour.chroma = "RGB";
    info.hasAudio = drawn.sound;
    info.sampleRate = drawn.sound ? 48000 : 0;
    info.channels = drawn.sound ? 2 : 0;
    info.channelLayout = drawn.sound ? "stereo" : "";
    info.container = "pattern";
    info.videoCodec = drawn.name;
    out.timeBase = av_inv_q(asAv(drawn.rate));
    out.space = AVCOL_SPC_RGB;
    return out;
}

ProbeDetail probeFile(const std::shared_ptr<const InputBytes>& bytes, CancelFlag cancel) {
    const std::string& path = bytes->path();
    InputFile file(bytes, cancel);
    ProbeDetail out;
    out.info.path = path;
    out.info.container = file.context().iformat->name;
    out.videoStream = file.bestVideo();
    if (out.videoStream < 0) {
        if (file.bestAudio() >= 0)
            throw MediaError(MediaErrorCode::noVideo, path,
                             "holds sound but no picture; give a clip with video");
        throw MediaError(MediaErrorCode::noVideo, path, "holds no picture; give a clip or a photo");
    }
    AVStream& stream = *file.context().streams[out.videoStream];
    out.info.videoCodec = avcodec_get_name(stream.codecpar->codec_id);
    file.setDeadline(kFirstPictureSeconds);
    file.useOnly(out.videoStream);
    StreamDecoder decoder(file, out.videoStream, AVMEDIA_TYPE_VIDEO, 1);
    decoder.setPatience(kProbePatience);
    FramePtr frame = decoder.next();
    if (decoder.encrypted())
        throw MediaError(MediaErrorCode::undecodable, path,
                         "is encrypted, and there is no key to it here; get a copy that is not");
    if (!frame)
        throw MediaError(MediaErrorCode::undecodable, path,
                         "no picture of its " + out.info.videoCodec +
                             " stream can be decoded; the file is damaged or cut off, get a complete copy");
    const bool still = isStill(file, decoder);
    fillPicture(file, stream, *frame, still, out);
    fillTimes(stream, *frame, out);
    if (still)
        keepStill(stillOf(std::move(frame), out.info, *bytes), out);
    else
        fillRate(file, stream, out);
    fillSound(file, out);
    if (!still) out.info.leftOut = restOfClip(file.context(), out.videoStream, out.audioStream);
    return out;
}

}  // namespace

ColourMatrix matrixOf(AVColorSpace space) noexcept {
    if (space == AVCOL_SPC_BT2020_NCL) return ColourMatrix::bt2020;
    return space == AVCOL_SPC_BT709 ? ColourMatrix::bt709 : ColourMatrix::bt601;
}

FieldOrder fieldsOf(const AVFrame& frame) noexcept {
    if (frame.interlaced_frame == 0) return FieldOrder::progressive;
    return frame.top_field_first != 0 ? FieldOrder::topFirst : FieldOrder::bottomFirst;
}

ProbeDetail probeDetail(const std::string& path, CancelFlag cancel,
                        const std::optional<FileIdentity>& identity) {
    if (isPattern(path)) return probePattern(path);
    const auto bytes = std::make_shared<InputBytes>(path);
    if (identity && *identity != bytes->identity()) throwChanged(path);
    ProbeDetail out;
    runWithMemoryAllowance(path, [&] {
        out = withinAllowance<ProbeDetail>(path, cancel, [bytes](CancelFlag flag) {
            if (heifKind(*bytes) == HeifKind::picture) return probeHeif(*bytes, flag);
            if (isAnimatedWebp(*bytes)) return probeWebp(*bytes, flag);
            return probeFile(bytes, flag);
        });
    });
    out.bytes = bytes;
    out.info.identity = bytes->identity();
    return out;
}

MediaInfo probe(const std::string& path, CancelFlag cancel) {
    return probeDetail(path, cancel).info;
}

}  // namespace tumblewash::media
