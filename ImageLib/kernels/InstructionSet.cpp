#include "ImageLib/kernels/InstructionSet.h"

#if defined(TUMBLEWASH_NO_SIMD)

namespace tumblewash::kernels {

std::vector<InstructionSet> instructionSets() {
    return {InstructionSet::best};
}

const char* nameOf(InstructionSet) {
    return "scalar";
}

}  // namespace tumblewash::kernels

#else

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ImageLib/kernels/InstructionSet.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "ImageLib/kernels/Dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace tumblewash::kernels::HWY_NAMESPACE {

// Each version says its own name, so that a name proves which version a call runs.
const char* targetName() {
    return hwy::TargetName(HWY_TARGET);
}

}  // namespace tumblewash::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tumblewash::kernels {

HWY_EXPORT(targetName);

std::vector<InstructionSet> instructionSets() {
#if (HWY_TARGETS & (HWY_TARGETS - 1)) == 0
    return {InstructionSet::best};
#else
    std::vector<InstructionSet> sets;
    // The lower a set's bit, the more the set can do.
    for (std::int64_t left = hwy::SupportedTargets() & HWY_TARGETS; left != 0; left &= left - 1)
        sets.push_back(static_cast<InstructionSet>(left & -left));
    return sets;
#endif
}

const char* nameOf(InstructionSet set) {
    return TUMBLEWASH_VERSION(targetName, set)();
}

}  // namespace tumblewash::kernels
#endif  // HWY_ONCE

#endif
