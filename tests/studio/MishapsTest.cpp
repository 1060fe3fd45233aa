#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "media/Picture.h"
#include "media/StillIO.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

using Json = nlohmann::json;

std::string codeOf(const Response& response) {
    return Json::parse(response.body)["error"]["code"];
}

std::set<std::string> namesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

/// No file of this process may become larger, as on a disk that is full.
class SmallFiles {
  public:
    explicit SmallFiles(rlim_t bytes) {
        before_ = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &limit_);
        const rlimit small{bytes, limit_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    }
    ~SmallFiles() {
        setrlimit(RLIMIT_FSIZE, &limit_);
        std::signal(SIGXFSZ, before_);
    }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

  private:
    rlimit limit_{};
    void (*before_)(int) = nullptr;
};

TEST(MishapsTest, AMovieThatFindsNoRoomFailsWithOneLineAndLeavesNothing) {
    AskedStudio asked;
    const std::set<std::string> before = namesIn(asked.folder.path);
    {
        const SmallFiles full(500);
        EXPECT_EQ(asked.post("render", {{"name", "out.mp4"}}).status, 202);
        const Json job = asked.finishedJob();
        EXPECT_EQ(job["state"], "failed") << job;
        const std::string line = job["error"];
        EXPECT_NE(line.find("out.mp4"), std::string::npos) << line;
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    }
    EXPECT_EQ(namesIn(asked.folder.path), before);
    // With room again it is made.
    EXPECT_EQ(asked.post("render", {{"name", "out.mp4"}}).status, 202);
    EXPECT_EQ(asked.finishedJob()["state"], "done");
}

TEST(MishapsTest, AMovieThatIsCancelledLeavesNothing) {
    AskedStudio asked(0);
    // An hour is not made before the next request.
    const Json clip = {{"file", "pattern:city?size=64x48&seconds=3600"}};
    ASSERT_EQ(asked.change({{{"op", "add"}, {"path", "/clips/-"}, {"value", clip}}}).status, 200);
    const std::set<std::string> before = namesIn(asked.folder.path);
    const Response begun = asked.post("render", {{"name", "out.mp4"}});
    ASSERT_EQ(begun.status, 202) << begun.body;
    const Json id = Json::parse(begun.body)["id"];
    EXPECT_EQ(codeOf(asked.post("render", {{"name", "more.mp4"}})), "busy");
    EXPECT_EQ(codeOf(asked.post("quit", Json::object())), "rendering");
    EXPECT_EQ(asked.post("cancel", {{"id", id.get<int>() + 1}}).status, 409);
    EXPECT_EQ(asked.post("cancel", {{"id", id}}).status, 202);
    EXPECT_EQ(asked.finishedJob()["state"], "cancelled");
    EXPECT_EQ(namesIn(asked.folder.path), before);
    EXPECT_EQ(asked.get("output/" + std::to_string(id.get<int>())).status, 404);
}

TEST(MishapsTest, AChangeThatFindsNoRoomIsKeptAndSavedLater) {
    AskedStudio asked;
    const std::string before = asked.folder.read("my.edit.json");
    {
        const SmallFiles full(20);
        const Response changed = asked.change({{{"op", "add"}, {"path", "/title"}, {"value", "Summer"}}});
        EXPECT_EQ(changed.status, 200) << changed.body;
        EXPECT_EQ(Json::parse(changed.body)["saving"], "failed");
        EXPECT_NE(Json::parse(changed.body)["savingProblem"], "");
    }
    EXPECT_EQ(asked.folder.read("my.edit.json"), before);
    EXPECT_EQ(asked.state()["document"]["title"], "Summer");
    asked.studio.tend();
    EXPECT_EQ(asked.state()["saving"], "saved");
    EXPECT_NE(asked.folder.read("my.edit.json").find("Summer"), std::string::npos);
}

TEST(MishapsTest, AClipThatVanishesIsNamedAndCanBeTakenOut) {
    AskedStudio asked;
    const media::PictureRef red = media::PictureRef::makeArgb(64, 48);
    for (int i = 0; i < 64 * 48; ++i) std::memcpy(red.data() + 4 * i, "\xFF\xC0\x20\x20", 4);
    media::writePng(asked.folder.file("red.png"), red);
    const Response added =
        asked.change({{{"op", "add"}, {"path", "/clips/-"}, {"value", {{"file", "red.png"}}}}});
    ASSERT_EQ(added.status, 200) << added.body;
    std::filesystem::remove(asked.folder.file("red.png"));
    const Response gone = asked.get("clip?clip=2&f=0&w=64");
    EXPECT_EQ(gone.status, 410) << gone.body;
    EXPECT_NE(gone.body.find("red.png"), std::string::npos);
    // The rest goes on.
    EXPECT_EQ(asked.get("clip?clip=0&f=0&w=64").status, 200);
    const Response changed = asked.change({{{"op", "add"}, {"path", "/title"}, {"value", "x"}}});
    EXPECT_EQ(codeOf(changed), "cannot-be");
    EXPECT_NE(changed.body.find("red.png"), std::string::npos);
    EXPECT_EQ(asked.change({{{"op", "remove"}, {"path", "/clips/2"}}}).status, 200);
    EXPECT_EQ(asked.state()["plan"]["clips"].size(), 2U);
}

