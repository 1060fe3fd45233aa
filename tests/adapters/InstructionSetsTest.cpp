// Adapters link no Highway library and ask the processor themselves: they must offer what the library offers.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>

// Every set that the kernels are compiled for and that this machine has, no other one.
TEST(InstructionSetsTest, AdaptersOfferThoseOfTheLibrary) {
    void* module = dlopen(TUMBLEWASH_OFFERED_TARGETS, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto offered = reinterpret_cast<std::int64_t (*)()>(dlsym(module, "offeredTargets"));
    ASSERT_NE(offered, nullptr) << dlerror();
    const std::int64_t compiled = HWY_TARGETS;
    EXPECT_EQ(offered() & compiled, hwy::SupportedTargets() & compiled);
    EXPECT_EQ(dlclose(module), 0);
}
