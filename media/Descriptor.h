// An open file or folder of the system that is closed with its owner.
// Movable, not copyable. It knows nothing of names and contents.
#pragma once

#include <unistd.h>

#include <utility>

namespace tumblewash::media {

class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            close();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    /// 0, or -1 with errno when the system tells of trouble with what was written. Closed either way.
    int close() noexcept { return number_ < 0 ? 0 : ::close(std::exchange(number_, -1)); }

  private:
    int number_ = -1;
};

}  // namespace tumblewash::media
