#include <gtest/gtest.h>

#include <map>
#include <set>
#include <thread>

#include "edit/Effects.h"
#include "edit/Request.h"
#include "edit/StillRender.h"
#include "media/Jpeg.h"
#include "studio/FileResponse.h"
#include "studio/Page.h"
#include "studio/Studio.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

using Json = nlohmann::json;

const Json kWash = {{"effect", "wash-away"}, {"duration", "10f"}, {"seed", 7}, {"direction", "left"}};

std::string codeOf(const Response& response) {
    return Json::parse(response.body)["error"]["code"];
}

TEST(StudioTest, ThePageAndItsPartsComeFromTheProgram) {
    AskedStudio asked;
    EXPECT_NE(asked.get("").body.find("<!doctype html>"), std::string::npos);
    ASSERT_GE(pageFiles().size(), 10U);
    for (const PageFile& file : pageFiles()) {
        const Response answer = asked.get(std::string(file.name));
        EXPECT_EQ(answer.status, 200) << file.name;
        EXPECT_EQ(answer.type, file.type);
        EXPECT_EQ(answer.body, file.text);
        // Nothing of another place, and nothing that a policy without inline scripts would stop.
        EXPECT_EQ(answer.body.find("https://"), std::string::npos) << file.name;
        EXPECT_EQ(answer.body.find("innerHTML"), std::string::npos) << file.name;
    }
    // Browsers are sent the same packed, and those that do not read that are not.
    const auto asking = [&](const std::string& accepted) {
        Request request = fromPage("GET", "/" + asked.studio.token() + "/app.js");
        request.headers.emplace_back("Accept-Encoding", accepted);
        Response answer;
        asked.studio.handle(request, [&](Response response) { answer = std::move(response); });
        return answer;
    };
    for (const char* accepted : {"gzip", "gzip, deflate, br", "br,gzip;q=1.0"})
        EXPECT_EQ(asking(accepted).body, pageFile("app.js")->packed) << accepted;
    for (const char* accepted : {"br", "gzip;q=0", "xgzip", ""})
        EXPECT_EQ(asking(accepted).body, pageFile("app.js")->text) << accepted;
    EXPECT_EQ(asked.get("nothing.js").status, 404);
    EXPECT_EQ(asked.get("api/nothing").status, 404);
    EXPECT_EQ(asked.get("api/edit").status, 405);
    EXPECT_EQ(asked.post("state", {}).status, 405);
}

TEST(StudioTest, PartsOfThePageAreSentAgainOnlyWhenTheyHaveChanged) {
    AskedStudio asked;
    Request request = fromPage("GET", "/" + asked.studio.token() + "/app.js");
    const auto headerOf = [](const Response& response, const std::string& name) {
        for (const auto& [key, value] : response.headers)
            if (key == name) return value;
        return std::string();
    };
    const Response first = asked.ask(request);
    EXPECT_EQ(headerOf(first, "Cache-Control"), "no-cache");
    ASSERT_NE(headerOf(first, "ETag"), "");
    request.headers.emplace_back("If-None-Match", headerOf(first, "ETag"));
    EXPECT_EQ(asked.ask(request).status, 304);
    EXPECT_EQ(asked.ask(request).body, "");
    request.headers.back().second = "\"older\"";
    EXPECT_EQ(asked.ask(request).status, 200);
}

TEST(StudioTest, ReadingChangesNothing) {
    AskedStudio asked;
    asked.change({{{"op", "add"}, {"path", "/title"}, {"value", "x"}}});
    const Json before = asked.state();
    for (const char* word : {"edit", "undo", "redo", "resolve", "render", "cancel", "export", "quit"}) {
        const int status = asked.get(std::string("api/") + word).status;
        EXPECT_TRUE(status == 405 || status == 404) << word << " " << status;
    }
    EXPECT_EQ(asked.state(), before);
    EXPECT_FALSE(asked.ended);
    EXPECT_EQ(asked.post("quit", Json::object()).status, 202);
    EXPECT_TRUE(asked.ended);
}

