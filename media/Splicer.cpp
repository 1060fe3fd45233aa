#include "media/detail/Splicer.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "media/detail/IndexDetail.h"
#include "media/detail/Input.h"
#include "media/detail/PacketRewriter.h"
#include "media/detail/SeamEncoder.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

namespace {

/// The packets of one clip, one after another, each the one that the index has at its place.
class PacketWalk {
  public:
    PacketWalk(const PacketIndex& index, CancelFlag cancel)
        : index_(index), file_(index.detail().file.bytes, cancel) {
        file_.useOnly(index.detail().file.videoStream);
    }

    /// Packet `number`, which is none before the last one.
    const AVPacket& at(int64_t number) {
        do {
            av_packet_unref(packet_.get());
            if (!file_.read(*packet_)) {
                throwIfRaised(file_.cancel(), file_.path());
                throwChanged(file_.path());
            }
            if (packet_->stream_index == index_.detail().file.videoStream) ++number_;
        } while (number_ < number || packet_->stream_index != index_.detail().file.videoStream);
        const IndexedPacket& known = index_.packets()[static_cast<size_t>(number)];
        if (packet_->pts != known.pts || packet_->size != static_cast<int>(known.bytes))
            throwChanged(file_.path());
        return *packet_;
    }

    const PacketIndex& index() const { return index_; }
    int64_t number() const { return number_; }

  private:
    const PacketIndex& index_;
    InputFile file_;
    PacketPtr packet_ = newPacket();
    int64_t number_ = -1;
};

TrackHeader headerOf(const AVCodecContext& codec) {
    TrackHeader out;
    out.bytes.assign(codec.extradata, codec.extradata + std::max(0, codec.extradata_size));
    out.lengthSize = 0;
    return out;
}

}  // namespace

struct Splicer::Impl {
    Impl(const std::string& name, const WriterSettings& wanted, Emit to)
        : output(name),
          settings(wanted),
          plan(*wanted.copies),
          colour(movieColourOf(name, wanted)),
          emit(std::move(to)) {
        for (const auto& clip : plan.clips)
            sources.push_back({clip->detail().header, clip->detail().lag, false});
        encoder = openSeamEncoder(output, settings, plan);
        lag = seamLag(*encoder);
        firstHeader = headerOf(*encoder);
        const auto encodes = [](const CopyRun& one) { return one.clip == CopyRun::kEncoded; };
        if (std::any_of(plan.runs.begin(), plan.runs.end(), encodes))
            sources.push_back({firstHeader, lag, true});
        for (const CopyRun& one : plan.runs)
            if (!encodes(one)) lag = std::max(lag, plan.clips[static_cast<size_t>(one.clip)]->lag(one.range));
        const auto codec = plan.clips.front()->facts().codec;
        rewriter = codec ? makeRewriter(*codec, sources) : nullptr;
        if (!rewriter) fail("its clips need more sets of coding parameters than one file holds");
    }

    [[noreturn]] void fail(const std::string& why) const {
        throw MediaError(MediaErrorCode::encoding, output, why);
    }

    const CopyRun& current() {
        while (run < plan.runs.size() && done == plan.runs[run].pictures()) {
            if (plan.runs[run].clip == CopyRun::kEncoded) flush();
            before += done;
            done = 0;
            ++run;
        }
        if (run == plan.runs.size()) fail("more pictures came than its plan has");
        return plan.runs[run];
    }

    /// Hands on a packet that shows picture `shown` of the movie.
    void give(const Bytes& bytes, int64_t shown, bool key) {
        const PacketPtr packet = newPacket();
        if (av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0) throw std::bad_alloc();
        std::memcpy(packet->data, bytes.data(), bytes.size());
        packet->pts = shown;
        packet->dts = decoded++ - lag;
        packet->duration = 1;
        if (key) packet->flags |= AV_PKT_FLAG_KEY;
        emit(*packet);
    }

    void receive() {
        const PacketPtr packet = newPacket();
        for (;;) {
            throwIfRaised(settings.cancel, output);
            const int got = avcodec_receive_packet(encoder.get(), packet.get());
            if (got == AVERROR(EAGAIN) || got == AVERROR_EOF) return;
            throwIfNoRoom(got);
            if (got < 0) fail("a picture of a seam cannot be encoded (" + avMessage(got) + ")");
            const bool key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
            const auto bytes = rewriter->rewritten(sources.size() - 1,
                                                   {packet->data, static_cast<size_t>(packet->size)}, false);
            if (!bytes) fail("its encoder made a packet that cannot follow copied ones");
            give(*bytes, before + packet->pts, key);
            av_packet_unref(packet.get());
        }
    }

    void send(const AVFrame* frame) {
        const int sent = avcodec_send_frame(encoder.get(), frame);
        throwIfNoRoom(sent);
        if (sent < 0) fail("a picture of a seam cannot be encoded (" + avMessage(sent) + ")");
        receive();
    }

    void flush() {
        send(nullptr);
        encoder.reset();
    }

