// One studio for each document: a lock under the document's real name, which says where the studio is that
// holds it. It ends with the process, however that ends.
#pragma once

#include <string>

#include "media/Descriptor.h"

namespace tumblewash::studio {

/// Holds a document.
class Lock {
  public:
    /// Takes the lock of `document`. Throws Refusal (RenderFailed) with the other studio's address where it
    /// is taken; where no lock can be made, the studio works without one.
    explicit Lock(const std::string& document);
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Tells others where this studio is.
    void tell(const std::string& address);

  private:
    std::string file_;
    media::Descriptor held_;
};

}  // namespace tumblewash::studio
