// Pictures and sound made from numbers, and a strict eye on who holds them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "host/Session.h"
#include "tests/host/FakePlugin.h"

namespace tumblewash::test {

/// The byte of a test picture; every clip, frame, place and channel has its own.
inline std::uint8_t patternByte(int clip, std::int32_t index, int x, int y, int channel) {
    if (channel == 0) return 255;
    const unsigned mixed = static_cast<unsigned>(clip) * 97U + static_cast<unsigned>(index) * 31U +
                           static_cast<unsigned>(x) * (7U + static_cast<unsigned>(channel)) +
                           static_cast<unsigned>(y) * 13U + static_cast<unsigned>(x * y / 16);
    return static_cast<std::uint8_t>(mixed ^ (mixed >> 8U));
}

/// A picture that owns its memory; negative strides and padding included. Padding is 0xA5.
class OwnPicture {
  public:
    OwnPicture(int width, int height, std::ptrdiff_t stride = 0, std::uint8_t fill = 0x5A)
        : stride_(stride == 0 ? host::pictureStride(width) : stride), width_(width), height_(height) {
        const std::ptrdiff_t step = std::abs(stride_);
        memory_.assign(static_cast<std::size_t>(step * height), 0xA5);
        for (int y = 0; y < height; ++y) std::fill_n(row(y), host::pictureStride(width), fill);
    }
    [[nodiscard]] std::uint8_t* row(int y) {
        return memory_.data() + (stride_ < 0 ? -stride_ * (height_ - 1) : 0) + y * stride_;
    }
    [[nodiscard]] host::Picture view() { return {row(0), stride_, width_, height_}; }
    [[nodiscard]] std::vector<std::uint8_t> bytes() {
        std::vector<std::uint8_t> all;
        for (int y = 0; y < height_; ++y) all.insert(all.end(), row(y), row(y) + host::pictureStride(width_));
        return all;
    }
    [[nodiscard]] bool paddingUntouched() {
        for (int y = 0; y < height_; ++y) {
            const std::ptrdiff_t step = std::abs(stride_);
            for (std::ptrdiff_t i = host::pictureStride(width_); i < step; ++i) {
                if (row(y)[i] != 0xA5) return false;
            }
        }
        return true;
    }
    void drawPattern(int clip, std::int32_t index) {
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_ * 4; ++x) row(y)[x] = patternByte(clip, index, x / 4, y, x % 4);
        }
    }

  private:
    std::ptrdiff_t stride_;
    int width_;
    int height_;
    std::vector<std::uint8_t> memory_;
};

/// A source of two clips. Memory given back is overwritten at once, so that whoever still reads it is found
/// out.
class TestSource : public host::FrameSource {
  public:
    ~TestSource() override { EXPECT_EQ(out(), 0) << "frames never given back"; }

    host::LentFrame lend(const host::FrameRequest& request) override {
        requests.push_back(request);
        if (onLend) onLend(request);
        auto picture = std::make_unique<OwnPicture>(request.width + oversize, request.height, stride);
        picture->drawPattern(request.clip, request.index);
        host::LentFrame frame;
        frame.picture = picture->view();
        frame.writable = writable;
        frame.volume = volumes[request.clip];
        if (sound) {
            samples_.clear();
            for (int i = 0; i < request.sampleCount + extraSamples; ++i) {
                for (int c = 0; c < channels; ++c) samples_.push_back(sound(request, i, c));
            }
            frame.samples = samples_.data();
            frame.sampleCount = request.sampleCount + extraSamples;
        }
        frame.token = picture.get();
        pictures_[picture.get()] = std::move(picture);
        return frame;
    }

    void giveBack(const host::LentFrame& frame) noexcept override {
        ++returned;
        const auto found = pictures_.find(frame.token);
        EXPECT_NE(found, pictures_.end()) << "given back twice";
        if (found == pictures_.end()) return;
        for (int y = 0; y < frame.picture.height; ++y) {
            std::fill_n(found->second->row(y), host::pictureStride(frame.picture.width), std::uint8_t{0xDD});
        }
        graveyard_.push_back(std::move(found->second));
        pictures_.erase(found);
    }

    [[nodiscard]] int out() const { return static_cast<int>(pictures_.size()); }

    std::vector<host::FrameRequest> requests;
    std::function<void(const host::FrameRequest&)> onLend;
    std::function<float(const host::FrameRequest&, int i, int channel)> sound;
    std::ptrdiff_t stride = 0;  ///< 0: the one that needs no copy
    int oversize = 0;
    bool writable = true;
    int volumes[2] = {255, 255};
    int channels = 2;
    int extraSamples = 0;
    int returned = 0;

  private:
    std::map<void*, std::unique_ptr<OwnPicture>> pictures_;
    std::vector<std::unique_ptr<OwnPicture>> graveyard_;
    std::vector<float> samples_;
};

inline host::PluginModule fakeModule() {
    return host::PluginModule(fakeEntry, "fake");
}

inline host::SessionSettings smallSettings(int effect = 3) {
    host::SessionSettings settings;
    settings.effect = effect;
    settings.width = 40;
    settings.height = 24;
    settings.startFrame = 7;
    settings.frameCount = 10;
    return settings;
}

/// FNV-1a, for comparing whole runs.
inline std::uint64_t hashOf(const std::vector<std::uint8_t>& bytes,
                            std::uint64_t hash = 1469598103934665603U) {
    for (const std::uint8_t byte : bytes) hash = (hash ^ byte) * 1099511628211U;
    return hash;
}

/// Renders every frame of a transition and hashes pictures and sound.
inline std::uint64_t runHash(const host::PluginModule& module, const host::SessionSettings& settings,
                             host::FrameSource& source) {
    host::Session session(module, settings, source);
    session.open();
    OwnPicture target(settings.width, settings.height);
    std::uint64_t hash = 1469598103934665603U;
    for (std::int32_t k = 0; k < settings.frameCount; ++k) {
        const host::FrameResult result = session.renderFrame(k, target.view());
        EXPECT_TRUE(result.ok()) << result.problem;
        hash = hashOf(target.bytes(), hash);
        std::vector<std::uint8_t> sound(result.samples.size() * sizeof(float));
        std::copy_n(reinterpret_cast<const std::uint8_t*>(result.samples.data()), sound.size(),
                    sound.begin());
        hash = hashOf(sound, hash);
    }
    session.close();
    return hash;
}

/// The message of the HostError that `action` throws; empty when it throws none.
template <class Action>
std::string refusalOf(Action action) {
    try {
        action();
    } catch (const host::HostError& error) {
        return error.what();
    }
    return {};
}

}  // namespace tumblewash::test
