#include "media/Pattern.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

#include "media/MediaError.h"
#include "media/Probe.h"
#include "media/detail/Scenes.h"

namespace tumblewash::media {

namespace {

struct Scene {
    const char* name;
    void (*draw)(Canvas&, double);
    Ears (*play)(double);
};

constexpr std::array kScenes{Scene{"harbour", drawHarbour, playHarbour}, Scene{"city", drawCity, playCity},
                             Scene{"bars", drawBars, playBars}, Scene{"flash", drawFlash, playFlash}};

constexpr std::string_view kPrefix = "pattern:";

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::badRequest, path, why);
}

const Scene& sceneOf(const std::string& path, std::string_view name) {
    for (const Scene& scene : kScenes)
        if (name == scene.name) return scene;
    std::string all;
    for (const Scene& scene : kScenes) all.append(all.empty() ? "" : ", ").append(scene.name);
    refuse(path, "unknown scene; choose one of " + all);
}

template <typename Number>
bool parsed(std::string_view text, Number& out) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), out);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

/// "25", "29.97" or "30000/1001".
bool parseRate(std::string_view text, FrameRate& out) {
    if (const auto slash = text.find('/'); slash != std::string_view::npos)
        return parsed(text.substr(0, slash), out.num) && parsed(text.substr(slash + 1), out.den) &&
               out.den > 0;
    double value = 0;
    if (!parsed(text, value) || !(value > 0 && value <= 240)) return false;
    // The broadcast rates are 1000 / 1001 of whole ones.
    const double whole = std::round(value * 1.001);
    if (std::abs(whole * 1000 / 1001 - value) < 0.005 && std::abs(std::round(value) - value) > 1e-9)
        out = {static_cast<int64_t>(whole) * 1000, 1001};
    else
        out = {std::llround(value * 1000), 1000};
    return true;
}

bool setKey(DrawnScene& drawn, std::string_view key, std::string_view value) {
    if (key == "size") {
        const auto by = value.find('x');
        return by != std::string_view::npos && parsed(value.substr(0, by), drawn.width) &&
               parsed(value.substr(by + 1), drawn.height) && std::min(drawn.width, drawn.height) >= 16 &&
               std::max(drawn.width, drawn.height) <= kMaxPictureSide;
    }
    if (key == "seconds") return parsed(value, drawn.seconds) && drawn.seconds > 0 && drawn.seconds <= 86400;
    if (key == "fps") return parseRate(value, drawn.rate) && drawn.rate.num > 0 && drawn.rate.value() <= 240;
    if (key == "sound") {
        drawn.sound = value == "1";
        return value == "0" || value == "1";
    }
    return false;
}

}  // namespace

bool isPattern(const std::string& path) noexcept {
    return path.starts_with(kPrefix);
}

DrawnScene parsePattern(const std::string& path) {
    DrawnScene drawn;
    std::string_view rest = std::string_view(path).substr(std::min(path.size(), kPrefix.size()));
    const auto question = rest.find('?');
    drawn.name = std::string(rest.substr(0, question));
    sceneOf(path, drawn.name);
    rest = question == std::string_view::npos ? std::string_view() : rest.substr(question + 1);
    while (!rest.empty()) {
        const auto end = std::min(rest.find('&'), rest.size());
        const std::string_view part = rest.substr(0, end);
        const auto equals = part.find('=');
        if (equals == std::string_view::npos ||
            !setKey(drawn, part.substr(0, equals), part.substr(equals + 1)))
            refuse(path,
                   std::string(part) + " is not understood; write size=1280x720, seconds=6, fps=25, sound=0");
        rest = rest.substr(std::min(end + 1, rest.size()));
    }
    return drawn;
}

std::vector<std::string> patternNames() {
    std::vector<std::string> out;
    for (const Scene& scene : kScenes) out.emplace_back(scene.name);
    return out;
}

void drawPattern(const DrawnScene& drawn, double seconds, uint8_t* argb, ptrdiff_t stride) {
    for (int y = 0; y < drawn.height; ++y) {
        uint8_t* row = argb + y * stride;
        for (int x = 0; x < drawn.width; ++x) {
            row[4 * x] = 255;
            row[4 * x + 1] = row[4 * x + 2] = row[4 * x + 3] = 0;
        }
    }
    Canvas canvas(argb, stride, drawn.width, drawn.height);
    sceneOf("pattern:" + drawn.name, drawn.name).draw(canvas, seconds);
}

void playPattern(const DrawnScene& drawn, int sampleRate, int64_t first, float* interleaved, size_t frames) {
    const Scene& scene = sceneOf("pattern:" + drawn.name, drawn.name);
    for (size_t i = 0; i < frames; ++i) {
        const double seconds = static_cast<double>(first + static_cast<int64_t>(i)) / sampleRate;
        // The first and last hundredth of a second swell and fade, so that nothing clicks.
        const double edge = std::clamp(std::min(seconds, drawn.seconds - seconds) * 100, 0.0, 1.0);
        const Ears ears = scene.play(seconds);
        interleaved[2 * i] = static_cast<float>(ears.left * edge);
        interleaved[2 * i + 1] = static_cast<float>(ears.right * edge);
    }
}

}  // namespace tumblewash::media
