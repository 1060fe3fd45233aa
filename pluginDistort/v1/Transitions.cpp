#include "pluginDistort/v1/Transitions.h"

#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "ImageLib/source/SICommon.h"
#include "Utility/PluginUtils.h"
#include "platform/Carbon.h"
#include "pluginDistort/v1/Catalogue.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/FrameParts.h"
#include "pluginDistort/v1/process_init.h"

namespace {

using tumblewash::plugin::ClipFade;
using tumblewash::plugin::EffectDriver;
using tumblewash::plugin::EffectRecord;
using tumblewash::plugin::FieldMaker;
using tumblewash::plugin::TakeRule;

/// The oldest host interface with all the callbacks used here.
constexpr std::int16_t kOldestInterface = 4;

/// String list and index of the placeholder's caption.
constexpr std::int16_t kCaptionList = 17000;
constexpr std::int16_t kCaptionIndex = 1;

constexpr RGBColor kDarkGrey{0x2FFF, 0x2FFF, 0x2FFF};
constexpr RGBColor kWhite{0xFFFF, 0xFFFF, 0xFFFF};

constexpr unsigned char kBuiltInCaption[] = "\016In Progress...";

std::int32_t framesTaken(TakeRule rule, std::int32_t length) {
    switch (rule) {
        case TakeRule::half:
            return length / 2;
        case TakeRule::all:
            return length;
        case TakeRule::nothing:
            break;
    }
    return 0;
}

void describe(const EffectRecord& effect, std::int32_t length, HYPluginGetInfo& info) {
    info.pluginType = effect.type;
    if (effect.choiceFlags != 0) info.pluginFlags = static_cast<HYPluginChoiceFlags>(effect.choiceFlags);
    if (effect.describesLength) info.framesToBeRendered = length;
    info.takeFromClipBefore = framesTaken(effect.takeBefore, length);
    info.takeFromClipAfter = framesTaken(effect.takeAfter, length);
    if (effect.describesDirection) info.defaultDirection = kPluginDirectionRight;
    info.minSpeedFrames = tumblewash::plugin::kMinSpeedFrames;
    info.maxSpeedFrames = tumblewash::plugin::kMaxSpeedFrames;
    info.mustTakeFromSingleClips = 1;
}

HYPluginResult getInfo(const EffectRecord& effect, HYPluginParams& params) {
    logMessage("kPlugGetInfo");
    logMessage("EffectGetInfo T\n\r");
    HYPluginTransitionInfo* info = nullptr;
    const HYPluginResult lent = params.procs->GetTransitionInfo(params.instance, &info);
    if (lent != kPluginOK || !info) return lent;
    params.getInfo.defaultFontSize = 0;
    describe(effect, tumblewash::plugin::framesForSpeed(info->speed), params.getInfo);
    const HYPluginResult released = params.procs->ReleaseTransitionInfo(params.instance, info);
    logMessage("EffectGetInfo T Done\n\r");
    return released;
}

void makeField(const EffectRecord& effect, const HYPluginTransitionInfo* info, _EffectData& ed) {
    switch (effect.field) {
        case FieldMaker::washAway:
            ed.flowField1 = makeWashAway(info ? info->ver2.direction : kPluginDirectionNone);
            break;
        case FieldMaker::tiltPlate:
            ed.flowField1 = makeTiltPlate(kTiltZoom, kTiltCells);
            break;
        case FieldMaker::none:
            break;
    }
}

HYPluginResult initialize(const EffectRecord& effect, HYPluginParams& params) {
    logMessage("kPlugInitialize");
    logMessage("EffectBegin\n\r");
    if (!params.clientData) {
        params.clientData = params.procs->NewPtrClear(static_cast<std::int32_t>(sizeof(_EffectData)));
        if (!params.clientData) return kPluginOutOfMemory;
    }
    _EffectData* ed = tumblewash::plugin::stateOf(params);
    SISetup(ed);
    HYPluginTransitionInfo* info = nullptr;
    params.procs->GetTransitionInfo(params.instance, &info);
    try {
        makeField(effect, info, *ed);
    } catch (...) {
        params.procs->ReleaseTransitionInfo(params.instance, info);
        throw;
    }
    const HYPluginResult released = params.procs->ReleaseTransitionInfo(params.instance, info);
    ed->frameCount = 0;
    logMessage("EffectBegin Done\n\r");
    return released;
}

/// Locks the pixels of a world until it goes, also when memory for a text runs out.
class HeldPixels {
  public:
    explicit HeldPixels(GWorldPtr world) : lock_(world) {}
    ~HeldPixels() { lock_.Restore(); }
    HeldPixels(const HeldPixels&) = delete;
    HeldPixels& operator=(const HeldPixels&) = delete;

