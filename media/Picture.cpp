#include "media/Picture.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <system_error>
#include <vector>

#include "media/Probe.h"
#include "media/detail/Av.h"

namespace tumblewash::media {

namespace {

constexpr size_t kAlignment = 64;

AVBufferRef* allocateAligned(size_t size) {
    void* bytes = std::aligned_alloc(kAlignment, (size + kAlignment - 1) / kAlignment * kAlignment);
    if (bytes == nullptr) return nullptr;
    AVBufferRef* buffer = av_buffer_create(
        static_cast<uint8_t*>(bytes), size, [](void*, uint8_t* data) { std::free(data); }, nullptr, 0);
    if (buffer == nullptr) std::free(bytes);
    return buffer;
}

/// Buffers of the sizes used last. A pool that falls out of the list lives on until its buffers are back.
class BufferPools {
  public:
    AVBufferRef* get(size_t size) {
        const std::lock_guard lock(mutex_);
        for (const Entry& entry : entries_)
            if (entry.size == size) return av_buffer_pool_get(entry.pool);
        if (entries_.size() == kSizes) {
            av_buffer_pool_uninit(&entries_.front().pool);
            entries_.erase(entries_.begin());
        }
        AVBufferPool* pool = orBadAlloc(av_buffer_pool_init(size, allocateAligned));
        entries_.push_back({size, pool});
        return av_buffer_pool_get(pool);
    }
    ~BufferPools() {
        for (Entry& entry : entries_) av_buffer_pool_uninit(&entry.pool);
    }

