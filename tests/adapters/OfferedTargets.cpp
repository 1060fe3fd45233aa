// The instruction sets that an adapter's file offers, for a test that looks at them from outside.

#include <hwy/targets.h>

extern "C" std::int64_t offeredTargets() {
    return hwy::SupportedTargets();
}
