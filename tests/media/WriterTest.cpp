#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "media/Writer.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::ColourMatrix;
using media::FieldOrder;
using media::FrameRate;
using media::MediaError;
using media::MediaErrorCode;
using media::needsEvenSize;
using media::OutputKind;
using media::outputKinds;
using media::PictureRef;
using media::PixelLayout;
using media::Reader;
using media::readStill;
using media::StillSettings;
using media::Writer;
using media::WriterSettings;

namespace {

constexpr const char* kMovies[] = {"a.mp4", "a.mov", "a.mkv", "a.webm"};

/// `pictures` solid pictures and a tone of `samples` sample frames (-1: just as long).
void fill(Writer& writer, int pictures, int samples = -1) {
    const WriterSettings& s = writer.settings();
    for (int i = 0; i < pictures; ++i)
        writer.writePicture(solid(s.width, s.height, {i * 9 % 256, 80, 255 - i * 5 % 256}));
    const int length = samples >= 0 ? samples : static_cast<int>(pictures * s.sampleRate / s.rate.value());
    std::vector<float> tone(2 * static_cast<size_t>(length));
    for (size_t i = 0; i < tone.size(); ++i) tone[i] = 0.3F * std::sin(static_cast<float>(i / 2) * 0.05F);
    if (length > 0) writer.writeSamples(tone.data(), static_cast<size_t>(length));
}

std::string probeValue(const std::string& path, const std::string& stream, const std::string& key) {
    std::string out = outputOf("ffprobe -v error -count_frames -select_streams " + stream +
                               " -show_entries stream=" + key + " -of default=nw=1:nk=1 " + path);
    while (!out.empty() && out.back() == '\n') out.pop_back();
    return out;
}

MediaErrorCode openingFails(const std::string& output, WriterSettings settings = smallMovie()) {
    const std::string named = output.starts_with("md5:") ? output.substr(4) : output;
    const MediaErrorCode checked = failureOf([&] { Writer::check(output, settings); }, named);
    EXPECT_EQ(failureOf([&] { Writer::open(output, settings); }, named), checked);
    return checked;
}

}  // namespace

TEST(WriterTest, WhatIsOpaqueIsOpaqueInEveryBitOfProRes) {
    const TempDir dir;
    WriterSettings settings = smallMovie();
    settings.sound = false;
    settings.keepAlpha = true;
    settings.preset.clear();
    Writer writer = Writer::open(dir / "a.mov", settings);
    writer.writePicture(solid(settings.width, settings.height, {200, 80, 20}));
    writer.commit();
    const std::string alpha =
        outputOf("ffmpeg -v error -i " + dir / "a.mov" +
                 " -vf extractplanes=a,format=gray12le -f rawvideo - | od -An -v -tu2 -w2 | "
                 "sort -u | tr -d ' \\n'");
    EXPECT_EQ(alpha, "4095");
}

TEST(WriterTest, AChapterEndsWhereTheNextOneBegins) {
    const TempDir dir;
    for (const char* name : kMovies) {
        WriterSettings settings = smallMovie();
        settings.sound = false;
        settings.pictures = 25;
        settings.chapters = {{0, "one"}, {10, "two"}};
        Writer writer = Writer::open(dir / name, settings);
        fill(writer, 25);
        writer.commit();
        std::istringstream ends(
            outputOf("ffprobe -v error -show_entries chapter=end_time -of csv=p=0 " + dir / name));
        double first = 0, second = 0;
        ends >> first >> second;
        EXPECT_NEAR(first, 10 / settings.rate.value(), 0.002) << name;
        EXPECT_NEAR(second, 25 / settings.rate.value(), 0.002) << name;
    }
}

