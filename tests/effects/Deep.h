// Deep: deep pictures with gaps between their rows and guards around them, and the plug-in's own frames of
// the same moments. It compares nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "ImageLib/kernels/DeepConvertRow.h"
#include "ImageLib/source/DeepPicture.h"
#include "effects/DeepEffect.h"
#include "host/Session.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::test {

using effects::EffectKnobs;
using host::FrameRequest;
using host::FrameResult;
using host::FrameSource;
using host::HostError;
using host::LentFrame;
using host::PluginModule;
using host::Session;
using host::SessionSettings;
using imagelib::DeepTarget;
using imagelib::DeepView;
using kernels::DeepPixel;
using kernels::DeepRange;
using kernels::frameToDeepRow;
using kernels::kDeepPixelBytes;
using kernels::loadDeep;
using kernels::storeDeep;
using plugin::EffectDriver;
using plugin::EffectRecord;

/// A deep picture, `gap` unused pixels behind each row.
class Deep {
  public:
    Deep(int width, int height, int gap = 0)
        : width_(width), height_(height), pixels_(width + gap), memory_(words(), unused) {}

    DeepView view() const { return {memory_.data() + guard, stride(), width_, height_}; }
    DeepTarget target() { return {memory_.data() + guard, stride(), width_, height_}; }
    DeepPixel at(int x, int y) const { return loadDeep(view().row(y) + x * kDeepPixelBytes); }
    void set(int x, int y, const DeepPixel& p) { storeDeep(target().row(y) + x * kDeepPixelBytes, p); }
    void fill(const std::function<DeepPixel(int x, int y)>& pixel) {
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x) set(x, y, pixel(x, y));
    }
    /// True when nothing but pixels was written.
    bool guardsIntact() const {
        Deep other = *this;
        other.fill([](int, int) { return DeepPixel{unused, unused, unused, unused}; });
        for (const std::uint16_t word : other.memory_)
            if (word != unused) return false;
        return true;
    }
    bool operator==(const Deep& other) const {
        if (width_ != other.width_ || height_ != other.height_) return false;
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                if (!(at(x, y) == other.at(x, y))) return false;
        return true;
    }
    int width() const { return width_; }
    int height() const { return height_; }

  private:
    static constexpr std::size_t guard = 37;
    static constexpr std::uint16_t unused = 0xA5C3;
    std::ptrdiff_t stride() const { return pixels_ * kDeepPixelBytes; }
    std::size_t words() const {
        return static_cast<std::size_t>(pixels_) * static_cast<std::size_t>(height_) * 4 + 2 * guard;
    }

    int width_, height_, pixels_;
    std::vector<std::uint16_t> memory_;
};

/// A frame of four bytes a pixel.
struct Bytes {
    Bytes(int w, int h) : width(w), height(h), data(static_cast<std::size_t>(w * h) * 4) {}
    unsigned char* at(int x, int y) { return &data[static_cast<std::size_t>(y * width + x) * 4]; }
    const unsigned char* at(int x, int y) const { return &data[static_cast<std::size_t>(y * width + x) * 4]; }
    int width, height;
    std::vector<unsigned char> data;
};

/// An opaque frame of random colours.
inline Bytes noiseFrame(int width, int height, std::mt19937& random) {
    Bytes frame(width, height);
    for (unsigned char& byte : frame.data) byte = static_cast<unsigned char>(random());
    for (std::size_t i = 0; i < frame.data.size(); i += 4) frame.data[i] = 255;
    return frame;
}

/// All four channels random, at no position twice the same with any likelihood.
inline Deep noiseDeep(int width, int height, int gap, std::mt19937& random) {
    const auto word = [&random] { return static_cast<std::uint16_t>(random()); };
    Deep picture(width, height, gap);
    picture.fill([&](int, int) { return DeepPixel{word(), word(), word(), word()}; });
    return picture;
}

/// The same picture in deep pixels.
inline Deep deepened(const Bytes& frame, const DeepRange& range = {}, int gap = 0) {
    Deep deep(frame.width, frame.height, gap);
    for (int y = 0; y < frame.height; ++y)
        frameToDeepRow(frame.at(0, y), deep.target().row(y), frame.width, range);
    return deep;
}

/// The plug-in's own frames, through its entry, of two pictures that stand still.
class PluginFrames final : public FrameSource {
  public:
    PluginFrames(const EffectRecord& effect, const EffectKnobs& knobs, int frames, const Bytes& first,
                 const Bytes& last)
        : pictures_{first, last} {
        SessionSettings settings;
        settings.effect = effect.index;
        settings.width = first.width;
        settings.height = first.height;
        settings.frameCount = frames;
        settings.direction = knobs.direction;
        settings.seed = knobs.seed;
        settings.proxy = knobs.preview;
        morph_ = effect.driver == EffectDriver::morph;
        session_ = std::make_unique<Session>(PluginModule(HYPluginEntry), settings, *this);
        session_->open();
    }

    Bytes render(int frame) {
        if (morph_ && !keyed_ && frame != 0) render(0);
        keyed_ = true;
        now_ = frame;
        Bytes out(pictures_[0].width, pictures_[0].height);
        const FrameResult result = session_->renderFrame(
            frame, {out.data.data(), std::ptrdiff_t{out.width} * 4, out.width, out.height});
        if (!result.ok()) throw HostError(result.problem, result.code);
        return out;
    }

    LentFrame lend(const FrameRequest& request) override {
        Bytes& picture = pictures_[request.number == now_ ? 0 : 1];
        LentFrame frame;
        frame.picture = {picture.data.data(), std::ptrdiff_t{picture.width} * 4, picture.width,
                         picture.height};
        frame.writable = false;
        return frame;
    }
    void giveBack(const LentFrame&) noexcept override {}

  private:
    int now_ = 0;
    bool morph_ = false;
    bool keyed_ = false;
    Bytes pictures_[2];
    std::unique_ptr<Session> session_;
};

}  // namespace tumblewash::test
