#include <gtest/gtest.h>

#include <future>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

TEST(PlaybackTest, AStretchIsPlayedWhileItIsMade) {
    AskedStudio asked;
    const auto header = [](const Response& response, const std::string& name) {
        for (const auto& [key, value] : response.headers)
            if (key == name) return value;
        return std::string();
    };
    const auto fetch = [&](const std::string& target, std::string& all) {
        for (;;) {
            const Response some = asked.get(target + "&at=" + std::to_string(all.size()));
            ASSERT_EQ(some.status, 200) << some.body;
            EXPECT_TRUE(header(some, "X-Type").starts_with("video/mp4; codecs=\"avc1."));
            if (all.empty()) {
                EXPECT_EQ(some.body.substr(4, 4), "ftyp");
            }
            all += some.body;
            if (header(some, "X-Rest") == "none") return;
            EXPECT_NE(some.body, "");
        }
    };
    std::string all;
    fetch("play?from=10&end=25", all);
    EXPECT_NE(all.find("moof"), std::string::npos);
    // Once more, it is there.
    EXPECT_EQ(asked.get("play?from=10&end=25&at=0").body, all);
    EXPECT_EQ(asked.get("play?from=10&end=25&at=100").body, all.substr(100));
    EXPECT_EQ(asked.get("play?from=10&end=25&at=" + std::to_string(all.size() + 7)).body, "");
    // An edit makes another stretch of it; the old one is not played for the new.
    asked.change({{{"op", "add"},
                   {"path", "/clips/1/seam"},
                   {"value", {{"effect", "wash-away"}, {"duration", "10f"}}}}});
    std::string changed;
    fetch("play?from=10&end=25", changed);
    EXPECT_NE(changed, all);
    EXPECT_EQ(asked.get("play?from=10&end=5").status, 400);
    EXPECT_EQ(asked.get("play?from=4000&end=4001").status, 400);
}

TEST(PlaybackTest, AStretchThatIsNotTheNewestIsGivenUp) {
    AskedStudio asked(3);
    const std::string root = "/" + asked.studio.token() + "/play?end=50&at=0&from=";
    std::vector<std::promise<Response>> answers(12);
    for (std::size_t i = 0; i < answers.size(); ++i)
        asked.studio.handle(fromPage("GET", root + std::to_string(i)),
                            [&answers, i](Response response) { answers[i].set_value(std::move(response)); });
    // Every one is answered; those that were overtaken with nothing, or with what they had by then.
    for (std::size_t i = 0; i < answers.size(); ++i) {
        const Response response = answers[i].get_future().get();
        if (i + 1 == answers.size()) {
            EXPECT_EQ(response.status, 200) << response.body;
        }
        EXPECT_TRUE(response.status == 200 || response.status == 204) << response.status;
    }
}

TEST(PlaybackTest, TwoPagesPlayWithoutStoppingEachOther) {
    AskedStudio asked(3);
    // Both begin before either is done; each is fetched to its end in turns.
    std::map<std::string, std::string> all{{"a", ""}, {"b", ""}};
    std::set<std::string> playing{"a", "b"};
    while (!playing.empty())
        for (auto& [page, bytes] : all) {
            if (!playing.contains(page)) continue;
            const Response some = asked.get("play?from=" + std::string(page == "a" ? "0" : "5") +
                                            "&end=40&page=" + page + "&at=" + std::to_string(bytes.size()));
            ASSERT_EQ(some.status, 200) << page;
            bytes += some.body;
            for (const auto& [key, value] : some.headers)
                if (key == "X-Rest" && value == "none") playing.erase(page);
        }
    EXPECT_EQ(all["a"].substr(4, 4), "ftyp");
    EXPECT_EQ(all["b"].substr(4, 4), "ftyp");
    EXPECT_NE(all["a"], all["b"]);
    // More pages than play at once: the oldest begins anew, and nobody is refused.
    for (const char* page : {"c", "d", "e", "f", "a"})
        EXPECT_EQ(asked.get(std::string("play?from=0&end=5&at=0&page=") + page).status, 200) << page;
}

}  // namespace
}  // namespace tumblewash::studio
