#include "app/demo.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>

#include "app/errors.h"
#include "app/movie.h"
#include "app/sheet.h"

namespace tumblewash {
namespace {

constexpr const char* kHarbour = "pattern:harbour?size=720x480&seconds={}&fps=30000/1001";
constexpr const char* kCity = "pattern:city?size=720x480&seconds={}&fps=30000/1001";

std::string scene(const char* pattern, int seconds) {
    return fmt::format(fmt::runtime(pattern), seconds);
}

}  // namespace

void makeDemo(const Options& given) {
    const std::filesystem::path folder = given.inputs.front();
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (problem)
        throw Refusal(ExitCode::BadOutput,
                      fmt::format("{}: cannot be made: {}", folder.string(), problem.message()));
    const auto file = [&](const char* name) { return (folder / name).string(); };

    Options join = given;
    join.command = Command::Join;
    // These names are the demo's own, so that a second run replaces the first one's files.
    join.force = true;
    join.quiet = true;
    join.inputs = {scene(kHarbour, 4), scene(kCity, 4)};
    join.output = file("wash-away.mp4");
    join.effects = {"wash-away"};
    join.duration = TimeSpan{TimeSpan::Unit::Frames, 60};
    makeMovie(join);
    if (!given.quiet) fmt::print("{}  two scenes with sound, joined by a wash-away\n", join.output);

    join.inputs = {scene(kCity, 4), scene(kHarbour, 4), scene(kCity, 4), scene(kHarbour, 4), scene(kCity, 4)};
    join.output = file("four-effects.mp4");
    join.effects = {"tumble-away", "tilt-reveal", "morph", "wash-reveal"};
    join.direction = kPluginDirectionUp;
    makeMovie(join);
    if (!given.quiet)
        fmt::print("{}  tumble-away, tilt-reveal, morph and wash-reveal, one after another\n", join.output);

    Options sheet = given;
    sheet.command = Command::Sheet;
    sheet.force = true;
    sheet.quiet = true;
    sheet.inputs = {scene(kHarbour, 4), scene(kCity, 4)};
    sheet.output = file("sheet.png");
    makeSheet(sheet);
    if (!given.quiet) fmt::print("{}  every effect at six moments\n", sheet.output);
    std::fflush(stdout);
}

}  // namespace tumblewash
