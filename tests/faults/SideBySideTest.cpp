// Eight sessions in eight threads and eight processes at once give the bytes of a single one.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <thread>
#include <vector>

#include "host/Session.h"
#include "pluginDistort/v1/Transitions.h"
#include "tests/faults/LongForm.h"

namespace tumblewash::faults {

using host::FrameRequest;
using host::FrameResult;
using host::FrameSource;
using host::LentFrame;
using host::pictureStride;
using host::PluginModule;
using host::Session;
using host::SessionSettings;

namespace {

constexpr int kWidth = 64, kHeight = 48;

/// Paints each frame anew, so that sessions share nothing.
class PaintedSource final : public FrameSource {
  public:
    LentFrame lend(const FrameRequest& request) override {
        auto pixels = std::make_unique<std::vector<std::uint8_t>>(
            static_cast<std::size_t>(pictureStride(request.width)) *
            static_cast<std::size_t>(request.height));
        for (std::size_t i = 0; i < pixels->size(); ++i)
            (*pixels)[i] = i % 4 == 0
                               ? std::uint8_t{255}
                               : static_cast<std::uint8_t>(i / 3 + i / 200 * 11 +
                                                           static_cast<unsigned>(request.number) * 13U);
        LentFrame frame;
        frame.picture = {pixels->data(), pictureStride(request.width), request.width, request.height};
        frame.token = pixels.get();
        samples_.assign(static_cast<std::size_t>(request.sampleCount) * 2, 0.5F);
        frame.samples = samples_.data();
        frame.sampleCount = request.sampleCount;
        out_.push_back(std::move(pixels));
        return frame;
    }
    void giveBack(const LentFrame& frame) noexcept override {
        std::erase_if(out_, [&](const auto& pixels) { return pixels.get() == frame.token; });
    }

  private:
    std::vector<std::unique_ptr<std::vector<std::uint8_t>>> out_;
    std::vector<float> samples_;
};

void add(std::uint64_t& hash, const void* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        hash = (hash ^ static_cast<const std::uint8_t*>(bytes)[i]) * 1099511628211U;
}

/// Every effect of the catalogue from get-info to terminate: one number for all pictures and all sound.
std::uint64_t everyEffect() {
    std::uint64_t hash = 1469598103934665603U;
    const PluginModule module(HYPluginEntry);
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(kWidth) * kHeight * 4);
    for (int effect = 0; effect < 14; ++effect) {
        PaintedSource source;
        SessionSettings settings;
        settings.effect = effect;
        settings.width = kWidth;
        settings.height = kHeight;
        settings.frameCount = 6;
        settings.seed = 77;
        settings.audio.rate = 48000;
        Session session(module, settings, source);
        session.open();
        std::fill(pixels.begin(), pixels.end(), std::uint8_t{0});
        for (std::int32_t k = 0; k < settings.frameCount; ++k) {
            const FrameResult result =
                session.renderFrame(k, {pixels.data(), pictureStride(kWidth), kWidth, kHeight});
            if (!result.ok()) return 0;
            add(hash, pixels.data(), pixels.size());
            add(hash, result.samples.data(), result.samples.size() * sizeof(float));
        }
        session.drawPlaceholder({pixels.data(), pictureStride(kWidth), kWidth, kHeight});
        add(hash, pixels.data(), pixels.size());
        session.close();
    }
    return hash;
}

TEST(SideBySideTest, EightThreadsGiveTheBytesOfOne) {
    const std::uint64_t alone = everyEffect();
    ASSERT_NE(alone, 0U);
    const int rounds = amount(2, 40);
    for (int round = 0; round < rounds; ++round) {
        std::array<std::uint64_t, 8> hashes{};
        std::vector<std::thread> threads;
        for (std::uint64_t& hash : hashes) threads.emplace_back([&hash] { hash = everyEffect(); });
        for (std::thread& thread : threads) thread.join();
        for (const std::uint64_t hash : hashes) ASSERT_EQ(hash, alone);
    }
}

TEST(SideBySideTest, EightProcessesGiveTheBytesOfOne) {
    const std::uint64_t alone = everyEffect();
    ASSERT_NE(alone, 0U);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::array<pid_t, 8> children{};
    for (pid_t& child : children) {
        child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const std::uint64_t hash = everyEffect();
            _exit(write(ends[1], &hash, sizeof hash) == sizeof hash ? 0 : 1);
        }
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        std::uint64_t hash = 0;
        ASSERT_EQ(read(ends[0], &hash, sizeof hash), static_cast<ssize_t>(sizeof hash));
        ASSERT_EQ(hash, alone);
    }
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
}  // namespace tumblewash::faults
