#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "platform/Handles.h"

namespace {

int probeOnce() {
    void* module = dlopen(TUMBLEWASH_TEST_PROBE, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        ADD_FAILURE() << dlerror();
        return -1;
    }
    const auto probe = reinterpret_cast<int (*)()>(dlsym(module, "ProbePlatform"));
    const int inked = probe != nullptr ? probe() : -1;
    dlclose(module);
    return inked;
}

}  // namespace

TEST(ModuleTest, LoadingAndUnloadingAgainDrawsTheSame) {
    const int first = probeOnce();
    EXPECT_GT(first, 20);
    for (int i = 0; i < 30; ++i) ASSERT_EQ(probeOnce(), first);
}

TEST(ModuleTest, ModuleIsReallyUnloaded) {
    probeOnce();
    void* still = dlopen(TUMBLEWASH_TEST_PROBE, RTLD_NOW | RTLD_NOLOAD);
    EXPECT_EQ(still, nullptr);
    if (still != nullptr) dlclose(still);
}

TEST(ModuleTest, UnloadingLeavesNoGrowingHeap) {
    for (int i = 0; i < 20; ++i) probeOnce();
    const std::size_t settled = mallinfo2().uordblks;
    for (int i = 0; i < 200; ++i) probeOnce();
    EXPECT_LE(mallinfo2().uordblks, settled + 64 * 1024);
}

TEST(ModuleTest, HandleOfAModuleOutlivesIt) {
    void* module = dlopen(TUMBLEWASH_TEST_PROBE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto make = reinterpret_cast<Handle (*)()>(dlsym(module, "ProbeHandle"));
    ASSERT_NE(make, nullptr);
    Handle h = make();
    dlclose(module);
    (*h)[7] = 'x';
    EXPECT_EQ(GetHandleSize(h), 8);
    DisposeHandle(h);
}
