// A platform world over somebody else's pixel memory, or over a copy where that memory does not suit.
// Internal to this room; owns the world and the copy, never the memory.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "host/FrameSource.h"
#include "platform/Types.h"

namespace tumblewash::host {

/// What the user of a world expects of the memory under it.
struct WorldNeeds {
    bool writable = true;      ///< The memory may be written; if not, the world stands over a copy.
    bool exactStride = false;  ///< Rows must follow one another without padding, as in a fresh world.
};

/// A world whose bounds are (0, 0, width, height).
class WorldOver {
  public:
    /// Throws HostError when the platform refuses the world, std::bad_alloc when a copy finds no memory.
    /// `buffer` is memory to use for a copy, taken over to save an allocation; it may be empty.
    WorldOver(const Picture& picture, const WorldNeeds& needs, std::vector<std::uint8_t> buffer = {});
    ~WorldOver();
    WorldOver(const WorldOver&) = delete;
    WorldOver& operator=(const WorldOver&) = delete;

    /// The world, owned by this object.
    [[nodiscard]] GWorldPtr world() const noexcept { return world_; }
    /// True when the pixels had to be copied, false when the world lies over them.
    [[nodiscard]] bool copied() const noexcept { return copied_; }

    /// Writes a copy's rows into the memory it was made of; nothing to do where the world is over the memory.
    void writeBack() const;

    /// Gives the copy's memory away for the next one; the world must not be used any more.
    [[nodiscard]] std::vector<std::uint8_t> takeBuffer() noexcept { return std::move(buffer_); }

  private:
    Picture picture_;
    std::vector<std::uint8_t> buffer_;
    bool copied_;
    GWorldPtr world_ = nullptr;
};

}  // namespace tumblewash::host
