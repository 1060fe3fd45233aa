// The list of hidden files and folders that an end without destructors removes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "media/HiddenNames.h"

namespace tumblewash::media {
namespace {

namespace fs = std::filesystem;

class HiddenNamesTest : public testing::Test {
  protected:
    HiddenNamesTest() {
        std::string name = (fs::temp_directory_path() / "tumblewash-hidden-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
        folder_ = name;
        opened_ = open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    }
    ~HiddenNamesTest() override {
        close(opened_);
        fs::remove_all(folder_);
    }
    void file(const std::string& name) const { std::ofstream(folder_ / name) << "bytes"; }
    bool there(const std::string& name) const { return fs::exists(folder_ / name); }

    fs::path folder_;
    int opened_ = -1;
};

TEST_F(HiddenNamesTest, WhatIsListedIsRemovedAndNothingElse) {
    file(".listed");
    file("other");
    const HiddenName listed(opened_, ".listed");
    const HiddenName notMadeYet(opened_, ".none");
    removeHiddenNames();
    EXPECT_FALSE(there(".listed"));
    EXPECT_TRUE(there("other"));
}

TEST_F(HiddenNamesTest, AFolderGoesWithItsFiles) {
    fs::create_directory(folder_ / ".many");
    // More than one look into the folder has room for.
    for (int i = 0; i < 700; ++i) file(".many/picture" + std::to_string(i) + ".png");
    const HiddenName listed(opened_, ".many");
    removeHiddenNames();
    EXPECT_FALSE(there(".many"));
}

TEST_F(HiddenNamesTest, ALinkIsRemovedAndNotWhatItLeadsTo) {
    fs::create_directory(folder_ / "kept");
    file("kept/picture");
    fs::create_directory_symlink(folder_ / "kept", folder_ / ".link");
    const HiddenName listed(opened_, ".link");
    removeHiddenNames();
    EXPECT_FALSE(fs::is_symlink(folder_ / ".link"));
    EXPECT_TRUE(there("kept/picture"));
}

TEST_F(HiddenNamesTest, WhatIsBeingPutInPlaceIsWaitedForAndLeftAlone) {
    file(".held");
    HiddenName held(opened_, ".held");
    EXPECT_FALSE(puttingInPlace());
    held.hold();
    EXPECT_TRUE(puttingInPlace());
    removeHiddenNames();
    EXPECT_TRUE(there(".held"));
    held.forget();
    EXPECT_FALSE(puttingInPlace());
}

TEST_F(HiddenNamesTest, OffTheListWhenForgottenDestroyedOrReplaced) {
    for (const char* name : {".forgotten", ".destroyed", ".replaced", ".moved"}) file(name);
    HiddenName forgotten(opened_, ".forgotten");
    forgotten.forget();
    { const HiddenName destroyed(opened_, ".destroyed"); }
    HiddenName other(opened_, ".replaced");
    HiddenName moved(opened_, ".moved");
    other = std::move(moved);
    removeHiddenNames();
    EXPECT_TRUE(there(".forgotten"));
    EXPECT_TRUE(there(".destroyed"));
    EXPECT_TRUE(there(".replaced"));
    EXPECT_FALSE(there(".moved"));
}

}  // namespace
}  // namespace tumblewash::media
