// Any bytes as a clip or picture under any name, steady or changing while it is read: opened, read and gone
// through, or refused in words.
//   The last three bytes of an input say under which ending it is read, what trouble there is, and at which
//   reading.

#include <array>
#include <vector>

#include "fuzz/Target.h"
#include "fuzz/UnsteadyFile.h"
#include "media/Reader.h"
#include "media/StillIO.h"

namespace {

using tumblewash::fuzz::demand;
using tumblewash::fuzz::Trouble;
using tumblewash::fuzz::UnsteadyFile;

// fuzz/make_corpora.py counts in the same order.
constexpr std::array kEndings{"",      ".mp4",  ".mov", ".mkv", ".webm", ".avi", ".mpg",   ".ts",
                              ".y4m",  ".wav",  ".png", ".jpg", ".webp", ".gif", ".bmp",   ".tiff",
                              ".ppm",  ".tga",  ".exr", ".jp2", ".dpx",  ".sgi", ".pcx",   ".qoi",
                              ".heic", ".avif", ".svg", ".psd", ".txt",  ".y",   "%d.jpg", "*.png"};

/// What an input's last bytes choose.
struct Choice {
    std::string ending;
    Trouble trouble = Trouble::none;
    int reading = 0;
};

Choice choiceOf(std::span<const std::uint8_t>& bytes) {
    Choice choice;
    if (bytes.size() < 3) return choice;
    const auto tail = bytes.last(3);
    bytes = bytes.first(bytes.size() - 3);
    choice.ending = kEndings[tail[0] % kEndings.size()];
    choice.trouble = static_cast<Trouble>(tail[1] % tumblewash::fuzz::kTroubles);
    choice.reading = tail[2];
    return choice;
}

void readThrough(const std::string& path) {
    tumblewash::media::ReaderSettings settings;
    settings.width = 32;
    settings.height = 32;
    settings.threads = 1;
    settings.prefetch = 0;
    tumblewash::media::Reader reader = tumblewash::media::Reader::open(path, settings);
    demand(reader.info().width > 0 && reader.info().height > 0, "a clip without a size");
    demand(reader.frameCount() >= 0, "a clip of fewer than no pictures");
    for (int i = 0; i < 6; ++i) {
        const tumblewash::media::PictureRef picture = reader.readPicture();
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
    } catch (const tumblewash::media::MediaError& error) {
        const std::string line = error.what();
        demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::span<const std::uint8_t> bytes(data, size);
    const Choice choice = choiceOf(bytes);
    {
        const UnsteadyFile file(bytes, choice.ending, choice.trouble, choice.reading);
        refusable(readThrough, file.path());
    }
    const UnsteadyFile file(bytes, choice.ending, choice.trouble, choice.reading);
    refusable(
        [](const std::string& path) {
            tumblewash::media::StillSettings settings;
            settings.width = settings.height = 24;
            static_cast<void>(tumblewash::media::readStill(path, settings));
        },
        file.path());
    return 0;
}
