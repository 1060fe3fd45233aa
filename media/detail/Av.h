// Ownership for the FFmpeg libraries' objects, their error numbers in words, and what a PictureRef points at.
// Private to this room: no public header includes it.
// Every wrapper is a unique_ptr; nothing here decides anything.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <new>
#include <string>

#include "media/MediaError.h"
#include "media/Picture.h"

namespace tumblewash::media {

/// Calls one of the libraries' "free and null the pointer" functions.
template <auto Free>
struct AvFree {
    template <typename T>
    void operator()(T* object) const noexcept {
        Free(&object);
    }
};

/// The one that leaves the pointer as it is.
struct ScalerFree {
    void operator()(SwsContext* scaler) const noexcept { sws_freeContext(scaler); }
};

using FramePtr = std::unique_ptr<AVFrame, AvFree<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, AvFree<av_packet_free>>;
using CodecPtr = std::unique_ptr<AVCodecContext, AvFree<avcodec_free_context>>;
using GraphPtr = std::unique_ptr<AVFilterGraph, AvFree<avfilter_graph_free>>;
using InputPtr = std::unique_ptr<AVFormatContext, AvFree<avformat_close_input>>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerFree>;

/// `object`, or std::bad_alloc when it is null.
template <typename T>
T* orBadAlloc(T* object) {
    if (object == nullptr) throw std::bad_alloc();
    return object;
}

inline FramePtr newFrame() {
    return FramePtr(orBadAlloc(av_frame_alloc()));
}
inline PacketPtr newPacket() {
    return PacketPtr(orBadAlloc(av_packet_alloc()));
}
/// A second reference to the same bytes.
inline FramePtr shareFrame(const AVFrame& frame) {
    return FramePtr(orBadAlloc(av_frame_clone(&frame)));
}

/// Throws std::bad_alloc when the library found no memory: that is no trouble with a file.
inline void throwIfNoRoom(int error) {
    if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
}
/// The same for what opens a codec or a graph, and std::system_error when it found no thread.
void throwIfNotStarted(int error);

/// Puts the filters of `description` between `in`, its source, and `out`, its sink. Below 0: the library's
/// error.
int connectGraph(AVFilterGraph& graph, AVFilterContext& in, AVFilterContext& out,
                 const std::string& description);

/// The library's words for its error number, or the system's for errno values.
std::string avMessage(int error);

inline AVRational asAv(FrameRate rate) {
    AVRational out;
    av_reduce(&out.num, &out.den, rate.num, rate.den, 1'000'000'000);
    return out;
}
inline FrameRate fromAv(AVRational value) {
    return {value.num, value.den};
}

inline bool raised(CancelFlag flag) noexcept {
    return flag != nullptr && flag->load(std::memory_order_relaxed);
}
/// Throws MediaError (cancelled) when the flag is up.
void throwIfRaised(CancelFlag flag, const std::string& file);

/// The pixels are always a library frame, so that encoders and filters take them without a copy.
struct PictureRef::Storage {
    FramePtr frame;
    PixelLayout layout = PixelLayout::argb;
    FieldOrder fields = FieldOrder::progressive;
    ColourMatrix matrix = ColourMatrix::bt709;
};

/// What a deep picture's frame says of its format: the libraries have none for 16-bit alpha, red, green,
/// blue, and this one has the same words. Such frames never reach a filter or an encoder as they are.
constexpr AVPixelFormat kDeepFormat = AV_PIX_FMT_AYUV64;

/// A new frame of packed ARGB with rows of exactly 4 x width bytes from the room's pool.
FramePtr newArgbFrame(int width, int height);
/// The same with the 16-bit words of deep pictures.
FramePtr newDeepFrame(int width, int height);
/// Wraps a frame of AV_PIX_FMT_ARGB (rows made tight if need be), kDeepFormat, AV_PIX_FMT_YUV420P or
/// AV_PIX_FMT_YUV420P10.
PictureRef wrapFrame(FramePtr frame, FieldOrder fields, ColourMatrix matrix);
/// A picture with its own bytes, equal to `picture`.
PictureRef copyPicture(const PictureRef& picture);
/// A deep picture into ARGB memory: clipped to black and white, rounded.
void deepToArgb(const PictureRef& deep, uint8_t* argb, ptrdiff_t stride);
/// True when nobody else refers to the bytes.
bool ownsBytes(const PictureRef& picture);

}  // namespace tumblewash::media
