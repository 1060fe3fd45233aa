#include "media/detail/Input.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "media/Picture.h"
#include "media/Probe.h"
#include "media/detail/Allowance.h"
#include "media/detail/CostlyInput.h"

extern "C" {
#include <libavutil/cpu.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/pixdesc.h>
}

namespace tumblewash::media {

namespace {

// Every decoder thread holds pictures of its own: there are fewer threads for large ones.
constexpr int kMaxDecoderThreads = 8;
constexpr int64_t kThreadsBytes = 200 << 20;

// Pictures that the library may decode by itself while it looks at a file.
constexpr int64_t kMostPixelsUncounted = 10'000'000;

// More scans than this of one JPEG picture are there to keep a decoder busy.
constexpr int kMostScans = 200;

// Opening a file, or looking for its first picture. Seconds of the processor, so that a slow disk or a busy
// machine refuses nothing.
constexpr double kOpeningSeconds = 4;

// A decoder that only reports errors while it is emptied is given up after this many.
constexpr int kMaxDrainErrors = 256;

// Lists of other files, text drawn as pictures, and raw bytes without a header are no clips.
bool refusedFormat(std::string_view name) {
    constexpr std::array names{"tty",    "bin",      "xbin",  "adf",        "idf",
                               "concat", "hls",      "dash",  "sdp",        "rtsp",
                               "data",   "rawvideo", "lavfi", "ffmetadata", "webm_dash_manifest"};
    return std::any_of(names.begin(), names.end(), [&](std::string_view n) { return n == name; });
}

bool holdsLargeDeep(const AVCodecParameters& video) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(video.format));
    return isLargeDeep(format != nullptr && format->comp[0].depth > 8, video.width, video.height);
}

int64_t lengthOrNone(int64_t length) {
    return length < 0 || length > kFarthestTime ? 0 : length;
}

/// Decoders hand on whatever number a file holds. One that names nothing counts as not said.
template <typename Name>
void nameOr(Name none, int names, Name& value) {
    int number = 0;
    static_assert(sizeof number == sizeof value);
    std::memcpy(&number, &value, sizeof number);
    if (number < 0 || number >= names) value = none;
}

[[noreturn]] void undecodable(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::undecodable, path, why);
}

/// Ends a WebP file behind its picture and the metadata that may follow it. FFmpeg's decoder answers some
/// chunks there (a second header, an empty one, an endless one) with the picture and an error at once, and
/// its library ends the program over that contradiction. The length in the file's header follows.
void endBehindPicture(AVPacket& webp) {
    constexpr int kFileHeader = 12;
    constexpr int kChunkHeader = 8;
    const auto is = [&](int at, std::string_view name) {
        return std::string_view(reinterpret_cast<const char*>(webp.data) + at, name.size()) == name;
    };
    bool picture = false;
    for (int64_t at = kFileHeader; at + kChunkHeader < webp.size;) {
        const int chunk = static_cast<int>(at);
        const int64_t length = AV_RL32(webp.data + chunk + 4);
        const bool whole = length <= webp.size - at - kChunkHeader;
        const bool metadata = is(chunk, "EXIF") || is(chunk, "XMP ") || is(chunk, "ICCP");
        if (picture && !(whole && metadata)) {
            if (av_packet_make_writable(&webp) < 0) throw std::bad_alloc();
            av_shrink_packet(&webp, chunk);
            AV_WL32(webp.data + 4, static_cast<uint32_t>(chunk - 8));
            return;
        }
        picture = picture || is(chunk, "VP8 ") || is(chunk, "VP8L");
        at += kChunkHeader + length + length % 2;
    }
}

/// What a file is by its content.
struct Recognised {
    const AVInputFormat* format = nullptr;  ///< null when interrupted
    AVCodecID photo = AV_CODEC_ID_NONE;     ///< what a photo is coded in, as far as its content tells
};

