// Parameter blocks made of random parts, and what must hold after each: a legal code, nothing touched outside
// the frames. Shared by the test that runs seeded thousands and by the fuzzer.
#pragma once

#include <string>

#include "tests/faults/Choice.h"
#include "tests/faults/GuardedHost.h"

namespace tumblewash::faults {

/// A short life of one effect: perhaps initialised, a few random requests, terminated. Answers what was
/// wrong, empty when nothing.
std::string runRandomBlocks(Choice& choice, int requests);

}  // namespace tumblewash::faults