TEST(WriterTest, EveryMovieHasItsPicturesSizesRateAndTags) {
    const TempDir dir;
    for (const char* name : kMovies) {
        WriterSettings settings = smallMovie();
        settings.rate = {30000, 1001};
        Writer writer = Writer::open(dir / name, settings);
        EXPECT_EQ(writer.preferredLayout(), PixelLayout::yuv420);
        EXPECT_EQ(writer.matrix(), ColourMatrix::bt601);
        fill(writer, 31);
        EXPECT_EQ(writer.pictures(), 31);
        writer.commit();
        EXPECT_EQ(probeValue(dir / name, "v:0", "nb_read_frames"), "31") << name;
        EXPECT_EQ(probeValue(dir / name, "v:0", "width"), "64");
        EXPECT_EQ(probeValue(dir / name, "v:0", "height"), "48");
        EXPECT_EQ(probeValue(dir / name, "v:0", "avg_frame_rate"), "30000/1001") << name;
        EXPECT_EQ(probeValue(dir / name, "v:0", "color_space"), "smpte170m") << name;
        EXPECT_EQ(probeValue(dir / name, "v:0", "color_range"), "tv") << name;
        EXPECT_EQ(probeValue(dir / name, "v:0", "sample_aspect_ratio"), "1:1") << name;
        EXPECT_EQ(probeValue(dir / name, "a:0", "channels"), "2") << name;
        Reader reader = Reader::open(dir / name);
        EXPECT_EQ(reader.frameCount(), 31) << name;
        EXPECT_EQ(reader.settings().rate, (FrameRate{30000, 1001})) << name;
    }
    EXPECT_EQ(dir.names().size(), 4U);
}

TEST(WriterTest, LargeMoviesAreTaggedBt709AndStartWithTheirIndex) {
    const TempDir dir;
    Writer writer = Writer::open(dir / "a.mp4", smallMovie(1280, 720));
    EXPECT_EQ(writer.matrix(), ColourMatrix::bt709);
    fill(writer, 2);
    writer.commit();
    for (const char* key : {"color_space", "color_transfer", "color_primaries"})
        EXPECT_EQ(probeValue(dir / "a.mp4", "v:0", key), "bt709") << key;
    const std::string bytes = readFile(dir / "a.mp4");
    EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
    WriterSettings other = smallMovie(1280, 720);
    other.matrix = ColourMatrix::bt601;
    EXPECT_EQ(Writer::open(dir / "b.mp4", other).matrix(), ColourMatrix::bt601);
}

TEST(WriterTest, PicturesOf576LinesHaveThePrimariesOfTheirTelevision) {
    const TempDir dir;
    for (const int height : {480, 576}) {
        Writer writer = Writer::open(dir / "a.mp4", [&] {
            WriterSettings settings = smallMovie(720, height);
            settings.force = true;
            return settings;
        }());
        fill(writer, 1);
        writer.commit();
        EXPECT_EQ(probeValue(dir / "a.mp4", "v:0", "color_primaries"),
                  height == 576 ? "bt470bg" : "smpte170m");
        EXPECT_EQ(probeValue(dir / "a.mp4", "v:0", "color_space"), "smpte170m");
        EXPECT_EQ(probeValue(dir / "a.mp4", "v:0", "color_transfer"), "smpte170m");
    }
}

TEST(WriterTest, SoundIsCutAndFilledToThePicturesLength) {
    const TempDir dir;
    for (const char* name : kMovies)
        for (const int samples : {0, 5000, 300000}) {
            const std::string path = dir / (std::to_string(samples) + name);
            Writer writer = Writer::open(path, smallMovie());
            fill(writer, 30, samples);
            writer.commit();
            // Decoded by another program, counted in samples; containers may round by a millisecond.
            const std::string raw =
                outputOf("ffmpeg -v error -i " + path + " -map 0:a -f s16le -ac 1 -ar 48000 - | wc -c");
            EXPECT_NEAR(std::stod(raw) / 2 / 48000, 1.2, 1.0 / 25) << path;
            EXPECT_EQ(probeValue(path, "v:0", "nb_read_frames"), "30") << path;
        }
}

