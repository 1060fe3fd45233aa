// The plug-in's own frames of two pictures that stand still, through a host session: the yardstick of other
// ways to the same pictures. It measures nothing itself.
#pragma once

#include <memory>

#include "bench/Yardsticks.h"
#include "host/Session.h"
#include "pluginDistort/v1/Catalogue.h"
#include "pluginDistort/v1/Transitions.h"

namespace tumblewash::bench {

/// The plug-in's frames of two pictures that stand still.
class PluginFrames final : public host::FrameSource {
  public:
    PluginFrames(const plugin::EffectRecord& effect, int frames, const Picture& first, const Picture& last)
        : pictures_{first, last}, out_(first.width, first.height) {
        host::SessionSettings settings;
        settings.effect = effect.index;
        settings.width = first.width;
        settings.height = first.height;
        settings.frameCount = frames;
        session_ = std::make_unique<host::Session>(host::PluginModule(HYPluginEntry), settings, *this);
        session_->open();
        render(0);
    }

    void render(int frame) {
        now_ = frame;
        session_->renderFrame(frame, pixelsOf(out_));
    }

    host::LentFrame lend(const host::FrameRequest& request) override {
        host::LentFrame frame;
        frame.picture = pixelsOf(pictures_[request.number == now_ ? 0 : 1]);
        return frame;
    }
    void giveBack(const host::LentFrame&) noexcept override {}

  private:
    static host::Picture pixelsOf(Picture& p) {
        return {p.data(), host::pictureStride(p.width), p.width, p.height};
    }

    Picture pictures_[2];
    Picture out_;
    int now_ = 0;
    std::unique_ptr<host::Session> session_;
};

}  // namespace tumblewash::bench
