#include "media/Pieces.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "media/Fingerprint.h"
#include "media/detail/PacketFile.h"
#include "media/detail/Sink.h"

namespace tumblewash::media {

PieceFacts readPiece(const std::string& file) {
    PieceFacts facts;
    PacketFileReader reader(file);
    facts.kind = reader.kind();
    int64_t start = 0;
    while (const PacketPtr packet = reader.next()) {
        if (facts.packets == 0) start = packet->dts;
        ++facts.packets;
    }
    facts.pictures = static_cast<int64_t>(reader.prints().size());
    facts.delay = facts.kind == Piece::pictures ? std::max<int64_t>(0, -start) : 0;
    std::ifstream in(file, std::ios::binary);
    Sha256 sum;
    std::vector<char> held(size_t{1} << 16);
    while (in.read(held.data(), static_cast<std::streamsize>(held.size())), in.gcount() > 0) {
        sum.add(held.data(), static_cast<size_t>(in.gcount()));
        facts.bytes += static_cast<uint64_t>(in.gcount());
    }
    if (in.bad()) throw MediaError(MediaErrorCode::unreadable, file, "cannot be read");
    facts.sha256 = sum.text();
    return facts;
}

std::string libraryVersion() {
    return av_version_info();
}

MergedPrints mergePieces(const std::string& output, const WriterSettings& settings,
                         const std::vector<PlacedPiece>& pictures, const std::string& sound) {
    Writer::check(output, settings);
    return mergeMovie(output, settings, pictures, sound);
}

}  // namespace tumblewash::media
