#include "media/detail/Source.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "media/detail/Allowance.h"
#include "media/detail/ExifOrientation.h"
#include "media/detail/WebpAnimation.h"

namespace tumblewash::media {

namespace {

// A step longer than this between two pictures is a broken clock, not a long picture.
constexpr double kMaxStepSeconds = 60;

// The pictures of this last stretch are decoded in full to find the end of a clip.
constexpr double kDecisiveSeconds = 1;

// Reading all packets may take this many seconds of the processor, and one more for so many megabytes.
constexpr double kScanSeconds = 4;
constexpr double kSlowestScan = 10;

int64_t frameTicks(const ProbeDetail& facts) {
    if (!facts.info.rate) return 1;
    return std::max<int64_t>(1, av_rescale_q(1, av_inv_q(asAv(facts.info.rate)), facts.timeBase));
}

int64_t maxStep(const ProbeDetail& facts) {
    return static_cast<int64_t>(
        std::max(kMaxStepSeconds / av_q2d(facts.timeBase), 4.0 * static_cast<double>(frameTicks(facts))));
}

/// The length of a picture that claims `claimed`. The last picture of a stream often claims half a length or
/// a stray one; near the rate, the rate is right.
int64_t pictureTicks(const ProbeDetail& facts, int64_t claimed) {
    const int64_t usual = frameTicks(facts);
    const bool usable = claimed > usual + usual * 6 / 10 && claimed <= maxStep(facts);
    return usable ? claimed : usual;
}

class FileSource final : public StreamSource {
  public:
    FileSource(const ProbeDetail& facts, int threads, CancelFlag cancel)
        : facts_(facts),
          file_(facts.bytes, cancel),
          decoder_(prepare(file_, facts), facts.videoStream, AVMEDIA_TYPE_VIDEO, threads) {}

    TimedFrame next() override {
        TimedFrame out;
        out.frame = decoder_.next();
        if (!out.frame) return out;
        out.duration = durationOf(*out.frame);
        out.pts = place(out.frame->pts);
        lastPts_ = out.pts;
        lastDuration_ = out.duration;
        started_ = true;
        return out;
    }

    int64_t damaged() const override { return decoder_.damaged(); }
    int64_t patched() const override { return decoder_.patched(); }

    /// Pictures well before `pts` matter only as far as others are made from them, and none is looked at.
    void skimUntil(int64_t pts) { decoder_.skimUntil(pts + facts_.firstPts); }

    bool seek(int64_t pts) override {
        if (!decoder_.seek(pts + facts_.firstPts)) return false;
        started_ = false;
        shift_ = 0;
        return true;
    }

    std::optional<int64_t> keyBefore(int64_t pts) const override {
        const std::optional<int64_t> key = decoder_.keyBefore(pts + facts_.firstPts);
        return key ? std::optional(*key - facts_.firstPts) : std::nullopt;
    }

  private:
    static InputFile& prepare(InputFile& file, const ProbeDetail& facts) {
        file.useOnly(facts.videoStream);
        return file;
    }

    int64_t durationOf(const AVFrame& frame) const {
        return pictureTicks(facts_, frame.repeat_pict == 0 ? frame.pkt_duration : 0);
    }

    int64_t place(int64_t stamp) {
        if (!started_) return stamp == AV_NOPTS_VALUE ? 0 : stamp - facts_.firstPts;
        if (stamp == AV_NOPTS_VALUE) return lastPts_ + lastDuration_;
        int64_t pts = stamp - facts_.firstPts + shift_;
        if (pts <= lastPts_ || pts - lastPts_ > maxStep(facts_)) {
            const int64_t follows = lastPts_ + lastDuration_;
            shift_ += follows - pts;
            pts = follows;
        }
        return pts;
    }

    const ProbeDetail facts_;
    InputFile file_;
    StreamDecoder decoder_;
    int64_t lastPts_ = 0;
    int64_t lastDuration_ = 1;
    int64_t shift_ = 0;
    bool started_ = false;
};

class PatternSource final : public StreamSource {
  public:
    PatternSource(const ProbeDetail& facts, CancelFlag cancel) : facts_(facts), cancel_(cancel) {}

