#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "edit/Errors.h"
#include "edit/Fragment.h"

namespace tumblewash::edit {
namespace {

std::int64_t micros(const std::optional<EditTime>& time) {
    return time ? time->value.count : -1;
}

std::string refusalOf(const std::string& name) {
    try {
        splitFragment(name);
    } catch (const Refusal& refusal) {
        return refusal.what();
    }
    return "";
}

TEST(FragmentTest, EveryFormOfATimeIsRead) {
    const struct {
        const char* fragment;
        std::int64_t in, out;
    } kForms[] = {{"t=5,20", 5000000, 20000000},
                  {"t=5", 5000000, -1},
                  {"t=,20", -1, 20000000},
                  {"t=npt:5.25,6.", 5250000, 6000000},
                  {"t=00:00:05,00:00:20.5", 5000000, 20500000},
                  {"t=01:02,100:00:00", 62000000, 360000000000},
                  {"xywh=1,2,3,4&t=1,2&t=3,4", 3000000, 4000000},
                  {"t=3,4&t=oops", 3000000, 4000000},
                  {"t=%35%2C20", 5000000, 20000000}};
    for (const auto& form : kForms) {
        const Fragment fragment = splitFragment(std::string("A.mp4#") + form.fragment);
        EXPECT_EQ(fragment.file, "A.mp4") << form.fragment;
        EXPECT_EQ(micros(fragment.in), form.in) << form.fragment;
        EXPECT_EQ(micros(fragment.out), form.out) << form.fragment;
    }
}

TEST(FragmentTest, WhatSaysNoTimeIsRefusedWithTheForms) {
    for (const char* fragment :
         {"t=", "t=5,", "t=20,5", "t=5,5", "t=,0", "t=smpte:00:00:05:00", "t=clock:2026", "t=1:2", "t=00:60",
          "t=5s", "t=-5", "t=1e3", "t=00:00:00:05", "t=9999999"})
        EXPECT_NE(refusalOf(std::string("A.mp4#") + fragment).find("write #t=5,20"), std::string::npos)
            << fragment;
}

TEST(FragmentTest, OtherHashesBelongToTheName) {
    EXPECT_EQ(splitFragment("take #3.mp4").file, "take #3.mp4");
    EXPECT_EQ(splitFragment("#1.mp4#t=1,2").file, "#1.mp4");
    EXPECT_EQ(splitFragment("plain.mp4").file, "plain.mp4");
}

TEST(FragmentTest, AFileThatBearsTheWholeNameWins) {
    const std::filesystem::path name = std::filesystem::temp_directory_path() / "tumblewash-a.mp4#t=1,2";
    std::ofstream(name) << "x";
    EXPECT_EQ(splitFragment(name.string()).file, name.string());
    std::filesystem::remove(name);
    EXPECT_NE(splitFragment(name.string()).file, name.string());
}

}  // namespace
}  // namespace tumblewash::edit