TEST(StudioTest, NoRefusalTellsTheSecret) {
    AskedStudio asked;
    for (const char* target : {"nothing", "api/nothing", "output/9", "clip?clip=9", "frame?f=x", "a/b/c"}) {
        const Response response = asked.get(target);
        EXPECT_GE(response.status, 400) << target;
        EXPECT_EQ(response.body.find(asked.studio.token()), std::string::npos) << target;
        for (const auto& [name, value] : response.headers)
            EXPECT_EQ(value.find(asked.studio.token()), std::string::npos) << target << " " << name;
    }
}

TEST(StudioTest, APlaylistIsNoClip) {
    AskedStudio asked;
    const TestFolder outside;
    outside.write("secret.mp4", "x");
    const std::string secret = outside.file("secret.mp4");
    const std::map<std::string, std::string> lists{
        {"hls.mp4", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + secret + "\n#EXT-X-ENDLIST\n"},
        {"concat.mp4", "ffconcat version 1.0\nfile '" + secret + "'\n"},
        {"sdp.mp4", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video 9 RTP/AVP 96\n"}};
    for (const auto& [name, text] : lists) {
        asked.folder.write(name, text);
        const Response added =
            asked.change({{{"op", "add"}, {"path", "/clips/-"}, {"value", {{"file", name}}}}});
        EXPECT_EQ(codeOf(added), "cannot-be") << name << added.body;
    }
}

TEST(StudioTest, AMovieFollowsNoLink) {
    AskedStudio asked;
    const TestFolder outside;
    outside.write("precious.mp4", "precious");
    std::filesystem::create_symlink(outside.file("precious.mp4"), asked.folder.file("out.mp4"));
    for (const bool force : {false, true})
        EXPECT_EQ(codeOf(asked.post("render", {{"name", "out.mp4"}, {"force", force}})), "link") << force;
    EXPECT_EQ(asked.state()["job"]["state"], "idle");
    EXPECT_EQ(outside.read("precious.mp4"), "precious");
}

TEST(StudioTest, TheStateHoldsDocumentPlanAndEffects) {
    AskedStudio asked(3);
    const Json state = asked.state();
    EXPECT_EQ(state["revision"], 1);
    EXPECT_EQ(state["document"]["clips"].size(), 3U);
    EXPECT_EQ(state["plan"]["width"], 64);
    EXPECT_EQ(state["plan"]["rate"], 25.0);
    EXPECT_EQ(state["plan"]["seams"].size(), 2U);
    EXPECT_EQ(state["effects"].size(), 14U);
    EXPECT_EQ(state["saving"], "saved");
    // The middle clip's 25 frames carry both seams.
    const std::int64_t other = state["plan"]["seams"][1]["frames"];
    EXPECT_EQ(state["plan"]["seams"][0]["most"], (25 - other) / 2 * 2);
}

TEST(StudioTest, AnEditIsSettledSavedAndUndone) {
    AskedStudio asked;
    const std::string before = asked.folder.read("my.edit.json");
    const Response changed =
        asked.change({{{"op", "add"}, {"path", "/clips/1/seam"}, {"value", kWash}}}, "effect");
    ASSERT_EQ(changed.status, 200) << changed.body;
    const Json state = Json::parse(changed.body);
    EXPECT_EQ(state["revision"], 2);
    EXPECT_EQ(state["undo"], "effect");
    EXPECT_EQ(state["plan"]["seams"][0]["frames"], 10);
    EXPECT_EQ(state["plan"]["frames"], 40);
    EXPECT_NE(asked.folder.read("my.edit.json").find("wash-away"), std::string::npos);
    EXPECT_EQ(asked.post("undo", {{"revision", 2}}).status, 200);
    EXPECT_EQ(asked.folder.read("my.edit.json"), before);
    EXPECT_EQ(codeOf(asked.post("undo", {{"revision", 3}})), "no-step");
}

TEST(StudioTest, WhatCannotBeIsRefusedAndLeavesEverythingAsItWas) {
    AskedStudio asked;
    const std::string before = asked.folder.read("my.edit.json");
    const auto seam = [&](Json value) {
        return asked.change({{{"op", "add"}, {"path", "/clips/1/seam"}, {"value", std::move(value)}}});
    };
    EXPECT_EQ(seam({{"effect", "wash-away"}, {"duration", "100f"}}).status, 422);
    EXPECT_EQ(seam({{"effect", "wash-in"}}).status, 422);
    EXPECT_EQ(seam({{"effect", "sparkle"}}).status, 422);
    EXPECT_EQ(codeOf(asked.change({{{"op", "remove"}, {"path", "/clips/9"}}})), "bad-patch");
    EXPECT_EQ(codeOf(asked.change({{{"op", "replace"}, {"path", "/clips"}, {"value", Json::array()}}})),
              "no-clips");
    EXPECT_EQ(
        codeOf(asked.change({{{"op", "add"}, {"path", "/clips/-"}, {"value", {{"file", "/etc/hostname"}}}}})),
        "outside");
    EXPECT_EQ(codeOf(asked.post("edit", {{"revision", 9}, {"patch", Json::array()}})), "revision");
    EXPECT_EQ(codeOf(asked.post("edit", {{"revision", 1}, {"patch", 7}})), "bad-json");
    EXPECT_EQ(codeOf(asked.post("edit", {{"revision", 1}, {"colour", "red"}})), "unknown-key");
    EXPECT_EQ(codeOf(asked.post("edit", 7)), "bad-json");
    EXPECT_EQ(asked.state()["revision"], 1);
    EXPECT_EQ(asked.folder.read("my.edit.json"), before);
}

TEST(StudioTest, AFrameOfASeamIsTheOneOfTheCommandFrame) {
    AskedStudio asked;
    for (const char* id : {"wash-away", "tilt-reveal", "tumble-away", "morph"}) {
        Json value = kWash;
        value["effect"] = id;
        const Response changed = asked.change({{{"op", "add"}, {"path", "/clips/1/seam"}, {"value", value}}});
        ASSERT_EQ(changed.status, 200) << changed.body;
        const Json state = Json::parse(changed.body);
        const std::int64_t first = state["plan"]["seams"][0]["first"];

        const host::PluginModule module = edit::openPlugin({});
        edit::StillInput a(state["document"]["clips"][0]["file"], {64, 48}, media::Fit::contain, {25, 1},
                           false);
        edit::StillInput b(state["document"]["clips"][1]["file"], {64, 48}, media::Fit::contain, {25, 1},
                           false);
        edit::TransitionJob job;
        job.effect = edit::findEffect(module, id);
        job.size = {64, 48};
        job.frames = 10;
        job.direction = kPluginDirectionLeft;
        job.seed = 7;
        edit::StillRenderer renderer(module, job, {&a, &b});
        for (const std::int64_t k : {0, 4, 9}) {
            const Response frame = asked.get("frame?f=" + std::to_string(first + k) + "&w=64");
            ASSERT_EQ(frame.status, 200) << frame.body;
            const std::vector<std::uint8_t> wanted = media::jpegOf(renderer.render(k), 64, 48);
            EXPECT_EQ(frame.body, std::string(wanted.begin(), wanted.end())) << id << " " << k;
        }
    }
}

TEST(StudioTest, FramesOutsideOfSeamsAreTheClipsOwn) {
    AskedStudio asked;
    const Json state = asked.state();
    const std::int64_t last = state["plan"]["frames"].get<std::int64_t>() - 1;
    EXPECT_EQ(asked.get("frame?f=0&w=64").body, asked.get("clip?clip=0&f=0&w=64").body);
    EXPECT_EQ(asked.get("frame?f=" + std::to_string(last) + "&w=64").body,
              asked.get("clip?clip=1&f=24&w=64&page=p").body);
    EXPECT_EQ(asked.get("frame?f=" + std::to_string(last + 1)).status, 404);
    EXPECT_EQ(asked.get("clip?clip=2&f=0").status, 404);
    EXPECT_EQ(asked.get("frame?f=x").status, 400);
    EXPECT_EQ(asked.get("frame?f=0&w=99999").status, 400);
}

/// A second of silence as a WAV file.
std::string silence() {
    const auto number = [](std::uint32_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 0xFF);
        return text;
    };
    constexpr std::uint32_t kRate = 8000;
    return "RIFF" + number(36 + 2 * kRate, 4) + "WAVEfmt " + number(16, 4) + number(1, 2) + number(1, 2) +
           number(kRate, 4) + number(2 * kRate, 4) + number(2, 2) + number(16, 2) + "data" +
           number(2 * kRate, 4) + std::string(2 * kRate, '\0');
}

TEST(StudioTest, MusicComesFromTheFoldersAndSoundsInTheMovie) {
    AskedStudio asked;
    asked.folder.write("song.wav", silence());
    const auto music = [&](const std::string& file) {
        return asked.change(
            {{{"op", "add"}, {"path", "/music"}, {"value", {{"file", file}, {"duck", "6dB"}}}}});
    };
    EXPECT_EQ(codeOf(music("/etc/hostname")), "outside");
    EXPECT_EQ(codeOf(music("../song.wav")), "outside");
    EXPECT_EQ(codeOf(music("my.edit.json")), "cannot-be");
    EXPECT_TRUE(Json::parse(asked.get("api/media?root=0").body)["entries"].empty());
    const Json songs = Json::parse(asked.get("api/media?root=0&kind=music").body)["entries"];
    ASSERT_EQ(songs.size(), 1U);
    EXPECT_EQ(asked.get("api/media?root=0&kind=films").status, 400);
    const Response changed = music(songs[0]["file"]);
    ASSERT_EQ(changed.status, 200) << changed.body;
    EXPECT_EQ(Json::parse(changed.body)["document"]["music"]["file"], "song.wav");
    EXPECT_NE(asked.folder.read("my.edit.json").find("song.wav"), std::string::npos);
    // What was chosen and has gone is named as missing, and can be taken out.
    std::filesystem::remove(asked.folder.file("song.wav"));
    const Response gone = asked.change({{{"op", "add"}, {"path", "/title"}, {"value", "x"}}});
    EXPECT_EQ(codeOf(gone), "cannot-be") << gone.body;
    EXPECT_NE(gone.body.find("song.wav"), std::string::npos);
    EXPECT_EQ(asked.change({{{"op", "remove"}, {"path", "/music"}}}).status, 200);
}

TEST(StudioTest, EveryEffectOfASeamHasItsCard) {
    AskedStudio asked;
    int cards = 0;
    const Json state = asked.state();
    for (const Json& effect : state["effects"]) {
        if (effect["place"] != "between" || effect["id"] == "none") continue;
        const Response card = asked.get("card?seam=0&effect=" + effect["id"].get<std::string>());
        EXPECT_EQ(card.status, 200) << card.body;
        EXPECT_EQ(card.body.substr(0, 3), "\xFF\xD8\xFF");
        ++cards;
    }
    EXPECT_EQ(cards, 7);
    EXPECT_EQ(asked.get("card?seam=0&effect=none").status, 404);
    EXPECT_EQ(asked.get("card?seam=0&effect=sparkle").status, 422);
    EXPECT_EQ(asked.get("card?seam=1&effect=morph").status, 404);
}

TEST(StudioTest, ANearPictureIsMadeOfWhatIsThere) {
    // Of the first two clips something may be there: a page looks at their seam first.
    AskedStudio asked(3);
    const Json other = {{"file", "pattern:city?size=64x48&seconds=2"}, {"seam", kWash}};
    const Response changed = asked.change({{{"op", "replace"}, {"path", "/clips/2"}, {"value", other}}});
    ASSERT_EQ(changed.status, 200) << changed.body;
    const Json plan = Json::parse(changed.body)["plan"];
    const auto near = [&](std::int64_t frame) { return asked.get("near?f=" + std::to_string(frame)); };
    const std::int64_t seam = plan["seams"][1]["first"].get<std::int64_t>() + 5;
    const std::int64_t last = plan["frames"].get<std::int64_t>() - 1;
    EXPECT_EQ(near(seam).status, 204);
    EXPECT_EQ(near(last).status, 204);
    // A picture of the strip of each clip is enough.
    EXPECT_EQ(asked.get("clip?clip=1&f=3&w=160").status, 200);
    EXPECT_EQ(near(seam).status, 204);
    EXPECT_EQ(asked.get("clip?clip=2&f=20&w=160").status, 200);
    EXPECT_EQ(near(last).status, 200);
    EXPECT_EQ(near(seam).status, 200);
    EXPECT_EQ(near(seam).body.substr(0, 3), "\xFF\xD8\xFF");
    EXPECT_EQ(near(4000).status, 204);
    EXPECT_EQ(asked.get("near?f=x").status, 400);
}

TEST(StudioTest, ASeamTellsHowItMovesItsPictures) {
    AskedStudio asked;
    const auto arrows = [&](const char* effect) {
        Json value = kWash;
        value["effect"] = effect;
        const Response changed = asked.change({{{"op", "add"}, {"path", "/clips/1/seam"}, {"value", value}}});
        EXPECT_EQ(changed.status, 200) << changed.body;
        return Json::parse(asked.get("field?seam=0").body)["arrows"];
    };
    for (const char* effect : {"wash-away", "tilt-away", "morph"}) {
        const Json list = arrows(effect);
        ASSERT_GT(list.size(), 20U) << effect;
        ASSERT_LE(list.size(), 32U * 24U) << effect;
        bool moves = false;
        for (const Json& arrow : list) {
            ASSERT_EQ(arrow.size(), 4U);
            moves = moves || arrow[0] != arrow[2] || arrow[1] != arrow[3];
            EXPECT_GE(arrow[2].get<double>(), 0) << effect;
            EXPECT_LE(arrow[3].get<double>(), 1) << effect;
        }
        EXPECT_TRUE(moves) << effect;
    }
    EXPECT_TRUE(arrows("tumble-away").empty());
    EXPECT_EQ(asked.get("field?seam=1").status, 404);
    const Json state = asked.state();
    for (const Json& effect : state["effects"])
        EXPECT_EQ(effect["field"], effect["id"] != "none" &&
                                       effect["id"].get<std::string>().find("tumble") == std::string::npos)
            << effect;
}

TEST(StudioTest, AFileIsSentWholeOrInOneRange) {
    TestFolder folder;
    folder.write("movie.mp4", std::string(1000, 'x'));
    const std::string file = folder.file("movie.mp4");
    const auto ask = [&](const std::string& range) {
        Request request = fromPage("GET", "/");
        if (!range.empty()) request.headers.emplace_back("Range", range);
        return fileResponse(request, file, "video/mp4");
    };
    EXPECT_EQ(ask("").status, 200);
    EXPECT_EQ(ask("").file.count, 1000U);
    const Response part = ask("bytes=100-");
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.file.first, 100U);
    EXPECT_EQ(part.file.count, 900U);
    EXPECT_EQ(ask("bytes=0-0").file.count, 1U);
    EXPECT_EQ(ask("bytes=-10").file.first, 990U);
    EXPECT_EQ(ask("bytes=1000-").status, 416);
    EXPECT_EQ(ask("bytes=-0").status, 416);
    for (const char* range : {"bytes=0-1,5-6", "bytes=5-1", "lines=1-2", "bytes=x-", "bytes="})
        EXPECT_EQ(ask(range).status, 200) << range;
    std::filesystem::remove(file);
    EXPECT_EQ(ask("").status, 404);
}

