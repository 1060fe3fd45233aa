// Effects drawn by lot, from a seed: the same on every machine and with every library. Pure counting.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tumblewash::edit {

/// The generator splitmix64: 64 bits at a time from a 64-bit state that starts as the seed.
class SplitMix {
  public:
    explicit SplitMix(std::uint64_t seed) : state_(seed) {}
    /// The next 64 bits.
    std::uint64_t next();

  private:
    std::uint64_t state_;
};

/// `count` draws from a pool of `pool` things (2 or more), never the same twice in a row: the first is
/// `next % pool`, each other `next % (pool - 1)`, one more from the previous draw on.
std::vector<int> drawShuffled(std::uint64_t seed, int pool, std::size_t count);

}  // namespace tumblewash::edit
