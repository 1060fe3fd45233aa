#include "platform/TextBackend.h"

namespace tumblewash::platform {

const TextBackend* StackText() {
    return nullptr;
}

}  // namespace tumblewash::platform