    void encode(const PictureRef& picture) {
        if (current().clip != CopyRun::kEncoded) fail("a picture came that its plan has as copied");
        if (!encoder) {
            encoder = openSeamEncoder(output, settings, plan);
            if (headerOf(*encoder).bytes != firstHeader.bytes)
                fail("its encoder changed its coding parameters");
        }
        const FramePtr frame = encoderFrame(picture, settings, *encoder, colour);
        frame->sample_aspect_ratio = encoder->sample_aspect_ratio;
        frame->pts = done;
        send(frame.get());
        ++done;
    }

    void copy() {
        const CopyRun& from = current();
        if (from.clip == CopyRun::kEncoded) fail("a picture is missing that its plan has as encoded");
        const PacketIndex& index = *plan.clips[static_cast<size_t>(from.clip)];
        if (done == 0) {
            next = from.range.firstPacket;
            if (!walk || &walk->index() != &index || walk->number() >= next) {
                walk.reset();
                walk.emplace(index, settings.cancel);
            }
        }
        const auto known = [&]() -> const IndexedPacket& {
            return index.packets()[static_cast<size_t>(next)];
        };
        while (known().picture < from.range.firstPicture) ++next;
        const AVPacket& packet = walk->at(next);
        const auto bytes = rewriter->rewritten(static_cast<size_t>(from.clip),
                                               {packet.data, static_cast<size_t>(packet.size)}, done == 0);
        if (!bytes) throwChanged(index.info().path);
        give(*bytes, before + known().picture - from.range.firstPicture, known().kind != PacketKind::other);
        ++next;
        ++done;
    }

    void finish() {
        if (run < plan.runs.size() && plan.runs[run].clip == CopyRun::kEncoded && encoder) flush();
        walk.reset();
    }

    const std::string output;
    const WriterSettings settings;
    const CopyPlan& plan;
    const MovieColour colour;
    const Emit emit;
    std::vector<PacketSource> sources;
    TrackHeader firstHeader;
    std::unique_ptr<PacketRewriter> rewriter;
    CodecPtr encoder;
    std::optional<PacketWalk> walk;
    int64_t lag = 0;
    size_t run = 0;
    int64_t done = 0;     // pictures of the run
    int64_t before = 0;   // pictures of the runs before it
    int64_t decoded = 0;  // packets handed on
    int64_t next = 0;     // packet of the clip
};

Splicer::Splicer(const std::string& output, const WriterSettings& settings, Emit emit)
    : impl_(std::make_unique<Impl>(output, settings, std::move(emit))) {}
Splicer::~Splicer() = default;

void Splicer::describe(AVStream& stream) const {
    const AVCodecContext& codec = *impl_->encoder;
    stream.time_base = codec.time_base;
    stream.avg_frame_rate = stream.r_frame_rate = codec.framerate;
    stream.sample_aspect_ratio = codec.sample_aspect_ratio;
    AVCodecParameters& parameters = *stream.codecpar;
    if (avcodec_parameters_from_context(&parameters, &codec) < 0) throw std::bad_alloc();
    const Bytes header = impl_->rewriter->header();
    av_freep(&parameters.extradata);
    parameters.extradata_size = 0;
    if (!header.empty()) {
        parameters.extradata =
            static_cast<uint8_t*>(orBadAlloc(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE)));
        std::memcpy(parameters.extradata, header.data(), header.size());
        parameters.extradata_size = static_cast<int>(header.size());
    }
    if (impl_->rewriter->profile() != PacketRewriter::kEncoders)
        parameters.profile = impl_->rewriter->profile();
    if (impl_->rewriter->level() != PacketRewriter::kEncoders) parameters.level = impl_->rewriter->level();
    parameters.video_delay = static_cast<int>(impl_->lag);
    parameters.bit_rate = 0;
}

void Splicer::picture(const PictureRef& picture) {
    impl_->encode(picture);
}
void Splicer::copied() {
    impl_->copy();
}
void Splicer::finish() {
    impl_->finish();
}

std::string trackTrouble(const std::vector<std::shared_ptr<const PacketIndex>>& clips) {
    std::vector<PacketSource> sources;
    for (const auto& clip : clips) sources.push_back({clip->detail().header, clip->detail().lag, false});
    const auto codec = clips.empty() ? std::nullopt : clips.front()->facts().codec;
    if (codec && matchesClip(*clips.front())) {
        // The seams' own sets need a place beside the clips'.
        const std::unique_ptr<PacketRewriter> rewriter = makeRewriter(*codec, sources);
        if (rewriter && rewriter->hasRoom()) return {};
    }
    if (codec == Codec::ffv1 || codec == Codec::dnxhr)
        return std::string("the clips are ") + (codec == Codec::ffv1 ? "FFV1" : "DNxHR") +
               " of several kinds, or of one that the encoder of the seams does not write";
    return "the clips need more sets of coding parameters than one file holds";
}

}  // namespace tumblewash::media
