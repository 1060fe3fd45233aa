#include "media/detail/SeamEncoder.h"

#include <algorithm>

#include "media/detail/AvcSets.h"
#include "media/detail/HevcSets.h"
#include "media/detail/IndexDetail.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

namespace {

// Beside a picture that was not encoded again, a worse one shows.
constexpr int kSeamCrf = 18;

void addParameters(AVCodecContext& codec, const char* option, const std::string& more) {
    uint8_t* raw = nullptr;
    std::string all;
    if (av_opt_get(codec.priv_data, option, 0, &raw) >= 0 && raw != nullptr) {
        all = reinterpret_cast<const char*>(raw);
        av_free(raw);
    }
    all += (all.empty() ? "" : ":") + more;
    throwIfNoRoom(av_opt_set(codec.priv_data, option, all.c_str(), 0));
}

/// References, order and entropy coding as the first clip has them, and the highest level and profile of all.
void matchAvc(const CopyPlan& plan, AVCodecContext& codec) {
    int profile = 0;
    int level = 0;
    for (const auto& clip : plan.clips) {
        const auto sets = readAvcHeader(clip->detail().header.bytes);
        if (!sets) continue;
        for (const auto& [id, sps] : sets->sps) {
            profile = std::max(profile, sps.profile);
            level = std::max(level, sps.level);
        }
    }
    const PacketIndex& first = *plan.clips.front();
    const auto sets = readAvcHeader(first.detail().header.bytes);
    if (!sets) return;
    const AvcSps& sps = sets->sps.begin()->second;
    const int64_t reorder = sps.restricted ? sps.reorder : first.detail().lag;
    const bool ordered = first.facts().reorders;
    if (profile == 66 && ordered) profile = 77;
    throwIfNoRoom(av_opt_set(codec.priv_data, "profile",
                             profile == 66   ? "baseline"
                             : profile == 77 ? "main"
                                             : "high",
                             0));
    const bool cabac = profile != 66 && sets->pps.begin()->second.cabac;
    addParameters(codec, "x264-params",
                  "keyint=infinite:open-gop=0:level=" + std::to_string(level) +
                      ":ref=" + std::to_string(std::clamp(sps.references, 1, 16)) +
                      ":bframes=" + std::to_string(ordered ? 3 : 0) +
                      ":b-pyramid=" + (reorder > 1 ? "normal" : "none") + ":cabac=" + (cabac ? "1" : "0"));
}

/// Whole groups alone, and no sets but those of the header. Its levels and limits are the track's.
void matchHevc(AVCodecContext& codec) {
    addParameters(codec, "x265-params", "open-gop=0:keyint=-1:radl=0:repeat-headers=0:hrd=0:aud=0");
}

/// The first clip's own kind of ProRes, which the track has a name for.
void matchProres(const CopyPlan& plan, AVCodecContext& codec) {
    const int profile = plan.clips.front()->facts().profile;
    if (profile >= 0) throwIfNoRoom(av_opt_set_int(codec.priv_data, "profile", profile, 0));
}

/// The clips' own tags, those that are missing among them: one track has one set.
void tagAs(const TrackFacts& facts, AVCodecContext& codec) {
    codec.color_range = static_cast<AVColorRange>(facts.range);
    codec.color_primaries = static_cast<AVColorPrimaries>(facts.primaries);
    codec.color_trc = static_cast<AVColorTransferCharacteristic>(facts.transfer);
    codec.colorspace = static_cast<AVColorSpace>(facts.matrix);
    codec.chroma_sample_location = static_cast<AVChromaLocation>(facts.chromaPlace);
    codec.sample_aspect_ratio = asAv(facts.pixelAspect);
}

}  // namespace

CodecPtr openSeamEncoder(const std::string& output, const WriterSettings& settings, const CopyPlan& plan) {
    WriterSettings wanted = settings;
    if (wanted.crf < 0) wanted.crf = kSeamCrf;
    CodecPtr codec = makeVideoEncoder(output, wanted, true);
    tagAs(plan.clips.front()->facts(), *codec);
    const auto kind = plan.clips.front()->facts().codec;
    if (kind == Codec::h264) matchAvc(plan, *codec);
    if (kind == Codec::hevc) matchHevc(*codec);
    if (kind == Codec::prores) matchProres(plan, *codec);
    const int opened = avcodec_open2(codec.get(), codec->codec, nullptr);
    throwIfNotStarted(opened);
    if (opened < 0)
        throw MediaError(
            MediaErrorCode::encoding, output,
            "the encoder of the seams does not start with the clips' settings (" + avMessage(opened) + ")");
    return codec;
}

int64_t seamLag(const AVCodecContext& codec) {
    int64_t lag = codec.has_b_frames;
    if (codec.codec_id != AV_CODEC_ID_HEVC) return lag;
    // This encoder's order stands in its header alone.
    const auto size = static_cast<size_t>(std::max(0, codec.extradata_size));
    if (const auto sets = readHevcHeader(ByteView(codec.extradata, size)))
        for (const auto& [id, sps] : sets->sps) lag = std::max<int64_t>(lag, sps.reorder);
    return lag;
}

}  // namespace tumblewash::media
