// Any bytes as a clip or picture: opened, read and gone through, or refused in words.

#include <sys/mman.h>
#include <unistd.h>

#include <vector>

#include "fuzz/Target.h"
#include "media/Reader.h"
#include "media/StillIO.h"

namespace {

using tumblewash::fuzz::demand;

/// The bytes as a file that has a name.
class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : file_(memfd_create("fuzz", MFD_CLOEXEC)) {
        demand(file_ >= 0 && write(file_, data, size) == static_cast<ssize_t>(size), "no file in memory");
    }
    ~MemoryFile() { close(file_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

  private:
    int file_;
};

void readThrough(const std::string& path) {
    tumblewash::ReaderSettings settings;
    settings.width = 32;
    settings.height = 32;
    settings.threads = 1;
    settings.prefetch = 0;
    tumblewash::Reader reader = tumblewash::Reader::open(path, settings);
    demand(reader.info().width > 0 && reader.info().height > 0, "a clip without a size");
    demand(reader.frameCount() >= 0, "a clip of fewer than no pictures");
    for (int i = 0; i < 6; ++i) {
        const tumblewash::PictureRef picture = reader.readPicture();
        if (!picture) break;
        demand(picture.width() == 32 && picture.height() == 32, "a picture of another size");
    }
    std::vector<float> samples(2048);
    reader.readSamples(samples.data(), samples.size() / 2);
    reader.seek(reader.frameCount() / 2);
    static_cast<void>(reader.readPicture());
    static_cast<void>(reader.warnings());
}

void refusable(void (*work)(const std::string&), const std::string& path) {
    try {
        work(path);
    } catch (const tumblewash::MediaError& error) {
        const std::string line = error.what();
        demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MemoryFile file(data, size);
    refusable(readThrough, file.path());
    refusable(
        [](const std::string& path) {
            tumblewash::StillSettings settings;
            settings.width = settings.height = 24;
            static_cast<void>(tumblewash::readStill(path, settings));
        },
        file.path());
    return 0;
}
