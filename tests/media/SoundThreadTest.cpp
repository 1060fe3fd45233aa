// Sound that is encoded beside the pictures: the same file, and nothing of one that is given up.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "media/Writer.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::SoundCodec;
using media::Writer;
using media::WriterSettings;

namespace {

/// A movie with a tone, each picture with its sound.
std::string movie(const std::string& file, const WriterSettings& settings) {
    Writer writer = Writer::open(file, settings);
    std::vector<float> tone(2 * static_cast<size_t>(settings.sampleRate / 25));
    for (int i = 0; i < 30; ++i) {
        for (size_t k = 0; k < tone.size(); ++k)
            tone[k] = 0.3F * std::sin(static_cast<float>(k / 2) * 0.01F * static_cast<float>(i + 1));
        writer.writePicture(solid(settings.width, settings.height, {i * 8, 255 - i * 5, i * 3}));
        writer.writeSamples(tone.data(), tone.size() / 2);
    }
    writer.commit();
    return readFile(file);
}

}  // namespace

TEST(SoundThreadTest, TheFileIsTheSameToTheByte) {
    const TempDir dir;
    struct Kind {
        const char* name;
        SoundCodec codec;
    };
    for (const Kind& kind : {Kind{"a.mp4", SoundCodec::usual}, Kind{"a.webm", SoundCodec::usual},
                             Kind{"a.mov", SoundCodec::pcm}, Kind{"a.mkv", SoundCodec::flac}}) {
        WriterSettings settings = smallMovie();
        settings.rate = {25, 1};
        settings.soundCodec = kind.codec;
        settings.soundBits = 16;
        settings.force = true;
        const std::string alone = movie(dir / kind.name, settings);
        settings.soundThread = true;
        EXPECT_EQ(movie(dir / kind.name, settings), alone) << kind.name;
        settings.ownThread = false;
        EXPECT_EQ(movie(dir / kind.name, settings), alone) << kind.name;
    }
}

TEST(SoundThreadTest, AMovieThatIsGivenUpLeavesNothing) {
    const TempDir dir;
    WriterSettings settings = smallMovie();
    settings.soundThread = true;
    {
        Writer writer = Writer::open(dir / "a.mp4", settings);
        const std::vector<float> tone(2 * 48000, 0.1F);
        for (int i = 0; i < 5; ++i) writer.writePicture(solid(settings.width, settings.height, {1, 2, 3}));
        writer.writeSamples(tone.data(), tone.size() / 2);
    }
    EXPECT_TRUE(dir.names().empty());
}

}  // namespace tumblewash::test
