#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "adapters/common/Rgba.h"
#include "adapters/obs/LiveTransition.h"
#include "bench/PluginFrames.h"
#include "bench/Rows.h"
#include "effects/Effect.h"
#include "memory/FrameMemory.h"

namespace tumblewash::bench {

namespace {

using adapters::AlphaKind;
using adapters::Canvas;
using adapters::LiveTransition;
using adapters::rowFromRgba;
using adapters::rowToRgbaInPlace;
using adapters::TransitionRenderer;

using Frame = std::vector<std::uint8_t, memory::FrameAllocator<std::uint8_t>>;

constexpr int kFrames = 100;
constexpr int kFrame = 45;
constexpr double kPosition = static_cast<double>(kFrame) / kFrames;

/// A scene whose pixels are opaque in both orders: alpha first, as the plug-in has it, and alpha last, as
/// hosts have it.
Picture opaqueScene(int width, int height, unsigned seed) {
    Picture made = scene(width, height, seed);
    for (std::size_t i = 3; i < made.bytes.size(); i += 4) made.bytes[i] = 255;
    return made;
}

/// A mixed frame as the frei0r files make it: two opaque pictures in, one out where it is.
class AdapterFrame {
  public:
    AdapterFrame(const plugin::EffectRecord& effect, const Picture& a, const Picture& b)
        : renderer_(effect, a.width, a.height), a_(a), b_(b), out_(a.width, a.height) {}

    void run() {
        takeIn(a_, from_);
        takeIn(b_, to_);
        Canvas result;
        result.layOver(out_.data(), out_.width, out_.height);
        renderer_.render(kPosition, {}, from_, &to_, result);
        for (int y = 0; y < result.height(); ++y)
            rowToRgbaInPlace(result.row(y), result.width(), kindFor(result, AlphaKind::straight));
    }

  private:
    static void takeIn(const Picture& picture, Canvas& canvas) {
        canvas.resize(picture.width, picture.height);
        bool opaque = true;
        const std::size_t stride = static_cast<std::size_t>(picture.width) * 4;
        for (int y = 0; y < picture.height; ++y)
            opaque &= rowFromRgba(picture.bytes.data() + static_cast<std::size_t>(y) * stride, picture.width,
                                  AlphaKind::straight, canvas.row(y));
        canvas.setOpaque(opaque);
    }

    TransitionRenderer renderer_;
    const Picture &a_, &b_;
    Picture out_;
    Canvas from_, to_;
};

/// What a live host's own thread spends on a picture: it hands the scenes over, waits (which costs it nothing
/// here, since only the thread's own time counts) and has the picture.
void runLive(LiveTransition& live, const Picture& a, const Picture& b) {
    const auto stride = static_cast<std::size_t>(a.width) * 4;
    live.submit({kPosition, 0, 0}, {}, a.width, a.height, {a.bytes.data(), stride}, {b.bytes.data(), stride});
    while (live.take() == nullptr) std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (live.counts().failed > 0) std::abort();
}

}  // namespace

void addDirect(Table& table, int width, int height) {
    const std::string size = " " + std::to_string(width) + "x" + std::to_string(height);
    Picture first = opaqueScene(width, height, 5), last = opaqueScene(width, height, 6);
    const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
    for (const plugin::EffectRecord& effect : plugin::effectCatalogue()) {
        const bool morph = effect.driver == plugin::EffectDriver::morph;
        if (!effect.overnext && !morph) continue;
        const std::string direct = std::string("direct call, ") + effect.id + size;
        const std::string adapter = std::string("frame of an adapter, ") + effect.id + size;
        const std::string live = "live picture, the host's thread" + size;
        if (!table.wants(direct) && !table.wants(adapter) && !table.wants(live)) continue;
        PluginFrames session(effect, kFrames, first, last);
        const effects::Effect prepared(effect);
        // In frame memory, as a session keeps its pictures and the program its frames.
        Frame from(first.bytes.begin(), first.bytes.end()), to(last.bytes.begin(), last.bytes.end());
        Frame out(from.size());
        const effects::Pictures pictures{{from.data(), stride, width, height, effects::Alpha::opaque},
                                         {to.data(), stride, width, height, effects::Alpha::opaque}};
        const effects::Target target{out.data(), stride, width, height, effects::Alpha::opaque};
        // A morph counts its frames from one.
        const double position = morph ? static_cast<double>(kFrame + 1) / kFrames : kPosition;
        const auto motion = prepared.motionBetween(pictures);
        // A session makes a morph's motion once, at its first frame; so does this.
        table.add(
            direct,
            [&] {
                if (prepared.renderFrame(position, pictures, target, motion.get()) != effects::Outcome::ok)
                    std::abort();
            },
            "the session's frame", [&] { session.render(kFrame); }, Aim::atMost, 1.05);
        AdapterFrame mixed(effect, first, last);
        // Hosts ask for frames in any order, so an adapter matches the pictures of a morph for every one.
        table.add(
            adapter, [&] { mixed.run(); }, "the session's frame", [&] { session.render(kFrame); },
            morph ? Aim::shown : Aim::atMost, 2.0);
        if (effect.driver != plugin::EffectDriver::tumble || effect.reveal) continue;  // all the same
        LiveTransition shown(effect);
        Picture copy(width, height);
        table.add(
            live, [&] { runLive(shown, first, last); }, "copies of two scenes",
            [&] {
                copyFrame(first, copy);
                copyFrame(last, copy);
            },
            Aim::atMost, 3.0);
    }
}

void addThreads(Table& table, int width, int height) {
    const std::string size = " " + std::to_string(width) + "x" + std::to_string(height);
    const Picture first = opaqueScene(width, height, 5), last = opaqueScene(width, height, 6);
    const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
    Frame from(first.bytes.begin(), first.bytes.end()), to(last.bytes.begin(), last.bytes.end());
    Frame out(from.size());
    for (const plugin::EffectRecord& effect : plugin::effectCatalogue()) {
        const bool morph = effect.driver == plugin::EffectDriver::morph;
        const std::string row = std::string("two threads, ") + effect.id;
        if (!table.wants(row + size) || !(effect.overnext || morph)) continue;
        const effects::Effect one(effect), two(effect, {}, {2});
        // Alpha that must be looked at, as pictures have it in a program that shows them.
        const effects::Alpha alpha = effects::Alpha::straight;
        const effects::Pictures pictures{{from.data(), stride, width, height, alpha},
                                         {to.data(), stride, width, height, alpha}};
        const effects::Target target{out.data(), stride, width, height, alpha};
        const auto motion = one.motionBetween(pictures);
        const auto render = [&](const effects::Effect& prepared) {
            if (prepared.render(kPosition, pictures, target, motion.get()) != effects::Outcome::ok)
                std::abort();
        };
        table.add(
            row + size, [&] { render(two); }, "one thread, wall time", [&] { render(one); }, Aim::shown, 0,
            Clock::wall);
    }
}

}  // namespace tumblewash::bench
