#include "media/detail/SoundSplicer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <deque>
#include <optional>

#include "media/detail/Input.h"
#include "media/detail/SoundCopyDetail.h"

namespace tumblewash::media {

namespace {

// Copied packets that wait, so that the copy may end at an earlier one where the last does not fit what
// follows.
constexpr int64_t kWaiting = 8;
// Packets behind the place of joining that an encoder is asked for before a try is judged.
constexpr int64_t kBehind = 6;
// An encoder that begins this early has settled at the place of joining.
constexpr double kSettling = 0.1;
// A joint is no such thing when its difference from the signal has more than this part of the signal's
// power...
constexpr double kMostDifference = 0.5;
// ...unless it is this quiet, in power of full scale.
constexpr double kQuiet = 1e-8;

/// The clip's packets, one after another.
class SoundWalk {
  public:
    SoundWalk(const SoundCopy::Detail& copy, CancelFlag cancel) : copy_(copy), file_(copy.bytes, cancel) {
        file_.useOnly(copy.stream);
    }

    /// Packet `number`, which comes after the last one.
    PacketPtr at(int64_t number) {
        PacketPtr packet = newPacket();
        while (next_ <= number) {
            av_packet_unref(packet.get());
            if (!file_.read(*packet)) {
                throwIfRaised(file_.cancel(), file_.path());
                throwChanged(file_.path());
            }
            if (packet->stream_index == copy_.stream) ++next_;
        }
        return packet;
    }

  private:
    const SoundCopy::Detail& copy_;
    InputFile file_;
    int64_t next_ = 0;
};

ByteView viewOf(const AVPacket& packet) {
    return {packet.data, static_cast<size_t>(std::max(0, packet.size))};
}

}  // namespace

struct SoundSplicer::Impl {
    Impl(const std::string& name, const WriterSettings& wanted, MakeEncoder maker, Emit to)
        : output(name),
          settings(wanted),
          copy(wanted.soundCopy->detail()),
          width(static_cast<size_t>(wanted.channels)),
          make(std::move(maker)),
          emit(std::move(to)),
          walk(copy, wanted.cancel),
          next(copy.first),
          pattern(make(0, [](AVPacket&) {})) {
        padding = pattern->codec().initial_padding;
        settling = static_cast<int64_t>(kSettling * settings.sampleRate / static_cast<double>(copy.unit)) + 1;
        if (pattern->codec().frame_size != copy.unit) throw SoundCopyFailed(output);
    }

    /// Where the packets are that wait, and the one behind them.
    int64_t firstWaiting() const { return next - static_cast<int64_t>(waiting.size()); }

    int64_t heardUpTo() const { return begin + static_cast<int64_t>(kept.size() / width); }

    void keep(const float* interleaved, size_t frames) {
        kept.insert(kept.end(), interleaved, interleaved + frames * width);
    }

    /// Forgets samples that no encoder will be given any more.
    void forget() {
        const int64_t from = copy.at(firstWaiting()) + padding - settling * copy.unit;
        if (from - begin < settings.sampleRate) return;
        kept.erase(kept.begin(),
                   kept.begin() + static_cast<ptrdiff_t>(static_cast<size_t>(from - begin) * width));
        begin = from;
    }

    void give(AVPacket& packet, int64_t place) {
        packet.pts = packet.dts = place;
        packet.duration = copy.unit;
        packet.flags = AV_PKT_FLAG_KEY;
        packet.pos = -1;
        av_packet_free_side_data(&packet);
        emit(packet);
    }

    void giveOldest() {
        give(*waiting.front(), copy.at(firstWaiting()));
        waiting.pop_front();
        copied += copy.unit;
    }

    /// Takes up the packets whose reach ends before sample `end`.
    void take(int64_t end) {
        while (next < copy.packets && copy.at(next) + 2 * copy.unit <= end) {
            waiting.push_back(walk.at(next++));
            if (static_cast<int64_t>(waiting.size()) > kWaiting) giveOldest();
        }
    }

    /// One try of joining: encoded packets from before the place on.
    struct Try {
        std::unique_ptr<SoundEncoder> encoder;
        std::shared_ptr<std::vector<PacketPtr>> packets = std::make_shared<std::vector<PacketPtr>>();
    };