/// The codec of the pictures that FFmpeg's piped reader of this name takes, which but for two is the codec's.
AVCodecID codecOfPhotos(std::string_view reader) {
    if (reader == "jpeg") return AV_CODEC_ID_MJPEG;
    if (reader == "j2k") return AV_CODEC_ID_JPEG2000;
    const AVCodecDescriptor* codec = avcodec_descriptor_get_by_name(std::string(reader).c_str());
    return codec == nullptr ? AV_CODEC_ID_NONE : codec->id;
}

/// A file is what it holds, whatever it is called: a text called .mp4 is told apart here, and a WebP called
/// .jpg is read as one. Its name is asked only where the content says nothing.
Recognised recognise(const InputBytes& bytes, const std::string& url, const AVIOInterruptCB& interrupt) {
    const InputIoPtr io = bytes.open(interrupt);
    checkNoDrawing(*io, bytes.path());
    checkHeader(*io, bytes.path());
    if (avio_seek(io.get(), 0, SEEK_SET) < 0) return {};
    const AVInputFormat* format = nullptr;
    int score = av_probe_input_buffer2(io.get(), &format, "", nullptr, 0, 0);
    if (score != AVERROR_EXIT && score <= AVPROBE_SCORE_RETRY)
        score = av_probe_input_buffer2(io.get(), &format, url.c_str(), nullptr, 0, 0);
    if (score == AVERROR_EXIT) return {};
    if (format != nullptr && std::string_view(format->name) == "svg_pipe") refuseDrawing(bytes.path());
    throwIfNoRoom(score);
    if (score < 0 || format == nullptr || refusedFormat(format->name))
        undecodable(bytes.path(), "unsupported file format; convert it to MP4 or PNG first");
    constexpr std::string_view piped = "_pipe";
    const std::string_view name = format->name;
    if (!name.ends_with(piped)) return {format};
    // The piped picture readers cut files at guessed borders; the file reader takes one as a whole.
    return {av_find_input_format("image2"), codecOfPhotos(name.substr(0, name.size() - piped.size()))};
}

}  // namespace

InputFile::InputFile(std::shared_ptr<const InputBytes> bytes, CancelFlag cancel)
    : bytes_(std::move(bytes)), cancel_(cancel) {
    bytes_->checkUnchanged();
    throwIfRaised(cancel, path());
    setDeadline(kOpeningSeconds);
    const std::string url = "file:" + path();
    AVFormatContext* raw = orBadAlloc(avformat_alloc_context());
    raw->interrupt_callback = {&InputFile::interrupted, this};
    raw->opaque = this;
    raw->io_open = &InputFile::openSame;
    raw->io_close2 = &InputFile::closeSame;
    Recognised found;
    try {
        found = recognise(*bytes_, url, raw->interrupt_callback);
        image_ = found.format != nullptr && std::strcmp(found.format->name, "image2") == 0;
        // The reader of pictures asks for the file by its name, and gets the same one.
        if (!image_) io_ = bytes_->open(raw->interrupt_callback);
    } catch (...) {
        avformat_free_context(raw);
        throw;
    }
    const AVInputFormat* const format = found.format;
    raw->pb = io_.get();
    if (format == nullptr) {
        avformat_free_context(raw);
        throwIfRaised(cancel, path());
        undecodable(path(), "takes too long to recognise; it is damaged, get a complete copy");
    }
    raw->video_codec_id = found.photo;
    AVDictionary* options = nullptr;
    int opened = av_dict_set(&options, "protocol_whitelist", "file", 0);
    if (opened >= 0 && image_) opened = av_dict_set(&options, "pattern_type", "none", 0);
    if (opened >= 0)
        opened = avformat_open_input(&raw, url.c_str(), format, &options);  // frees raw when it fails
    else
        avformat_free_context(raw);
    av_dict_free(&options);
    throwIfRaised(cancel, path());
    throwIfNoRoom(opened);
    if (opened < 0)
        undecodable(path(), "is damaged or cut off (" + avMessage(opened) + "); get a complete copy");
    context_.reset(raw);
    const int described = findStreams();
    throwIfRaised(cancel, path());
    throwIfNoRoom(described);
    if (described < 0)
        undecodable(path(), "is damaged or cut off (" + avMessage(described) + "); get a complete copy");
    for (unsigned i = 0; i < raw->nb_streams; ++i) {
        AVCodecParameters& parameters = *raw->streams[i]->codecpar;
        nameOr(AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_NB, parameters.color_space);
        nameOr(AVCOL_TRC_UNSPECIFIED, AVCOL_TRC_NB, parameters.color_trc);
        nameOr(AVCOL_PRI_UNSPECIFIED, AVCOL_PRI_NB, parameters.color_primaries);
    }
    clearDeadline();
}