  private:
    StGWorldLock lock_;
};

HYPluginResult drawPlaceholder(HYPluginParams& params) {
    logMessage("kPlugFilePlaceHolder");
    const std::int16_t w = tumblewash::plugin::widthOf(params.frameRect);
    const std::int16_t h = tumblewash::plugin::heightOf(params.frameRect);
    SetGWorld(params.frame, nullptr);
    const HeldPixels held(params.frame);
    Str255 text{};
    params.procs->GetLocalizedString(text, kCaptionList, kCaptionIndex);
    if (text[0] == 0) params.procs->pstrcpy(text, kBuiltInCaption);
    TextSize(64);
    const auto x = static_cast<short>((w - StringWidth(text)) / 2);
    const auto y = static_cast<short>(h / 3);
    RGBBackColor(&kDarkGrey);
    EraseRect(&params.frameRect);
    RGBBackColor(&kWhite);
    if (text[0] != 0) {
        MoveTo(x, y);
        ForeColor(blackColor);
        DrawString(text);
        MoveTo(static_cast<short>(x - 2), static_cast<short>(y - 2));
        ForeColor(whiteColor);
        DrawString(text);
    }
    return kPluginOK;
}

/// Makes a world current and puts the previous one back when it goes.
class CurrentWorld {
  public:
    explicit CurrentWorld(GWorldPtr world) {
        GetGWorld(&world_, &device_);
        SetGWorld(world, nullptr);
    }
    ~CurrentWorld() { SetGWorld(world_, device_); }
    CurrentWorld(const CurrentWorld&) = delete;
    CurrentWorld& operator=(const CurrentWorld&) = delete;

  private:
    CGrafPtr world_ = nullptr;
    GDHandle device_ = nullptr;
};

HYPluginResult callDriver(const EffectRecord& effect, HYPluginParams& params, double fraction) {
    switch (effect.driver) {
        case EffectDriver::morph:
            return TransitionCrossDissolve(&params);
        case EffectDriver::distort:
            return TransitionDistort(&params, effect.overnext, fraction, effect.reveal);
        case EffectDriver::tumble:
            return TransitionTumble(&params, effect.overnext, fraction, effect.reveal);
        case EffectDriver::none:
            break;
    }
    return kPluginOK;
}

HYPluginResult doFrame(const EffectRecord& effect, HYPluginParams& params) {
    logMessage("kPlugDoFrame");
    siprintf("EffectDrive: fc:%d frame:%d\n\r", params.frameCount, params.renderFrame);
    if (params.frameCount <= 0) return kPluginOK;
    const double fraction =
        tumblewash::plugin::effectFraction(effect.fraction, params.renderFrame, params.frameCount);
    if (!params.clientData) return kPluginBadParams;
    if (!params.frame && effect.driver != EffectDriver::none) return kPluginBadParams;
    siprintf("EffectDrive: GetGWorld params->frame=\n\r", static_cast<void*>(params.frame));
    const CurrentWorld current(params.frame);
    try {
        return callDriver(effect, params, fraction);
    } catch (...) {
        SetGWorld(params.frame, nullptr);
        tumblewash::plugin::dropEffectWorld(*tumblewash::plugin::stateOf(params));
        throw;
    }
}

void writeFade(ClipFade fade, std::int32_t frames, HYPluginClipInfo& clip) {
    if (fade == ClipFade::fadeOut) {
        clip.fadeOut = 1;
        clip.ver2.fadeOutFrames = frames;
    } else if (fade == ClipFade::fadeIn) {
        clip.fadeIn = 1;
        clip.ver2.fadeInFrames = frames;
    }
}

HYPluginResult terminate(const EffectRecord& effect, HYPluginParams& params) {
    logMessage("kPlugTerminate");
    HYPluginClipInfo clip;
    std::memset(&clip, 0, sizeof clip);
    params.procs->GetClipInfo(params.instance, 1, &clip);
    writeFade(effect.clipFade, params.frameCount, clip);
    params.procs->SetClipInfo(params.instance, &clip);
    SICleanup(tumblewash::plugin::stateOf(params));
    if (params.clientData) {
        params.procs->DisposePtr(params.clientData);
        params.clientData = nullptr;
    }
    return kPluginOK;
}

/// True for the requests that are answered by doing something.
bool handles(HYPluginSelector selector) {
    return selector == kPlugGetInfo || selector == kPlugInitialize || selector == kPlugFilePlaceHolder ||
           selector == kPlugDoFrame || selector == kPlugTerminate;
}

HYPluginResult serve(short which, HYPluginParams* params) {
    if (!params) return kPluginBadParams;
    if (params->interfaceVersion < kOldestInterface) return kPluginAppIsTooOld;
    if (!handles(params->selector)) return kPluginOK;
    if (!params->procs) return kPluginBadParams;
    tumblewash::plugin::connectLibraryLog();
    const EffectRecord& effect = tumblewash::plugin::effectRecord(which);
    switch (params->selector) {
        case kPlugGetInfo:
            return getInfo(effect, *params);
        case kPlugInitialize:
            return initialize(effect, *params);
        case kPlugFilePlaceHolder:
            return drawPlaceholder(*params);
        case kPlugDoFrame:
            return doFrame(effect, *params);
        case kPlugTerminate:
            return terminate(effect, *params);
        default:
            return kPluginOK;
    }
}

}  // namespace

int HYPluginEntry(short which, HYPluginParams* params) {
    try {
        return static_cast<int>(serve(which, params)) & 0xFF;
    } catch (const std::bad_alloc&) {
        return kPluginOutOfMemory;
    } catch (const std::length_error&) {
        return kPluginOutOfMemory;
    } catch (...) {
        return kPluginFailed;
    }
}
