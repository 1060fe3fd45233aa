#include "ImageLib/source/FlowWarp.h"
#include "ImageLib/source/SICommon.h"
#include "Utility/PluginUtils.h"
#include "pluginDistort/v1/Transitions.h"
#include "pluginDistort/v1/TwoClipFrame.h"

namespace {

void announce(double percent) {
    siprintf("Distorting percent=%lf\n\r", percent);
}

void copyBackground(GWorldPtr from, GWorldPtr effect, const Rect*) {
    CopyGWorldBits(from, effect);
}

void warp(const tumblewash::plugin::GeometryCall& call) {
    DistortUsingFlow(call.source, call.effect, call.dwidth, call.width, call.height, call.state->flowField1,
                     call.percent);
}

/// The whole effect world is scaled onto the whole destination world, wherever the destination rectangle
/// lies.
void present(GWorldPtr effect, GWorldPtr destination, const Rect*, const Rect*) {
    CopyGWorldBits(effect, destination);
}

constexpr tumblewash::plugin::TwoClipStyle kDistortStyle{
    .needsField = true,
    .pinFirst = nullptr,
    .pinSecond = nullptr,
    .pinDestination = nullptr,
    .makeEffect = nullptr,
    .pinEffect = nullptr,
    .takeAddresses = nullptr,
    .unpinSources = nullptr,
    .unpinEffect = nullptr,
    .unpinDestination = nullptr,
    .releaseFrames = nullptr,
    .releaseEffect = nullptr,
    .announce = announce,
    .copyBackground = copyBackground,
    .moveThePicture = warp,
    .present = present,
};

}  // namespace

HYPluginResult TransitionDistort(_PluginParams* params, bool overnext, double percent, bool washin) {
    return tumblewash::plugin::renderTwoClips(params, overnext, percent, washin, kDistortStyle);
}