TEST(WriterTest, SoundEndsWithTheLastSampleBeforeTheEndOfThePictures) {
    const TempDir dir;
    for (const auto& [pictures, samples] : {std::pair{1, 1601}, {2, 3203}, {3, 4804}, {5, 8008}}) {
        WriterSettings settings = smallMovie();
        settings.rate = {30000, 1001};
        settings.force = true;
        Writer writer = Writer::open("md5:" + dir / "sums", settings);
        fill(writer, pictures, 9000);
        writer.commit();
        EXPECT_THAT(readFile(dir / "sums"), ::testing::HasSubstr("sound " + std::to_string(samples) + " "));
    }
}

TEST(WriterTest, WithoutSoundThereIsNoSoundStream) {
    const TempDir dir;
    WriterSettings settings = smallMovie();
    settings.sound = false;
    Writer writer = Writer::open(dir / "a.mp4", settings);
    fill(writer, 3);
    writer.commit();
    EXPECT_EQ(probeValue(dir / "a.mp4", "a:0", "codec_name"), "");
}

TEST(WriterTest, InterlacedMoviesAreTaggedAndKeepTheirLines) {
    const TempDir dir;
    for (const FieldOrder fields : {FieldOrder::topFirst, FieldOrder::bottomFirst}) {
        WriterSettings settings = smallMovie();
        settings.fields = fields;
        settings.force = true;
        settings.crf = 1;
        Writer writer = Writer::open(dir / "a.mp4", settings);
        PictureRef picture = solid(64, 48, {200, 200, 200});
        for (int y = 0; y < 48; y += 2)
            for (int x = 0; x < 64; ++x) picture.data()[y * picture.stride() + 4 * x + 2] = 40;
        for (int i = 0; i < 5; ++i) writer.writePicture(picture);
        writer.commit();
        Reader reader = Reader::open(dir / "a.mp4");
        EXPECT_EQ(reader.fields(), fields);
        EXPECT_EQ(probeValue(dir / "a.mp4", "v:0", "field_order"),
                  fields == FieldOrder::topFirst ? "tt" : "bb");
        const PictureRef back = reader.readPicture();
        EXPECT_NEAR(pixel(back, 20, 20)[1], 40, 12);
        EXPECT_NEAR(pixel(back, 20, 21)[1], 200, 12);
    }
}

TEST(WriterTest, FingerprintsAreOneLineAPictureAndOneForTheSound) {
    const TempDir dir;
    WriterSettings settings = smallMovie(3, 1);
    Writer writer = Writer::open("md5:" + dir / "sums", settings);
    const uint8_t bytes[16] = {255, 1, 2, 3, 251, 4, 5, 6, 0, 7, 8, 9, 99, 99, 99, 99};
    writer.writePicture(bytes, 16);
    writer.writePicture(solid(3, 1, {0, 0, 0}, 0));
    writer.commit();
    const auto md5 = [](const std::string& escaped) {
        return outputOf("printf '" + escaped + "' | md5sum").substr(0, 32);
    };
    const std::string silence = outputOf("head -c 15360 /dev/zero | md5sum").substr(0, 32);
    EXPECT_EQ(readFile(dir / "sums"),
              "frame 0 " + md5("\\377\\001\\002\\003\\373\\004\\005\\006\\000\\007\\010\\011") +
                  "\nframe 1 " + md5("\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000") +
                  "\nsound 3840 " + silence + "\n");
}

TEST(WriterTest, TwoRunsGiveTheSameFingerprintsAndTheSameFiles) {
    const TempDir dir;
    for (const char* name : {"a.mp4", "a.mkv"}) {
        for (const char* run : {"1", "2"}) {
            Writer writer = Writer::open(dir / (std::string(run) + name), smallMovie());
            fill(writer, 20);
            writer.commit();
        }
        EXPECT_EQ(readFile(dir / (std::string("1") + name)), readFile(dir / (std::string("2") + name)))
            << name;
    }
}