    /// With halves of two windows, the samples of the overlap are changed as little as may be so that the
    /// encoder's makes of them what the copied packet's would of the true ones.
    Try encodeFor(int64_t place, const WindowHalf* copiedHalf, const WindowHalf* encodersHalf) {
        Try out;
        const int64_t from = place + padding - settling * copy.unit;
        out.encoder = make(from, [packets = out.packets](AVPacket& packet) {
            packets->push_back(newPacket());
            av_packet_move_ref(packets->back().get(), &packet);
        });
        std::vector<float> samples(static_cast<size_t>(heardUpTo() - from) * width, 0.0F);
        // Ahead of the movie there is silence.
        const auto ahead =
            static_cast<ptrdiff_t>(std::max<int64_t>(0, begin - from)) * static_cast<ptrdiff_t>(width);
        const auto skipped =
            static_cast<ptrdiff_t>(std::max<int64_t>(0, from - begin)) * static_cast<ptrdiff_t>(width);
        std::copy(kept.begin() + skipped, kept.end(), samples.begin() + ahead);
        if (copiedHalf != nullptr)
            bendOverlap(samples.data() + static_cast<size_t>(place - from) * width, width, copiedHalf->kaiser,
                        encodersHalf->kaiser);
        out.encoder->samples(samples.data(), samples.size() / width);
        if (ended) out.encoder->finish();
        return out;
    }

    static const AVPacket* packetAt(const Try& from, int64_t place) {
        for (const PacketPtr& packet : *from.packets)
            if (packet->pts == place) return packet.get();
        return nullptr;
    }

    /// A try in which the encoded packet at `place` can follow the last of `held` waiting ones.
    std::optional<Try> joinAt(int64_t place, size_t held) {
        if (held == 0) return encodeFor(place, nullptr, nullptr);
        const ByteView last = viewOf(*waiting[held - 1]);
        Try tried = encodeFor(place, nullptr, nullptr);
        if (copy.codec == AV_CODEC_ID_AAC) {
            const std::optional<WindowHalf> before = windowBehind(last);
            if (!before) return std::nullopt;
            const auto encoded = [&] {
                const AVPacket* same = packetAt(tried, place - copy.unit);
                return same == nullptr ? std::nullopt : windowBehind(viewOf(*same));
            };
            std::optional<WindowHalf> own = encoded();
            if (!own || own->longHalf != before->longHalf) return std::nullopt;
            if (own->kaiser != before->kaiser) {
                if (!own->longHalf) return std::nullopt;
                const WindowHalf plain = *own;
                tried = encodeFor(place, &*before, &plain);
                own = encoded();
                if (!own || !(*own == plain)) return std::nullopt;
            }
        } else {
            const AVPacket* following = packetAt(tried, place);
            if (following == nullptr || !isTransformOpus(last) || !isTransformOpus(viewOf(*following)))
                return std::nullopt;
        }
        if (!soundsAlike(tried, place, held)) return std::nullopt;
        return tried;
    }

    /// True when what waits and what was encoded, decoded one behind the other, is the sound around the
    /// place.
    bool soundsAlike(const Try& tried, int64_t place, size_t held) const {
        const AVCodec* found = avcodec_find_decoder(copy.codec);
        if (found == nullptr) return true;
        const CodecPtr codec(orBadAlloc(avcodec_alloc_context3(found)));
        const std::unique_ptr<AVCodecParameters, AvFree<avcodec_parameters_free>> parameters(
            orBadAlloc(avcodec_parameters_alloc()));
        if (avcodec_parameters_from_context(parameters.get(), &tried.encoder->codec()) < 0 ||
            avcodec_parameters_to_context(codec.get(), parameters.get()) < 0)
            throw std::bad_alloc();
        codec->thread_count = 1;
        // The lead-in is that of the whole track, and these packets are none of it.
        codec->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
        const int opened = avcodec_open2(codec.get(), found, nullptr);
        throwIfNotStarted(opened);
        if (opened < 0) return false;
        double power = 0;
        double difference = 0;
        int64_t compared = 0;
        const FramePtr frame = newFrame();
        const auto hear = [&](const AVPacket& packet, int64_t at) {
            const int sent = avcodec_send_packet(codec.get(), &packet);
            throwIfNoRoom(sent);
            if (sent < 0 || avcodec_receive_frame(codec.get(), frame.get()) < 0) return false;
            const bool planar = frame->format == AV_SAMPLE_FMT_FLTP;
            if ((!planar && frame->format != AV_SAMPLE_FMT_FLT) || frame->nb_samples != copy.unit ||
                frame->ch_layout.nb_channels != settings.channels)
                return false;
            for (int64_t i = 0; i < copy.unit; ++i) {
                if (at < place - copy.unit || at + i < std::max<int64_t>(0, begin) || at + i >= heardUpTo())
                    continue;
                for (size_t c = 0; c < width; ++c) {
                    const auto n = static_cast<size_t>(i);
                    const double decoded =
                        planar ? reinterpret_cast<const float*>(frame->extended_data[c])[n]
                               : reinterpret_cast<const float*>(frame->data[0])[n * width + c];
                    const double wanted = kept[static_cast<size_t>(at + i - begin) * width + c];
                    power += wanted * wanted;
                    difference += (decoded - wanted) * (decoded - wanted);
                    ++compared;
                }
            }
            return true;
        };
        for (size_t i = 0; i < held; ++i)
            if (!hear(*waiting[i], place - static_cast<int64_t>(held - i) * copy.unit)) return false;
        for (int64_t i = 0; i < 2; ++i) {
            const AVPacket* packet = packetAt(tried, place + i * copy.unit);
            if (packet != nullptr && !hear(*packet, place + i * copy.unit)) return false;
        }
        return difference <= std::max(kMostDifference * power, kQuiet * static_cast<double>(compared));
    }

