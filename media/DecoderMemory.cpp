#include "media/detail/DecoderMemory.h"

#include <atomic>

#include "media/Probe.h"

namespace tumblewash::media {

namespace {

constexpr int64_t kMiB = 1 << 20;

// Largest pictures worth decoding: beyond these a file is damaged or hostile, and memory would go first.
constexpr int64_t kMostClipPixels = 36'000'000;
constexpr int64_t kMostPhotoPixels = 100'000'000;
constexpr int64_t kMostPictureBytes = 512 * kMiB;

// All pictures in a decoder: those that others are made from, those that wait for their turn, those in work.
constexpr int64_t kMostBytes = 640 * kMiB;

// What decoders of clips keep beside each pixel: motion vectors and block types.
constexpr double kBesideEachPixel = 0.6;

// JPEG 2000 keeps its coefficients as 32-bit numbers, and its code blocks beside them.
constexpr double kWaveletBytes = 6;

}  // namespace

int64_t pictureBytes(int width, int height, int format) noexcept {
    const int64_t pixels = int64_t{width} * height;
    const AVPixFmtDescriptor* described = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    if (described == nullptr) return pixels * 3 / 2;
    return (pixels * av_get_padded_bits_per_pixel(described) + 7) / 8;
}

struct DecoderMemory::Count {
    Kind kind = Kind::clip;
    std::atomic<int64_t> bytes{0};
    std::atomic<double> working{0};  // bytes for each sample of a picture
    // The picture that was refused, and what all together would have taken.
    std::atomic<int> width{0}, height{0};
    std::atomic<int64_t> wanted{0};
    std::atomic<bool> beyond{false};  // by its sides alone
    std::atomic<bool> ranOut{false};  // the machine had none for a picture
};

namespace {

/// What one picture adds, as long as anyone refers to it. One thread of a decoder makes it, another may end
/// it.
template <typename Count>
class Share {
  public:
    Share(std::shared_ptr<Count> count, int64_t bytes) : count_(std::move(count)), bytes_(bytes) {
        made_.store(true, std::memory_order_release);
    }
    static void end(void* self, uint8_t*) {
        // What was written above is seen here whatever the decoder does between its threads.
        static_cast<void>(static_cast<Share*>(self)->made_.load(std::memory_order_acquire));
        const std::unique_ptr<Share> share(static_cast<Share*>(self));
        share->count_->bytes.fetch_sub(share->bytes_);
    }

  private:
    std::shared_ptr<Count> count_;
    int64_t bytes_;
    std::atomic<bool> made_{false};
};

}  // namespace

DecoderMemory::DecoderMemory(Kind kind) : count_(std::make_shared<Count>()) {
    count_->kind = kind;
}

void DecoderMemory::watch(AVCodecContext& codec) {
    codec.opaque = this;
    codec.get_buffer2 = &DecoderMemory::buffer;
#if FF_API_THREAD_SAFE_CALLBACKS
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    codec.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#endif
    // For decoders that take their memory elsewhere. Those of photos ask here first, and are told why.
    codec.max_pixels =
        count_->kind == Kind::photo ? int64_t{kMaxPictureSide} * kMaxPictureSide : kMostClipPixels;
}

bool DecoderMemory::fitsLimits(int width, int height) const noexcept {
    const int64_t most = count_->kind == Kind::photo ? kMostPhotoPixels : kMostClipPixels;
    return width <= kMaxPictureSide && height <= kMaxPictureSide && int64_t{width} * height <= most;
}

void DecoderMemory::addWorking(double bytes) noexcept {
    count_->working.store(bytes);
}

bool DecoderMemory::refused() const {
    // Decoders take a picture that they got no memory for as damaged, and go on.
    if (count_->ranOut.load()) throw std::bad_alloc();
    return count_->wanted.load() != 0;
}

std::string DecoderMemory::reason() const {
    const std::string size =
        std::to_string(count_->width.load()) + "x" + std::to_string(count_->height.load());
    if (count_->beyond.load())
        return "claims pictures of " + size + ", more than this program accepts; scale it first";
    return "decoding its pictures of " + size + " takes " + std::to_string(count_->wanted.load() / kMiB) +
           " MiB, more than this program gives one input; scale it first";
}

/// 0, or the error for a picture that there is no room for.
int DecoderMemory::admit(AVFrame& frame, AVCodecID codec) const {
    Count& count = *count_;
    const int64_t pixels = int64_t{frame.width} * frame.height;
    const int64_t picture = pictureBytes(frame.width, frame.height, frame.format);
    double beside = count.kind == Kind::clip ? kBesideEachPixel * static_cast<double>(pixels) : 0;
    if (const auto* described = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))) {
        const double samples = static_cast<double>(pixels) * av_get_bits_per_pixel(described) /
                               (described->comp[0].depth > 0 ? described->comp[0].depth : 8);
        beside += samples * (codec == AV_CODEC_ID_JPEG2000 ? kWaveletBytes : count.working.load());
    }
    const int64_t bytes = picture + static_cast<int64_t>(beside);
    const int64_t all = count.bytes.fetch_add(bytes) + bytes;
    const bool beyond = !fitsLimits(frame.width, frame.height);
    int result = 0;
    if (beyond || picture > kMostPictureBytes || all > kMostBytes) {
        count.beyond = beyond;
        count.width = frame.width;
        count.height = frame.height;
        count.wanted = all;
        result = AVERROR(EFBIG);
    } else {
        using Part = Share<Count>;
        auto part = std::make_unique<Part>(count_, bytes);
        frame.opaque_ref = av_buffer_create(nullptr, 0, &Part::end, part.get(), AV_BUFFER_FLAG_READONLY);
        if (frame.opaque_ref != nullptr) {
            static_cast<void>(part.release());
            return 0;
        }
        result = AVERROR(ENOMEM);
    }
    count.bytes.fetch_sub(bytes);
    return result;
}

int DecoderMemory::buffer(AVCodecContext* codec, AVFrame* frame, int flags) {
    const auto* memory = static_cast<const DecoderMemory*>(codec->opaque);
    int result = 0;
    try {
        if (codec->codec_type == AVMEDIA_TYPE_VIDEO) result = memory->admit(*frame, codec->codec_id);
    } catch (const std::bad_alloc&) {
        result = AVERROR(ENOMEM);
    }
    if (result >= 0) result = avcodec_default_get_buffer2(codec, frame, flags);
    if (result == AVERROR(ENOMEM)) memory->count_->ranOut = true;
    return result;
}

}  // namespace tumblewash::media
