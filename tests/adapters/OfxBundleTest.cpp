// The OpenFX bundle as a file: what it holds, what it needs of the system, and what loading it leaves behind.
#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/adapters/OfxPictures.h"
#include "tests/adapters/OfxTestHost.h"
#include "tests/adapters/Shell.h"

namespace tumblewash::test {

using plugin::effectCatalogue;
using plugin::EffectRecord;

namespace {

using namespace ofx;

TEST(OfxBundleTest, HoldsTheWholeCatalogue) {
    const OfxTestHost host(kBundle);
    ASSERT_EQ(host.pluginCount(), 14);
    for (const EffectRecord& effect : effectCatalogue()) {
        const OfxPlugin* plugin = host.plugin(effect.index);
        ASSERT_NE(plugin, nullptr);
        EXPECT_STREQ(plugin->pluginApi, "OfxImageEffectPluginAPI");
        EXPECT_EQ(plugin->apiVersion, 1);
        EXPECT_EQ(plugin->pluginIdentifier, std::string("net.tumblewash.") + effect.id);
    }
    EXPECT_EQ(host.plugin(-1), nullptr);
    EXPECT_EQ(host.plugin(14), nullptr);
}

// A host says nothing about a bundle that does not load, so unusual libraries are not needed by it.
TEST(OfxBundleTest, NeedsOnlyTheSystemsOwnLibraries) {
    const auto needed = printedBy("objdump -p '" + kBundle + "' | grep NEEDED");
    for (const std::string& text : needed)
        if (TUMBLEWASH_OFX_STATIC) {
            EXPECT_TRUE(
                text.find("libc.so") != std::string::npos || text.find("libm.so") != std::string::npos ||
                text.find("libpthread") != std::string::npos || text.find("ld-linux") != std::string::npos)
                << text;
        }
    EXPECT_FALSE(needed.empty());
}

// The major number names how projects are understood, the release has numbers of its own.
TEST(OfxBundleTest, TheVersionOfThePluginsIsNotTheReleases) {
    const OfxTestHost host(kBundle);
    for (int i = 0; i < host.pluginCount(); ++i) {
        EXPECT_EQ(host.plugin(i)->pluginVersionMajor, 1U);
        EXPECT_EQ(host.plugin(i)->pluginVersionMinor, 0U);
    }
}

TEST(OfxBundleTest, LoadingAndUnloadingLosesNoHeap) {
#if TUMBLEWASH_OFX_STATIC
    const auto turn = [] {
        OfxTestHost host(kBundle);
        host.bringUp(3, kContextTransition);
        TestImage from = TestImage::make(32, 32), to = TestImage::make(32, 32), out = TestImage::make(32, 32);
        EXPECT_EQ(host.render(3, 0.5, &from, &to, out), kOK);
        host.takeDown(3);
    };
    for (int i = 0; i < 8; ++i) turn();
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 32; ++i) turn();
    EXPECT_LT(mallinfo2().uordblks, before + 32 * 512) << "per turn less than a kilobyte, not a pool";
#endif
}

// The newest symbol of the C library that it asks for, which docs/hosts.md tells.
TEST(OfxBundleTest, NeedsTheCLibraryThatTheDocumentsName) {
    const auto newest =
        printedBy("objdump -T '" + kBundle + "' | grep -o 'GLIBC_[0-9.]*' | sort -uV | tail -n 1");
    ASSERT_EQ(newest.size(), 1U);
    int major = 0, minor = 0;
    ASSERT_EQ(std::sscanf(newest[0].c_str(), "GLIBC_%d.%d", &major, &minor), 2);
    EXPECT_EQ(major, 2);
    EXPECT_LE(minor, 36);
    std::ifstream page(TUMBLEWASH_HOSTS_PAGE);
    const std::string text{std::istreambuf_iterator<char>(page), {}};
    EXPECT_NE(text.find("the C library of glibc 2.36"), std::string::npos);
}

#ifdef TUMBLEWASH_OFX_ICONS
TEST(OfxBundleTest, IconsAre128SquareWithAlpha) {
    for (const EffectRecord& effect : effectCatalogue()) {
        if (effect.index == 0) continue;
        std::ifstream file(std::string(TUMBLEWASH_OFX_ICONS) + "/" + effect.id + ".png", std::ios::binary);
        std::array<unsigned char, 26> head{};
        file.read(reinterpret_cast<char*>(head.data()), head.size());
        ASSERT_TRUE(file.good()) << effect.id;
        EXPECT_EQ(head[18] * 256 + head[19], 128) << effect.id;
        EXPECT_EQ(head[22] * 256 + head[23], 128) << effect.id;
        EXPECT_EQ(head[25], 6) << "red, green, blue and alpha";
    }
}
#endif

}  // namespace
}  // namespace tumblewash::test
