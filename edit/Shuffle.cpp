#include "edit/Shuffle.h"

namespace tumblewash::edit {

std::uint64_t SplitMix::next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31U);
}

std::vector<int> drawShuffled(std::uint64_t seed, int pool, std::size_t count) {
    SplitMix generator(seed);
    const auto all = static_cast<std::uint64_t>(pool);
    std::vector<int> drawn;
    drawn.reserve(count);
    while (drawn.size() < count) {
        if (drawn.empty()) {
            drawn.push_back(static_cast<int>(generator.next() % all));
            continue;
        }
        const int draw = static_cast<int>(generator.next() % (all - 1));
        drawn.push_back(draw + (draw >= drawn.back() ? 1 : 0));
    }
    return drawn;
}

}  // namespace tumblewash::edit
