#include "platform/Carbon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/Transitions.h"
#include "pluginDistort/v1/TwoClipFrame.h"
#include "pluginDistort/v1/process_init.h"

namespace {

void announce(double) {
    logMessage("Distorting\n\r");
}

void copyPort(GWorldPtr from, GWorldPtr to, const Rect* source, const Rect* destination) {
    CopyBits(GetPortBitMapForCopyBits(from), GetPortBitMapForCopyBits(to), source, destination, srcCopy,
             nullptr);
}

void copyBackground(GWorldPtr from, GWorldPtr effect, const Rect* bounds) {
    copyPort(from, effect, bounds, bounds);
}

void tumble(const tumblewash::plugin::GeometryCall& call) {
    TumbleAway(call.state, call.source, call.effect, call.dwidth, call.width, call.height, call.percent,
               call.progressive);
}

constexpr tumblewash::plugin::TwoClipStyle kTumbleStyle{
    .needsField = false,
    .pinFirst = "Pinning SRC1\n\r",
    .pinSecond = "Pinning SRC2\n\r",
    .pinDestination = "Pinning DST\n\r",
    .makeEffect = "Creating Effect GWorld\n\r",
    .pinEffect = "Pinning EFF\n\r",
    .takeAddresses = "Getting base addresses\n\r",
    .unpinSources = "UnPinning SRC\n\r",
    .unpinEffect = "UnPinning Eff\n\r",
    .unpinDestination = "UnPinning DST\n\r",
    .releaseFrames = "Releasing Frame\n\r",
    .releaseEffect = "Releasing Effect GWOrld\n\r",
    .announce = announce,
    .copyBackground = copyBackground,
    .moveThePicture = tumble,
    .present = copyPort,
};

}  // namespace

HYPluginResult TransitionTumble(_PluginParams* params, bool overnext, double percent, bool tumblein) {
    return tumblewash::plugin::renderTwoClips(params, overnext, percent, tumblein, kTumbleStyle);
}
