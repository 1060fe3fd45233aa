#include "app/demo.h"

#include <fmt/format.h>

#include <cstdio>
#include <filesystem>

#include "app/movie.h"
#include "app/sheet.h"
#include "edit/errors.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::describe;
using edit::PixelSize;
using edit::Problem;
using edit::Refusal;
using edit::TimeSpan;
using media::quotedName;

namespace {

std::string scene(const char* name, PixelSize size) {
    return fmt::format("pattern:{}?size={}&seconds=4&fps=30000/1001", name, describe(size));
}

}  // namespace

void makeDemo(const Options& given) {
    const std::filesystem::path folder = given.inputs.front();
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (problem)
        throw Refusal(Problem::BadOutput, fmt::format("{}: cannot be made a folder ({}); choose another one",
                                                      quotedName(folder.string()), problem.message()));
    const auto file = [&](const char* name) { return (folder / name).string(); };

    const PixelSize size = given.size.value_or(PixelSize{720, 480});
    const std::string harbour = scene("harbour", size);
    const std::string city = scene("city", size);

    Options join = given;
    join.command = Command::Join;
    // These names are the demo's own, so that a second run replaces the first one's files.
    join.force = true;
    join.quiet = true;
    join.inputs = {harbour, city};
    join.output = file("wash-away.mp4");
    join.effects = {"wash-away"};
    join.durations = {TimeSpan{TimeSpan::Unit::Frames, 60}};
    makeMovie(join);
    if (!given.quiet)
        fmt::print("{}  two scenes with sound, joined by a wash-away\n", quotedName(join.output));

    join.inputs = {city, harbour, city, harbour, city};
    join.output = file("four-effects.mp4");
    join.effects = {"tumble-away", "tilt-reveal", "morph", "wash-reveal"};
    join.direction = kPluginDirectionUp;
    makeMovie(join);
    if (!given.quiet)
        fmt::print("{}  tumble-away, tilt-reveal, morph and wash-reveal, one after another\n",
                   quotedName(join.output));

    Options sheet = given;
    sheet.command = Command::Sheet;
    sheet.force = true;
    sheet.quiet = true;
    sheet.inputs = {harbour, city};
    sheet.output = file("sheet.png");
    makeSheet(sheet);
    if (!given.quiet) fmt::print("{}  every effect at six moments\n", quotedName(sheet.output));
    std::fflush(stdout);
}

}  // namespace tumblewash::app
