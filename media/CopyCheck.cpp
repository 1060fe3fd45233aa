#include "media/detail/CopyCheck.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <optional>
#include <system_error>
#include <type_traits>

#include "media/detail/IndexDetail.h"
#include "media/detail/Input.h"
#include "media/detail/PacketFile.h"

namespace tumblewash::media {

namespace {

// Decoded on each side of a splice.
constexpr double kSeconds = 1;

/// Pictures of a file by their times.
class Decoded {
  public:
    Decoded(const std::shared_ptr<const InputBytes>& bytes, int stream, CancelFlag cancel, bool strict)
        : file_(bytes, cancel), stream_(stream < 0 ? file_.bestVideo() : stream) {
        file_.useOnly(stream_);
        // The decoder of Motion JPEG does not tell which pictures are patched, but leaves them out if asked.
        const bool jpeg = file_.stream(stream_, AVMEDIA_TYPE_VIDEO).codecpar->codec_id == AV_CODEC_ID_MJPEG;
        // A header that was read in part, for want of memory for one, makes some decoders crash later.
        decoder_.emplace(file_, stream_, AVMEDIA_TYPE_VIDEO, 1,
                         strict && jpeg ? OnDamage::drop : OnDamage::refuseHeader);
    }

    AVRational base() const { return decoder_->stream().time_base; }

    /// The fingerprints of the pictures with times from `first` to `last`, in order, decoded from the key
    /// picture at `key` or an earlier one; nothing when a strict decoding met damage, patched or not.
    std::vector<PicturePrint> between(int64_t key, int64_t first, int64_t last, bool strict) {
        // Some containers search by the times of decoding, and land behind the key picture that is needed.
        for (const double early : {0.0, 2.0, 1e6}) {
            const int64_t target = key - static_cast<int64_t>(early / av_q2d(base()));
            if (!decoder_->seek(target)) continue;
            const int64_t before = damage();
            FramePtr frame = decoder_->next();
            if (!frame || frame->pts > key) continue;
            std::vector<PicturePrint> found = sums(std::move(frame), first, last);
            return strict && damage() != before ? std::vector<PicturePrint>{} : found;
        }
        return {};
    }

  private:
    /// Packets and pictures so far that were not all there.
    int64_t damage() const { return decoder_->damaged() + decoder_->patched(); }

    std::vector<PicturePrint> sums(FramePtr frame, int64_t first, int64_t last) {
        std::vector<PicturePrint> out;
        for (; frame && frame->pts <= last; frame = decoder_->next())
            if (frame->pts >= first) out.push_back(printOf(*frame));
        return out;
    }

    InputFile file_;
    int stream_;
    std::optional<StreamDecoder> decoder_;
};

class Check {
  public:
    Check(const std::string& output, int file, const WriterSettings& settings)
        : output_(output),
          settings_(settings),
          bytes_(std::make_shared<const InputBytes>("/proc/self/fd/" + std::to_string(file))) {}

    void run() {
        readTimes();
        int64_t first = 0;
        for (size_t i = 0; i < plan().runs.size(); ++i) {
            const CopyRun& run = plan().runs[i];
            if (run.clip != CopyRun::kEncoded) {
                const int64_t window =
                    std::clamp<int64_t>(std::llround(kSeconds * settings_.rate.value()), 1, run.pictures());
                compare(run, first, 0, window);
                if (i + 1 < plan().runs.size()) compare(run, first, run.pictures() - window, window);
            }
            first += run.pictures();
        }
    }

  private:
    const CopyPlan& plan() const { return *settings_.copies; }

    [[noreturn]] void failed(const std::string& check) const { throw CopyCheckFailed(output_, check); }

