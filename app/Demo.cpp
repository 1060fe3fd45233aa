#include "app/Demo.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

#include "app/Movie.h"
#include "app/Say.h"
#include "app/Sheet.h"
#include "edit/Errors.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::app {

using edit::describe;
using edit::PixelSize;
using edit::Problem;
using edit::Refusal;
using edit::TimeSpan;
using media::checkTarget;
using media::quotedName;

namespace {

std::string scene(const char* name, PixelSize size) {
    return fmt::format("pattern:{}?size={}&seconds=4&fps=30000/1001", name, describe(size));
}

// The demo's folder. One that was made for it and stays empty is removed again.
class DemoFolder {
  public:
    explicit DemoFolder(const std::string& name) : path_(name) {
        std::error_code problem;
        made_ = std::filesystem::create_directories(path_, problem);
        if (problem)
            throw Refusal(Problem::BadOutput,
                          fmt::format("{}: cannot be made a folder ({}); choose another one",
                                      quotedName(name), problem.message()));
    }
    ~DemoFolder() {
        if (made_) ::rmdir(path_.c_str());
    }
    DemoFolder(const DemoFolder&) = delete;
    DemoFolder& operator=(const DemoFolder&) = delete;
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
    bool made_ = false;
};

// A line about a finished file, for standard output; that it cannot be written is a failure like any other.
void tell(const Options& o, const std::string& file, const char* what) {
    if (o.quiet) return;
    printText(fmt::format("{}  {}\n", quotedName(file), what));
}

}  // namespace

void makeDemo(const Options& given) {
    const DemoFolder folder(given.inputs.front());
    const auto file = [&](const char* name) { return (folder.path() / name).string(); };
    for (const char* name : {"wash-away.mp4", "four-effects.mp4", "sheet.png"})
        checkTarget(file(name), given.force);

    const PixelSize size = given.size.value_or(PixelSize{720, 480});
    const std::string harbour = scene("harbour", size);
    const std::string city = scene("city", size);

    Options join = given;
    join.command = Command::Join;
    join.quiet = true;
    join.inputs = {harbour, city};
    join.output = file("wash-away.mp4");
    join.effects = {"wash-away"};
    join.durations = {TimeSpan{TimeSpan::Unit::Frames, 60}};
    makeMovie(join);
    tell(given, join.output, "two scenes with sound, joined by a wash-away");

    join.inputs = {city, harbour, city, harbour, city};
    join.output = file("four-effects.mp4");
    join.effects = {"tumble-away", "tilt-reveal", "morph", "wash-reveal"};
    join.direction = kPluginDirectionUp;
    makeMovie(join);
    tell(given, join.output, "tumble-away, tilt-reveal, morph and wash-reveal, one after another");

    Options sheet = given;
    sheet.command = Command::Sheet;
    sheet.quiet = true;
    sheet.inputs = {harbour, city};
    sheet.output = file("sheet.png");
    makeSheet(sheet);
    tell(given, sheet.output, "every effect at six moments");
}

}  // namespace tumblewash::app