TEST(MishapsTest, ADocumentChangedOutsideIsDecidedByThePage) {
    for (const char* choice : {"theirs", "mine", "both"}) {
        AskedStudio asked;
        const std::string theirs = documentOf(3);
        asked.folder.write("my.edit.json", theirs);
        asked.studio.tend();
        EXPECT_EQ(asked.state()["saving"], "conflict") << choice;
        EXPECT_EQ(codeOf(asked.change({{{"op", "add"}, {"path", "/title"}, {"value", "x"}}})),
                  "changed-outside");
        EXPECT_EQ(asked.post("resolve", {{"choice", "neither"}}).status, 400);
        const std::set<std::string> before = namesIn(asked.folder.path);
        const Response resolved = asked.post("resolve", {{"choice", choice}});
        ASSERT_EQ(resolved.status, 200) << resolved.body;
        const Json state = Json::parse(resolved.body);
        EXPECT_EQ(state["saving"], "saved") << choice;
        EXPECT_EQ(state["document"]["clips"].size(), std::string(choice) == "theirs" ? 3U : 2U);
        // Theirs is never lost where both are wanted: what we have goes into another file.
        const bool both = std::string(choice) == "both";
        EXPECT_EQ(namesIn(asked.folder.path).size(), before.size() + (both ? 1U : 0U));
        if (both) {
            EXPECT_EQ(asked.folder.read("my.edit.json"), theirs);
            EXPECT_NE(state["file"], "my.edit.json");
        }
        EXPECT_EQ(codeOf(asked.post("resolve", {{"choice", choice}})), "no-conflict");
    }
}

TEST(MishapsTest, RequestsInAnyOrderAreEachAnsweredOnce) {
    AskedStudio asked(3);
    std::mt19937 random(18);
    const auto any = [&](const auto& list) { return list[random() % list.size()]; };
    const std::array<std::string, 14> addresses{"frame", "near",       "clip",        "card",     "field",
                                                "play",  "api/state",  "api/media",   "output/1", "app.js",
                                                "",      "api/export", "api/nothing", "api"};
    const std::array<std::string, 12> values{"0",  "1",           "2", "7", "24",  "40",
                                             "-1", "99999999999", "x", "",  "%00", "wash-away"};
    const std::array<std::string, 10> names{"f",    "w",   "clip", "seam", "effect",
                                            "from", "end", "at",   "page", "root"};
    const std::array<std::string, 6> words{"edit", "undo", "redo", "resolve", "export", "cancel"};
    const std::array<std::string, 7> bodies{
        R"({"revision":1})",
        R"({"revision":2,"patch":[{"op":"remove","path":"/clips/0"}]})",
        R"({"revision":1,"patch":[{"op":"add","path":"/title","value":"x"}]})",
        R"({"format":"command"})",
        R"({"choice":"mine"})",
        R"({"id":1})",
        "[[["};
    const std::set<int> known{200, 204, 303, 304, 400, 404, 405, 409, 410, 413, 415, 422};
    constexpr std::size_t kRequests = 400;
    // An answer may come late and from any thread; none may come twice.
    std::vector<std::atomic<int>> answers(kRequests);
    std::vector<std::atomic<int>> statuses(kRequests);
    for (std::size_t i = 0; i < kRequests; ++i) {
        std::string target = "/" + asked.studio.token() + "/";
        std::string body;
        const bool post = random() % 4 == 0;
        if (post) {
            target += "api/" + any(words);
            body = any(bodies);
        } else {
            target += any(addresses);
            for (unsigned n = random() % 4; n > 0; --n)
                target +=
                    (target.find('?') == std::string::npos ? "?" : "&") + any(names) + "=" + any(values);
        }
        asked.studio.handle(fromPage(post ? "POST" : "GET", target, body),
                            [&answers, &statuses, i](const Response& response) {
                                statuses[i] = response.status;
                                ++answers[i];
                            });
    }
    for (std::size_t i = 0; i < kRequests; ++i)
        while (answers[i] == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    for (std::size_t i = 0; i < kRequests; ++i) {
        EXPECT_EQ(answers[i], 1) << i;
        EXPECT_TRUE(known.contains(statuses[i])) << i << ": " << statuses[i];
    }
    // It goes on as if nothing had happened.
    EXPECT_EQ(asked.get("frame?f=0&w=64").status, 200);
    EXPECT_EQ(asked.state()["saving"], "saved");
}

}  // namespace
}  // namespace tumblewash::studio
