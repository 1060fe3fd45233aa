// Any bytes as a clip whose packets are copied into a movie: indexed, and where the index allows it copied
// and checked, or refused in words.

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "fuzz/Target.h"
#include "fuzz/UnsteadyFile.h"
#include "media/PacketIndex.h"
#include "media/SoundCopy.h"
#include "media/Writer.h"

namespace {

using tumblewash::fuzz::demand;
using tumblewash::media::CopyPlan;
using tumblewash::media::PacketIndex;
using tumblewash::media::PacketRange;
using tumblewash::media::SoundCopy;
using tumblewash::media::Writer;
using tumblewash::media::WriterSettings;

void checkRange(const PacketIndex& index, const PacketRange& range) {
    const auto packets = static_cast<std::int64_t>(index.packets().size());
    demand(range.firstPacket >= 0 && range.firstPacket < range.endPacket && range.endPacket <= packets,
           "a stretch outside of its packets");
    demand(range.pictures > 0 && range.firstPicture + range.pictures <= index.pictures(),
           "a stretch outside of its pictures");
    std::int64_t kept = 0;
    for (std::int64_t i = range.firstPacket; i < range.endPacket; ++i) {
        const std::int64_t picture = index.packets()[static_cast<std::size_t>(i)].picture;
        demand(picture < range.firstPicture + range.pictures, "a picture from behind its stretch");
        kept += picture >= range.firstPicture ? 1 : 0;
    }
    demand(kept == range.pictures, "a stretch that is not whole");
    demand(index.lag(range) >= 0 && index.lag(range) < packets, "an order that cannot be");
}

void copy(const std::shared_ptr<const PacketIndex>& index, const PacketRange& range) {
    if (index->facts().width > 256 || index->facts().height > 256 || range.pictures > 64) return;
    auto plan = std::make_shared<CopyPlan>();
    plan->clips = {index};
    plan->runs = {{0, range}};
    WriterSettings settings;
    settings.width = index->facts().width;
    settings.height = index->facts().height;
    settings.rate = index->info().rate;
    settings.force = true;
    settings.threads = 1;
    settings.copies = plan;
    // The seams' encoder is that of the clip's codec.
    settings.colour.emplace();
    settings.colour->codec = *index->facts().codec;
    settings.colour->depth = index->info().colour.depth;
    settings.colour->matrix = index->info().matrix;
    const std::string output =
        std::filesystem::temp_directory_path() / ("tumblewash-fuzz-" + std::to_string(getpid()) + ".mkv");
    settings.channels = index->info().channels == 1 ? 1 : 2;
    settings.soundCopy = SoundCopy::of(index->info().path, {}, output, settings, 0);
    settings.sound = settings.soundCopy != nullptr;
    Writer writer = Writer::open(output, settings);
    const std::vector<float> silence(4800);
    for (std::int64_t i = 0; i < range.pictures; ++i) {
        writer.copyPicture();
        // The clip's own as far as the writer knows: what it finds in the packets may be anything.
        writer.writeOwnSamples(silence.data(), silence.size() / static_cast<std::size_t>(settings.channels));
    }
    writer.commit();
    std::filesystem::remove(output);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const tumblewash::fuzz::UnsteadyFile file({data, size}, ".mkv", tumblewash::fuzz::Trouble::none, 0);
        const auto index = PacketIndex::read(file.path());
        const auto whole = index->copyable(0, index->pictures());
        demand(!whole || index->trouble().empty(), "packets to copy in spite of a trouble");
        if (!whole) return 0;
        checkRange(*index, *whole);
        if (const auto part = index->copyable(2, index->pictures() - 1)) checkRange(*index, *part);
        copy(index, *whole);
    } catch (const tumblewash::media::MediaError& refused) {
        demand(std::string(refused.what()).find('\n') == std::string::npos, "a refusal of two lines");
    } catch (const std::bad_alloc&) {
    }
    return 0;
}
