// One input file opened and checked, one of its streams decoded in order.
// Pictures and sound of a clip are read through two of these, so that neither waits for the other in memory.
// It converts nothing: frames come as the codec made them, with a time that is never missing.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "media/detail/Av.h"
#include "media/detail/DecoderMemory.h"
#include "media/detail/InputBytes.h"

namespace tumblewash::media {

/// Moments further than this from a stream's zero are damage, and count as missing: sums and differences of
/// the others stay within 64 bits.
constexpr int64_t kFarthestTime = int64_t{1} << 60;
inline int64_t timeOrNone(int64_t stamp) noexcept {
    return stamp < -kFarthestTime || stamp > kFarthestTime ? AV_NOPTS_VALUE : stamp;
}

/// An opened container. Not movable: the library keeps its address for interrupts.
class InputFile {
  public:
    /// Throws MediaError (unreadable, when the file has changed meanwhile; undecodable, cancelled).
    InputFile(std::shared_ptr<const InputBytes> bytes, CancelFlag cancel);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    AVFormatContext& context() const noexcept { return *context_; }
    const InputBytes& bytes() const noexcept { return *bytes_; }
    const std::string& path() const noexcept { return bytes_->path(); }
    CancelFlag cancel() const noexcept { return cancel_; }
    bool isImage() const noexcept { return image_; }

    /// Index of the stream to use, or -1. Cover pictures of sound files are no video.
    int bestVideo() const noexcept;
    int bestAudio() const noexcept;
    /// The stream of that number. Throws MediaError (unreadable) when there is none of that kind: what an
    /// earlier opening found need not be there any more.
    AVStream& stream(int index, AVMediaType kind) const;
    /// All streams but this one are skipped while reading.
    void useOnly(int stream) noexcept;
    /// Reads the next packet of the streams in use; its times are such as `timeOrNone` lets through, its
    /// length none below 0. False at the end, at damage that hides the rest, and when interrupted.
    bool read(AVPacket& packet);
    /// Reading is broken off when the calling thread has had this much more of the processor; opening and
    /// probing may not hang on absurd files. To be cleared by the same thread.
    void setDeadline(double seconds) noexcept;
    void clearDeadline() noexcept;
    /// True when reading was broken off for that.
    bool late() const noexcept;

  private:
    static int interrupted(void* self);
    static int openSame(AVFormatContext* context, AVIOContext** io, const char* url, int flags,
                        AVDictionary** options);
    static int closeSame(AVFormatContext* context, AVIOContext* io);
    int findStreams();
    std::shared_ptr<const InputBytes> bytes_;
    InputIoPtr io_;  // outlives the context, which reads through it
    InputPtr context_;
    CancelFlag cancel_;
    double deadline_ = std::numeric_limits<double>::infinity();  // on the thread's own clock
    bool image_ = false;
};

/// What a decoder does with damage.
enum class OnDamage {
    patch,         ///< fills in what is missing
    refuseHeader,  ///< the same, but does not start with a header that it cannot read
    drop           ///< leaves out pictures that are not all there
};

/// Decodes one stream of a file from where the file stands.
class StreamDecoder {
  public:
    /// For the stream of that number and kind. Throws MediaError (undecodable; unreadable when there is
    /// none). `threads` 0: by the machine; one that shall refuse headers takes 1. The file must outlive the
    /// decoder.
    StreamDecoder(InputFile& file, int stream, AVMediaType kind, int threads,
                  OnDamage onDamage = OnDamage::patch);

    /// The next frame, or null after the last. Damage is skipped and counted. Throws MediaError (cancelled).
    /// `pts` is the best known time in the stream's units, or AV_NOPTS_VALUE.
    FramePtr next();
    /// Goes to the last key frame at or before `timestamp` (stream units). False when the file cannot.
    bool seek(int64_t timestamp);
    /// Where it would go, by the file's index; nothing where the file has none.
    std::optional<int64_t> keyBefore(int64_t timestamp) const;

    const AVStream& stream() const noexcept { return *stream_; }
    const AVCodecContext& codec() const noexcept { return *codec_; }
    /// Packets or frames that could not be decoded so far.
    int64_t damaged() const noexcept { return damaged_; }
    /// Pictures that came although their data is damaged: the decoder filled in what it could not read.
    int64_t patched() const noexcept { return patched_; }
    /// True once a packet came that is encrypted.
    bool encrypted() const noexcept { return encrypted_; }
    /// Gives up after this many packets without a single frame; 0: never.
    void setPatience(int64_t packets) noexcept { patience_ = packets; }
    /// For telling times only: pictures before `timestamp` (stream units) that no other is made from may be
    /// left out, and pixels are rough from here on.
    void skimUntil(int64_t timestamp) noexcept;

  private:
    void feed();
    bool takesScans(const AVPacket& packet);

    InputFile& file_;
    AVStream* stream_;
    DecoderMemory memory_;  // outlives the decoder
    CodecPtr codec_;
    PacketPtr packet_ = newPacket();
    int64_t damaged_ = 0;
    int64_t patched_ = 0;
    int64_t frames_ = 0;
    int64_t packets_ = 0;
    int64_t patience_ = 0;
    int64_t skimmed_ = AV_NOPTS_VALUE;
    int drainErrors_ = 0;
    bool draining_ = false;
    bool encrypted_ = false;
};

}  // namespace tumblewash::media