    TimedFrame next() override {
        throwIfRaised(cancel_, facts_.info.path);
        TimedFrame out;
        if (index_ >= *facts_.info.frameCount) return out;
        const DrawnScene& drawn = *facts_.pattern;
        out.frame = newArgbFrame(drawn.width, drawn.height);
        drawPattern(drawn, static_cast<double>(index_) / drawn.rate.value(), out.frame->data[0],
                    out.frame->linesize[0]);
        out.pts = index_++;
        return out;
    }
    bool seek(int64_t pts) override {
        index_ = std::clamp<int64_t>(pts, 0, *facts_.info.frameCount);
        return true;
    }

  private:
    const ProbeDetail facts_;
    CancelFlag cancel_;
    int64_t index_ = 0;
};

/// A photo: the picture that was decoded when it was probed.
class StillSource final : public StreamSource {
  public:
    StillSource(const ProbeDetail& facts, CancelFlag cancel, bool deep)
        : still_(facts.still), path_(facts.info.path), cancel_(cancel), deep_(deep) {}

    TimedFrame next() override {
        throwIfRaised(cancel_, path_);
        TimedFrame out;
        if (given_) return out;
        given_ = true;
        out.frame = deep_ ? ordinaryDeep(*still_) : ordinary(*still_);
        return out;
    }
    bool seek(int64_t) override { return false; }

  private:
    const std::shared_ptr<const StillPicture> still_;
    const std::string path_;
    CancelFlag cancel_;
    const bool deep_;
    bool given_ = false;
};

/// The pictures of an animated WebP at the file's own times.
class WebpSource final : public StreamSource {
  public:
    WebpSource(const ProbeDetail& facts, CancelFlag cancel)
        : animation_(*facts.bytes), path_(facts.info.path), cancel_(cancel) {}

    TimedFrame next() override {
        throwIfRaised(cancel_, path_);
        TimedFrame out;
        still_.frame = animation_.next();
        if (!still_.frame) return out;
        if (index_ == 0) setProfile(still_, animation_.profile());
        out.frame = ordinary(still_);
        out.pts = pts_;
        out.duration = animation_.durations()[index_++];
        pts_ += out.duration;
        return out;
    }
    bool seek(int64_t) override { return false; }

