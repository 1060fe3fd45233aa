// Keeps the thread's current drawing world as it was, whatever is drawn in between.
// Internal to this room.
#pragma once

#include "platform/Types.h"
#include "platform/World.h"

namespace tumblewash::host {

/// Remembers the current world when made and sets it again when it goes.
class CurrentWorld {
  public:
    CurrentWorld() { GetGWorld(&world_, &device_); }
    ~CurrentWorld() { SetGWorld(world_, device_); }
    CurrentWorld(const CurrentWorld&) = delete;
    CurrentWorld& operator=(const CurrentWorld&) = delete;

  private:
    CGrafPtr world_ = nullptr;
    GDHandle device_ = nullptr;
};

}  // namespace tumblewash::host
