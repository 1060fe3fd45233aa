#include "bench/PluginFrames.h"
#include "bench/Rows.h"
#include "bench/Yardsticks.h"
#include "effects/DeepEffect.h"

namespace tumblewash::bench {

namespace {

struct DeepPicture {
    explicit DeepPicture(Picture& from) : words(from.bytes.size()), width(from.width), height(from.height) {
        for (std::size_t i = 0; i < words.size(); ++i)
            words[i] = static_cast<std::uint16_t>(from.bytes[i] * 257);
    }
    imagelib::DeepTarget pixels() { return {words.data(), width * kernels::kDeepPixelBytes, width, height}; }
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
