// The choice between the versions of a kernel: each instruction set runs the version made for it.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "ImageLib/kernels/InstructionSet.h"

namespace tumblewash::kernels {
namespace {

TEST(InstructionSetTest, EverySetRunsAVersionOfItsOwn) {
    const std::vector<InstructionSet> sets = instructionSets();
    ASSERT_FALSE(sets.empty());
    std::set<std::string> names;
    for (const InstructionSet set : sets) names.insert(nameOf(set));
    EXPECT_EQ(names.size(), sets.size());
}

TEST(InstructionSetTest, TheBestSetIsTheFirst) {
    EXPECT_STREQ(nameOf(InstructionSet::best), nameOf(instructionSets().front()));
}

}  // namespace
}  // namespace tumblewash::kernels