TEST(WriterTest, SequencesHoldTheBytesAndReplaceOlderOnesWhole) {
    const TempDir dir;
    WriterSettings settings = smallMovie(5, 3);
    settings.keepAlpha = true;
    {
        Writer writer = Writer::open(dir / "p%03d.png", settings);
        for (int i = 0; i < 12; ++i) writer.writePicture(solid(5, 3, {i, 2 * i, 3 * i}, 200 + i));
        EXPECT_THAT(dir.names(), ::testing::Not(::testing::Contains("p001.png")));
        writer.commit();
    }
    // The pictures, and the list by which a later run knows them for this program's own.
    EXPECT_EQ(dir.names().size(), 13U);
    EXPECT_EQ(dir.names().front(), ".p%03d.png.tumblewash");
    StillSettings keep;
    keep.keepAlpha = true;
    EXPECT_EQ(bytesOf(readStill(dir / "p012.png", keep)), bytesOf(solid(5, 3, {11, 22, 33}, 211)));
    EXPECT_EQ(openingFails(dir / "p%03d.png", settings), MediaErrorCode::notWritable);
    settings.force = true;
    {
        Writer abandoned = Writer::open(dir / "p%03d.png", settings);
        abandoned.writePicture(solid(5, 3, {9, 9, 9}));
    }
    EXPECT_EQ(dir.names().size(), 13U);
    EXPECT_EQ(bytesOf(readStill(dir / "p001.png", keep)), bytesOf(solid(5, 3, {0, 0, 0}, 200)));
    {
        Writer shorter = Writer::open(dir / "p%03d.png", settings);
        shorter.writePicture(solid(5, 3, {9, 9, 9}));
        shorter.commit();
        EXPECT_EQ(readFile(dir / "p002.png"), "");
    }
    EXPECT_THAT(dir.names(), ::testing::ElementsAre(".p%03d.png.tumblewash", "p001.png"));
}

TEST(WriterTest, OutputsThatCannotBeAreRefusedInWords) {
    const TempDir dir;
    writeFile(dir / "old.mp4", "old");
    std::filesystem::create_directory(dir / "folder.mp4");
    WriterSettings forced = smallMovie();
    forced.force = true;
    EXPECT_EQ(openingFails(dir / "old.mp4"), MediaErrorCode::notWritable);
    EXPECT_EQ(openingFails(dir / "folder.mp4", forced), MediaErrorCode::notWritable);
    EXPECT_EQ(openingFails(dir / "no/such/a.mp4"), MediaErrorCode::notWritable);
    EXPECT_EQ(openingFails(dir / "old.mp4/a.mp4"), MediaErrorCode::notWritable);
    EXPECT_EQ(openingFails("md5:/dev/full", forced), MediaErrorCode::notWritable);
    EXPECT_EQ(openingFails(dir / (std::string(300, 'n') + ".mp4")), MediaErrorCode::notWritable);
    for (const char* name : {"a.wmv", "a", "a.png", "a%d%d.png", "md4:", ".mp4", "null:x"})
        EXPECT_EQ(failureOf([&] { Writer::open(name, smallMovie()); }, name), MediaErrorCode::badRequest)
            << name;
    EXPECT_EQ(dir.names().size(), 2U);
}

TEST(WriterTest, SettingsThatCannotBeAreRefused) {
    const TempDir dir;
    const auto refused = [&](const char* name, auto change) {
        WriterSettings settings = smallMovie();
        change(settings);
        return openingFails(dir / name, settings) == MediaErrorCode::badRequest;
    };
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.width = 63; }));
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.height = 14; }));
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.width = 20000; }));
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.rate = {0, 1}; }));
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.crf = 52; }));
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.preset = "warp"; }));
    EXPECT_TRUE(refused("a.mp4", [](WriterSettings& s) { s.sampleRate = 12345; }));
    EXPECT_TRUE(refused("a.webm", [](WriterSettings& s) { s.sampleRate = 44100; }));
    EXPECT_TRUE(refused("a.webm", [](WriterSettings& s) { s.fields = FieldOrder::topFirst; }));
    EXPECT_TRUE(refused("a%d.png", [](WriterSettings& s) { s.width = 0; }));
    EXPECT_TRUE(needsEvenSize("a.mkv"));
    EXPECT_FALSE(needsEvenSize("a%d.png"));
    EXPECT_TRUE(dir.names().empty());
}

