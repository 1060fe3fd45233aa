#include "app/Studio.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "app/EditOf.h"
#include "app/Movie.h"
#include "app/Say.h"
#include "app/Signals.h"
#include "edit/Document.h"
#include "edit/Errors.h"
#include "media/Pattern.h"
#include "media/Quoting.h"
#include "studio/HttpServer.h"
#include "studio/Lock.h"
#include "studio/OwnFolders.h"
#include "studio/Studio.h"

namespace tumblewash::app {

using edit::Problem;
using edit::Refusal;
using media::quotedName;
namespace fs = std::filesystem;

namespace {

constexpr const char* kEnding = ".edit.json";

bool isFolder(const std::string& name) {
    std::error_code ignored;
    return fs::is_directory(name, ignored);
}

/// Absolute, since a program may be started anywhere and the studio lives long.
std::string absolute(const std::string& name) {
    std::error_code problem;
    const fs::path path = fs::absolute(name, problem).lexically_normal();
    if (problem) throw Refusal(Problem::BadInput, quotedName(name) + ": " + problem.message());
    return path.string();
}

/// What is joined here sounds as `join` makes it sound.
edit::Edit emptyEdit() {
    edit::Edit edit;
    edit.sound = host::AudioPolicy::equalPower;
    return edit;
}

/// The document in a folder: of the folder's own name.
std::string documentIn(const std::string& folder) {
    fs::path path = absolute(folder);
    if (!path.has_filename()) path = path.parent_path();
    const std::string name = path.filename().string();
    return (path / ((name.empty() ? "movie" : name) + kEnding)).string();
}

/// A name that nothing has yet, in the working directory.
std::string newDocument() {
    std::error_code ignored;
    for (int i = 1;; ++i) {
        std::string name =
            absolute(i == 1 ? fmt::format("movie{}", kEnding) : fmt::format("movie-{}{}", i, kEnding));
        if (!fs::exists(name, ignored)) return name;
    }
}

void addFolder(std::vector<std::string>& folders, const fs::path& folder) {
    const std::string name = folder.empty() ? "." : folder.string();
    if (isFolder(name)) folders.push_back(name);
}

studio::StudioSettings settingsFor(const Options& o) {
    studio::StudioSettings settings;
    settings.cacheBytes = static_cast<std::size_t>(o.cacheMegabytes) << 20;
    settings.edit = emptyEdit();
    settings.state = studio::stateFolder();
    const std::string first = o.inputs.empty() ? "." : o.inputs.front();
    if (o.inputs.size() <= 1 && isFolder(first)) {
        settings.document = documentIn(first);
    } else if (o.inputs.size() == 1 && edit::isDocumentName(first)) {
        settings.document = absolute(first);
        if (!isFolder(fs::path(settings.document).parent_path().string()))
            throw Refusal(Problem::BadInput, quotedName(first) + ": its folder does not exist");
    } else {
        for (const std::string& input : o.inputs)
            if (edit::isDocumentName(input) || edit::isExchangeName(input) || isFolder(input))
                throw Refusal(Problem::BadRequest,
                              fmt::format("{}: studio opens one .edit.json, or one folder, or clips{}",
                                          quotedName(input),
                                          edit::isExchangeName(input)
                                              ? "; write one with tumblewash plan FILE -o my.edit.json"
                                              : ""));
        settings.edit = editOf(o);
        settings.document = newDocument();
        settings.edit = movedTo(settings.document, settings.edit);
    }
    const fs::path folder = fs::path(settings.document).parent_path();
    settings.edit.folder = folder.string();
    addFolder(settings.folders, folder);
    for (const edit::EditClip& clip : settings.edit.clips)
        if (!clip.black() && !media::isPattern(clip.file))
            addFolder(settings.folders, fs::path(edit::fileOf(settings.edit, clip)).parent_path());
    if (!o.exchange.media.empty()) settings.folders.push_back(o.exchange.media);
    return settings;
}

/// Starts the desktop's browser and waits for nothing: it may be missing, or take its time.
void openBrowser(const std::string& address) {
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY")) return;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t how;
    if (posix_spawn_file_actions_init(&actions) != 0) return;
    if (posix_spawnattr_init(&how) == 0) {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
        posix_spawnattr_setflags(&how, POSIX_SPAWN_SETSID);
        std::string program = "xdg-open";
        std::string argument = address;
        char* const words[] = {program.data(), argument.data(), nullptr};
        pid_t child = 0;
        if (posix_spawnp(&child, program.c_str(), &actions, &how, words, environ) != 0)
            say("tumblewash: no browser could be opened; open the address yourself");
        posix_spawnattr_destroy(&how);
    }
    posix_spawn_file_actions_destroy(&actions);
}

}  // namespace

void runStudio(const Options& o) {
    keepHeapSmall();
    const studio::StudioSettings settings = settingsFor(o);
    studio::Lock lock(settings.document);
    studio::HttpServer server(static_cast<std::uint16_t>(o.port));
    std::atomic<bool> ended{false};
    studio::Studio studio(settings, [&ended] { ended = true; });
    server.start([&studio](const studio::Request& request,
                           const studio::Answer& answer) { studio.handle(request, answer); },
                 studio.events());
    // Nobody asks a studio that is being taken down.
    const struct Stopping {
        studio::HttpServer& server;
        ~Stopping() { server.stop(); }
    } stopping{server};
    const std::string base = fmt::format("http://127.0.0.1:{}", server.port());
    const std::string address = base + "/" + studio.token() + "/";
    lock.tell(address);
    say("{}: open in the studio; Ctrl-C ends it", quotedName(settings.document));
    printText(address + "\n");
    if (o.browser) openBrowser(base + studio.openAddress());

    using Clock = std::chrono::steady_clock;
    Clock::time_point tended = Clock::now();
    while (!ended && !interruptFlag()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (Clock::now() - tended < std::chrono::seconds(1)) continue;
        studio.tend();
        tended = Clock::now();
    }
    studio.events().tell("bye", "{}");
    server.stop();
    std::error_code ignored;
    const std::string file = studio.file();
    const std::string words = studio.unsaved()            ? "the newest changes are not in " + file
                              : fs::exists(file, ignored) ? file + " holds every change"
                                                          : "nothing was changed";
    if (interruptFlag()) {
        sayInterrupted(media::printable(words).c_str());
        throw Refusal(Problem::Interrupted, "interrupted");
    }
    say("tumblewash: ended from the page; {}", words);
}

}  // namespace tumblewash::app
