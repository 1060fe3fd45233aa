#include "media/PacketIndex.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

#include "media/CopiedCodecs.h"
#include "media/detail/Allowance.h"
#include "media/detail/IndexDetail.h"
#include "media/detail/Input.h"

namespace tumblewash::media {

namespace {

// As for measuring a clip: so many seconds of the processor, and one more for so many megabytes.
constexpr double kScanSeconds = 4;
constexpr double kSlowestScan = 10;

// Times in a container are rounded, to a millisecond in some; a picture's step may be off by two roundings.
// Where whole pictures are counted, as in AVI, nothing is rounded, and a step too far is a picture that is
// missing.
constexpr double kTickTolerance = 1.01;
constexpr double kStepTolerance = 0.02;  // of a picture's length
// Rates are read off a few numbers; more than this part of a picture off its place is another rate.
constexpr double kDriftTolerance = 0.4;

constexpr int32_t kNoPicture = std::numeric_limits<int32_t>::max();

// The largest size that an index tells.
constexpr uint32_t kMostBytes = (1U << 30) - 1;

std::string words(const char* pattern, double a, double b = 0) {
    char out[96];
    std::snprintf(out, sizeof out, pattern, a, b);
    return out;
}

/// The usual step between two times, in seconds: by `claimed` where that is near, for times are rounded.
double usualStep(const std::vector<int64_t>& times, double tick, double claimed) {
    if (times.size() < 2) return claimed;
    std::vector<int64_t> steps;
    for (size_t i = 0; i + 1 < times.size(); ++i) steps.push_back(times[i + 1] - times[i]);
    const auto middle = steps.begin() + static_cast<ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    const double step = static_cast<double>(*middle) * tick;
    return std::abs(step - claimed) <= std::max(kTickTolerance * tick, kStepTolerance * claimed) || step <= 0
               ? claimed
               : step;
}

std::string unevenTimes(const std::vector<int64_t>& times, AVRational base, FrameRate claimed) {
    const double tick = av_q2d(base);
    const double frame = usualStep(times, tick, 1 / claimed.value());
    const std::string onto =
        ": copied frames cannot be moved onto " + words("%.6g", std::round(1000 / frame) / 1000) + " fps";
    const double most = frame / 2;
    const double tolerance = std::max(std::min(kTickTolerance * tick, most), kStepTolerance * frame);
    for (size_t i = 0; i + 1 < times.size(); ++i) {
        const double step = static_cast<double>(times[i + 1] - times[i]) * tick;
        if (std::abs(step - frame) > tolerance)
            return words("has a varying frame rate (frame %.0f lasts %.0f ms)", static_cast<double>(i),
                         step * 1000) +
                   onto;
        const double drift =
            static_cast<double>(times[i + 1] - times[0]) * tick - static_cast<double>(i + 1) * frame;
        if (std::abs(drift) > std::max(std::min(2 * tick, most), kDriftTolerance * frame))
            return words("is off its own frame rate by %.0f ms after %.0f frames", drift * 1000,
                         static_cast<double>(i + 1)) +
                   onto;
    }
    if (std::abs(frame * claimed.value() - 1) > kStepTolerance)
        return words("claims %.6g pictures a second", claimed.value()) + onto;
    return {};
}

TrackFacts trackFacts(const AVStream& stream) {
    const AVCodecParameters& p = *stream.codecpar;
    TrackFacts out;
    const std::optional<Codec> known = codecOfName(avcodec_get_name(p.codec_id));
    if (known && isCopied(*known)) out.codec = known;
    out.codecName = known ? factsOf(*known).name : avcodec_get_name(p.codec_id);
    out.width = p.width;
    out.height = p.height;
    const AVRational aspect =
        stream.sample_aspect_ratio.num > 0 ? stream.sample_aspect_ratio : p.sample_aspect_ratio;
    if (aspect.num > 0 && aspect.den > 0) out.pixelAspect = fromAv(aspect);
    const char* pixels = av_get_pix_fmt_name(static_cast<AVPixelFormat>(p.format));
    out.pixels = pixels == nullptr ? "unknown" : pixels;
    out.range = p.color_range;
    out.primaries = p.color_primaries;
    out.transfer = p.color_trc;
    out.matrix = p.color_space;
    out.chromaPlace = p.chroma_location;
    out.profile = p.profile;
    return out;
}

std::unique_ptr<PacketLooker> lookerFor(const TrackFacts& facts, const AVCodecParameters& parameters) {
    const ByteView header(parameters.extradata, static_cast<size_t>(std::max(0, parameters.extradata_size)));
    return facts.codec ? makeLooker(*facts.codec, header) : nullptr;
}

/// Reads all packets; the index's trouble is the first that one of them gives.
std::vector<bool> scan(InputFile& file, const AVStream& stream, PacketLooker& looker,
                       PacketIndex::Detail& index) {
    std::vector<bool> hidden;
    const PacketPtr packet = newPacket();
    const auto trouble = [&](const std::string& why, int64_t pts) {
        if (!index.trouble.empty() || why.empty()) return;
        index.trouble = why;
        if (pts == AV_NOPTS_VALUE) return;
        const double at = static_cast<double>(pts - index.file.firstPts) * av_q2d(stream.time_base);
        index.trouble += words(" at %.1f s", std::max(0.0, at));
    };
    while (file.read(*packet)) {
        if (packet->stream_index != stream.index) {
            av_packet_unref(packet.get());
            continue;
        }
        if (packet->pts == AV_NOPTS_VALUE)
            trouble("does not tell when each picture is shown", AV_NOPTS_VALUE);
        if ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0) trouble("is damaged", packet->pts);
        if (av_packet_get_side_data(packet.get(), AV_PKT_DATA_ENCRYPTION_INFO, nullptr) != nullptr)
            trouble("is encrypted: copies of its packets would be, too", AV_NOPTS_VALUE);
        if (av_packet_get_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, nullptr) != nullptr)
            trouble("changes its coding parameters", packet->pts);
        const PacketLook look = looker.look({packet->data, static_cast<size_t>(std::max(0, packet->size))});
        trouble(look.trouble, packet->pts);
        IndexedPacket one;
        one.pts = packet->pts;
        one.bytes = static_cast<uint32_t>(packet->size) & kMostBytes;
        one.kind = look.kind;
        index.packets.push_back(one);
        hidden.push_back((packet->flags & AV_PKT_FLAG_DISCARD) != 0);
        av_packet_unref(packet.get());
    }
    throwIfRaised(file.cancel(), file.path());
    return hidden;
}

