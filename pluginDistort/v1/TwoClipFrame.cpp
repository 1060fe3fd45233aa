#include "pluginDistort/v1/TwoClipFrame.h"

#include <optional>

#include "ImageLib/source/SICommon.h"
#include "Utility/PluginUtils.h"
#include "platform/Carbon.h"
#include "pluginDistort/v1/FrameParts.h"
#include "pluginDistort/v1/process_init.h"

namespace tumblewash::plugin {

namespace {

void mark(const char* text) {
    if (text) logMessage(text);
}

Rect movedToOrigin(Rect r) {
    OffsetRect(&r, static_cast<short>(-r.left), static_cast<short>(-r.top));
    return r;
}

/// A pixel map and its pixels held in place, with the states to put back.
class PinnedMap {
  public:
    void pin(GWorldPtr world) {
        handle_ = reinterpret_cast<Handle>(GetGWorldPixMap(world));
        handleState_ = HGetState(handle_);
        MoveHHi(handle_);
        HLock(handle_);
        pixels_.emplace(world);
    }
    void unpin() {
        HSetState(handle_, handleState_);
        pixels_->Restore();
    }

  private:
    Handle handle_ = nullptr;
    SInt8 handleState_ = 0;
    std::optional<StGWorldLock> pixels_;
};

/// A frame on loan from the host.
struct Loan {
    GWorldPtr world = nullptr;
    std::int16_t volume = 0;
    HYFrameCookie cookie = nullptr;
    PinnedMap pinned;
};

class TwoClipFrame {
  public:
    TwoClipFrame(_PluginParams* params, bool overnext, double percent, bool reveal, const TwoClipStyle& style)
        : params_(*params),
          ed_(stateOf(*params)),
          overnext_(overnext),
          reveal_(reveal),
          percent_(percent),
          style_(style) {}

    HYPluginResult render() {
        if (const HYPluginResult refused = borrow(); refused != kPluginOK) return refused;
        pin();
        if (!makeEffectWorld()) return kPluginFailed;
        draw();
        unpin();
        if (!params_.proxyOnly) {
            if (const HYPluginResult failed = mix(); failed != kPluginOK) return failed;
        }
        return giveBack();
    }

  private:
    HYPluginResult borrow() {
        const std::int32_t frame1 = wrappingSum(params_.startFrame, params_.renderFrame);
        const std::int32_t frame2 =
            wrappingSum(wrappingSum(params_.startFrame, params_.frameCount), params_.renderFrame);
        if (frame1 < 0 || frame2 < 0) return kPluginFailed;
        if (!ed_ || (style_.needsField && !ed_->flowField1)) return kPluginBadParams;
        mark("Getting a frame\n\r");
        const HYPluginResult result = borrow(frame1, before_);
        return result == kPluginOK && overnext_ ? borrow(frame2, after_) : result;
    }

    HYPluginResult borrow(std::int32_t frame, Loan& loan) {
        const Rect& rect = params_.frameRect;
        const HYPluginResult result =
            params_.procs->GetFrame(params_.instance, frame, &loan.world, widthOf(rect), heightOf(rect),
                                    qualityFor(params_), &loan.volume, &loan.cookie);
        if (result == kPluginOK && !loan.world) return kPluginCantGetNeededFrame;
        return result;
    }

    void pin() {
        Rect bounds{};
        srcRect_ = movedToOrigin(*GetPortBounds(before_.world, &bounds));
        dstRect_ = movedToOrigin(params_.frameRect);
        mark(style_.pinFirst);
        before_.pinned.pin(before_.world);
        if (overnext_) {
            mark(style_.pinSecond);
            after_.pinned.pin(after_.world);
        }
        mark(style_.pinDestination);
        destination_.pin(params_.frame);
    }

    /// The geometry walks the source and the effect world with one row length and one height, so a host frame
    /// of another shape is refused here, before anything is written.
    bool makeEffectWorld() {
        mark(style_.makeEffect);
        if (NewGWorld(&ed_->effectGWorld, 32, &srcRect_, nullptr, nullptr, 0) != noErr || !ed_->effectGWorld)
            return false;
        const MapShape shape{shapeOf(before_.world).stride, heightOf(srcRect_)};
        if (shapeOf(moving().world) == shape && shapeOf(ed_->effectGWorld) == shape) return true;
        dropEffectWorld(*ed_);
        return false;
    }

    /// The frame that moves; the other one, if there is one, lies still under it.
    Loan& moving() { return overnext_ && reveal_ ? after_ : before_; }
    Loan& lying() { return reveal_ ? before_ : after_; }

    void draw() {
        SetGWorld(ed_->effectGWorld, nullptr);
        mark(style_.pinEffect);
        effect_.pin(ed_->effectGWorld);
        mark(style_.takeAddresses);
        const GeometryCall call{ed_,
                                pixelsOf(moving().world),
                                pixelsOf(ed_->effectGWorld),
                                shapeOf(before_.world).stride,
                                widthOf(srcRect_),
                                heightOf(srcRect_),
                                static_cast<float>(percent_),
                                params_.proxyOnly != 0};
        style_.announce(percent_);
        if (overnext_) style_.copyBackground(lying().world, ed_->effectGWorld, &srcRect_);
        style_.moveThePicture(call);
        style_.present(ed_->effectGWorld, params_.frame, &srcRect_, &dstRect_);
        SetGWorld(params_.frame, nullptr);
    }

    void unpin() {
        mark(style_.unpinSources);
        before_.pinned.unpin();
        if (overnext_) after_.pinned.unpin();
        mark(style_.unpinEffect);
        effect_.unpin();
        mark(style_.unpinDestination);
        destination_.unpin();
    }

    /// Only the first clip's full volume is widened to 256; the second clip's is scaled as it comes.
    HYPluginResult mix() {
        const std::int16_t f1 = truncatedLevel((1 - percent_) * scalableVolume(before_.volume));
        const std::int16_t f2 = truncatedLevel(percent_ * after_.volume);
        siprintf("Audio mix f1 %d f2 %d\n\r", f1, f2);
        const HYPluginResult result = params_.procs->MixAudio(params_.instance, before_.cookie, f1);
        if (result != kPluginOK || !overnext_) return result;
        return params_.procs->MixAudio(params_.instance, after_.cookie, f2);
    }

    HYPluginResult giveBack() {
        mark(style_.releaseFrames);
        HYPluginResult result = params_.procs->ReleaseFrame(params_.instance, before_.cookie);
        if (overnext_) result = params_.procs->ReleaseFrame(params_.instance, after_.cookie);
        if (ed_->effectGWorld) {
            mark(style_.releaseEffect);
            dropEffectWorld(*ed_);
        }
        return result;
    }

    _PluginParams& params_;
    _EffectData* ed_;
    bool overnext_;
    bool reveal_;
    double percent_;
    const TwoClipStyle& style_;
    Loan before_;
    Loan after_;
    PinnedMap destination_;
    PinnedMap effect_;
    Rect srcRect_{};
    Rect dstRect_{};
};

}  // namespace

HYPluginResult renderTwoClips(_PluginParams* params, bool overnext, double percent, bool reveal,
                              const TwoClipStyle& style) {
    return TwoClipFrame(params, overnext, percent, reveal, style).render();
}

}  // namespace tumblewash::plugin