    /// Ends the copying where encoded packets can follow, as late as may be.
    void join() {
        for (size_t held = waiting.size();; --held) {
            const int64_t place = copy.at(firstWaiting() + static_cast<int64_t>(held));
            // What was handed on already has to be followed by something that waits.
            if (held == 0 && firstWaiting() > copy.first) throw SoundCopyFailed(output);
            std::optional<Try> tried = joinAt(place, held);
            if (!tried) continue;
            next = firstWaiting() + static_cast<int64_t>(held);
            waiting.resize(held);
            while (!waiting.empty()) giveOldest();
            joined = std::move(*tried);
            joinedAt = place;
            // The encoder's packets so far, and from now on as they come.
            giveEncoded();
            kept.clear();
            return;
        }
    }

    void giveEncoded() {
        for (const PacketPtr& packet : *joined->packets)
            if (packet->pts >= joinedAt) emit(*packet);
        joined->packets->clear();
    }

    void samples(const float* interleaved, size_t frames, bool own) {
        if (joined) {
            joined->encoder->samples(interleaved, frames);
            giveEncoded();
            return;
        }
        keep(interleaved, frames);
        if (!leaving) {
            leaving = !own;
            if (own) {
                take(heardUpTo());
                // Behind the clip's last packet there is silence, and nothing to copy.
                leaving = next == copy.packets;
            }
            if (!leaving) return forget();
        }
        if (heardUpTo() >= copy.at(next) + kBehind * copy.unit) join();
    }

    void finish() {
        ended = true;
        if (!joined) return join();
        joined->encoder->finish();
        giveEncoded();
    }

    const std::string output;
    const WriterSettings settings;
    const SoundCopy::Detail& copy;
    const size_t width;
    const MakeEncoder make;
    const Emit emit;
    SoundWalk walk;
    int64_t next;                           // packet of the clip
    std::unique_ptr<SoundEncoder> pattern;  // what the track is described by
    int64_t padding = 0;
    int64_t settling = 0;           // packets
    std::deque<PacketPtr> waiting;  // the packets before `next`
    std::vector<float> kept;        // interleaved, from sample `begin` on
    int64_t begin = 0;
    bool leaving = false;  // what comes is not the clip's alone any more
    bool ended = false;
    std::optional<Try> joined;
    int64_t joinedAt = 0;
    int64_t copied = 0;
};

SoundSplicer::SoundSplicer(const std::string& output, const WriterSettings& settings, MakeEncoder make,
                           Emit emit)
    : impl_(std::make_unique<Impl>(output, settings, std::move(make), std::move(emit))) {}
SoundSplicer::~SoundSplicer() = default;

void SoundSplicer::describe(AVStream& stream) const {
    const AVCodecContext& codec = impl_->pattern->codec();
    stream.time_base = codec.time_base;
    AVCodecParameters& parameters = *stream.codecpar;
    if (avcodec_parameters_from_context(&parameters, &codec) < 0) throw std::bad_alloc();
    parameters.initial_padding = static_cast<int>(lead());
    if (impl_->copy.codec == AV_CODEC_ID_OPUS && parameters.extradata_size >= 12) {
        parameters.extradata[10] = static_cast<uint8_t>(lead() & 255);
        parameters.extradata[11] = static_cast<uint8_t>(lead() >> 8);
    }
}

int64_t SoundSplicer::lead() const noexcept {
    return -impl_->copy.at(impl_->copy.first);
}
void SoundSplicer::samples(const float* interleaved, size_t frames, bool own) {
    impl_->samples(interleaved, frames, own);
}
void SoundSplicer::finish() {
    impl_->finish();
}
bool SoundSplicer::whole() const noexcept {
    return impl_->joined && impl_->joined->encoder->whole();
}
int64_t SoundSplicer::copied() const noexcept {
    return impl_->copied;
}

}  // namespace tumblewash::media
