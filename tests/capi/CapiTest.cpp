// tumblewash.h as a program in C sees it, against effects/.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "capi/tumblewash.h"
#include "effects/Effect.h"

namespace tumblewash {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 37, kHeight = 26;

Bytes noise(unsigned seed, int channels) {
    std::mt19937 random(seed);
    Bytes bytes(static_cast<std::size_t>(kWidth * kHeight * channels));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return bytes;
}

int channelsOf(tw_format format) {
    return format == TW_RGB || format == TW_BGR ? 3 : 4;
}

tw_picture pictureOf(const Bytes& bytes, tw_format format, tw_alpha alpha = TW_STRAIGHT) {
    return {bytes.data(), kWidth * channelsOf(format), kWidth, kHeight, format, alpha};
}
tw_target targetOf(Bytes& bytes, tw_format format, tw_alpha alpha = TW_STRAIGHT) {
    return {bytes.data(), kWidth * channelsOf(format), kWidth, kHeight, format, alpha};
}

/// The same pixels in another format.
Bytes reordered(const Bytes& argb, tw_format format) {
    constexpr int places[5][4] = {{0, 1, 2, 3}, {3, 0, 1, 2}, {3, 2, 1, 0}, {-1, 0, 1, 2}, {-1, 2, 1, 0}};
    const auto channels = static_cast<std::size_t>(channelsOf(format));
    Bytes out(argb.size() / 4 * channels);
    for (std::size_t i = 0; i < argb.size() / 4; ++i)
        for (std::size_t c = 0; c < 4; ++c)
            if (const int place = places[format][c]; place >= 0)
                out[i * channels + static_cast<std::size_t>(place)] = argb[i * 4 + c];
    return out;
}

TEST(CapiTest, TheCatalogueIsThePlugins) {
    ASSERT_EQ(tw_effect_count(), plugin::kEffectCount);
    for (const plugin::EffectRecord& record : plugin::effectCatalogue()) {
        tw_effect_info info{}, found{};
        ASSERT_EQ(tw_effect_at(record.index, &info), TW_OK);
        EXPECT_STREQ(info.id, record.id);
        EXPECT_STREQ(info.name, record.name);
        EXPECT_STREQ(info.sentence, record.sentence);
        EXPECT_EQ(info.clips, effects::joinsTwoClips(record) ? 2 : 1);
        EXPECT_EQ(info.arrives != 0, effects::pictureArrives(record));
        EXPECT_EQ(info.has_knobs != 0, effects::hasKnobs(record));
        EXPECT_EQ(info.reveals != 0, std::string(record.id).ends_with("-reveal"));
        ASSERT_EQ(tw_effect_find(record.id, &found), TW_OK);
        EXPECT_EQ(found.index, record.index);
    }
    tw_effect_info info{};
    EXPECT_EQ(tw_effect_at(-1, &info), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_effect_at(tw_effect_count(), &info), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_effect_at(0, nullptr), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_effect_find("tilt-revael", &info), TW_BAD_ARGUMENT);
    EXPECT_NE(std::string(tw_last_error()).find("did you mean tilt-reveal"), std::string::npos);
}

TEST(CapiTest, VersionsAgree) {
    EXPECT_EQ(tw_version(), static_cast<std::uint32_t>(TW_VERSION));
    EXPECT_EQ(tw_version_string(), std::to_string(TW_VERSION_MAJOR) + '.' + std::to_string(TW_VERSION_MINOR) +
                                       '.' + std::to_string(TW_VERSION_PATCH));
}

TEST(CapiTest, PicturesAreTheEffectsInEveryFormat) {
    const Bytes first = noise(1, 4), last = noise(2, 4);
    constexpr effects::Alpha kinds[] = {effects::Alpha::straight, effects::Alpha::premultiplied,
                                        effects::Alpha::opaque};
    const tw_knobs knobs = {TW_UP, 9};
    for (const plugin::EffectRecord& record : plugin::effectCatalogue()) {
        const effects::Effect effect(record, {kPluginDirectionUp, 9, false});
        for (const tw_alpha alpha : {TW_STRAIGHT, TW_PREMULTIPLIED, TW_OPAQUE}) {
            Bytes expected(first.size());
            const auto read = [&](const Bytes& bytes) {
                return effects::Picture{bytes.data(), kWidth * 4, kWidth, kHeight, kinds[alpha]};
            };
            ASSERT_EQ(effect.render(0.4, {read(first), read(last)},
                                    {expected.data(), kWidth * 4, kWidth, kHeight, kinds[alpha]}),
                      effects::Outcome::ok);
            for (const tw_format format : {TW_ARGB, TW_RGBA, TW_BGRA, TW_RGB, TW_BGR}) {
                if (channelsOf(format) == 3 && alpha != TW_OPAQUE) continue;
                const Bytes a = reordered(first, format), b = reordered(last, format);
                Bytes out(a.size(), 0xA5);
                const tw_picture pa = pictureOf(a, format, alpha), pb = pictureOf(b, format, alpha);
                const tw_target target = targetOf(out, format, alpha);
                ASSERT_EQ(tw_render(record.id, 0.4, &pa, &pb, &knobs, &target), TW_OK) << tw_last_error();
                EXPECT_TRUE(out == reordered(expected, format)) << record.id << " format " << format;
            }
        }
    }
}

TEST(CapiTest, AKeptEffectServesThreadsAndEverySize) {
    const Bytes first = noise(3, 3), last = noise(4, 3);
    tw_effect* effect = tw_effect_new("tumble-reveal", nullptr);
    ASSERT_NE(effect, nullptr);
    const tw_picture a = pictureOf(first, TW_RGB), b = pictureOf(last, TW_RGB);
    Bytes expected(first.size());
    const tw_target target = targetOf(expected, TW_RGB);
    ASSERT_EQ(tw_render("tumble-reveal", 0.3, &a, &b, nullptr, &target), TW_OK);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            Bytes out(first.size());
            const tw_target own = targetOf(out, TW_RGB);
            if (tw_effect_render(effect, 0.3, &a, &b, &own) != TW_OK || out != expected) ++wrong;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    tw_picture smallA = a, smallB = b;
    Bytes out(first.size(), 0xA5);
    tw_target small = targetOf(out, TW_RGB);
    smallA.width = smallB.width = small.width = 20;
    smallA.height = smallB.height = small.height = 9;
    EXPECT_EQ(tw_effect_render(effect, 0.3, &smallA, &smallB, &small), TW_OK);
    EXPECT_EQ(out[20 * 3], 0xA5) << "what lies beside the picture is not written";
    tw_effect_free(effect);
    tw_effect_free(nullptr);
}

std::ptrdiff_t threadsNow() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(CapiTest, ALargePictureIsSharedByTheThreadsAskedFor) {
    constexpr int width = 1030, height = 973, stride = width * 3 + 7;
    std::mt19937 random(9);
    Bytes first(static_cast<std::size_t>(stride) * height), last(first.size());
    for (Bytes* bytes : {&first, &last})
        for (std::size_t i = 0; i < bytes->size(); i += 5) (*bytes)[i] = static_cast<std::uint8_t>(random());
    const tw_picture a = {first.data(), stride, width, height, TW_RGB, TW_OPAQUE};
    const tw_picture b = {last.data(), stride, width, height, TW_RGB, TW_OPAQUE};
    for (const char* id : {"wash-away", "tumble-reveal", "morph", "none"}) {
        tw_effect* effect = tw_effect_new(id, nullptr);
        ASSERT_NE(effect, nullptr) << id;
        Bytes expected(first.size()), out(first.size());
        const tw_target alone = {expected.data(), stride, width, height, TW_BGR, TW_OPAQUE};
        const tw_target shared = {out.data(), stride, width, height, TW_BGR, TW_OPAQUE};
        ASSERT_EQ(tw_effect_render(effect, 0.4, &a, &b, &alone), TW_OK);
        ASSERT_EQ(tw_effect_set_threads(effect, TW_MOST_THREADS), TW_OK);
        ASSERT_EQ(tw_effect_render(effect, 0.4, &a, &b, &shared), TW_OK);
        EXPECT_TRUE(out == expected) << id;
        EXPECT_GE(threadsNow(), TW_MOST_THREADS);
        for (const int wrong : {0, -1, TW_MOST_THREADS + 1}) {
            EXPECT_EQ(tw_effect_set_threads(effect, wrong), TW_BAD_ARGUMENT);
            EXPECT_STREQ(tw_last_error(), "the number of threads must be between 1 and 64");
        }
        tw_effect_free(effect);
    }
    EXPECT_EQ(tw_effect_set_threads(nullptr, 2), TW_BAD_ARGUMENT);
}

TEST(CapiTest, WhatCannotBeRenderedIsRefusedWithASentence) {
    const Bytes bytes = noise(5, 4);
    Bytes out(bytes.size(), 0xA5);
    const tw_picture good = pictureOf(bytes, TW_RGBA);
    const tw_target target = targetOf(out, TW_RGBA);
    tw_picture hollow = good, narrow = good, flat = good, odd = good, wide = good;
    hollow.pixels = nullptr;
    narrow.stride = kWidth * 4 - 1;
    flat.height = 0;
    odd.format = static_cast<tw_format>(7);
    wide.width = kWidth - 1;
    tw_picture farUp = good, farDown = good;
    farUp.stride = std::numeric_limits<std::ptrdiff_t>::min();
    farDown.stride = std::numeric_limits<std::ptrdiff_t>::max();
    for (const tw_picture& bad : {hollow, narrow, flat, odd, wide, farUp, farDown}) {
        EXPECT_EQ(tw_render("morph", 0.5, &bad, &good, nullptr, &target), TW_BAD_ARGUMENT);
        EXPECT_EQ(tw_render("morph", 0.5, &good, &bad, nullptr, &target), TW_BAD_ARGUMENT);
    }
    EXPECT_EQ(tw_render("morph", 0.5, &good, nullptr, nullptr, &target), TW_BAD_ARGUMENT);
    EXPECT_NE(std::string(tw_last_error()).find("two pictures"), std::string::npos);
    EXPECT_EQ(tw_render("morph", 0.5, &good, &good, nullptr, nullptr), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_render(nullptr, 0.5, &good, &good, nullptr, &target), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_render("wash", 0.5, &good, &good, nullptr, &target), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_render("wash\n\33[31m", 0.5, &good, &good, nullptr, &target), TW_BAD_ARGUMENT);
    const std::string line = tw_last_error();
    EXPECT_TRUE(std::none_of(line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; })) << line;
    EXPECT_EQ(tw_effect_new("wash", nullptr), nullptr);
    EXPECT_EQ(tw_effect_render(nullptr, 0.5, &good, &good, &target), TW_BAD_ARGUMENT);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](std::uint8_t byte) { return byte == 0xA5; }));
    EXPECT_EQ(tw_render("wash-out", 0.5, &good, nullptr, nullptr, &target), TW_OK);
    std::string elsewhere;
    std::thread([&] { elsewhere = tw_last_error(); }).join();
    EXPECT_EQ(elsewhere, "") << "each thread has its own last error";
}

