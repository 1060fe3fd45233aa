// EveryTarget: runs a piece of a test once for every instruction set that this build and this machine have.
// Where there is one set, the scalar one or NEON, the piece runs once.
#pragma once

#include <gtest/gtest.h>

#include <random>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::test {

/// Calls body(generator, set) with each set in turn; the generator starts equal each time.
template <class Body>
void EveryTarget(Body body) {
    for (const kernels::InstructionSet set : kernels::instructionSets()) {
        const ::testing::ScopedTrace trace(__FILE__, __LINE__, kernels::nameOf(set));
        std::mt19937 random(99);
        body(random, set);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

}  // namespace tumblewash::test
