// InstructionSet: names the version of a kernel that a call runs, for those that compare versions. Calls that
// name none run the best one for this machine, and nothing but tests and benches names one. It neither knows
// what a set can do nor changes what other calls run.
#pragma once

#include <cstdint>
#include <vector>

namespace tumblewash::kernels {

/// A set of vector instructions: `best` is the machine's own choice, every other value one of
/// `instructionSets()`. A kernel gives the same result with each of them.
enum class InstructionSet : std::int64_t { best = 0 };

/// The sets that both this build and this machine have, at least one: the best first. {best} alone where the
/// build has but one.
std::vector<InstructionSet> instructionSets();

/// The target that the versions for this set were compiled for, such as "AVX2": `best` gives the one it
/// stands for. A static text.
const char* nameOf(InstructionSet set);

}  // namespace tumblewash::kernels
