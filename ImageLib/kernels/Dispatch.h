// Dispatch: calls the version of a kernel that was compiled for a given instruction set. For kernel files
// alone, behind Highway's headers; it is the same for every set, so it needs no including once for each.
#pragma once

#include <hwy/highway.h>

#include <bit>
#include <cstddef>
#include <cstdint>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {

/// Where the version for `set` stands in the tables that HWY_EXPORT makes.
inline std::size_t versionIndex(InstructionSet set) {
    if (set == InstructionSet::best) return hwy::GetChosenTarget().GetIndex();
    const auto target = static_cast<std::int64_t>(set);
    const auto versions =
        static_cast<std::uint64_t>(HWY_CHOSEN_TARGET_SHIFT(target) | HWY_CHOSEN_TARGET_MASK_SCALAR);
    return static_cast<std::size_t>(std::countr_zero(versions));
}

}  // namespace tumblewash::kernels

/// The version of `kernel`, which HWY_EXPORT has exported, for the instruction set `set`.
#if HWY_IDE || ((HWY_TARGETS & (HWY_TARGETS - 1)) == 0)
#define TUMBLEWASH_VERSION(kernel, set) (static_cast<void>(set), HWY_STATIC_DISPATCH(kernel))
#else
#define TUMBLEWASH_VERSION(kernel, set) \
    (*(HWY_DISPATCH_TABLE(kernel)[::tumblewash::kernels::versionIndex(set)]))
#endif
