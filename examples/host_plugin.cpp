// Hosts the plug-in: joins two plain pictures by a wash-away and writes the middle frame.
//   host_plugin OUT.ppm [VARIANT]

#include <cstring>
#include <fstream>
#include <iostream>
#include <vector>

#include "host/Session.h"
#include "pluginDistort/v1/Catalogue.h"
#include "pluginDistort/v1/Transitions.h"

using tumblewash::host::FrameRequest;
using tumblewash::host::FrameResult;
using tumblewash::host::FrameSource;
using tumblewash::host::LentFrame;
using tumblewash::host::pictureStride;
using tumblewash::host::PluginModule;
using tumblewash::host::Session;
using tumblewash::host::SessionSettings;
using tumblewash::plugin::EffectRecord;
using tumblewash::plugin::findEffectRecord;

namespace {

constexpr int kWidth = 320, kHeight = 240, kFrames = 20;

// Lends an orange picture of the outgoing clip and a blue one of the incoming clip.
class TwoPictures final : public FrameSource {
  public:
    TwoPictures() {
        const unsigned char colours[2][4] = {{255, 240, 140, 20}, {255, 30, 60, 200}};
        for (int clip = 0; clip < 2; ++clip) {
            memory_[clip].resize(static_cast<std::size_t>(pictureStride(kWidth) * kHeight));
            for (std::size_t i = 0; i < memory_[clip].size(); i += 4)
                std::memcpy(&memory_[clip][i], colours[clip], 4);
        }
    }
    LentFrame lend(const FrameRequest& request) override {
        LentFrame frame;
        frame.picture = {memory_[request.clip].data(), pictureStride(kWidth), kWidth, kHeight};
        frame.writable = false;
        return frame;
    }
    void giveBack(const LentFrame&) noexcept override {}

  private:
    std::vector<std::uint8_t> memory_[2];
};

}  // namespace

int main(int argc, char** argv) try {
    if (argc < 2) throw std::runtime_error("usage: host_plugin OUT.ppm [VARIANT]");
    const EffectRecord* effect = findEffectRecord(argc > 2 ? argv[2] : "wash-away");
    if (effect == nullptr) throw std::runtime_error("there is no such variant");

    TwoPictures source;
    SessionSettings settings;
    settings.effect = effect->index;
    settings.width = kWidth;
    settings.height = kHeight;
    settings.frameCount = kFrames;
    Session session(PluginModule(HYPluginEntry), settings, source);
    session.open();
    std::vector<std::uint8_t> pixels(kWidth * kHeight * 4);
    const FrameResult result = session.renderFrame(kFrames / 2, {pixels.data(), kWidth * 4, kWidth, kHeight});
    if (!result.ok()) throw std::runtime_error(result.problem);
    session.close();

    std::ofstream out(argv[1], std::ios::binary);
    out << "P6\n" << kWidth << ' ' << kHeight << "\n255\n";
    for (std::size_t i = 0; i < pixels.size(); i += 4) out.write(reinterpret_cast<char*>(&pixels[i + 1]), 3);
    return out.flush() ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