    /// Every picture has its packet, at its time and no other.
    void readTimes() {
        InputFile file(bytes_, settings_.cancel);
        const int stream = file.bestVideo();
        if (stream < 0) failed("the copy holds no pictures");
        file.useOnly(stream);
        const AVRational base = file.stream(stream, AVMEDIA_TYPE_VIDEO).time_base;
        const PacketPtr packet = newPacket();
        int64_t decoded = AV_NOPTS_VALUE;
        while (file.read(*packet)) {
            if (packet->stream_index == stream) {
                if (packet->dts != AV_NOPTS_VALUE && decoded != AV_NOPTS_VALUE && packet->dts <= decoded)
                    failed("the copy's packets are not in the order of decoding");
                if (packet->dts != AV_NOPTS_VALUE) decoded = packet->dts;
                if (packet->pts == AV_NOPTS_VALUE) failed("a packet of the copy has no time");
                times_.push_back(packet->pts);
            }
            av_packet_unref(packet.get());
        }
        throwIfRaised(settings_.cancel, output_);
        std::sort(times_.begin(), times_.end());
        int64_t pictures = 0;
        for (const CopyRun& run : plan().runs) pictures += run.pictures();
        if (static_cast<int64_t>(times_.size()) != pictures)
            failed("the copy holds " + std::to_string(times_.size()) + " packets for " +
                   std::to_string(pictures) + " pictures");
        const AVRational frame = av_inv_q(asAv(settings_.rate));
        for (size_t i = 0; i < times_.size(); ++i) {
            const int64_t wanted = av_rescale_q(static_cast<int64_t>(i), frame, base);
            // Times of some containers are rounded to a millisecond.
            if (std::abs(times_[i] - times_.front() - wanted) > 1)
                failed("picture " + std::to_string(i) + " of the copy is not at its time");
        }
    }

    Decoded& sourceOf(int clip) {
        if (clip_ != clip || !source_) {
            const PacketIndex::Detail& known = plan().clips[static_cast<size_t>(clip)]->detail();
            source_.reset();
            source_.emplace(known.file.bytes, known.file.videoStream, settings_.cancel, false);
            shown_.clear();
            for (const IndexedPacket& packet : known.packets)
                if (packet.picture >= 0) shown_.push_back(packet.pts);
            std::sort(shown_.begin(), shown_.end());
            clip_ = clip;
        }
        return *source_;
    }

    /// The time of the last place in the clip from which its picture `picture` is decoded in full.
    int64_t keyFor(const CopyRun& run, int64_t picture) const {
        const auto& packets = plan().clips[static_cast<size_t>(run.clip)]->packets();
        int64_t key = packets.front().pts;
        for (const IndexedPacket& packet : packets)
            if (packet.kind != PacketKind::other && packet.picture >= 0 && packet.picture <= picture)
                key = packet.pts;
        return key;
    }

    /// Does the work in a thread of its own; when it is asked for, where there shall be none or none can be
    /// started.
    template <class Work>
    std::future<std::invoke_result_t<Work>> besideThis(const Work& work) const {
        if (!settings_.ownThread) return std::async(std::launch::deferred, work);
        try {
            return std::async(std::launch::async, work);
        } catch (const std::system_error&) {
            return std::async(std::launch::deferred, work);
        }
    }

    /// Pictures [from, from + count) of a run that begins at the movie's picture `first`.
    void compare(const CopyRun& run, int64_t first, int64_t from, int64_t count) {
        Decoded& source = sourceOf(run.clip);
        const auto at = [](const std::vector<int64_t>& times, int64_t i) {
            return times[static_cast<size_t>(i)];
        };
        if (!movie_) movie_.emplace(bytes_, -1, settings_.cancel, true);
        const int64_t own = run.range.firstPicture + from;
        const auto inClip = [&] {
            return source.between(keyFor(run, own), at(shown_, own), at(shown_, own + count - 1), false);
        };
        std::future<std::vector<PicturePrint>> beside = besideThis(inClip);
        const std::vector<PicturePrint> here = movie_->between(
            at(times_, first + from), at(times_, first + from), at(times_, first + from + count - 1), true);
        const std::vector<PicturePrint> there = beside.get();
        if (static_cast<int64_t>(here.size()) != count)
            failed("the copied pictures from " + std::to_string(first + from) + " on do not all decode");
        if (here != there)
            failed("the copied pictures from " + std::to_string(first + from) +
                   " on do not decode as they do in their clip");
    }

    const std::string& output_;
    const WriterSettings& settings_;
    const std::shared_ptr<const InputBytes> bytes_;
    std::vector<int64_t> times_;
    std::vector<int64_t> shown_;
    std::optional<Decoded> source_, movie_;
    int clip_ = -1;
};

}  // namespace

void checkCopies(const std::string& output, int file, const WriterSettings& settings) {
    try {
        Check(output, file, settings).run();
    } catch (const CopyCheckFailed&) {
        throw;
    } catch (const MediaError& problem) {
        if (problem.code() == MediaErrorCode::cancelled) throw;
        throw CopyCheckFailed(output, "the copy cannot be read back");
    }
}

}  // namespace tumblewash::media