struct Told {
    std::vector<std::int64_t> done;
    std::int64_t total = 0;
    std::int64_t most = 0;

    static int tell(void* user, std::int64_t done, std::int64_t total) {
        auto& told = *static_cast<Told*>(user);
        told.done.push_back(done);
        told.total = total;
        return told.most > 0 && done >= told.most;
    }
};

constexpr const char* kEdit =
    R"({"tumblewash": 1, "output": {"size": "32x24", "rate": "10"}, "clips": [
        {"file": "pattern:harbour?size=32x24&seconds=1&fps=10"},
        {"file": "pattern:city?size=32x24&seconds=1&fps=10", "seam": {"effect": "wash-away", "duration": "4f"}}]})";

class EditFolder {
  public:
    EditFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "capi_XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~EditFolder() { std::filesystem::remove_all(path_); }
    EditFolder(const EditFolder&) = delete;
    EditFolder& operator=(const EditFolder&) = delete;
    std::string file(const char* name) const { return (path_ / name).string(); }
    bool empty() const { return std::filesystem::is_empty(path_); }

  private:
    std::filesystem::path path_;
};

TEST(CapiTest, AnEditIsRenderedToldAndCancelled) {
    const EditFolder folder;
    Told told;
    const std::string sums = "md5:" + folder.file("sums");
    ASSERT_EQ(tw_render_edit(kEdit, nullptr, sums.c_str(), 0, Told::tell, &told), TW_OK) << tw_last_error();
    EXPECT_EQ(told.total, 16);
    ASSERT_FALSE(told.done.empty());
    EXPECT_EQ(told.done.back(), 16);
    EXPECT_TRUE(std::is_sorted(told.done.begin(), told.done.end()));
    EXPECT_EQ(tw_render_edit(kEdit, nullptr, sums.c_str(), 0, nullptr, nullptr), TW_BAD_OUTPUT);
    EXPECT_NE(std::string(tw_last_error()).find("sums: already exists; pass TW_REPLACE to replace it"),
              std::string::npos)
        << tw_last_error();
    EXPECT_EQ(tw_render_edit(kEdit, nullptr, sums.c_str(), TW_REPLACE, nullptr, nullptr), TW_OK);

    const EditFolder other;
    Told stopped;
    stopped.most = 3;
    EXPECT_EQ(tw_render_edit(kEdit, nullptr, other.file("out.mkv").c_str(), 0, Told::tell, &stopped),
              TW_CANCELLED);
    EXPECT_TRUE(other.empty());
}

