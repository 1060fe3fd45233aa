// What pages are told without asking: named events with JSON, sent to everyone who listens. It keeps no past:
// a page that was away asks for the state anew.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace tumblewash::studio {

/// Everyone who listens. Safe from several threads.
class Events {
  public:
    /// Is handed each event in the form of server-sent events; must not block and must not call back.
    using Listener = std::function<void(const std::string& text)>;

    /// Adds a listener; the number is for `remove`.
    std::uint64_t add(Listener listener);
    void remove(std::uint64_t number);
    /// Tells everyone. `json` is one line.
    void tell(const std::string& name, const std::string& json);

  private:
    std::mutex lock_;
    std::uint64_t next_ = 1;
    std::uint64_t told_ = 0;
    std::map<std::uint64_t, Listener> listeners_;
};

}  // namespace tumblewash::studio
