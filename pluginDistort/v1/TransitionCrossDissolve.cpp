#include <cstdio>
#include <memory>
#include <optional>

#include "ImageLib/source/FlowMorph.h"
#include "ImageLib/source/SICommon.h"
#include "Utility/PluginUtils.h"
#include "platform/Carbon.h"
#include "pluginDistort/v1/DistortProcess.h"
#include "pluginDistort/v1/FrameParts.h"
#include "pluginDistort/v1/Transitions.h"
#include "pluginDistort/v1/process_init.h"

namespace {

using tumblewash::plugin::MapShape;
using FrameWrap = PixRectWrap<ARGBVal>;
using Field = PixRectRW<RGBPixel<float>>;

/// The fewest frames worth a morph: below, every frame is a key picture already.
constexpr std::int32_t kFewestMorphFrames = 3;

/// A wrapper over the world's pixels, all lines, that spans the whole row length.
FrameWrap wrapped(GWorldPtr world, int rows) {
    return FrameWrap(reinterpret_cast<ARGBVal*>(tumblewash::plugin::pixelsOf(world)),
                     tumblewash::plugin::shapeOf(world).stride, rows, SIAllLines);
}

/// Puts the debug categories of an object back when it goes.
class SavedDebugState {
  public:
    explicit SavedDebugState(SICommon& object) : object_(object), saved_(object.dbgstate()) {}
    ~SavedDebugState() { object_.dbg = saved_; }
    SavedDebugState(const SavedDebugState&) = delete;
    SavedDebugState& operator=(const SavedDebugState&) = delete;

  private:
    SICommon& object_;
    DBGState saved_;
};

class MorphFrame {
  public:
    explicit MorphFrame(_PluginParams* params)
        : params_(*params),
          ed_(tumblewash::plugin::stateOf(*params)),
          percent_((static_cast<double>(params->renderFrame) + 1) / params->frameCount) {}

    HYPluginResult render() {
        const std::int32_t frame1 = tumblewash::plugin::wrappingSum(params_.startFrame, params_.renderFrame);
        lastNumber_ = static_cast<std::int32_t>(static_cast<std::uint32_t>(params_.startFrame) +
                                                static_cast<std::uint32_t>(params_.frameCount) - 1u);
        if (frame1 < 0) return kPluginFailed;
        if (!ed_) return kPluginBadParams;
        siprintf("TransitionCrossDissolve Doing frame %d first=%d last=%d\n\r", params_.renderFrame, frame1,
                 lastNumber_);
        if (const HYPluginResult refused = borrow(frame1, before_, volume_, cookie1_); refused != kPluginOK)
            return refused;
        return renderBorrowed();
    }

  private:
    HYPluginResult borrow(std::int32_t frame, GWorldPtr& world, std::int16_t& volume, HYFrameCookie& cookie) {
        const Rect& rect = params_.frameRect;
        const HYPluginResult result = params_.procs->GetFrame(
            params_.instance, frame, &world, tumblewash::plugin::widthOf(rect),
            tumblewash::plugin::heightOf(rect), tumblewash::plugin::qualityFor(params_), &volume, &cookie);
        return result == kPluginOK && !world ? kPluginCantGetNeededFrame : result;
    }

    HYPluginResult renderBorrowed() {
        StGWorldLock beforeLock(before_);
        StGWorldLock destinationLock(params_.frame);
        Rect source{};
        GetPortBounds(before_, &source);
        if (!makeEffectWorld(source)) {
            destinationLock.Restore();
            beforeLock.Restore();
            return kPluginFailed;
        }
        StGWorldLock effectLock(ed_->effectGWorld);
        SetGWorld(ed_->effectGWorld, nullptr);
        playSound();
        const bool drawn = drawWithWraps(source);
        SetGWorld(params_.frame, nullptr);
        HYPluginResult result = kPluginFailed;
        if (drawn) {
            siprintf("Releasing frames\n\r");
            const HYPluginResult released = params_.procs->ReleaseFrame(params_.instance, cookie1_);
            result = pending_ == kPluginOK ? released : pending_;
        }
        tumblewash::plugin::dropEffectWorld(*ed_);
        // The effect world's map is gone by now; its lock knows how to leave a purged handle alone.
        effectLock.Restore();
        destinationLock.Restore();
        beforeLock.Restore();
        return result;
    }

    /// The morph walks all its pictures with one row length and one height; a host frame of another shape
    /// than the effect world or the key pictures is refused before anything is written.
    bool makeEffectWorld(const Rect& bounds) {
        if (NewGWorld(&ed_->effectGWorld, 32, &bounds, nullptr, nullptr, 0) != noErr || !ed_->effectGWorld)
            return false;
        shape_ = tumblewash::plugin::shapeOf(ed_->effectGWorld);
        if (tumblewash::plugin::shapeOf(before_) == shape_ && keyPicturesFit()) return true;
        tumblewash::plugin::dropEffectWorld(*ed_);
        return false;
    }

    bool keyPicturesFit() const {
        for (const FrameWrap* picture : {ed_->firstFrame, ed_->lastFrame})
            if (picture && MapShape{picture->width(), picture->height()} != shape_) return false;
        return true;
    }

    /// The current frame's sound plays at full level throughout; the morph does not fade it.
    void playSound() {
        if (params_.proxyOnly) return;
        params_.procs->MixAudio(params_.instance, cookie1_,
                                static_cast<std::int16_t>(tumblewash::plugin::scalableVolume(volume_)));
    }