  private:
    struct Entry {
        size_t size;
        AVBufferPool* pool;
    };
    static constexpr size_t kSizes = 4;
    std::mutex mutex_;
    std::vector<Entry> entries_;
};

BufferPools& pools() {
    static BufferPools instance;
    return instance;
}

}  // namespace

void throwIfNotStarted(int error) {
    throwIfNoRoom(error);
    if (error == AVERROR(EAGAIN)) throw std::system_error(EAGAIN, std::generic_category());
}

int connectGraph(AVFilterGraph& graph, AVFilterContext& in, AVFilterContext& out,
                 const std::string& description) {
    AVFilterInOut* outputs = avfilter_inout_alloc();
    AVFilterInOut* inputs = avfilter_inout_alloc();
    int result = AVERROR(ENOMEM);
    if (outputs != nullptr && inputs != nullptr) {
        *outputs = {av_strdup("in"), &in, 0, nullptr};
        *inputs = {av_strdup("out"), &out, 0, nullptr};
        if (outputs->name != nullptr && inputs->name != nullptr)
            result = avfilter_graph_parse_ptr(&graph, description.c_str(), &inputs, &outputs, nullptr);
    }
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    return result < 0 ? result : avfilter_graph_config(&graph, nullptr);
}

std::string avMessage(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

void throwIfRaised(CancelFlag flag, const std::string& file) {
    if (raised(flag)) throw MediaError(MediaErrorCode::cancelled, file, "interrupted");
}

namespace {

FramePtr newPackedFrame(int width, int height, int pixelBytes, AVPixelFormat format) {
    FramePtr frame = newFrame();
    // Scalers may write a few bytes past a row's end; the last row has room for that.
    const size_t size =
        static_cast<size_t>(pixelBytes) * static_cast<size_t>(width) * static_cast<size_t>(height) +
        2 * kAlignment;
    frame->buf[0] = orBadAlloc(pools().get(size));
    frame->data[0] = frame->buf[0]->data;
    frame->linesize[0] = pixelBytes * width;
    frame->extended_data = frame->data;
    frame->width = width;
    frame->height = height;
    frame->format = format;
    frame->sample_aspect_ratio = {1, 1};
    return frame;
}

PixelLayout layoutOf(int format) {
    if (format == AV_PIX_FMT_ARGB) return PixelLayout::argb;
    if (format == kDeepFormat) return PixelLayout::deep;
    return format == AV_PIX_FMT_YUV420P10 ? PixelLayout::yuv420p10 : PixelLayout::yuv420;
}

void checkPictureSize(int width, int height) {
    if (width < 1 || height < 1 || width > 32767 || height > 32767 ||
        int64_t{width} * height > int64_t{kMaxPictureSide} * kMaxPictureSide)
        throw MediaError(MediaErrorCode::badRequest, "",
                         "a picture of " + std::to_string(width) + "x" + std::to_string(height) +
                             " cannot be made; sizes go from 1x1 to 16384x16384");
}

}  // namespace

FramePtr newArgbFrame(int width, int height) {
    return newPackedFrame(width, height, 4, AV_PIX_FMT_ARGB);
}

FramePtr newDeepFrame(int width, int height) {
    return newPackedFrame(width, height, 8, kDeepFormat);
}

PictureRef wrapFrame(FramePtr frame, FieldOrder fields, ColourMatrix matrix) {
    auto storage = std::make_shared<PictureRef::Storage>();
    storage->layout = layoutOf(frame->format);
    storage->fields = fields;
    storage->matrix = matrix;
    if (storage->layout == PixelLayout::argb && frame->linesize[0] != 4 * frame->width) {
        FramePtr tight = newArgbFrame(frame->width, frame->height);
        av_image_copy_plane(tight->data[0], tight->linesize[0], frame->data[0], frame->linesize[0],
                            4 * frame->width, frame->height);
        tight->pts = frame->pts;
        frame = std::move(tight);
    }
    storage->frame = std::move(frame);
    return PictureRef(std::move(storage));
}

PictureRef copyPicture(const PictureRef& picture) {
    const AVFrame& from = *picture.storage()->frame;
    if (!isPacked(picture.layout())) return wrapFrame(shareFrame(from), picture.fields(), picture.matrix());
    FramePtr copy = picture.layout() == PixelLayout::deep ? newDeepFrame(from.width, from.height)
                                                          : newArgbFrame(from.width, from.height);
    std::memcpy(copy->data[0], from.data[0],
                static_cast<size_t>(picture.stride()) * static_cast<size_t>(from.height));
    return wrapFrame(std::move(copy), picture.fields(), picture.matrix());
}

bool ownsBytes(const PictureRef& picture) {
    return picture.storage().use_count() == 1 && av_frame_is_writable(picture.storage()->frame.get()) > 0;
}

PictureRef PictureRef::makeArgb(int width, int height) {
    checkPictureSize(width, height);
    return wrapFrame(newArgbFrame(width, height), FieldOrder::progressive, colourMatrixFor(width, height));
}

PictureRef PictureRef::makeDeep(int width, int height) {
    checkPictureSize(width, height);
    return wrapFrame(newDeepFrame(width, height), FieldOrder::progressive, colourMatrixFor(width, height));
}

bool PictureRef::isUnique() const noexcept {
    return storage_ != nullptr && ownsBytes(*this);
}

PixelLayout PictureRef::layout() const noexcept {
    return storage_ ? storage_->layout : PixelLayout::argb;
}
int PictureRef::width() const noexcept {
    return storage_ ? storage_->frame->width : 0;
}
int PictureRef::height() const noexcept {
    return storage_ ? storage_->frame->height : 0;
}
uint8_t* PictureRef::data() const noexcept {
    return storage_ && storage_->layout == PixelLayout::argb ? storage_->frame->data[0] : nullptr;
}
uint16_t* PictureRef::words() const noexcept {
    return storage_ && storage_->layout == PixelLayout::deep
               ? reinterpret_cast<uint16_t*>(storage_->frame->data[0])
               : nullptr;
}
ptrdiff_t PictureRef::stride() const noexcept {
    return storage_ && isPacked(storage_->layout) ? storage_->frame->linesize[0] : 0;
}
FieldOrder PictureRef::fields() const noexcept {
    return storage_ ? storage_->fields : FieldOrder::progressive;
}
ColourMatrix PictureRef::matrix() const noexcept {
    return storage_ ? storage_->matrix : ColourMatrix::bt709;
}

}  // namespace tumblewash::media
