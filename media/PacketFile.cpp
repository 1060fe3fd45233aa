#include "media/detail/PacketFile.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

extern "C" {
#include <libavutil/murmur3.h>
}

namespace tumblewash::media {

namespace {

constexpr char kMagic[8] = {'t', 'w', 'p', 'i', 'e', 'c', 'e', '1'};
constexpr size_t kHeld = size_t{1} << 20;

// What follows.
constexpr int64_t kPacket = 1;
constexpr int64_t kPrint = 2;
constexpr int64_t kEnd = 3;

// Of a packet's times, in the encoder's units; thousands of years of pictures.
constexpr int64_t kFarthest = int64_t{1} << 40;

}  // namespace

PacketFileWriter::PacketFileWriter(StagedFile& file, Piece kind, const AVCodecContext& codec) : file_(file) {
    bytes(kMagic, sizeof kMagic);
    number(static_cast<int64_t>(kind));
    number(codec.extradata_size);
    if (codec.extradata_size > 0) bytes(codec.extradata, static_cast<size_t>(codec.extradata_size));
}

void PacketFileWriter::number(int64_t value) {
    uint8_t out[8];
    for (int i = 0; i < 8; ++i) out[i] = static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i));
    bytes(out, sizeof out);
}

void PacketFileWriter::bytes(const void* data, size_t size) {
    const char* from = static_cast<const char*>(data);
    held_.insert(held_.end(), from, from + size);
    if (held_.size() >= kHeld) flush();
}

void PacketFileWriter::flush() {
    if (!held_.empty()) file_.write(held_.data(), held_.size());
    held_.clear();
}

void PacketFileWriter::print(const PicturePrint& picture) {
    number(kPrint);
    bytes(picture.data(), picture.size());
    ++pictures_;
}

void PacketFileWriter::packet(const AVPacket& packet) {
    number(kPacket);
    number(packet.pts);
    number(packet.dts);
    number(packet.duration);
    number(packet.flags);
    number(packet.size);
    bytes(packet.data, static_cast<size_t>(packet.size));
    number(packet.side_data_elems);
    for (int i = 0; i < packet.side_data_elems; ++i) {
        const AVPacketSideData& side = packet.side_data[i];
        number(side.type);
        number(static_cast<int64_t>(side.size));
        bytes(side.data, side.size);
    }
    ++packets_;
}

void PacketFileWriter::finish() {
    number(kEnd);
    number(packets_);
    number(pictures_);
    flush();
}

PacketFileReader::PacketFileReader(const std::string& file) : file_(file), in_(file, std::ios::binary) {
    std::error_code problem;
    size_ = std::filesystem::file_size(file, problem);
    if (problem || !in_) throw MediaError(MediaErrorCode::unreadable, file, "cannot be read");
    char magic[sizeof kMagic];
    bytes(magic, sizeof magic);
    if (std::memcmp(magic, kMagic, sizeof magic) != 0)
        throw MediaError(MediaErrorCode::undecodable, file, "is not a piece of a movie");
    const int64_t kind = number();
    if (kind != static_cast<int64_t>(Piece::pictures) && kind != static_cast<int64_t>(Piece::sound))
        damaged();
    kind_ = static_cast<Piece>(kind);
    header_.resize(length(number()));
    bytes(header_.data(), header_.size());
}

void PacketFileReader::damaged() const {
    throw MediaError(MediaErrorCode::undecodable, file_, "is cut or damaged; render it again");
}

int64_t PacketFileReader::number() {
    uint8_t in[8];
    bytes(in, sizeof in);
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i) value |= static_cast<uint64_t>(in[i]) << (8 * i);
    return static_cast<int64_t>(value);
}

void PacketFileReader::bytes(void* data, size_t size) {
    if (size > 0 && !in_.read(static_cast<char*>(data), static_cast<std::streamsize>(size))) damaged();
}

/// A size that the file can hold.
size_t PacketFileReader::length(int64_t value) const {
    if (value < 0 || static_cast<uint64_t>(value) > std::min<uint64_t>(size_, INT32_MAX - 64)) damaged();
    return static_cast<size_t>(value);
}

PacketPtr PacketFileReader::next() {
    for (;;) {
        const int64_t what = number();
        if (what == kPrint) {
            bytes(prints_.emplace_back().data(), prints_.back().size());
            continue;
        }
        if (what == kEnd) {
            if (number() != packets_ || number() != static_cast<int64_t>(prints_.size())) damaged();
            if (in_.peek() != std::ifstream::traits_type::eof()) damaged();
            return nullptr;
        }
        if (what != kPacket) damaged();
        PacketPtr packet = newPacket();
        const int64_t pts = number();
        const int64_t dts = number();
        const int64_t duration = number();
        const int64_t flags = number();
        const size_t size = length(number());
        throwIfNoRoom(av_new_packet(packet.get(), static_cast<int>(size)));
        bytes(packet->data, size);
        const int64_t sides = number();
        if (sides < 0 || sides > 64) damaged();
        for (int64_t i = 0; i < sides; ++i) {
            const int64_t type = number();
            const size_t held = length(number());
            if (type < 0 || type >= AV_PKT_DATA_NB) damaged();
            bytes(orBadAlloc(
                      av_packet_new_side_data(packet.get(), static_cast<AVPacketSideDataType>(type), held)),
                  held);
        }
        // Containers take packets in order and times that leave room to be moved and scaled; some end the
        // program at others.
        if (dts < -kFarthest || pts > kFarthest || pts < dts || duration < 0 || duration > kFarthest ||
            (packets_ > 0 && dts <= lastDts_))
            damaged();
        lastDts_ = dts;
        packet->pts = pts;
        packet->dts = dts;
        packet->duration = duration;
        packet->flags = static_cast<int>(flags);
        ++packets_;
        return packet;
    }
}

PicturePrint printOf(const AVFrame& frame) {
    const std::unique_ptr<AVMurMur3, decltype(&av_free)> sum(orBadAlloc(av_murmur3_alloc()), &av_free);
    av_murmur3_init(sum.get());
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const AVPixFmtDescriptor* facts = av_pix_fmt_desc_get(format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
        const int width = av_image_get_linesize(format, frame.width, plane);
        const bool chroma = plane == 1 || plane == 2;
        const int rows = chroma ? AV_CEIL_RSHIFT(frame.height, facts->log2_chroma_h) : frame.height;
        for (int y = 0; y < rows; ++y)
            av_murmur3_update(sum.get(), frame.data[plane] + ptrdiff_t{y} * frame.linesize[plane],
                              static_cast<size_t>(width));
    }
    PicturePrint out{};
    av_murmur3_final(sum.get(), out.data());
    return out;
}

}  // namespace tumblewash::media