TEST(WriterTest, UntilCommitTheOldFileStaysAndNothingIsLeftBehind) {
    const TempDir dir;
    for (const char* name : kMovies) {
        writeFile(dir / name, "the old file");
        WriterSettings settings = smallMovie();
        settings.force = true;
        {
            Writer abandoned = Writer::open(dir / name, settings);
            fill(abandoned, 8);
            EXPECT_EQ(readFile(dir / name), "the old file");
        }
        EXPECT_EQ(readFile(dir / name), "the old file");
        Writer writer = Writer::open(dir / name, settings);
        fill(writer, 8);
        writer.commit();
        EXPECT_GT(readFile(dir / name).size(), 500U);
    }
    EXPECT_THAT(dir.names(), ::testing::ElementsAre("a.mkv", "a.mov", "a.mp4", "a.webm"));
}

TEST(WriterTest, AFileThatAppearsMeanwhileIsNotReplacedWithoutForce) {
    const TempDir dir;
    Writer writer = Writer::open(dir / "a.mp4", smallMovie());
    fill(writer, 3);
    writeFile(dir / "a.mp4", "somebody else's");
    EXPECT_EQ(failureOf([&] { writer.commit(); }, "a.mp4"), MediaErrorCode::notWritable);
    EXPECT_EQ(readFile(dir / "a.mp4"), "somebody else's");
}

TEST(WriterTest, ALinkIsFollowedAndStaysALink) {
    const TempDir dir;
    writeFile(dir / "real.mp4", "old");
    std::filesystem::create_symlink(dir / "real.mp4", dir / "link.mp4");
    WriterSettings settings = smallMovie();
    settings.force = true;
    Writer writer = Writer::open(dir / "link.mp4", settings);
    fill(writer, 2);
    writer.commit();
    EXPECT_TRUE(std::filesystem::is_symlink(dir / "link.mp4"));
    EXPECT_GT(readFile(dir / "real.mp4").size(), 500U);
}

TEST(WriterTest, AFullDiskIsToldAndLeavesTheOldFile) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    for (const char* name : {"a.mp4", "a.mkv", "a.webm", "p%d.png", "md5:"}) {
        const TempDir dir;
        const bool sums = std::string(name) == "md5:";
        const std::string path = sums ? "md5:" + dir / "sums" : dir / name;
        writeFile(dir / "a.mp4", "the old file");
        WriterSettings settings = smallMovie(320, 240);
        settings.force = true;
        settings.crf = 1;
        const rlimit tight{sums ? rlim_t{100} : rlim_t{20000}, before.rlim_max};
        const auto work = [&] {
            Writer writer = Writer::open(path, settings);
            ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
            uint32_t noise = 1;
            for (int i = 0; i < 40; ++i) {
                const PictureRef picture = solid(320, 240, {0, 0, 0});
                for (int k = 0; k < 4 * 320 * 240; ++k)
                    picture.data()[k] = static_cast<uint8_t>((noise = noise * 1664525U + 1013904223U) >> 24);
                writer.writePicture(picture);
            }
            writer.commit();
        };
        EXPECT_EQ(failureOf(work, sums ? "sums" : name), MediaErrorCode::notWritable) << name;
        setrlimit(RLIMIT_FSIZE, &before);
        EXPECT_EQ(readFile(dir / "a.mp4"), "the old file");
        EXPECT_THAT(dir.names(), ::testing::ElementsAre("a.mp4")) << name;
    }
    std::signal(SIGXFSZ, SIG_DFL);
}

