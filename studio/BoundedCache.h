// What was made and may be asked for again, up to a number of bytes: the least recently used goes first.
// Header only; the key and what it stands for are the user's.
#pragma once

#include <algorithm>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace tumblewash::studio {

/// Values by name. Safe from several threads; values should be cheap to copy.
template <class Value>
class BoundedCache {
  public:
    /// Holds `bytes` at most.
    explicit BoundedCache(std::size_t bytes) : most_(bytes) {}

    /// The value of this name, now the most recently used.
    std::optional<Value> find(const std::string& key) {
        const std::scoped_lock hold(lock_);
        const auto found = places_.find(key);
        if (found == places_.end()) return std::nullopt;
        kept_.splice(kept_.begin(), kept_, found->second);
        return found->second->value;
    }

    /// Keeps a value of so many bytes, which alone may not exceed the bound; the oldest make room.
    void keep(const std::string& key, Value value, std::size_t bytes) {
        const std::scoped_lock hold(lock_);
        if (bytes > mostNow()) return;
        if (const auto found = places_.find(key); found != places_.end()) drop(found->second);
        kept_.push_front({key, std::move(value), bytes});
        places_[key] = kept_.begin();
        used_ += bytes;
        shrink();
    }

    /// Leaves room for something else that counts against the bound, as long as what is returned lives. Half
    /// of the bound stays for values.
    std::shared_ptr<void> setAside(std::size_t bytes) {
        const std::scoped_lock hold(lock_);
        aside_ += bytes;
        shrink();
        return {nullptr, [this, bytes](void*) {
                    const std::scoped_lock again(lock_);
                    aside_ -= bytes;
                }};
    }

    /// Bytes in use.
    std::size_t bytes() const {
        const std::scoped_lock hold(lock_);
        return used_;
    }
    /// What values may take by now: the bound without what was set aside.
    std::size_t room() const {
        const std::scoped_lock hold(lock_);
        return mostNow();
    }

  private:
    struct Kept {
        std::string key;
        Value value;
        std::size_t bytes = 0;
    };
    using Place = typename std::list<Kept>::iterator;

    std::size_t mostNow() const { return most_ - std::min(most_ / 2, aside_); }
    void shrink() {
        while (used_ > mostNow()) drop(std::prev(kept_.end()));
    }
    void drop(Place place) {
        used_ -= place->bytes;
        places_.erase(place->key);
        kept_.erase(place);
    }

    const std::size_t most_;
    mutable std::mutex lock_;
    std::list<Kept> kept_;
    std::unordered_map<std::string, Place> places_;
    std::size_t used_ = 0;
    std::size_t aside_ = 0;
};

}  // namespace tumblewash::studio