TEST(CapiTest, AnEditLeavesTheProgramsRandomNumbersAlone) {
    std::srand(5);
    const int first = std::rand(), second = std::rand();
    std::srand(5);
    EXPECT_EQ(std::rand(), first);
    ASSERT_EQ(tw_render_edit(kEdit, nullptr, "null:", 0, nullptr, nullptr), TW_OK) << tw_last_error();
    EXPECT_EQ(std::rand(), second);
}

TEST(CapiTest, EditsThatCannotBeAreRefused) {
    const EditFolder folder;
    const std::string out = folder.file("out.mkv");
    const auto outcome = [&](const char* json) {
        return tw_render_edit(json, folder.file("").c_str(), out.c_str(), 0, nullptr, nullptr);
    };
    EXPECT_EQ(outcome("{"), TW_BAD_ARGUMENT);
    EXPECT_EQ(outcome(R"({"tumblewash": 1, "clips": [{"file": "missing.mp4"}]})"), TW_BAD_INPUT);
    EXPECT_NE(std::string(tw_last_error()).find("missing.mp4"), std::string::npos) << tw_last_error();
    EXPECT_EQ(outcome(nullptr), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_render_edit(kEdit, nullptr, out.c_str(), TW_REPLACE << 1, nullptr, nullptr),
              TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_render_edit(kEdit, nullptr, nullptr, 0, nullptr, nullptr), TW_BAD_ARGUMENT);
    EXPECT_EQ(tw_render_edit_file(folder.file("none.edit.json").c_str(), out.c_str(), 0, nullptr, nullptr),
              TW_BAD_INPUT);
    EXPECT_TRUE(folder.empty());
}

}  // namespace
}  // namespace tumblewash