    /// `source` are the current frame's bounds. False when the last frame's shape does not fit; nothing has
    /// been drawn then.
    bool drawWithWraps(Rect source) {
        char text[256];
        std::snprintf(text, sizeof text, "Morphing frame %d result=%d\n\r", params_.renderFrame, 0);
        logMessage(text);
        const int rows = tumblewash::plugin::heightOf(source);
        FrameWrap effWrap = wrapped(ed_->effectGWorld, rows);
        FrameWrap wrap1 = wrapped(before_, rows);
        if (!ed_->flowField1 && !makeKeys(wrap1, effWrap, source)) return false;
        if (ed_->flowField1 && ed_->flowField2 && ed_->firstFrame && ed_->lastFrame)
            morph(effWrap, source);
        else
            CopyGWorldBits(before_, params_.frame);
        return true;
    }

    /// Fixes key pictures and motion fields, if the last frame is available; otherwise a later frame tries
    /// again. False when that frame's shape does not fit. The picture of the frame that fixes them is blended
    /// by the last frame's bounds, which replace `source`.
    bool makeKeys(FrameWrap& wrap1, FrameWrap& effWrap, Rect& source) {
        if (params_.frameCount < kFewestMorphFrames) return true;
        siprintf("Getting last frame for matching\n\r");
        GWorldPtr last = nullptr;
        std::int16_t volume2 = 0;
        HYFrameCookie cookie2 = nullptr;
        if (borrow(lastNumber_, last, volume2, cookie2) != kPluginOK) return true;
        StGWorldLock lastLock(last);
        GetPortBounds(last, &source);
        const bool fits = tumblewash::plugin::shapeOf(last) == shape_;
        if (fits) {
            estimate(wrap1, wrapped(last, tumblewash::plugin::heightOf(source)), effWrap);
            if (cookie2) pending_ = params_.procs->ReleaseFrame(params_.instance, cookie2);
        }
        lastLock.Restore();
        return fits;
    }

    /// The key pictures are deep copies: both host frames go back at the end of this request.
    void estimate(FrameWrap& wrap1, FrameWrap wrapLast, FrameWrap& effWrap) {
        auto first = std::make_unique<FrameWrap>(wrap1);
        auto final = std::make_unique<FrameWrap>(wrapLast);
        std::unique_ptr<Field> forward(MakeFlowField(wrap1, wrapLast, effWrap));
        std::unique_ptr<Field> backward(MakeFlowField(wrapLast, wrap1, effWrap));
        ed_->firstFrame = first.release();
        ed_->lastFrame = final.release();
        ed_->flowField1 = forward.release();
        ed_->flowField2 = backward.release();
    }

    /// The destination has the effect world's bounds and, like it, no gaps between rows.
    bool destinationIsTwin() const {
        Rect effect{}, destination{};
        return EqualRect(GetPortBounds(ed_->effectGWorld, &effect),
                         GetPortBounds(params_.frame, &destination)) &&
               tumblewash::plugin::shapeOf(params_.frame) == shape_;
    }

    /// What a morph into the effect world and a copy of that world make of the destination, in one pass where
    /// they are twins: the row that no field pair has comes from the effect world, still clear.
    void layForward(FrameWrap& effWrap) {
        const auto fraction = static_cast<float>(percent_);
        if (!destinationIsTwin()) {
            MorphBetween(*ed_->firstFrame, *ed_->lastFrame, effWrap, ed_->flowField1, fraction);
            CopyGWorldBits(ed_->effectGWorld, params_.frame);
            return;
        }
        FrameWrap target = wrapped(params_.frame, shape_.rows);
        target.debugon(DBGProblem);
        MorphBetween(*ed_->firstFrame, *ed_->lastFrame, target, ed_->flowField1, fraction);
        if (shape_.rows % 2 == 0) return;
        Rect last{};
        GetPortBounds(params_.frame, &last);
        last.top = static_cast<std::int16_t>(last.bottom - 1);
        CopyGWorldBits(ed_->effectGWorld, params_.frame, &last, &last);
    }

    /// The forward picture is laid down whole, then the backward one is blended over it by the fraction.
    void morph(FrameWrap& effWrap, const Rect& source) {
        siprintf("Morphing between\n\r");
        const SavedDebugState savedFirst(*ed_->firstFrame);
        const SavedDebugState savedLast(*ed_->lastFrame);
        const SavedDebugState savedField(*ed_->flowField1);
        effWrap.debugon(DBGProblem);
        layForward(effWrap);
        MorphBetween(*ed_->lastFrame, *ed_->firstFrame, effWrap, ed_->flowField2,
                     static_cast<float>(1 - percent_));
        params_.procs->Blit(*GetGWorldPixMap(ed_->effectGWorld), *GetGWorldPixMap(params_.frame), &source,
                            &params_.frameRect, tumblewash::plugin::truncatedLevel(percent_ * 255));
    }

    _PluginParams& params_;
    _EffectData* ed_;
    double percent_;
    std::int32_t lastNumber_ = 0;
    GWorldPtr before_ = nullptr;
    std::int16_t volume_ = 0;
    HYFrameCookie cookie1_ = nullptr;
    HYPluginResult pending_ = kPluginOK;
    MapShape shape_{};
};

}  // namespace

HYPluginResult TransitionCrossDissolve(_PluginParams* params) {
    return MorphFrame(params).render();
}
