#include "media/SeamCost.h"

#include <chrono>

#include "media/CopyPlan.h"
#include "media/detail/SeamEncoder.h"
#include "media/detail/VideoEncoder.h"

namespace tumblewash::media {

namespace {

using Clock = std::chrono::steady_clock;

// Enough to fill an encoder that looks ahead; few enough that nobody waits for them.
constexpr int kPictures = 12;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void drain(AVCodecContext& codec) {
    const PacketPtr packet = newPacket();
    while (avcodec_receive_packet(&codec, packet.get()) >= 0) av_packet_unref(packet.get());
}

}  // namespace

SeamCost measureSeams(const std::shared_ptr<const PacketIndex>& clip, const ReaderSettings& reading) {
    const TrackFacts& facts = clip->facts();
    // Any kind of file that holds the codec.
    const std::string output = std::string("x.") + (facts.codec == Codec::prores ? "mov" : "mkv");
    WriterSettings settings;
    settings.width = facts.width;
    settings.height = facts.height;
    settings.rate = clip->info().rate;
    settings.sound = false;
    settings.cancel = reading.cancel;
    settings.colour.emplace();
    settings.colour->codec = *facts.codec;
    settings.colour->depth = clip->info().colour.depth;
    settings.colour->matrix = clip->info().matrix;
    settings.colour->transfer = clip->info().colour.transfer;
    CopyPlan plan;
    plan.clips = {clip};

    ReaderSettings planar = reading;
    planar.width = facts.width;
    planar.height = facts.height;
    planar.layout = settings.colour->depth > 8 ? PixelLayout::yuv420p10 : PixelLayout::yuv420;
    planar.matrix = settings.colour->matrix;
    planar.transfer = settings.colour->transfer;
    planar.prefetch = 0;
    planar.identity = clip->info().identity;
    const Clock::time_point began = Clock::now();
    std::vector<PictureRef> pictures;
    Reader reader = Reader::open(clip->info().path, planar);
    while (static_cast<int>(pictures.size()) < kPictures) {
        PictureRef picture = reader.readPicture();
        if (!picture) break;
        pictures.push_back(std::move(picture));
    }
    SeamCost out;
    if (pictures.empty()) return out;
    const auto count = static_cast<double>(pictures.size());
    out.decoding = since(began) / count;

    const Clock::time_point encoding = Clock::now();
    const CodecPtr codec = openSeamEncoder(output, settings, plan);
    int64_t number = 0;
    for (const PictureRef& picture : pictures) {
        throwIfRaised(settings.cancel, clip->info().path);
        const FramePtr frame = encoderFrame(picture, settings, *codec, *settings.colour);
        frame->pts = number++;
        const int sent = avcodec_send_frame(codec.get(), frame.get());
        throwIfNoRoom(sent);
        if (sent < 0) break;
        drain(*codec);
    }
    avcodec_send_frame(codec.get(), nullptr);
    drain(*codec);
    out.encoding = since(encoding) / count;
    return out;
}

}  // namespace tumblewash::media
