#include <dlfcn.h>
#include <gtest/gtest.h>

#include "platform/Handles.h"

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
