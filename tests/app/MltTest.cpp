#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/app/ProgramRun.h"

namespace tumblewash::app {
namespace {

using testing::HasSubstr;

// Two clips of 50 frames with sound.
struct TwoClips {
    TwoClips() {
        for (const auto& [name, picture] : {std::pair{"a.mp4", "harbour"}, {"b.mp4", "city"}})
            EXPECT_EQ(shop.run({"join", scene(picture, 1, "160x96"), scene(picture, 1, "160x96"), "-o",
                                shop.file(name), "-e", "none", "-q"})
                          .code,
                      0);
    }
    Workshop shop;
};

TEST(MltTest, AProjectIsWrittenWithoutRenderingAnything) {
    const TwoClips clips;
    const RunResult result =
        clips.shop.run({"join", clips.shop.file("a.mp4"), clips.shop.file("b.mp4"), "--mlt",
                        clips.shop.file("p.mlt"), "-d", "20f", "--direction", "up", "--seed", "4"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(clips.shop.names(), testing::ElementsAre("a.mp4", "b.mp4", "p.mlt"));
    const std::string xml = bytesOf(clips.shop.file("p.mlt"));
    for (const char* part :
         {"width=\"160\" height=\"96\"", "frame_rate_num=\"25\"",
          "<entry producer=\"clip0\" in=\"0\" out=\"49\">", "<blank length=\"30\"/>",
          "<entry producer=\"clip1\" in=\"0\" out=\"49\">", "<transition in=\"30\" out=\"49\">",
          "frei0r.tumblewash_wash_away", ">0=0.000000000;-1=0.950000000<", ">up<", ">0.003<",
          "<filter in=\"30\" out=\"49\">", "<filter in=\"0\" out=\"19\">"})
        EXPECT_THAT(xml, HasSubstr(part));
}

TEST(MltTest, OpeningsAndClosingsAreSeamsWithBlack) {
    const TwoClips clips;
    ASSERT_EQ(
        clips.shop
            .run({"join", clips.shop.file("a.mp4"), "black:1s", clips.shop.file("b.mp4"), "--mlt",
                  clips.shop.file("p.mlt"), "-d", "10f", "--opening", "wash-in", "--closing", "tumble-out"})
            .code,
        0);
    const std::string xml = bytesOf(clips.shop.file("p.mlt"));
    for (const char* part :
         {"<producer id=\"clip1\" in=\"0\" out=\"24\">", "<producer id=\"black\" in=\"0\" out=\"9\">",
          "<transition in=\"0\" out=\"9\">", "frei0r.tumblewash_wash_reveal",
          "<transition in=\"95\" out=\"104\">", "frei0r.tumblewash_tumble_away",
          "<entry producer=\"sound0\" in=\"0\" out=\"39\">"})
        EXPECT_THAT(xml, HasSubstr(part));
}

TEST(MltTest, WhatAProjectCannotSayIsRefused) {
    const TwoClips clips;
    const auto refusal = [&](std::vector<std::string> more) {
        std::vector<std::string> words{"join", clips.shop.file("a.mp4"), clips.shop.file("b.mp4"), "--mlt",
                                       clips.shop.file("p.mlt")};
        words.insert(words.end(), more.begin(), more.end());
        const RunResult result = clips.shop.run(words);
        EXPECT_EQ(result.code, 2);
        return result.err;
    };
    EXPECT_THAT(refusal({"--seed", "1002"}), HasSubstr("seeds 1 to 1001"));
    EXPECT_THAT(refusal({"--fit", "cover"}), HasSubstr("--fit"));
    EXPECT_THAT(refusal({scene("city", 2), "-d", "10f"}), HasSubstr("needs files"));
    EXPECT_THAT(refusal({"--only", "..1s"}), HasSubstr("leave --only out"));
    EXPECT_THAT(clips.shop.names(), testing::ElementsAre("a.mp4", "b.mp4"));
}

TEST(MltTest, NamesWithMarkupStayWholeInTheProject) {
    const TwoClips clips;
    const std::string odd = clips.shop.file("a & <b> \"c\".mp4");
    std::filesystem::copy_file(clips.shop.file("a.mp4"), odd);
    ASSERT_EQ(
        clips.shop.run({"join", odd, clips.shop.file("b.mp4"), "--mlt", clips.shop.file("p.mlt"), "-q"}).code,
        0);
    EXPECT_THAT(bytesOf(clips.shop.file("p.mlt")), HasSubstr("a &amp; &lt;b&gt; &quot;c&quot;.mp4"));
}

#ifdef TUMBLEWASH_FREI0R_DIR
TEST(MltTest, MeltRendersTheProjectToTheJoinsLength) {
    const TwoClips clips;
    for (const auto& [effect, frames] :
         {std::pair{"wash-away", 80}, {"tumble-reveal", 80}, {"morph", 100}, {"none", 100}}) {
        ASSERT_EQ(clips.shop
                      .run({"join", clips.shop.file("a.mp4"), clips.shop.file("b.mp4"), "--mlt",
                            clips.shop.file("p.mlt"), "-d", "20f", "-e", effect, "-q", "-f"})
                      .code,
                  0);
        const std::string movie = clips.shop.file("m.mkv");
        const std::string command = "FREI0R_PATH='" TUMBLEWASH_FREI0R_DIR "' melt '" +
                                    clips.shop.file("p.mlt") + "' -consumer avformat:'" + movie +
                                    "' vcodec=ffv1 acodec=pcm_s16le real_time=-1 "
                                    "> '" +
                                    clips.shop.file("log") + "' 2>&1";
        // On a busy machine melt now and then ends well before its muxer has begun: nothing of the project is
        // in such a file, and another run says what it holds.
        constexpr std::uintmax_t kNothing = 64;
        for (int run = 0; run < 3; ++run) {
            ASSERT_EQ(shell(command), 0) << bytesOf(clips.shop.file("log"));
            if (std::filesystem::file_size(movie) > kNothing) break;
        }
        EXPECT_EQ(streamOf(probeJson(movie), "video")["nb_read_frames"], std::to_string(frames)) << effect;
        EXPECT_FALSE(streamOf(probeJson(movie), "audio").is_null());
        EXPECT_THAT(bytesOf(clips.shop.file("log")), testing::Not(HasSubstr("failed to load")));
    }
}
#endif

}  // namespace
}  // namespace tumblewash::app