TEST(StudioTest, AMovieIsMadeBesideTheDocumentAndNeverReplacesOneUnasked) {
    AskedStudio asked;
    EXPECT_EQ(asked.post("render", {{"name", "out.mp4"}}).status, 202);
    const Json job = asked.finishedJob();
    EXPECT_EQ(job["state"], "done") << job;
    EXPECT_EQ(job["frames"], asked.state()["plan"]["frames"]);
    EXPECT_TRUE(std::filesystem::exists(asked.folder.file("out.mp4")));
    EXPECT_EQ(asked.get("output/" + std::to_string(job["id"].get<int>())).file.path,
              asked.folder.file("out.mp4"));
    EXPECT_EQ(codeOf(asked.post("render", {{"name", "out.mp4"}})), "exists");
    for (const char* name :
         {"", "../out.mp4", "/tmp/out.mp4", ".out.mp4", "my.edit.json", "out.txt", "a/b.mp4"})
        EXPECT_EQ(codeOf(asked.post("render", {{"name", name}})), "bad-name") << name;
    EXPECT_EQ(asked.get("output/7").status, 404);
    EXPECT_EQ(codeOf(asked.post("cancel", {{"id", 1}})), "no-job");
}

TEST(StudioTest, AnOlderMovieIsServedUntilAnotherTakesItsPlace) {
    AskedStudio asked;
    const auto make = [&](const char* name, bool force = false) {
        EXPECT_EQ(asked.post("render", {{"name", name}, {"force", force}}).status, 202);
        const Json job = asked.finishedJob();
        EXPECT_EQ(job["state"], "done") << job;
        return "output/" + std::to_string(job["id"].get<int>());
    };
    const std::string first = make("one.mp4");
    const std::string second = make("two.mp4");
    EXPECT_EQ(asked.get(first).file.path, asked.folder.file("one.mp4"));
    EXPECT_EQ(asked.get(second).file.path, asked.folder.file("two.mp4"));
    const std::string third = make("one.mp4", true);
    EXPECT_EQ(asked.get(first).status, 404);
    EXPECT_EQ(asked.get(second).status, 200);
    EXPECT_EQ(asked.get(third).file.path, asked.folder.file("one.mp4"));
}