TEST(WriterTest, AVanishedFolderIsTold) {
    const TempDir dir;
    std::filesystem::create_directory(dir / "sub");
    Writer writer = Writer::open(dir / "sub/a.mkv", smallMovie());
    fill(writer, 3);
    std::filesystem::remove_all(dir / "sub");
    EXPECT_EQ(failureOf([&] { writer.commit(); }, "a.mkv"), MediaErrorCode::notWritable);
}

TEST(WriterTest, AClosedPipeOrAFullDeviceAsStandardOutputIsTold) {
    std::signal(SIGPIPE, SIG_IGN);
    const int before = dup(STDOUT_FILENO);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    for (const int target : {ends[1], open("/dev/full", O_WRONLY)}) {
        ASSERT_GE(target, 0);
        fflush(stdout);
        dup2(target, STDOUT_FILENO);
        MediaErrorCode code = MediaErrorCode::encoding;
        try {
            Writer writer = Writer::open("md5:", smallMovie(2, 2));
            fill(writer, 3, 0);
            writer.commit();
        } catch (const MediaError& error) {
            code = error.code();
        }
        dup2(before, STDOUT_FILENO);
        close(target);
        EXPECT_EQ(code, MediaErrorCode::notWritable);
    }
    close(before);
    std::signal(SIGPIPE, SIG_DFL);
}

TEST(WriterTest, AKilledRunLeavesTheOldFileWhole) {
    const TempDir dir;
    writeFile(dir / "a.mp4", "the old file");
    for (int moment = 0; moment < 6; ++moment) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            WriterSettings settings = smallMovie();
            settings.force = true;
            Writer writer = Writer::open(dir / "a.mp4", settings);
            for (;;) writer.writePicture(solid(64, 48, {1, 2, 3}));
        }
        usleep(static_cast<useconds_t>(20'000 * moment));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        EXPECT_EQ(readFile(dir / "a.mp4"), "the old file");
    }
}

TEST(WriterTest, ARaisedFlagEndsTheWorkWithoutLitter) {
    const TempDir dir;
    std::atomic<bool> flag{false};
    WriterSettings settings = smallMovie();
    settings.cancel = &flag;
    {
        Writer writer = Writer::open(dir / "a.mp4", settings);
        fill(writer, 5);
        flag = true;
        EXPECT_EQ(failureOf([&] { fill(writer, 1); }, "a.mp4"), MediaErrorCode::cancelled);
        EXPECT_EQ(failureOf([&] { writer.commit(); }, "a.mp4"), MediaErrorCode::cancelled);
    }
    EXPECT_TRUE(dir.names().empty());
}

TEST(WriterTest, PicturesOfAnotherSizeAndEmptyMoviesAreRefused) {
    const TempDir dir;
    Writer writer = Writer::open(dir / "a.mp4", smallMovie());
    EXPECT_EQ(failureOf(
                  [&] {
                      writer.writePicture(solid(62, 48, {0, 0, 0}));
                  },
                  "a.mp4"),
              MediaErrorCode::badRequest);
    EXPECT_EQ(failureOf([&] { writer.writePicture(PictureRef()); }, "a.mp4"), MediaErrorCode::badRequest);
    EXPECT_EQ(failureOf([&] { writer.commit(); }, "a.mp4"), MediaErrorCode::badRequest);
}

TEST(WriterTest, MotionJpegAsksForTheOneMatrixThatItHas) {
    const TempDir dir;
    WriterSettings settings = smallMovie(1280, 720);
    settings.preset.clear();
    EXPECT_EQ(Writer::open(dir / "a.mp4", settings).matrix(), media::ColourMatrix::bt709);
    EXPECT_EQ(Writer::open(dir / "a.avi", settings).matrix(), media::ColourMatrix::bt601);
}

TEST(WriterTest, TheTableOfOutputsNamesEveryKind) {
    std::string all;
    for (const OutputKind& kind : outputKinds()) all += std::string(kind.pattern) + " ";
    EXPECT_EQ(all, "null: md5:[FILE] NAME%05d.png NAME.mp4 NAME.mov NAME.mkv NAME.webm NAME.avi ");
}

}  // namespace tumblewash::test
