// Sound that begins with a clip's own packets: they are the clip's, and what follows joins them without a
// click.
#include <cmath>
#include <fstream>

#include "media/Probe.h"
#include "media/SoundCopy.h"
#include "media/detail/SoundCopyDetail.h"
#include "media/detail/SoundEncoder.h"
#include "tests/media/Support.h"

namespace tumblewash::test {

using media::bendOverlap;
using media::ByteView;
using media::SoundCopy;
using media::SoundEncoder;
using media::windowAt;
using media::windowBehind;
using media::Writer;
using media::WriterSettings;

namespace {

constexpr int kRate = 48000;
constexpr int kUnit = 1024;
constexpr int kFrames = 35;  // of 25 a second
constexpr size_t kSamples = kFrames * kRate / 25;

/// A chord that swells, in two channels that differ.
std::vector<float> chord(size_t count) {
    std::vector<float> out(2 * count);
    for (size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / kRate;
        const double swell = 0.15 + 0.05 * std::sin(3 * t);
        out[2 * i] = static_cast<float>(swell * (std::sin(2764.6 * t) + std::sin(4146.9 * t)));
        out[2 * i + 1] = static_cast<float>(swell * (std::sin(2073.4 * t) + std::sin(6911.5 * t)));
    }
    return out;
}

std::string packetBytes(const AVPacket& packet) {
    return {reinterpret_cast<const char*>(packet.data), static_cast<size_t>(packet.size)};
}

WriterSettings soundSettings() {
    WriterSettings settings = smallMovie();
    settings.rate = {25, 1};
    settings.force = true;
    return settings;
}

/// Encoded packets of `samples`, the first of which is number `first`.
std::vector<std::pair<int64_t, std::string>> encoded(const std::vector<float>& samples, int64_t first) {
    std::vector<std::pair<int64_t, std::string>> out;
    SoundEncoder encoder("a.mp4", soundSettings(), "aac", 192'000, first,
                         [&](AVPacket& packet) { out.emplace_back(packet.pts, packetBytes(packet)); });
    encoder.samples(samples.data(), samples.size() / 2);
    encoder.finish();
    return out;
}

/// The chord in packets whose windows are sines, of which this encoder makes none: each is made on its own
/// from samples whose two overlaps are bent for such windows, and says then that it has one.
std::vector<std::string> sinePackets(size_t count) {
    constexpr size_t kAround = 4 * kUnit;
    const std::vector<float> all = chord((count + 10) * kUnit);
    std::vector<std::string> out;
    for (size_t k = 0; k < count; ++k) {
        std::vector<float> bent(all.begin() + static_cast<std::ptrdiff_t>(2 * k * kUnit),
                                all.begin() + static_cast<std::ptrdiff_t>(2 * (k + 10) * kUnit));
        float* const overlap = bent.data() + 2 * kAround;
        bendOverlap(overlap, 2, false, true);
        // The overlap behind it is its mirror image, but that the transform adds there where it subtracts
        // here.
        for (size_t n = 0; n < kUnit / 2; ++n) {
            const size_t m = kUnit - 1 - n;
            const double here = windowAt(true, static_cast<int>(m));
            const double there = windowAt(true, static_cast<int>(n));
            for (size_t c = 0; c < 2; ++c) {
                float& x = overlap[2 * (kUnit + n) + c];
                float& y = overlap[2 * (kUnit + m) + c];
                const double missing = (windowAt(false, static_cast<int>(m)) - here) * x +
                                       (windowAt(false, static_cast<int>(n)) - there) * y;
                x = static_cast<float>(x + here * missing);
                y = static_cast<float>(y + there * missing);
            }
        }
        for (const auto& [pts, bytes] : encoded(bent, -static_cast<int64_t>(kAround))) {
            if (pts != 0) continue;
            std::string packet = bytes;
            const auto half = windowBehind({reinterpret_cast<const uint8_t*>(packet.data()), packet.size()});
            EXPECT_TRUE(half && half->longHalf && half->kaiser) << k;
            packet[1] = static_cast<char>(packet[1] & ~0x10);
            out.push_back(packet);
        }
    }
    return out;
}

/// Packets as a clip with drawn pictures.
void writeClip(const TempDir& folder, const std::vector<std::string>& packets) {
    std::string stream;
    for (const std::string& packet : packets) {
        const size_t size = packet.size() + 7;  // ISO/IEC 13818-7, 6.2
        for (const size_t byte : {size_t{0xFF}, size_t{0xF1}, size_t{0x4C}, 0x80 | (size >> 11),
                                  size >> 3 & 255, (size & 7) << 5 | 0x1F, size_t{0xFC}})
            stream += static_cast<char>(byte);
        stream += packet;
    }
    writeFile(folder / "clip.aac", stream);
    ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -i " + folder / "clip.aac" +
           " -map 0:v -map 1:a -t 1.4 -c:v libx264 "
           "-preset ultrafast -pix_fmt yuv420p -c:a copy " +
           folder / "clip.mp4");
}

std::vector<float> soundOf(const std::string& file, size_t count) {
    media::Reader reader = media::Reader::open(file);
    std::vector<float> out(2 * count);
    reader.readSamples(out.data(), count);
    return out;
}

/// A movie whose sound is the clip's own up to `own` and then, coded anew, just the same.
int64_t copyInto(const std::string& out, const std::string& clip, const std::vector<float>& sound,
                 size_t own) {
    WriterSettings settings = soundSettings();
    settings.soundCopy = SoundCopy::of(clip, {}, out, settings, 0);
    EXPECT_TRUE(settings.soundCopy) << clip;
    if (!settings.soundCopy) return 0;
    Writer writer = Writer::open(out, settings);
    for (int i = 0; i < kFrames; ++i) writer.writePicture(solid(64, 48, {i, 80, 99}));
    writer.writeOwnSamples(sound.data(), own);
    writer.writeSamples(sound.data() + 2 * own, kSamples - own);
    writer.commit();
    return writer.copiedSamples();
}

/// The least ratio in decibels of the wanted sound to what was made of it, over pieces of 128 sample frames.
double worstOf(const std::vector<float>& wanted, const std::vector<float>& made, size_t from, size_t to) {
    double worst = 200;
    for (size_t at = from; at + 128 <= to; at += 128) {
        double power = 1e-12;
        double error = 1e-12;
        for (size_t i = 2 * at; i < 2 * (at + 128); ++i) {
            power += double{wanted[i]} * double{wanted[i]};
            error += (double{wanted[i]} - double{made[i]}) * (double{wanted[i]} - double{made[i]});
        }
        worst = std::min(worst, 10 * std::log10(power / error));
    }
    return worst;
}

TEST(SoundCopyTest, HalvesOfBothWindowsAddUpToOne) {
    for (const bool kaiser : {false, true}) {
        for (int n = 0; n < kUnit; ++n)
            EXPECT_NEAR(std::pow(windowAt(kaiser, n), 2) + std::pow(windowAt(kaiser, kUnit - 1 - n), 2), 1,
                        1e-12);
    }
    EXPECT_NEAR(windowAt(false, kUnit / 2), std::sqrt(0.5), 1e-3);
    EXPECT_LT(windowAt(true, 100), windowAt(false, 100) / 2);
}

TEST(SoundCopyTest, WindowsAreReadFromPackets) {
    const auto half = [](std::initializer_list<uint8_t> bytes) {
        const std::vector<uint8_t> packet(bytes);
        return windowBehind(packet);
    };
    // A pair with one window: 001 0000 1, then 0, sequence, shape.
    EXPECT_EQ(half({0x21, 0x10, 0}), (media::WindowHalf{true, true}));
    EXPECT_EQ(half({0x21, 0x20, 0}), (media::WindowHalf{false, false}));
    EXPECT_EQ(half({0x21, 0x60, 0}), (media::WindowHalf{true, false}));
    EXPECT_EQ(half({0x20, 0x10, 0}), std::nullopt) << "two windows";
    EXPECT_EQ(half({0xE0}), std::nullopt) << "the end";
    EXPECT_EQ(half({0x21}), std::nullopt) << "cut short";
    EXPECT_EQ(half({}), std::nullopt);
    // A fill element of one byte before it.
    EXPECT_EQ(half({0xC2, 0x00, 0x42, 0x20, 0}), (media::WindowHalf{true, true}));
}

TEST(SoundCopyTest, WhatFollowsCopiedPacketsJoinsThemWithoutAClick) {
    const TempDir folder;
    for (const bool sine : {false, true}) {
        std::vector<std::string> packets = sinePackets(sine ? 66 : 0);
        if (!sine)
            for (const auto& [pts, bytes] : encoded(chord(66 * kUnit), 0)) packets.push_back(bytes);
        writeClip(folder, packets);
        const std::vector<float> sound = soundOf(folder / "clip.mp4", kSamples);
        for (const char* name : {"a.mp4", "a.mkv"}) {
            // Ends of the clip's own sound at several places of the packets' grid.
            for (const size_t own : {size_t{24700}, size_t{24000}, size_t{2047}, size_t{500}}) {
                if (own != 24700 && std::string(name) == "a.mkv") continue;
                const int64_t copied = copyInto(folder / name, folder / "clip.mp4", sound, own);
                EXPECT_GE(copied, static_cast<int64_t>(own) - 3 * kUnit) << sine << name << own;
                EXPECT_LE(copied, static_cast<int64_t>(own)) << sine << name << own;
                const std::vector<float> made = soundOf(folder / name, kSamples);
                EXPECT_GT(worstOf(sound, made, kUnit, kSamples - 2 * kUnit), 20) << sine << name << own;
                if (own > 20000) {
                    EXPECT_GT(worstOf(sound, made, kUnit, own - 4 * kUnit), 100) << sine << name << own;
                }
            }
        }
    }
}

TEST(SoundCopyTest, OtherKindsOfSoundAreNotCopied) {
    const TempDir folder;
    const auto copyOf = [&](const std::string& sound, const std::string& clip, const std::string& output,
                            int channels = 2) {
        ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -f lavfi -i sine=r=48000 -t 0.6 -pix_fmt yuv420p " + sound +
               " " + folder / clip);
        WriterSettings settings = soundSettings();
        settings.channels = channels;
        return SoundCopy::of(folder / clip, {}, output, settings, 0);
    };
    EXPECT_TRUE(copyOf("-c:a aac -ac 2", "a.mp4", "o.mp4"));
    EXPECT_TRUE(copyOf("-c:a aac -ac 2", "a.mkv", "o.mov"));
    EXPECT_TRUE(copyOf("-c:a aac -ac 1", "m.mp4", "o.mp4", 1));
    EXPECT_FALSE(copyOf("-c:a aac -ac 1", "a.mp4", "o.mp4")) << "other channels";
    EXPECT_FALSE(copyOf("-c:a aac -ac 2 -ar 44100", "a.mp4", "o.mp4")) << "another rate";
    EXPECT_FALSE(copyOf("-c:a mp3 -ac 2", "a.mp4", "o.mp4")) << "another codec";
    EXPECT_FALSE(copyOf("-c:a aac -ac 2", "a.mp4", "o.webm")) << "another codec";
    EXPECT_FALSE(copyOf("-c:a aac -ac 2 -f mpegts", "a.ts", "o.mp4")) << "no header";
    const std::string vp8 = "-c:v libvpx -deadline realtime -c:a libopus -ac 2 ";
    EXPECT_TRUE(copyOf(vp8, "a.webm", "o.webm"));
    EXPECT_FALSE(copyOf(vp8 + "-frame_duration 60", "a.webm", "o.webm")) << "packets of another length";
    EXPECT_FALSE(copyOf(vp8, "a.webm", "o.mkv")) << "another codec";
    // A gap in the times.
    ffmpeg(
        "-f lavfi -i testsrc2=s=64x48:r=25 -f lavfi -i sine=r=48000 -t 0.6 -pix_fmt yuv420p -af "
        "\"asetpts='if(gte(N,12),PTS+4800,PTS)'\" -c:a aac -ac 2 " +
        folder / "gap.mkv");
    EXPECT_FALSE(SoundCopy::of(folder / "gap.mkv", {}, "o.mp4", soundSettings(), 0));
}

}  // namespace
}  // namespace tumblewash::test