TEST(StudioTest, ADocumentThatCannotBeShownCanBeRepaired) {
    AskedStudio asked(0);
    EXPECT_TRUE(asked.state()["plan"].is_null());
    EXPECT_EQ(codeOf(asked.get("frame?f=0")), "no-plan");
    const Json clip = {{"file", "pattern:city?size=64x48&seconds=1"}};
    EXPECT_EQ(asked.change({{{"op", "add"}, {"path", "/clips/-"}, {"value", clip}}}).status, 200);
    EXPECT_EQ(asked.state()["plan"]["clips"].size(), 1U);
    EXPECT_NE(asked.folder.read("my.edit.json"), "");
}

TEST(StudioTest, ExportsSayTheSameAsTheProgram) {
    AskedStudio asked;
    const auto text = [&](const char* format) {
        return Json::parse(asked.post("export", {{"format", format}}).body).value("text", std::string());
    };
    EXPECT_EQ(text("command"), "tumblewash render my.edit.json -o my.mp4\n");
    // Other programs cannot draw our scenes.
    EXPECT_EQ(asked.post("export", {{"format", "otio"}}).status, 422);
    EXPECT_EQ(codeOf(asked.post("export", {{"format", "doc"}})), "bad-format");
}

TEST(StudioTest, TheBrowsersAddressIsGoodOnce) {
    AskedStudio asked;
    const std::string target = asked.studio.openAddress();
    const auto open = [&](const std::string& address) {
        Response answer;
        asked.studio.handle(fromPage("GET", address),
                            [&](Response response) { answer = std::move(response); });
        return answer;
    };
    EXPECT_EQ(open("/open/wrong").status, 404);
    const Response first = open(target);
    EXPECT_EQ(first.status, 303);
    EXPECT_EQ(first.headers.front().second, "/" + asked.studio.token() + "/");
    EXPECT_EQ(open(target).status, 404);
    // A newer one takes the place of the one before.
    const std::string older = asked.studio.openAddress();
    const std::string newer = asked.studio.openAddress();
    EXPECT_EQ(open(older).status, 404);
    EXPECT_EQ(open(newer).status, 303);
}

TEST(StudioTest, TheBrowsersAddressIsNotGoodForLong) {
    AskedStudio asked(2, std::chrono::seconds(0));
    EXPECT_EQ(asked.ask(fromPage("GET", asked.studio.openAddress())).status, 404);
}

}  // namespace
}  // namespace tumblewash::studio
