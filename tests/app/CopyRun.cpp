#include "tests/app/CopyRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>

namespace tumblewash::app::copies {

namespace {

constexpr const char* kSource[] = {"testsrc2=s=128x96:r=25", "testsrc=s=128x96:r=25",
                                   "mandelbrot=s=128x96:r=25"};

/// Times of the packets of the pictures, in order of decoding.
struct Times {
    std::vector<double> pts, dts, length;
};
Times timesOf(const Workshop& shop, const std::string& file) {
    const std::string list = shop.file("times.txt");
    EXPECT_EQ(shell("ffprobe -v error -select_streams v -show_entries packet=pts,dts,duration -of csv=p=0 " +
                    file + " > " + list),
              0);
    Times times;
    for (const std::string& line : linesOf(bytesOf(list))) {
        std::istringstream fields(line);
        std::string field;
        for (std::vector<double>* to : {&times.pts, &times.dts, &times.length}) {
            std::getline(fields, field, ',');
            to->push_back(field == "N/A" || field.empty() ? NAN : std::stod(field));
        }
    }
    std::filesystem::remove(list);
    return times;
}

}  // namespace

std::string clip(const Workshop& shop, const std::string& name, int source, double seconds,
                 const std::string& coding, const std::string& sound) {
    const std::string file = shop.file(name);
    const std::string tone = sound == "-an" ? "" : " -f lavfi -i sine=r=48000";
    EXPECT_EQ(shell("ffmpeg -v error -y -f lavfi -i " + std::string(kSource[source]) + tone + " -t " +
                    std::to_string(seconds) + " -pix_fmt yuv420p " + coding + " " + sound + " " + file),
              0)
        << name;
    return file;
}

std::string x264(const std::string& more) {
    return "-c:v libx264 -preset veryfast -x264-params " + more;
}

std::string x265(const std::string& more) {
    return "-c:v libx265 -preset ultrafast -x265-params log-level=error:info=0:pools=1:frame-threads=1:" +
           more;
}

std::vector<std::string> framesOf(const Workshop& shop, const std::string& file, int threads) {
    const std::string list = shop.file("frames.txt");
    const std::string words = shop.file("words.txt");
    EXPECT_EQ(shell("ffmpeg -v warning -threads " + std::to_string(threads) + " -guess_layout_max 0 -i " +
                    file + " -map 0:v -fps_mode passthrough -y -f framemd5 " + list + " 2> " + words),
              0);
    EXPECT_EQ(bytesOf(words), "") << file;
    std::vector<std::string> sums;
    for (const std::string& line : linesOf(bytesOf(list)))
        if (!line.empty() && line[0] != '#') sums.push_back(line.substr(line.rfind(' ') + 1));
    std::filesystem::remove(list);
    std::filesystem::remove(words);
    return sums;
}

nlohmann::json reportOf(const Workshop& shop) {
    return nlohmann::json::parse(bytesOf(shop.file("report.json")));
}

nlohmann::json copiedJoin(const Workshop& shop, std::vector<std::string> words,
                          const std::vector<std::string>& clips, const std::string& out) {
    words.insert(words.end(),
                 {"-o", out, "--copy-bodies=always", "--report", shop.file("report.json"), "-f", "-q"});
    const RunResult result = shop.run(words);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.err, "");
    if (result.code != 0) return {};
    const nlohmann::json report = reportOf(shop);
    const std::vector<std::string> frames = framesOf(shop, out);
    EXPECT_EQ(framesOf(shop, out, 8), frames);
    EXPECT_EQ(static_cast<std::int64_t>(frames.size()), report["frames"].get<std::int64_t>());
    std::map<std::string, std::vector<std::string>> sources;
    std::size_t at = 0;
    std::int64_t copied = 0;
    for (const nlohmann::json& run : report["copies"]["runs"]) {
        const auto count = run["frames"].get<std::size_t>();
        if (run.contains("clip")) {
            const std::string& file = clips[run["clip"].get<std::size_t>()];
            if (!sources.contains(file)) sources[file] = framesOf(shop, file);
            const std::vector<std::string>& source = sources[file];
            const auto first = run["first"].get<std::size_t>();
            std::size_t equal = 0;
            for (std::size_t i = 0; i < count && at + i < frames.size() && first + i < source.size(); ++i)
                equal += frames[at + i] == source[first + i] ? 1 : 0;
            EXPECT_EQ(equal, count) << "from frame " << at;
            copied += static_cast<std::int64_t>(count);
        }
        at += count;
    }
    EXPECT_EQ(at, frames.size());
    EXPECT_EQ(copied, report["copies"]["copied"].get<std::int64_t>());
    EXPECT_GT(copied, 0);

    Times times = timesOf(shop, out);
    EXPECT_EQ(times.pts.size(), frames.size());
    for (std::size_t i = 1; i < times.dts.size(); ++i) {
        if (std::isnan(times.dts[i - 1]) || std::isnan(times.dts[i])) continue;
        EXPECT_GT(times.dts[i], times.dts[i - 1]);
    }
    std::sort(times.pts.begin(), times.pts.end());
    const double step = (times.pts.back() - times.pts.front()) / static_cast<double>(times.pts.size() - 1);
    for (std::size_t i = 0; i < times.pts.size(); ++i)
        EXPECT_NEAR(times.pts[i] - times.pts.front(), static_cast<double>(i) * step, 0.5);
    // Times in Matroska are rounded to a millisecond.
    const double rounding = out.ends_with(".mkv") ? 1 : 0;
    for (const double length : times.length) EXPECT_NEAR(length, times.length.front(), rounding);
    return report;
}

void isToldAndRendered(const Workshop& shop, std::vector<std::string> words, const std::string& output,
                       const std::string& sentence) {
    const std::string out = shop.file(output);
    words.insert(words.begin(), "join");
    words.insert(words.end(), {"--duration", "6f", "-o", out});
    const std::vector<std::string> before = shop.names();
    std::vector<std::string> always = words;
    always.emplace_back("--copy-bodies=always");
    const RunResult refused = shop.run(always);
    EXPECT_EQ(refused.code, 2) << refused.err;
    EXPECT_THAT(refused.err, testing::HasSubstr(sentence));
    EXPECT_EQ(linesOf(refused.err).size(), 1U) << refused.err;
    EXPECT_EQ(shop.names(), before);
    words.insert(words.end(), {"--copy-bodies", "--report", shop.file("report.json"), "-f"});
    const RunResult rendered = shop.run(words);
    ASSERT_EQ(rendered.code, 0) << rendered.err;
    EXPECT_THAT(rendered.err, testing::HasSubstr(sentence));
    const nlohmann::json report = reportOf(shop);
    EXPECT_EQ(report["copies"]["copied"], 0);
    EXPECT_EQ(report["copies"]["encoded"], report["frames"]);
    EXPECT_THAT(report["copies"]["why"].get<std::string>(), testing::HasSubstr(sentence));
    EXPECT_TRUE(std::filesystem::exists(out));
}

}  // namespace tumblewash::app::copies
