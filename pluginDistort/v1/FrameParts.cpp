#include "pluginDistort/v1/FrameParts.h"

#include <cmath>
#include <limits>

#include "platform/Carbon.h"

namespace tumblewash::plugin {

MapShape shapeOf(GWorldPtr world) {
    const PixMap& map = **GetGWorldPixMap(world);
    return {(map.rowBytes & kRowBytesMask) / 4, map.bounds.bottom - map.bounds.top};
}

unsigned char* pixelsOf(GWorldPtr world) {
    return reinterpret_cast<unsigned char*>(GetPixBaseAddr(GetGWorldPixMap(world)));
}

std::int32_t wrappingSum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int16_t truncatedLevel(double value) {
    using limits = std::numeric_limits<std::int16_t>;
    if (std::isnan(value)) return 0;
    if (value >= limits::max()) return limits::max();
    if (value <= limits::min()) return limits::min();
    return static_cast<std::int16_t>(value);
}

void dropEffectWorld(_EffectData& state) {
    if (!state.effectGWorld) return;
    DisposeGWorld(state.effectGWorld);
    state.effectGWorld = nullptr;
}

}  // namespace tumblewash::plugin