/// The library opens files by name of its own accord, and may be told to by what a file holds: it gets this
/// file or none.
int InputFile::openSame(AVFormatContext* context, AVIOContext** io, const char* url, int flags,
                        AVDictionary**) {
    if (std::strcmp(url, context->url) != 0 || (flags & AVIO_FLAG_WRITE) != 0) return AVERROR(EACCES);
    try {
        *io = static_cast<InputFile*>(context->opaque)->bytes_->open(context->interrupt_callback).release();
        return 0;
    } catch (const std::bad_alloc&) {
        return AVERROR(ENOMEM);
    }
}

int InputFile::closeSame(AVFormatContext*, AVIOContext* io) {
    FreeInputIo()(io);
    return 0;
}

int InputFile::interrupted(void* self) {
    const auto* file = static_cast<const InputFile*>(self);
    return raised(file->cancel_) || file->late() ? 1 : 0;
}

void InputFile::setDeadline(double seconds) noexcept {
    deadline_ = threadSeconds() + seconds;
}

void InputFile::clearDeadline() noexcept {
    deadline_ = std::numeric_limits<double>::infinity();
}

bool InputFile::late() const noexcept {
    // The thread's clock is a call of the system, and most reading has no deadline.
    return std::isfinite(deadline_) && threadSeconds() > deadline_;
}

/// Fills in what the container does not say of its streams. 0 or more, or the library's error.
int InputFile::findStreams() {
    // The library would decode a photo for it, which the reader of a photo does anyway.
    if (image_) return 0;
    // It decodes without asking about memory: pictures beyond this size are left to our own decoder.
    std::vector<AVDictionary*> each(context_->nb_streams, nullptr);
    int found = 0;
    for (AVDictionary*& one : each)
        found = std::min(found, av_dict_set_int(&one, "max_pixels", kMostPixelsUncounted, 0));
    if (found == 0) found = avformat_find_stream_info(context_.get(), each.empty() ? nullptr : each.data());
    for (AVDictionary*& one : each) av_dict_free(&one);
    return found;
}

bool InputFile::read(AVPacket& packet) {
    const int got = av_read_frame(context_.get(), &packet);
    throwIfNoRoom(got);
    if (got < 0) return false;
    packet.pts = timeOrNone(packet.pts);
    packet.dts = timeOrNone(packet.dts);
    packet.duration = lengthOrNone(packet.duration);
    return true;
}