std::unique_ptr<PacketIndex::Detail> readIndex(const std::string& path,
                                               const std::optional<FileIdentity>& identity,
                                               CancelFlag cancel) {
    auto index = std::make_unique<PacketIndex::Detail>();
    index->file = probeDetail(path, cancel, identity);
    if (index->file.pattern) {
        index->trouble = "is drawn here and has no packets to copy";
        return index;
    }
    if (!index->file.bytes || index->file.info.kind != MediaKind::clip || index->file.videoStream < 0) {
        index->trouble = "is a picture and no movie: its frames have to be encoded";
        return index;
    }
    InputFile file(index->file.bytes, cancel);
    file.useOnly(index->file.videoStream);
    const AVStream& stream = file.stream(index->file.videoStream, AVMEDIA_TYPE_VIDEO);
    index->facts = trackFacts(stream);
    const std::unique_ptr<PacketLooker> looker = lookerFor(index->facts, *stream.codecpar);
    if (!looker) {
        index->trouble = index->facts.codec ? "is damaged: its header cannot be read"
                                            : "is " + index->facts.codecName + ", which is not copied";
        return index;
    }
    const auto megabytes = static_cast<double>(std::max<int64_t>(0, avio_size(file.context().pb))) / 1e6;
    file.setDeadline(kScanSeconds + megabytes / kSlowestScan);
    const std::vector<bool> hidden = scan(file, stream, *looker, *index);
    if (file.late())
        throw MediaError(
            MediaErrorCode::undecodable, path,
            "takes too long to read; it is damaged or made to be slow, save it again with another "
            "program");
    file.clearDeadline();
    index->packets.shrink_to_fit();
    index->header = looker->header();
    index->facts.reorders = looker->reorders();
    if (looker->kind() != 0) index->facts.profile = looker->kind();
    if (index->trouble.empty()) index->trouble = looker->trouble();
    settleIndex(*index, stream.time_base, index->file.firstPts, hidden);
    return index;
}

/// For each packet, and for the end, the least picture of it and of those behind it.
std::vector<int32_t> leastPictures(const std::vector<IndexedPacket>& packets) {
    std::vector<int32_t> out(packets.size() + 1, kNoPicture);
    for (size_t i = packets.size(); i-- > 0;)
        out[i] = packets[i].picture >= 0 ? std::min(out[i + 1], packets[i].picture) : out[i + 1];
    return out;
}

}  // namespace

