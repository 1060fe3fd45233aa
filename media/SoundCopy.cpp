#include "media/SoundCopy.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "media/Codecs.h"
#include "media/detail/Allowance.h"
#include "media/detail/Input.h"
#include "media/detail/ProbeDetail.h"
#include "media/detail/SoundCopyDetail.h"

namespace tumblewash::media {

namespace {

constexpr int64_t kAacUnit = 1024;
// What the encoder makes as well.
constexpr int64_t kOpusUnit = 960;
// What decoders of Opus are given before a place to be heard, RFC 7845, 4.6.
constexpr int64_t kOpusLead = 3840;
// Packets without a single frame that is heard, at the beginning.
constexpr int64_t kPatience = 64;
// A track's times are rounded, to a millisecond in some files; what is further off is a gap.
constexpr double kSteady = 0.005;
// The reader looks so far ahead to tell a gap from a slip.
constexpr double kAhead = 2;

AVCodecID codecOf(const std::string& output) {
    const MovieKind* kind = movieKindOf(output);
    const std::string_view encoder = kind != nullptr ? kind->sound.encoder : "";
    return encoder == "libopus" ? AV_CODEC_ID_OPUS : encoder == "aac" ? AV_CODEC_ID_AAC : AV_CODEC_ID_NONE;
}

/// The plain kind of AAC with this rate and these channels, ISO/IEC 14496-3, 1.6.2.1: what the encoder
/// writes, so that its header serves for both.
bool isPlainAac(ByteView header, int rate, int channels) {
    constexpr std::array kRates{96000, 88200, 64000, 48000, 44100, 32000,
                                24000, 22050, 16000, 12000, 11025, 8000};
    if (header.size() < 2) return false;
    const unsigned word = static_cast<unsigned>(header[0]) << 8 | header[1];
    const unsigned index = word >> 7 & 15U;
    return word >> 11 == 2 && index < kRates.size() && kRates[index] == rate &&
           (word >> 3 & 15U) == static_cast<unsigned>(channels) && (word & 7U) == 0;
}

/// The header of RFC 7845, 5.1: one stream at its own level.
bool isPlainOpus(ByteView header, int channels) {
    return header.size() >= 19 && header[9] == channels && header[16] == 0 && header[17] == 0 &&
           header[18] == 0;
}

bool hasSideData(const AVPacket& packet) {
    return av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, nullptr) != nullptr ||
           av_packet_get_side_data(&packet, AV_PKT_DATA_ENCRYPTION_INFO, nullptr) != nullptr;
}

/// Times and lengths of the track's packets, until one of them breaks their row.
struct Row {
    std::vector<int64_t> dts;
    int64_t unit = 0;
    bool whole = true;  // to the end of the file
};

Row rowOf(InputFile& file, const AVStream& stream, int rate) {
    Row out;
    const AVRational sample{1, rate};
    const PacketPtr packet = newPacket();
    while (file.read(*packet)) {
        if (packet->stream_index == stream.index) {
            const int64_t length = av_rescale_q(packet->duration, stream.time_base, sample);
            if (out.dts.empty()) out.unit = stream.codecpar->codec_id == AV_CODEC_ID_AAC ? kAacUnit : length;
            const int64_t time = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
            const double due = static_cast<double>(out.dts.size()) * static_cast<double>(out.unit) / rate;
            const bool fits =
                time != AV_NOPTS_VALUE && packet->size > 0 && !hasSideData(*packet) &&
                (packet->flags & AV_PKT_FLAG_CORRUPT) == 0 &&
                (out.dts.empty() ||
                 std::abs(static_cast<double>(time - out.dts.front()) * av_q2d(stream.time_base) - due) <
                     kSteady);
            if (!fits) {
                out.whole = false;
                return out;
            }
            out.dts.push_back(time);
        }
        av_packet_unref(packet.get());
    }
    throwIfRaised(file.cancel(), file.path());
    return out;
}

/// Packet 0's place on the clip's clock, in sample frames of the first picture's moment: from the first frame
/// that a decoder gives, as the reader of the sound counts. Nothing when the two do not fit.
std::optional<int64_t> placeOf(const ProbeDetail& facts, const Row& row, const WriterSettings& settings) {
    InputFile file(facts.bytes, settings.cancel);
    file.useOnly(facts.audioStream);
    StreamDecoder decoder(file, facts.audioStream, AVMEDIA_TYPE_AUDIO, 1);
    decoder.setPatience(kPatience);
    const AVRational base = decoder.stream().time_base;
    const int64_t zero = av_rescale_q(facts.firstPts, facts.timeBase, base);
    while (const FramePtr frame = decoder.next()) {
        if (frame->sample_rate != settings.sampleRate || frame->ch_layout.nb_channels != settings.channels ||
            frame->nb_samples > row.unit || frame->pts == AV_NOPTS_VALUE || frame->pkt_dts == AV_NOPTS_VALUE)
            return std::nullopt;
        const int64_t heard =
            std::llround(static_cast<double>(frame->pts - zero) * av_q2d(base) * settings.sampleRate);
        if (heard + frame->nb_samples <= 0) continue;
        const auto behind = std::upper_bound(row.dts.begin(), row.dts.end(), frame->pkt_dts);
        if (behind == row.dts.begin()) return std::nullopt;
        const int64_t number = behind - row.dts.begin() - 1;
        // What is left out of a frame is left out at its front.
        return heard - (row.unit - frame->nb_samples) - number * row.unit;
    }
    return std::nullopt;
}

std::unique_ptr<SoundCopy::Detail> find(const std::string& clip, const std::optional<FileIdentity>& identity,
                                        const std::string& output, const WriterSettings& settings,
                                        int64_t from) {
    const ProbeDetail facts = probeDetail(clip, settings.cancel, identity);
    if (!facts.bytes || facts.audioStream < 0 || facts.info.kind != MediaKind::clip) return nullptr;
    InputFile file(facts.bytes, settings.cancel);
    file.useOnly(facts.audioStream);
    const AVStream& stream = file.stream(facts.audioStream, AVMEDIA_TYPE_AUDIO);
    const AVCodecParameters& track = *stream.codecpar;
    const ByteView header(track.extradata, static_cast<size_t>(std::max(0, track.extradata_size)));
    if (track.codec_id != codecOf(output) || settings.channels > 2) return nullptr;
    if (track.codec_id == AV_CODEC_ID_AAC ? !isPlainAac(header, settings.sampleRate, settings.channels)
                                          : !isPlainOpus(header, settings.channels))
        return nullptr;
    const Row row = rowOf(file, stream, settings.sampleRate);
    if (row.dts.empty() || row.unit != (track.codec_id == AV_CODEC_ID_AAC ? kAacUnit : kOpusUnit))
        return nullptr;
    const std::optional<int64_t> place = placeOf(facts, row, settings);
    if (!place) return nullptr;
    auto out = std::make_unique<SoundCopy::Detail>();
    out->bytes = facts.bytes;
    out->stream = facts.audioStream;
    out->codec = track.codec_id;
    out->unit = row.unit;
    out->place = *place - from;
    // The last one overlaps with nothing, and is often cut short.
    const double kept = row.whole ? 2 : kAhead * settings.sampleRate / static_cast<double>(row.unit) + 1;
    out->packets = static_cast<int64_t>(row.dts.size()) - std::llround(kept);
    const int64_t lead = track.codec_id == AV_CODEC_ID_AAC ? kAacUnit : kOpusLead;
    while (out->first + 1 < out->packets && out->at(out->first + 1) <= -lead) ++out->first;
    // What a header of Opus can say, and nothing that is heard late.
    constexpr int64_t kMostLead = 60'000;
    if (out->first >= out->packets || out->at(out->first) > 0 || out->at(out->first) < -kMostLead)
        return nullptr;
    return out;
}

}  // namespace

SoundCopy::SoundCopy(std::unique_ptr<Detail> detail) noexcept : detail_(std::move(detail)) {}
SoundCopy::~SoundCopy() = default;

std::shared_ptr<const SoundCopy> SoundCopy::of(const std::string& clip,
                                               const std::optional<FileIdentity>& identity,
                                               const std::string& output, const WriterSettings& settings,
                                               int64_t from) {
    try {
        std::unique_ptr<Detail> detail;
        runWithMemoryAllowance(clip, [&] { detail = find(clip, identity, output, settings, from); });
        return detail ? std::make_shared<const SoundCopy>(std::move(detail)) : nullptr;
    } catch (const MediaError& problem) {
        // Sound that cannot be decoded has no packets worth keeping.
        if (problem.code() == MediaErrorCode::undecodable) return nullptr;
        throw;
    }
}

}  // namespace tumblewash::media