int InputFile::bestVideo() const noexcept {
    const int stream = av_find_best_stream(context_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (stream < 0) return -1;
    return (context_->streams[stream]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 ? -1 : stream;
}

int InputFile::bestAudio() const noexcept {
    const int stream = av_find_best_stream(context_.get(), AVMEDIA_TYPE_AUDIO, -1, bestVideo(), nullptr, 0);
    return stream < 0 ? -1 : stream;
}

AVStream& InputFile::stream(int index, AVMediaType kind) const {
    if (index < 0 || static_cast<unsigned>(index) >= context_->nb_streams) throwChanged(path());
    AVStream& stream = *context_->streams[index];
    if (stream.codecpar->codec_type != kind) throwChanged(path());
    return stream;
}

void InputFile::useOnly(int stream) noexcept {
    for (unsigned i = 0; i < context_->nb_streams; ++i)
        context_->streams[i]->discard = static_cast<int>(i) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

StreamDecoder::StreamDecoder(InputFile& file, int stream, AVMediaType kind, int threads, OnDamage onDamage)
    : file_(file),
      stream_(&file.stream(stream, kind)),
      memory_(file.isImage() ? DecoderMemory::Kind::photo : DecoderMemory::Kind::clip) {
    const AVCodecParameters& parameters = *stream_->codecpar;
    const AVCodec* decoder = avcodec_find_decoder(parameters.codec_id);
    if (parameters.codec_id == AV_CODEC_ID_SVG) refuseDrawing(file.path());
    // The library's own decoder of VP9 and VP8 leaves out the second stream, which holds transparency.
    if (const AVDictionaryEntry* mode = av_dict_get(stream_->metadata, "alpha_mode", nullptr, 0);
        mode != nullptr && std::strcmp(mode->value, "1") == 0) {
        const AVCodec* both =
            avcodec_find_decoder_by_name(parameters.codec_id == AV_CODEC_ID_VP9 ? "libvpx-vp9" : "libvpx");
        if (both != nullptr && both->id == parameters.codec_id) decoder = both;
    }
    if (decoder == nullptr)
        undecodable(file.path(), std::string("holds ") + avcodec_get_name(parameters.codec_id) +
                                     ", for which there is no decoder here; convert it first");
    codec_.reset(orBadAlloc(avcodec_alloc_context3(decoder)));
    if (avcodec_parameters_to_context(codec_.get(), &parameters) < 0) throw std::bad_alloc();
    codec_->pkt_timebase = stream_->time_base;
    if (onDamage != OnDamage::patch) codec_->err_recognition |= AV_EF_EXPLODE;
    const int wanted = std::clamp(threads > 0 ? threads : av_cpu_count(), 1, kMaxDecoderThreads);
    codec_->thread_count = wanted;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
        if (!memory_.fitsLimits(parameters.width, parameters.height))
            undecodable(file.path(), "claims pictures of " + std::to_string(parameters.width) + "x" +
                                         std::to_string(parameters.height) +
                                         ", more than this program accepts; scale it first");
        const int64_t picture =
            std::max<int64_t>(1, pictureBytes(parameters.width, parameters.height, parameters.format));
        // Each thread holds pictures. Where these are large and deep one fewer does: encoding them is slower.
        const bool fewer = holdsLargeDeep(parameters) && wanted > 1;
        codec_->thread_count =
            static_cast<int>(std::clamp<int64_t>(kThreadsBytes / picture, 1, fewer ? wanted - 1 : wanted));
    }
    memory_.watch(*codec_);
    const int opened = avcodec_open2(codec_.get(), decoder, nullptr);
    throwIfNotStarted(opened);
    if (opened < 0)
        undecodable(file.path(), std::string("its ") + decoder->name + " stream cannot be decoded (" +
                                     avMessage(opened) + "); convert it first");
    if (onDamage == OnDamage::refuseHeader) codec_->err_recognition &= ~AV_EF_EXPLODE;
}

/// Hands the decoder one more packet of the stream, or tells it that there are none left.
void StreamDecoder::feed() {
    for (;;) {
        throwIfRaised(file_.cancel(), file_.path());
        const bool read = file_.read(*packet_);
        const bool outOfPatience = patience_ > 0 && frames_ == 0 && packets_ > patience_;
        if (!read || outOfPatience) {
            throwIfRaised(file_.cancel(), file_.path());
            if (read) av_packet_unref(packet_.get());
            draining_ = true;
            avcodec_send_packet(codec_.get(), nullptr);
            return;
        }
        if (packet_->stream_index != stream_->index) {
            av_packet_unref(packet_.get());
            continue;
        }
        ++packets_;
        encrypted_ = encrypted_ ||
                     av_packet_get_side_data(packet_.get(), AV_PKT_DATA_ENCRYPTION_INFO, nullptr) != nullptr;
        if (codec_->codec_id == AV_CODEC_ID_WEBP) endBehindPicture(*packet_);
        if (codec_->codec_id == AV_CODEC_ID_MJPEG && !takesScans(*packet_)) {
            av_packet_unref(packet_.get());
            ++damaged_;
            continue;
        }
        const bool skim =
            skimmed_ != AV_NOPTS_VALUE && packet_->pts != AV_NOPTS_VALUE && packet_->pts < skimmed_;
        codec_->skip_frame = skim ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        const int sent = avcodec_send_packet(codec_.get(), packet_.get());
        av_packet_unref(packet_.get());
        if (memory_.refused()) undecodable(file_.path(), memory_.reason());
        throwIfNoRoom(sent);
        if (sent < 0) ++damaged_;
        return;
    }
}

/// False for a picture of a movie with absurdly many scans; a photo is refused for them. Each is a walk over
/// the whole picture, and some take only a few bytes.
bool StreamDecoder::takesScans(const AVPacket& packet) {
    const JpegScans scans = scansOf({packet.data, static_cast<size_t>(packet.size)}, file_.isImage());
    // Decoders keep the coefficients of a progressive picture until its last scan.
    memory_.addWorking(scans.progressive ? 2 : 0);
    if (scans.count <= kMostScans) return true;
    if (!file_.isImage()) return false;
    undecodable(file_.path(), "is drawn in " + std::to_string(scans.count) + " passes, more than " +
                                  std::to_string(kMostScans) + "; save it again with another program");
}

FramePtr StreamDecoder::next() {
    FramePtr frame = newFrame();
    for (;;) {
        const int received = avcodec_receive_frame(codec_.get(), frame.get());
        if (received == 0) {
            ++frames_;
            DecoderMemory::release(*frame);
            // A picture behind a seek may lack what it is made from, and is then no sign of damage.
            if ((frame->decode_error_flags & ~FF_DECODE_ERROR_MISSING_REFERENCE) != 0) ++patched_;
            frame->pts = timeOrNone(frame->best_effort_timestamp);
            frame->pkt_duration = lengthOrNone(frame->pkt_duration);
            nameOr(AVCOL_SPC_UNSPECIFIED, AVCOL_SPC_NB, frame->colorspace);
            nameOr(AVCOL_RANGE_UNSPECIFIED, AVCOL_RANGE_NB, frame->color_range);
            nameOr(AVCOL_TRC_UNSPECIFIED, AVCOL_TRC_NB, frame->color_trc);
            nameOr(AVCOL_PRI_UNSPECIFIED, AVCOL_PRI_NB, frame->color_primaries);
            return frame;
        }
        if (memory_.refused()) undecodable(file_.path(), memory_.reason());
        if (received == AVERROR_EOF) return nullptr;
        throwIfNoRoom(received);
        if (received != AVERROR(EAGAIN)) {
            ++damaged_;
            if (draining_ && ++drainErrors_ < kMaxDrainErrors) continue;
        }
        if (draining_) return nullptr;
        feed();
    }
}

void StreamDecoder::skimUntil(int64_t timestamp) noexcept {
    skimmed_ = timestamp;
    codec_->skip_loop_filter = AVDISCARD_ALL;
}

std::optional<int64_t> StreamDecoder::keyBefore(int64_t timestamp) const {
    const AVIndexEntry* entry =
        avformat_index_get_entry_from_timestamp(stream_, timestamp, AVSEEK_FLAG_BACKWARD);
    return entry != nullptr ? std::optional(entry->timestamp) : std::nullopt;
}

bool StreamDecoder::seek(int64_t timestamp) {
    if (av_seek_frame(&file_.context(), stream_->index, timestamp, AVSEEK_FLAG_BACKWARD) < 0) return false;
    avcodec_flush_buffers(codec_.get());
    draining_ = false;
    drainErrors_ = 0;
    return true;
}

}  // namespace tumblewash::media
