// EveryTarget: runs a piece of a test once on every instruction set that this machine has.
// Where there is one set, the scalar one or NEON, nothing is chosen and the piece runs once.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#if !defined(TUMBLEWASH_NO_SIMD) && !defined(HWY_COMPILE_ONLY_STATIC)
#include <hwy/targets.h>
#endif

namespace tumblewash::test {

/// Calls body(generator) with dispatch held to each target in turn; the generator starts equal each time.
/// Ends with the machine's own choice restored.
template <class Body>
void EveryTarget(Body body) {
#if defined(TUMBLEWASH_NO_SIMD) || defined(HWY_COMPILE_ONLY_STATIC)
    std::mt19937 random(99);
    body(random);
#else
    int seen = 0;
    hwy::SetSupportedTargetsForTest(0);
    const auto restore = [] {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().DeInit();
    };
    for (std::int64_t left = hwy::SupportedTargets(); left != 0; left &= left - 1) {
        const std::int64_t target = left & -left;
        const ::testing::ScopedTrace trace(__FILE__, __LINE__, hwy::TargetName(target));
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
        std::mt19937 random(99);
        body(random);
        ++seen;
        if (::testing::Test::HasFatalFailure()) break;
    }
    restore();
    EXPECT_GT(seen, 0);
#endif
}

}  // namespace tumblewash::test
