#include "media/detail/WebpAnimation.h"

#include <webp/demux.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

#include "media/detail/ProbeDetail.h"

namespace tumblewash::media {

namespace {

constexpr int64_t kMaxPixels = 36'000'000;
constexpr size_t kMaxBytes = size_t{256} << 20;
constexpr size_t kMaxPictures = 100'000;
constexpr int kMaxMilliseconds = 3'600'000;
constexpr size_t kMaxMetadata = size_t{32} << 20;
constexpr double kFinestRate = 60;

using Demuxer = std::unique_ptr<WebPDemuxer, decltype([](WebPDemuxer* d) { WebPDemuxDelete(d); })>;
using Decoder =
    std::unique_ptr<WebPAnimDecoder, decltype([](WebPAnimDecoder* d) { WebPAnimDecoderDelete(d); })>;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::undecodable, path, why);
}

std::vector<uint8_t> chunkOf(const WebPDemuxer* demuxer, const char* name) {
    WebPChunkIterator chunk;
    std::vector<uint8_t> out;
    if (WebPDemuxGetChunk(demuxer, name, 1, &chunk) != 0 && chunk.chunk.size <= kMaxMetadata)
        out.assign(chunk.chunk.bytes, chunk.chunk.bytes + chunk.chunk.size);
    WebPDemuxReleaseChunkIterator(&chunk);
    return out;
}

int shownFor(int claimed) {
    return claimed <= 10 ? 100 : std::min(claimed, kMaxMilliseconds);
}

}  // namespace

bool isAnimatedWebp(const InputBytes& file) {
    std::array<uint8_t, 21> head{};
    constexpr uint8_t animation = 2;
    return file.read(0, head) == head.size() && std::memcmp(head.data(), "RIFF", 4) == 0 &&
           std::memcmp(head.data() + 8, "WEBPVP8X", 8) == 0 && (head[20] & animation) != 0;
}

struct WebpAnimation::State {
    std::string path;
    std::vector<uint8_t> bytes;
    Decoder decoder;
    int width = 0, height = 0;
    bool alpha = false;
    bool cutOff = false;
    std::vector<int> durations;
    std::vector<uint8_t> profile, exif;
    size_t shown = 0;

    size_t end = 0;  ///< of the last whole picture

    /// Ends a cut-off file behind its last whole picture: the decoder of animations takes whole files only.
    void endBehindWhole() {
        constexpr size_t header = 8;
        bytes.resize(end + end % 2);
        for (size_t i = 0; i < 4; ++i)
            bytes[4 + i] = static_cast<uint8_t>((bytes.size() - header) >> (8 * i));
    }

    WebPData data() const { return {bytes.data(), bytes.size()}; }

    void readFacts() {
        WebPDemuxState state = WEBP_DEMUX_PARSE_ERROR;
        const WebPData whole = data();
        Demuxer demuxer(WebPDemuxPartial(&whole, &state));
        if (!demuxer || state < WEBP_DEMUX_PARSED_HEADER)
            refuse(path, "is damaged or cut off; get a complete copy");
        cutOff = state != WEBP_DEMUX_DONE;
        width = static_cast<int>(WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH));
        height = static_cast<int>(WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT));
        alpha = (WebPDemuxGetI(demuxer.get(), WEBP_FF_FORMAT_FLAGS) & ALPHA_FLAG) != 0;
        if (width < 1 || height < 1 || int64_t{width} * height > kMaxPixels)
            refuse(path, "claims pictures of " + std::to_string(width) + "x" + std::to_string(height) +
                             ", more than this program accepts; scale it first");
        profile = chunkOf(demuxer.get(), "ICCP");
        exif = chunkOf(demuxer.get(), "EXIF");
        WebPIterator frame;
        for (int found = WebPDemuxGetFrame(demuxer.get(), 1, &frame); found != 0;
             found = WebPDemuxNextFrame(&frame)) {
            if (frame.complete == 0) break;
            end = static_cast<size_t>(frame.fragment.bytes - bytes.data()) + frame.fragment.size;
            durations.push_back(shownFor(frame.duration));
            if (durations.size() > kMaxPictures)
                refuse(path, "holds too many pictures; make a movie of it first");
        }
        WebPDemuxReleaseIterator(&frame);
        demuxer.reset();
        if (durations.empty())
            refuse(path, "holds no whole picture; it is damaged or cut off, get a complete copy");
        if (cutOff) endBehindWhole();
    }
};

WebpAnimation::WebpAnimation(const InputBytes& file) : state_(std::make_unique<State>()) {
    state_->path = file.path();
    state_->bytes = file.whole(kMaxBytes);
    state_->readFacts();
}
WebpAnimation::~WebpAnimation() = default;

bool WebpAnimation::hasAlpha() const noexcept {
    return state_->alpha;
}
const std::vector<int>& WebpAnimation::durations() const noexcept {
    return state_->durations;
}
bool WebpAnimation::cutOff() const noexcept {
    return state_->cutOff;
}
const std::vector<uint8_t>& WebpAnimation::profile() const noexcept {
    return state_->profile;
}
const std::vector<uint8_t>& WebpAnimation::exif() const noexcept {
    return state_->exif;
}

FramePtr WebpAnimation::next() {
    State& s = *state_;
    if (s.shown >= s.durations.size()) return nullptr;
    if (!s.decoder) {
        WebPAnimDecoderOptions options;
        if (WebPAnimDecoderOptionsInit(&options) == 0) throw std::bad_alloc();
        options.color_mode = MODE_RGBA;
        options.use_threads = 0;
        const WebPData whole = s.data();
        s.decoder.reset(WebPAnimDecoderNew(&whole, &options));
        if (!s.decoder) return nullptr;
    }
    uint8_t* canvas = nullptr;
    int end = 0;
    if (WebPAnimDecoderGetNext(s.decoder.get(), &canvas, &end) == 0) return nullptr;
    FramePtr out = newFrame();
    out->width = s.width;
    out->height = s.height;
    out->format = AV_PIX_FMT_RGBA;
    if (av_frame_get_buffer(out.get(), 0) < 0) throw std::bad_alloc();
    av_image_copy_plane(out->data[0], out->linesize[0], canvas, 4 * s.width, 4 * s.width, s.height);
    out->colorspace = AVCOL_SPC_RGB;
    out->color_range = AVCOL_RANGE_JPEG;
    out->sample_aspect_ratio = {1, 1};
    ++s.shown;
    return out;
}

FrameRate rateOfDurations(const std::vector<int>& milliseconds) {
    int common = 0;
    for (const int one : milliseconds) common = std::gcd(common, one);
    const auto [shortest, longest] = std::minmax_element(milliseconds.begin(), milliseconds.end());
    const int64_t total = std::accumulate(milliseconds.begin(), milliseconds.end(), int64_t{0});
    // A constant rate written in whole milliseconds, 33, 33, 34 and so on.
    if (*longest - *shortest <= 1 && *longest != *shortest)
        return fromAv(standardRate({static_cast<int>(milliseconds.size()) * 1000, static_cast<int>(total)}));
    if (1000.0 / common <= kFinestRate)
        return {1000 / std::gcd(1000, common), common / std::gcd(1000, common)};
    const int step = std::max(*shortest, static_cast<int>(1000 / kFinestRate));
    return fromAv(standardRate({1000, step}));
}

}  // namespace tumblewash::media
