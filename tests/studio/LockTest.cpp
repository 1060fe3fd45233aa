#include <gtest/gtest.h>

#include "edit/Errors.h"
#include "studio/Lock.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

std::string refusalOf(const std::string& document) {
    try {
        const Lock lock(document);
        return "";
    } catch (const edit::Refusal& refused) {
        return refused.what();
    }
}

TEST(LockTest, ASecondStudioIsToldWhereTheFirstIs) {
    const TestFolder folder;
    std::filesystem::create_symlink(folder.path, folder.path / "link");
    {
        Lock lock(folder.file("my.edit.json"));
        lock.tell("http://127.0.0.1:1/x/");
        // Saving makes a new file of that name, and a name may be written in many ways.
        folder.write("my.edit.json", "{}");
        for (const char* name : {"my.edit.json", "./my.edit.json", "link/my.edit.json"})
            EXPECT_EQ(refusalOf(folder.file(name)),
                      folder.file(name) + ": is already open in a studio: http://127.0.0.1:1/x/");
        EXPECT_EQ(refusalOf(folder.file("other.edit.json")), "");
    }
    EXPECT_EQ(refusalOf(folder.file("my.edit.json")), "");
}

}  // namespace
}  // namespace tumblewash::studio
