// The loadable module: one exported symbol, and the same pictures as the code linked into this program.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/pluginDistort/FakeHost.h"

namespace {

using tumblewash::test::FakeHost;

std::vector<std::string> definedDynamicSymbols(const std::string& file) {
    const std::string command = std::string(TUMBLEWASH_TEST_NM) + " -D --defined-only -P '" + file + "'";
    std::vector<std::string> names;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::array<char, 1024> line{};
    while (pipe && std::fgets(line.data(), line.size(), pipe.get())) {
        const std::string text = line.data();
        names.push_back(text.substr(0, text.find(' ')));
    }
    return names;
}

TEST(ModuleTest, MainIsTheOneExportedSymbol) {
    EXPECT_EQ(definedDynamicSymbols(TUMBLEWASH_TEST_MODULE), std::vector<std::string>{"main"});
}

class LoadedModule {
  public:
    LoadedModule() : handle_(dlopen(TUMBLEWASH_TEST_MODULE, RTLD_NOW | RTLD_LOCAL)) {}
    ~LoadedModule() {
        if (handle_) dlclose(handle_);
    }
    FakeHost::Entry entry() const {
        return handle_ ? reinterpret_cast<FakeHost::Entry>(dlsym(handle_, "main")) : nullptr;
    }

  private:
    void* handle_;
};

std::vector<std::vector<std::uint8_t>> framesThrough(FakeHost::Entry entry, int which) {
    std::srand(7);
    FakeHost host(64, 48, 6, entry);
    std::vector<std::vector<std::uint8_t>> frames;
    EXPECT_EQ(host.call(which, kPlugInitialize), kPluginOK);
    for (int frame = 0; frame < 6; ++frame) {
        EXPECT_EQ(host.render(which, frame), kPluginOK);
        frames.push_back(host.destination().bytes());
    }
    EXPECT_EQ(host.call(which, kPlugTerminate), kPluginOK);
    EXPECT_TRUE(host.clean());
    return frames;
}

TEST(ModuleTest, PicturesAreThoseOfTheLinkedCode) {
    const LoadedModule module;
    ASSERT_NE(module.entry(), nullptr) << dlerror();
    EXPECT_EQ(module.entry()(0, nullptr), kPluginBadParams);
    for (int which = 0; which < 14; ++which)
        EXPECT_EQ(framesThrough(module.entry(), which), framesThrough(HYPluginEntry, which)) << which;
}

}  // namespace
