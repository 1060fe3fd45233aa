// WorldOver: an off-screen world over a picture of the bench, with the two ways of drawing it.
// It owns the world, not the picture.
#pragma once

#include <new>
#include <tuple>

#include "bench/Yardsticks.h"
#include "platform/CopyBits.h"
#include "platform/World.h"

namespace tumblewash::bench {

class WorldOver {
  public:
    explicit WorldOver(Picture& picture)
        : bounds_{0, 0, static_cast<std::int16_t>(picture.height), static_cast<std::int16_t>(picture.width)} {
        if (platform::NewGWorldOver(&world_, picture.data(), picture.width * 4, &bounds_) != noErr)
            throw std::bad_alloc();
    }
    ~WorldOver() { DisposeGWorld(world_); }
    WorldOver(const WorldOver&) = delete;
    WorldOver& operator=(const WorldOver&) = delete;

    /// Scales the whole picture onto the whole of the other one.
    void copyTo(const WorldOver& to) const {
        CopyBits(GetPortBitMapForCopyBits(world_), GetPortBitMapForCopyBits(to.world_), &bounds_, &to.bounds_,
                 srcCopy, nullptr);
    }
    void blendOver(const WorldOver& to, int level) const {
        std::ignore = platform::BlendRect(*GetGWorldPixMap(world_), *GetGWorldPixMap(to.world_), &bounds_,
                                          &to.bounds_, level);
    }

  private:
    GWorldPtr world_ = nullptr;
    Rect bounds_;
};

}  // namespace tumblewash::bench
