// The ids that parameter sets of one kind have in one track: equal sets share one, others get the first that
// is free. It knows no codec; what a set is as bytes is its callers' matter.
#pragma once

#include <map>

#include "media/detail/NalUnits.h"

namespace tumblewash::media {

class SetIds {
  public:
    /// Ids go from 0 to `ids` - 1.
    explicit SetIds(int ids) noexcept : ids_(ids) {}

    /// The id of the set whose bytes under a common id are `key`, its own one where that is free. Of ids that
    /// `fits` does not take, none. -1 when there is none left.
    template <typename Fits>
    int take(const Bytes& key, int own, Fits fits) {
        if (key.size() > kLongest) return -1;
        for (const auto& [id, other] : known_)
            if (other == key && fits(id)) return id;
        const auto free = [&](int id) { return !known_.contains(id) && fits(id); };
        int id = free(own) ? own : 0;
        while (id < ids_ && !free(id)) ++id;
        if (id == ids_) return -1;
        known_[id] = key;
        return id;
    }

    /// True when a set that equals none of these would still get an id that `fits` takes.
    template <typename Fits>
    bool hasRoom(Fits fits) const {
        for (int id = 0; id < ids_; ++id)
            if (!known_.contains(id) && fits(id)) return true;
        return false;
    }

    size_t size() const noexcept { return known_.size(); }

  private:
    static constexpr size_t kLongest = 65000;  // lengths in a header have two bytes
    int ids_;
    std::map<int, Bytes> known_;
};

}  // namespace tumblewash::media
