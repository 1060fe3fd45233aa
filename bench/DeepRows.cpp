#include <memory>

#include "bench/Rows.h"
#include "bench/Yardsticks.h"
#include "effects/DeepEffect.h"
#include "host/Session.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::bench {

namespace {

/// The plug-in's frames of two pictures that stand still.
class PluginFrames final : public host::FrameSource {
  public:
    PluginFrames(const plugin::EffectRecord& effect, int frames, const Picture& first, const Picture& last)
        : pictures_{first, last}, out_(first.width, first.height) {
        host::SessionSettings settings;
        settings.effect = effect.index;
        settings.width = first.width;
        settings.height = first.height;
        settings.frameCount = frames;
        session_ = std::make_unique<host::Session>(host::PluginModule(HYPluginEntry), settings, *this);
        session_->open();
        render(0);
    }

    void render(int frame) {
        now_ = frame;
        session_->renderFrame(frame, pixelsOf(out_));
    }

    host::LentFrame lend(const host::FrameRequest& request) override {
        host::LentFrame frame;
        frame.picture = pixelsOf(pictures_[request.number == now_ ? 0 : 1]);
        return frame;
    }
    void giveBack(const host::LentFrame&) noexcept override {}

  private:
    static host::Picture pixelsOf(Picture& p) {
        return {p.data(), host::pictureStride(p.width), p.width, p.height};
    }

    Picture pictures_[2];
    Picture out_;
    int now_ = 0;
    std::unique_ptr<host::Session> session_;
};

struct DeepPicture {
    explicit DeepPicture(Picture& from) : words(from.bytes.size()), width(from.width), height(from.height) {
        for (std::size_t i = 0; i < words.size(); ++i)
            words[i] = static_cast<std::uint16_t>(from.bytes[i] * 257);
    }
    imagelib::DeepTarget pixels() { return {words.data(), width * kernels::deepPixelBytes, width, height}; }
    std::vector<std::uint16_t> words;
    int width, height;
};

}  // namespace

void addDeep(Table& table, int width, int height) {
    constexpr int frames = 100;
    const std::string size = " " + std::to_string(width) + "x" + std::to_string(height);
    Picture first = scene(width, height, 5), last = scene(width, height, 6);
    DeepPicture deepFirst(first), deepLast(last), out(first);
    const effects::DeepPictures pictures = {deepFirst.pixels(), deepLast.pixels(), true};
    for (const plugin::EffectRecord& effect : plugin::effectCatalogue()) {
        if (!effect.overnext && effect.driver != plugin::EffectDriver::morph) continue;
        if (!table.wants(std::string("deep ") + effect.id)) continue;
        PluginFrames plugin(effect, frames, first, last);
        const effects::DeepEffect deep(effect, width, height);
        const auto motion = deep.motionBetween(pictures);
        const double most = effect.driver == plugin::EffectDriver::distort ? 2.5 : 3.0;
        for (const int frame : {10, 45, 80}) {
            table.add(
                std::string("deep ") + effect.id + ", frame " + std::to_string(frame) + " of 100" + size,
                [&] {
                    deep.renderFrame(static_cast<double>(frame) / frames, pictures, out.pixels(),
                                     motion.get());
                },
                "the plug-in's frame", [&] { plugin.render(frame); }, Aim::atMost, most);
        }
    }
}

}  // namespace tumblewash::bench