void settleIndex(PacketIndex::Detail& index, AVRational base, int64_t firstShown,
                 const std::vector<bool>& hidden) {
    std::vector<IndexedPacket>& packets = index.packets;
    const auto trouble = [&](const std::string& why) {
        if (index.trouble.empty()) index.trouble = why;
    };
    std::vector<int32_t> shown;
    for (size_t i = 0; i < packets.size(); ++i)
        if (!hidden[i]) shown.push_back(static_cast<int32_t>(i));
    const auto ptsOf = [&](int32_t i) { return packets[static_cast<size_t>(i)].pts; };
    std::stable_sort(shown.begin(), shown.end(), [&](int32_t a, int32_t b) { return ptsOf(a) < ptsOf(b); });
    std::vector<int64_t> times;
    times.reserve(shown.size());
    for (size_t k = 0; k < shown.size(); ++k) {
        packets[static_cast<size_t>(shown[k])].picture = static_cast<int32_t>(k);
        times.push_back(ptsOf(shown[k]));
    }
    index.pictures = static_cast<int64_t>(shown.size());
    for (const IndexedPacket& packet : packets)
        if (packet.picture < 0 && !times.empty() && packet.pts > times.front() && packet.pts < times.back())
            trouble("hides frames by an edit list in the middle");
    if (times.empty()) return trouble("shows no pictures");
    if (!index.trouble.empty()) return;
    if (times.front() != firstShown) return trouble("begins with pictures that cannot be decoded");
    trouble(unevenTimes(times, base, index.file.info.rate));
    int64_t place = 0;
    for (const IndexedPacket& packet : packets)
        if (packet.picture >= 0) index.lag = std::max(index.lag, place++ - packet.picture);
}

PacketIndex::PacketIndex(std::unique_ptr<Detail> detail) noexcept : detail_(std::move(detail)) {}
PacketIndex::~PacketIndex() = default;

std::shared_ptr<const PacketIndex> PacketIndex::read(const std::string& path,
                                                     const std::optional<FileIdentity>& identity,
                                                     CancelFlag cancel) {
    std::unique_ptr<Detail> detail;
    runWithMemoryAllowance(path, [&] { detail = readIndex(path, identity, cancel); });
    return std::make_shared<const PacketIndex>(std::move(detail));
}

const MediaInfo& PacketIndex::info() const noexcept {
    return detail_->file.info;
}
const TrackFacts& PacketIndex::facts() const noexcept {
    return detail_->facts;
}
const std::vector<IndexedPacket>& PacketIndex::packets() const noexcept {
    return detail_->packets;
}
int64_t PacketIndex::pictures() const noexcept {
    return detail_->pictures;
}
const std::string& PacketIndex::trouble() const noexcept {
    return detail_->trouble;
}

std::optional<PacketRange> PacketIndex::copyable(int64_t first, int64_t end) const {
    const std::vector<IndexedPacket>& all = detail_->packets;
    const std::vector<int32_t> leastFrom = leastPictures(all);
    size_t begin = 0;
    while (begin < all.size() && (all[begin].kind == PacketKind::other || all[begin].picture < first))
        ++begin;
    if (begin == all.size() || !trouble().empty()) return std::nullopt;
    PacketRange best;
    best.firstPacket = best.endPacket = static_cast<int64_t>(begin);
    best.firstPicture = all[begin].picture;
    int64_t last = -1;
    int64_t taken = 0;
    for (size_t i = begin; i < all.size() && all[i].picture >= 0; ++i) {
        if (all[i].picture < best.firstPicture) {
            // What is shown before the entry belongs to it only where an entry is open.
            if (all[begin].kind != PacketKind::openEntry) break;
        } else {
            last = std::max<int64_t>(last, all[i].picture);
            ++taken;
        }
        const int32_t rest = leastFrom[i + 1];
        if (last >= end) break;
        if (last < rest && taken == last - best.firstPicture + 1) {
            best.endPacket = static_cast<int64_t>(i) + 1;
            best.pictures = taken;
        }
    }
    return best.pictures > 0 ? std::optional(best) : std::nullopt;
}

int64_t PacketIndex::lag(const PacketRange& range) const {
    int64_t most = 0;
    int64_t place = 0;
    for (int64_t i = range.firstPacket; i < range.endPacket; ++i) {
        const IndexedPacket& packet = detail_->packets[static_cast<size_t>(i)];
        if (packet.picture < range.firstPicture) continue;
        most = std::max(most, place++ - (packet.picture - range.firstPicture));
    }
    return most;
}

}  // namespace tumblewash::media