  private:
    WebpAnimation animation_;
    const std::string path_;
    CancelFlag cancel_;
    StillPicture still_;
    size_t index_ = 0;
    int64_t pts_ = 0;
};

/// What reading all packets once tells of a file.
struct PacketScan {
    int64_t packets = 0;
    int64_t lastKey = AV_NOPTS_VALUE;  ///< time of the last key picture
    int64_t latest = AV_NOPTS_VALUE;   ///< greatest time of a picture
    int64_t latestDuration = 0;        ///< what that picture claims to last
    int64_t lastDts = AV_NOPTS_VALUE;  ///< of the last packet that has one
    bool regular = true;
    bool intact = true;     ///< no packet is marked as damaged or as not to be shown
    double endSeconds = 0;  ///< end of the longest stream, from the file's start time
};

PacketScan scanPackets(InputFile& file, const ProbeDetail& facts) {
    PacketScan out;
    const PacketPtr packet = newPacket();
    int64_t lastDts = AV_NOPTS_VALUE;
    const int64_t limit = maxStep(facts);
    const double start = file.context().start_time == AV_NOPTS_VALUE
                             ? 0
                             : static_cast<double>(file.context().start_time) / AV_TIME_BASE;
    // Reading goes by at hundreds of megabytes in a second, but packets may unfold to a thousand times their
    // size.
    const auto megabytes = static_cast<double>(std::max<int64_t>(0, avio_size(file.context().pb))) / 1e6;
    file.setDeadline(kScanSeconds + megabytes / kSlowestScan);
    while (file.read(*packet)) {
        const AVStream& stream = *file.context().streams[packet->stream_index];
        if (packet->pts != AV_NOPTS_VALUE)
            out.endSeconds = std::max(
                out.endSeconds,
                static_cast<double>(packet->pts + packet->duration) * av_q2d(stream.time_base) - start);
        if (packet->stream_index == facts.videoStream) {
            ++out.packets;
            if (packet->dts == AV_NOPTS_VALUE || packet->pts == AV_NOPTS_VALUE)
                out.regular = out.regular && out.packets == 1;
            else if (lastDts != AV_NOPTS_VALUE && (packet->dts < lastDts || packet->dts - lastDts > limit))
                out.regular = false;
            if (packet->dts != AV_NOPTS_VALUE) out.lastDts = lastDts = packet->dts;
            if (packet->pts != AV_NOPTS_VALUE && packet->pts > out.latest) {
                out.latest = packet->pts;
                out.latestDuration = packet->duration;
            }
            if ((packet->flags & (AV_PKT_FLAG_CORRUPT | AV_PKT_FLAG_DISCARD)) != 0) out.intact = false;
            if ((packet->flags & AV_PKT_FLAG_KEY) != 0 && packet->pts != AV_NOPTS_VALUE)
                out.lastKey = packet->pts;
        }
        av_packet_unref(packet.get());
    }
    throwIfRaised(file.cancel(), file.path());
    if (file.late())
        throw MediaError(
            MediaErrorCode::undecodable, file.path(),
            "takes too long to read; it is damaged or made to be slow, save it again with another "
            "program");
    file.clearDeadline();
    return out;
}

/// True when the packets, whose times are regular, alone tell where the pictures end: each is one picture of
/// a codec without hidden ones, and they follow one another at the clip's rate.
bool packetsArePictures(const PacketScan& scan, const ProbeDetail& facts, const AVStream& stream) {
    switch (stream.codecpar->codec_id) {
        case AV_CODEC_ID_H264:
        case AV_CODEC_ID_HEVC:
        case AV_CODEC_ID_MJPEG:
        case AV_CODEC_ID_PRORES:
        case AV_CODEC_ID_DNXHD:
        case AV_CODEC_ID_DVVIDEO:
            break;
        default:
            return false;
    }
    if (!scan.intact || !facts.info.rate) return false;
    const int64_t steps =
        av_rescale_q(scan.latest - facts.firstPts, facts.timeBase, av_inv_q(asAv(facts.info.rate)));
    return steps + 1 == scan.packets;
}

/// Only the last pictures decide where a clip ends: everything before them is decoded as roughly as it goes.
void skimTo(FileSource& source, const PacketScan& scan, const ProbeDetail& facts) {
    if (!scan.regular || scan.latest == AV_NOPTS_VALUE) return;
    const auto decisive = static_cast<int64_t>(kDecisiveSeconds / av_q2d(facts.timeBase));
    source.skimUntil(scan.latest - facts.firstPts - decisive);
}

/// Decodes from `source`'s position to the end. False when there was nothing.
bool lastPicture(StreamSource& source, Extent& extent) {
    bool any = false;
    for (TimedFrame timed = source.next(); timed.frame; timed = source.next()) {
        extent.lastPts = any ? std::max(extent.lastPts, timed.pts) : timed.pts;
        extent.lastDuration = timed.duration;
        any = true;
    }
    return any;
}

/// True when a seek to `target`, at or before the last key picture, gave that picture's group.
bool tailByKey(FileSource& source, int64_t target, int64_t lastKey, Extent& extent) {
    if (!source.seek(target)) return false;
    TimedFrame first = source.next();
    if (!first.frame || first.frame->pts == AV_NOPTS_VALUE || first.pts > lastKey) return false;
    extent.lastPts = first.pts;
    extent.lastDuration = first.duration;
    Extent rest;
    if (lastPicture(source, rest) && rest.lastPts > extent.lastPts) {
        extent.lastPts = rest.lastPts;
        extent.lastDuration = rest.lastDuration;
    }
    return extent.lastPts >= lastKey;
}

std::string missingPart(const InputFile& file, const ProbeDetail& facts, const PacketScan& scan) {
    const auto text = [](double seconds) {
        char out[32];
        std::snprintf(out, sizeof out, "%.1f s", seconds);
        return std::string(out);
    };
    const AVStream& stream = file.stream(facts.videoStream, AVMEDIA_TYPE_VIDEO);
    // AVI counts places in time: where a picture comes late, its place holds an empty piece, which is no
    // packet, and packets bear the number of their place as their time.
    const bool places =
        facts.info.container.find("avi") != std::string::npos && scan.lastDts != AV_NOPTS_VALUE;
    const int64_t held = places ? std::max(scan.packets, scan.lastDts + 1) : scan.packets;
    if (stream.nb_frames > held)
        return "the file is cut off: " + std::to_string(stream.nb_frames - held) + " of " +
               std::to_string(stream.nb_frames) + " pictures (" +
               text(static_cast<double>(stream.nb_frames - held) / facts.info.rate.value()) + ") are missing";
    const AVFormatContext& context = file.context();
    const double claimed = static_cast<double>(context.duration) / AV_TIME_BASE;
    if (context.duration > 0 && context.duration_estimation_method == AVFMT_DURATION_FROM_STREAM &&
        claimed - scan.endSeconds > 0.5)
        return "the file is cut off: " + text(claimed - scan.endSeconds) + " of " + text(claimed) +
               " are missing";
    return {};
}

/// Says so when a still can only be had with its missing part patched up.
std::string patchedPart(const ProbeDetail& facts, CancelFlag cancel) {
    constexpr const char* patched = "the picture is damaged or cut off; what is missing of it is made up";
    // The strict decoder of TIFF takes every tag that it does not know for damage.
    if (facts.info.videoCodec == "tiff") return tiffIsCutOff(*facts.bytes) ? patched : "";
    const bool whole = withinAllowance<bool>(
        facts.info.path, cancel, [bytes = facts.bytes, stream = facts.videoStream](CancelFlag flag) {
            InputFile file(bytes, flag);
            StreamDecoder strict(file, stream, AVMEDIA_TYPE_VIDEO, 1, OnDamage::drop);
            return strict.next() != nullptr;
        });
    return whole ? "" : patched;
}

/// The end of a file whose pictures' times are all known.
Extent extentOfTimes(const ProbeDetail& facts) {
    Extent out;
    out.seekable = false;
    out.warning = facts.damage;
    out.lastDuration = facts.milliseconds.back();
    out.lastPts = std::accumulate(facts.milliseconds.begin(), facts.milliseconds.end() - 1, int64_t{0});
    return out;
}

}  // namespace

std::unique_ptr<StreamSource> openSource(const ProbeDetail& facts, int threads, CancelFlag cancel,
                                         bool deep) {
    if (facts.pattern) return std::make_unique<PatternSource>(facts, cancel);
    if (facts.still) return std::make_unique<StillSource>(facts, cancel, deep);
    if (!facts.milliseconds.empty()) return std::make_unique<WebpSource>(facts, cancel);
    return std::make_unique<FileSource>(facts, threads, cancel);
}

Extent measureExtent(const ProbeDetail& facts, int threads, CancelFlag cancel) {
    Extent extent;
    if (facts.pattern) {
        extent.lastPts = *facts.info.frameCount - 1;
        return extent;
    }
    if (facts.info.kind == MediaKind::still) {
        extent.warning = facts.videoStream >= 0 ? patchedPart(facts, cancel) : facts.damage;
        return extent;
    }
    if (!facts.milliseconds.empty()) return extentOfTimes(facts);
    PacketScan scan;
    {
        InputFile file(facts.bytes, cancel);
        scan = scanPackets(file, facts);
        extent.warning = missingPart(file, facts, scan);
        extent.seekable = scan.regular && scan.lastKey != AV_NOPTS_VALUE;
        if (extent.seekable &&
            packetsArePictures(scan, facts, file.stream(facts.videoStream, AVMEDIA_TYPE_VIDEO))) {
            extent.lastPts = scan.latest - facts.firstPts;
            extent.lastDuration = pictureTicks(facts, scan.latestDuration);
            return extent;
        }
    }
    FileSource source(facts, threads, cancel);
    skimTo(source, scan, facts);
    const int64_t lastKey = extent.seekable ? scan.lastKey - facts.firstPts : 0;
    // Program streams search by the times of packets and may land behind the key picture: a second try starts
    // earlier.
    for (const double early : {0.0, 2.0}) {
        const int64_t target = lastKey - static_cast<int64_t>(early / av_q2d(facts.timeBase));
        if (extent.seekable && target > 0 && tailByKey(source, target, lastKey, extent)) return extent;
    }
    FileSource again(facts, threads, cancel);
    skimTo(again, scan, facts);
    lastPicture(again, extent);
    return extent;
}

}  // namespace tumblewash::media
