#include "media/detail/IndexCheck.h"

#include <algorithm>
#include <cstring>

namespace tumblewash::media {

namespace {

// Packets that may come before the first one of the slower stream.
constexpr int kMostPackets = 10'000;

/// True when the file says of a stream what the encoder said, to the byte. Then no decoder is asked: AAC's
/// does not tell that it found no memory when it was opened, and crashes at its first packet.
bool sameParameters(const AVCodecParameters& found, const AVCodecParameters& written) {
    return found.extradata_size == written.extradata_size &&
           (found.extradata_size == 0 ||
            std::memcmp(found.extradata, written.extradata, static_cast<size_t>(found.extradata_size)) == 0);
}

/// True when a decoder that is told what the file says of the stream takes the packet.
bool decodes(const AVStream& stream, const AVPacket& packet) {
    const AVCodec* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    if (decoder == nullptr) return true;
    const CodecPtr codec(orBadAlloc(avcodec_alloc_context3(decoder)));
    if (avcodec_parameters_to_context(codec.get(), stream.codecpar) < 0) throw std::bad_alloc();
    codec->thread_count = 1;
    // Otherwise H.264's decoder passes over parameters that it could not read, or had no memory to read.
    codec->err_recognition |= AV_EF_EXPLODE;
    int result = avcodec_open2(codec.get(), decoder, nullptr);
    throwIfNotStarted(result);
    if (result < 0) return false;
    codec->err_recognition = 0;
    result = avcodec_send_packet(codec.get(), &packet);
    throwIfNoRoom(result);
    return result >= 0;
}

}  // namespace

void IndexCheck::note(const AVPacket& packet, int64_t entries) noexcept {
    const auto index = static_cast<size_t>(packet.stream_index);
    if (index >= streams_.size()) return;
    Stream& stream = streams_[index];
    stream.entries += entries;
    if (stream.packets++ > 0) return;
    stream.tailBytes = std::min(packet.size, kTail);
    std::memcpy(stream.tail.data(), packet.data + packet.size - stream.tailBytes,
                static_cast<size_t>(stream.tailBytes));
}

bool IndexCheck::sameStream(AVFormatContext& file, int index, const AVStream& written) const {
    if (static_cast<unsigned>(index) >= file.nb_streams) return false;
    const AVStream& found = *file.streams[index];
    const Stream& noted = streams_[static_cast<size_t>(index)];
    // The library gathers samples that are not coded.
    const bool listed =
        noted.entries > noted.packets || avformat_index_get_entries_count(&found) == noted.packets;
    return found.codecpar->codec_id == written.codecpar->codec_id && found.nb_frames == noted.entries &&
           listed && (found.codecpar->extradata_size > 0 || written.codecpar->extradata_size == 0);
}

bool IndexCheck::sameBeginnings(AVFormatContext& file, const AVFormatContext& muxer) const {
    const PacketPtr packet = newPacket();
    std::array<bool, 2> seen{streams_[0].packets == 0, streams_[1].packets == 0};
    for (int i = 0; i < kMostPackets && !(seen[0] && seen[1]); ++i) {
        const int read = av_read_frame(&file, packet.get());
        throwIfNoRoom(read);
        if (read < 0) return false;
        const auto index = static_cast<size_t>(packet->stream_index);
        if (index < seen.size() && !seen[index]) {
            const Stream& stream = streams_[index];
            seen[index] = true;
            if (packet->size < stream.tailBytes ||
                std::memcmp(packet->data + packet->size - stream.tailBytes, stream.tail.data(),
                            static_cast<size_t>(stream.tailBytes)) != 0 ||
                !(sameParameters(*file.streams[index]->codecpar, *muxer.streams[index]->codecpar) ||
                  decodes(*file.streams[index], *packet)))
                return false;
        }
        av_packet_unref(packet.get());
    }
    return seen[0] && seen[1];
}

bool IndexCheck::holds(const MuxerFile& bytes, const AVFormatContext& muxer) const {
    const MuxerFile::Reading io = bytes.reading();
    AVFormatContext* raw = orBadAlloc(avformat_alloc_context());
    raw->pb = io.get();
    raw->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    AVDictionary* options = nullptr;
    // Lists of edits would leave out the sound before time 0.
    int opened = av_dict_set(&options, "ignore_editlist", "1", 0);
    if (opened >= 0)
        opened = avformat_open_input(&raw, nullptr, av_find_input_format("mov"),
                                     &options);  // frees raw when it fails
    else
        avformat_free_context(raw);
    av_dict_free(&options);
    throwIfNoRoom(opened);
    if (opened < 0) return false;
    const InputPtr file(raw);
    for (int i = 0; i < 2; ++i)
        if (streams_[static_cast<size_t>(i)].packets > 0 && !sameStream(*file, i, *muxer.streams[i]))
            return false;
    return sameBeginnings(*file, muxer);
}

}  // namespace tumblewash::media
