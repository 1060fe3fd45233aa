#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "app/Options.h"
#include "edit/Errors.h"
#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

TEST(StudioCommandTest, WhatItIsOpenedWithIsChecked) {
    EXPECT_EQ(parseOptions({"studio"}).command, Command::Studio);
    EXPECT_EQ(parseOptions({"studio", "--port", "8080"}).port, 8080);
    EXPECT_FALSE(parseOptions({"studio", "a.mp4", "--no-browser"}).browser);
    for (const char* port : {"0", "65536", "-1", "x"})
        EXPECT_THROW(parseOptions({"studio", "--port", port}), edit::Refusal) << port;
    const Workshop shop;
    EXPECT_THAT(shop.run({"studio", "a.edit.json", "b.mp4"}).err,
                HasSubstr("a.edit.json: studio opens one .edit.json, or one folder, or clips"));
    EXPECT_THAT(shop.run({"studio", "cut.otio"}).err, HasSubstr("tumblewash plan FILE -o my.edit.json"));
    EXPECT_EQ(shop.run({"studio", shop.file("no/my.edit.json")}).code, 3);
    writeBytes(shop.file("bad.edit.json"), "{");
    EXPECT_EQ(shop.run({"studio", shop.file("bad.edit.json")}).code, 2);
}

TEST(StudioCommandTest, ItSaysItsAddressKeepsOthersOutAndEndsBySignal) {
    const Workshop shop;
    const std::string document = shop.file("my.edit.json");
    const std::string text = "{\n  \"tumblewash\": 1,\n  \"clips\": [\n    {\n      \"file\": \"" +
                             scene("city", 1) + "\"\n    }\n  ]\n}\n";
    writeBytes(document, text);
    const Workshop other;
    RunningProgram first({"studio", document, "--no-browser"}, other.folder());
    std::string address;
    while (!address.ends_with("/\n")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        address = bytesOf(other.file(".out"));
    }
    address.pop_back();
    EXPECT_THAT(address, StartsWith("http://127.0.0.1:"));
    const RunResult second = shop.run({"studio", document, "--no-browser"});
    EXPECT_EQ(second.code, 1);
    EXPECT_THAT(second.err, HasSubstr("is already open in a studio: " + address));
    first.signal(SIGTERM);
    const RunResult ended = first.wait();
    EXPECT_EQ(ended.code, 128 + SIGTERM);
    EXPECT_THAT(ended.err, EndsWith("interrupted by SIGTERM: " + document + " holds every change\n"));
    EXPECT_EQ(bytesOf(document), text);
}

}  // namespace
}  // namespace tumblewash::app
