// Any bytes as a HEIC or AVIF file: its table of items read, its picture decoded, or refused in one line.

#include "fuzz/Target.h"
#include "fuzz/UnsteadyFile.h"
#include "media/StillIO.h"
#include "media/detail/HeifItems.h"
#include "media/detail/HeifPicture.h"

namespace {

using tumblewash::fuzz::demand;

void readIt(const std::string& path) {
    const tumblewash::media::InputBytes file(path);
    const tumblewash::media::StillPicture still = tumblewash::media::decodeHeif(file, nullptr);
    demand(still.frame && still.frame->width > 0 && still.frame->height > 0, "a picture without a size");
    demand(still.orientation >= 1 && still.orientation <= 8, "a turn that there is not");
    for (const std::string& line : still.remarks)
        demand(!line.empty() && line.find('\n') == std::string::npos, "a remark is not one line: " + line);
    tumblewash::media::StillSettings settings;
    settings.width = settings.height = 24;
    if (tumblewash::media::heifKind(file) != tumblewash::media::HeifKind::none)
        static_cast<void>(tumblewash::media::readStill(path, settings));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const tumblewash::fuzz::UnsteadyFile file({data, size}, ".heic", tumblewash::fuzz::Trouble::none, 0);
    try {
        readIt(file.path());
    } catch (const tumblewash::media::MediaError& error) {
        const std::string line = error.what();
        demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
    } catch (const std::bad_alloc&) {
    }
    return 0;
}
