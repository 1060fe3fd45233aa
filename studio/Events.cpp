#include "studio/Events.h"

namespace tumblewash::studio {

std::uint64_t Events::add(Listener listener) {
    const std::scoped_lock hold(lock_);
    listeners_.emplace(next_, std::move(listener));
    return next_++;
}

void Events::remove(std::uint64_t number) {
    const std::scoped_lock hold(lock_);
    listeners_.erase(number);
}

void Events::tell(const std::string& name, const std::string& json) {
    const std::scoped_lock hold(lock_);
    const std::string text =
        "id: " + std::to_string(++told_) + "\nevent: " + name + "\ndata: " + json + "\n\n";
    for (const auto& [number, listener] : listeners_) listener(text);
}

}  // namespace tumblewash::studio
