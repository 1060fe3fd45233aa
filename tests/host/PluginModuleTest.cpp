#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>
#include <thread>

#include "host/HostError.h"
#include "host/PluginModule.h"
#include "tests/host/TestSource.h"

namespace tumblewash::test {

using host::PluginModule;
using host::SessionSettings;

namespace {

int throwsAllocation(short, HYPluginParams*) {
    throw std::bad_alloc();
}
int throwsAnything(short, HYPluginParams*) {
    throw 42;
}
int answersHighBits(short, HYPluginParams*) {
    return 0x1200 | kPluginFailed;
}

TEST(PluginModuleTest, AnEntryIsNeeded) {
    EXPECT_NE(refusalOf([] { PluginModule(nullptr, "mine"); }).find("mine"), std::string::npos);
}

TEST(PluginModuleTest, OnlyTheLowEightBitsCount) {
    HYPluginParams params{};
    EXPECT_EQ(PluginModule(answersHighBits).call(0, params), kPluginFailed);
}

TEST(PluginModuleTest, ExceptionsEndAtTheBoundary) {
    HYPluginParams params{};
    EXPECT_EQ(PluginModule(throwsAllocation).call(0, params), kPluginOutOfMemory);
    EXPECT_EQ(PluginModule(throwsAnything).call(0, params), kPluginFailed);
}

TEST(PluginModuleTest, RefusesWhatIsNoPluginInWords) {
    const auto folder = std::filesystem::temp_directory_path();
    const auto text = folder / ("tumblewash-module-test-" + std::to_string(::getpid()) + ".so");
    std::ofstream(text) << "not a module\n";
    EXPECT_NE(refusalOf([&] { (void)PluginModule::load(text); }).find("cannot be loaded"), std::string::npos);
    std::filesystem::remove(text);
    const std::string missing = refusalOf([&] { (void)PluginModule::load(text); });
    EXPECT_EQ(missing.rfind(text.string() + ": ", 0), 0U) << missing;
    EXPECT_NE(missing.find("no such plug-in"), std::string::npos);
    EXPECT_NE(refusalOf([&] { (void)PluginModule::load(folder); }).find("folder"), std::string::npos);
    const std::string foreign = refusalOf([] { (void)PluginModule::load(TUMBLEWASH_NO_PLUGIN); });
    EXPECT_NE(foreign.find("exports no function named main"), std::string::npos) << foreign;
    EXPECT_FALSE(refusalOf([] { (void)PluginModule::load(""); }).empty());
}

TEST(PluginModuleTest, ABareNameIsAFileOfThisFolder) {
    const auto before = std::filesystem::current_path();
    const std::filesystem::path module(TUMBLEWASH_FAKE_MODULE);
    std::filesystem::current_path(module.parent_path());
    EXPECT_NO_THROW((void)PluginModule::load(module.filename()));
    std::filesystem::current_path(before);
}

TEST(PluginModuleTest, LoadedModuleGivesTheSamePicturesAndOutlivesTheFirstCopy) {
    TestSource source;
    const SessionSettings settings = smallSettings();
    const std::uint64_t inProcess = runHash(fakeModule(), settings, source);
    PluginModule kept(fakeEntry);
    {
        const PluginModule loaded = PluginModule::load(TUMBLEWASH_FAKE_MODULE);
        EXPECT_EQ(loaded.name(), TUMBLEWASH_FAKE_MODULE);
        kept = loaded;
    }
    EXPECT_EQ(runHash(kept, settings, source), inProcess);
}

TEST(PluginModuleTest, LoadingFromManyThreadsIsSafe) {
    std::vector<std::thread> threads;
    std::vector<std::uint64_t> hashes(8);
    for (std::size_t i = 0; i < hashes.size(); ++i) {
        threads.emplace_back([&hashes, i] {
            TestSource source;
            hashes[i] = runHash(PluginModule::load(TUMBLEWASH_FAKE_MODULE), smallSettings(), source);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const std::uint64_t hash : hashes) EXPECT_EQ(hash, hashes[0]);
}

}  // namespace
}  // namespace tumblewash::test
