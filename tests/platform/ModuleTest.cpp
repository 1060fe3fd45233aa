#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <thread>

// This program does not link the platform: what the module brings in comes and goes with it.

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

std::ptrdiff_t threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

/// The text stack's thread may outlive its module by a moment, and what it holds then looks lost to a program
/// that counts at its end.
class ThreadsEndFirst : public testing::Environment {
  public:
    void TearDown() override {
        for (int i = 0; i < 1000 && threads() > 1; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
};
[[maybe_unused]] const testing::Environment* const threadsEndFirst =
    testing::AddGlobalTestEnvironment(new ThreadsEndFirst);

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

// The text stack works with threads of its own, so single readings of the heap scatter; the smallest of some
// do not.
TEST(ModuleTest, UnloadingLeavesNoGrowingHeap) {
    const auto heap = [] {
        std::size_t least = SIZE_MAX;
        for (int i = 0; i < 20; ++i) {
            probeOnce();
            least = std::min(least, mallinfo2().uordblks);
        }
        return least;
    };
    for (int i = 0; i < 100; ++i) probeOnce();
    const std::size_t settled = heap();
    for (int i = 0; i < 300; ++i) probeOnce();
    EXPECT_LE(heap(), settled + 128 * 1024);
}
