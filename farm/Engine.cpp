#include "farm/Engine.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "edit/Errors.h"
#include "edit/Nearest.h"
#include "edit/Outputs.h"
#include "edit/Shell.h"
#include "media/Quoting.h"

namespace tumblewash::farm {

using edit::Problem;
using edit::Refusal;

namespace {

bool isInstalled(const std::string& command) {
    const char* path = std::getenv("PATH");
    std::string folders = path != nullptr ? path : "/usr/bin:/bin";
    for (std::size_t start = 0; start <= folders.size();) {
        const std::size_t end = std::min(folders.find(':', start), folders.size());
        const std::string folder = folders.substr(start, end - start);
        if (::access(((folder.empty() ? "." : folder) + "/" + command).c_str(), X_OK) == 0) return true;
        start = end + 1;
    }
    return false;
}

/// Starts `sh script` in a process group of its own, so that all it starts can be ended together.
pid_t startShell(const std::string& script) {
    const char* const words[] = {"sh", script.c_str(), nullptr};
    const pid_t child = ::fork();
    if (child < 0)
        throw Refusal(Problem::RenderFailed, "the system cannot start another process; end other programs");
    if (child > 0) {
        ::setpgid(child, child);
        return child;
    }
    ::setpgid(0, 0);
    for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE, SIGXFSZ}) ::signal(number, SIG_DFL);
    ::execv("/bin/sh", const_cast<char* const*>(words));
    ::_exit(127);
}

int waitFor(pid_t child, const std::atomic<bool>* cancel) {
    bool told = false;
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(child, &status, WNOHANG);
        if (ended == child) return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        if (ended < 0 && errno != EINTR) return 127;
        if (cancel != nullptr && cancel->load() && !told) {
            ::kill(-child, SIGTERM);
            told = true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace

std::span<const Engine> engines() {
    static constexpr Engine kEngines[] = {
        {"local", "xargs", "findutils", "side by side on this machine", localScripts},
        {"parallel", "parallel", "parallel", "with GNU parallel", parallelScripts},
        {"slurm", "sbatch", "slurm-client", "as a job array of a Slurm cluster", slurmScripts},
    };
    return kEngines;
}

const Engine& engineNamed(const std::string& name) {
    std::vector<std::string> names;
    for (const Engine& engine : engines()) {
        if (name == engine.name) return engine;
        names.emplace_back(engine.name);
    }
    throw Refusal(Problem::BadRequest, fmt::format("--engine {}: choose one of {}{}", name,
                                                   fmt::join(names, ", "), edit::didYouMean(name, names)));
}

std::string shellWords(const std::vector<std::string>& words) {
    std::string out;
    for (const std::string& word : words) {
        if (!out.empty()) out += ' ';
        out += edit::shellWord(word);
    }
    return out;
}

std::string shellHead(const Job& job) {
    return fmt::format("TUMBLEWASH_FOLDER={}\nexport TUMBLEWASH_FOLDER\n", edit::shellWord(job.folder));
}

std::string finishLines(const Job& job) {
    return (job.finishAlways ? "" : "[ \"$failed\" -eq 0 ] || exit 1\n") +
           ("exec " + shellWords(job.finish)) + "\n";
}

Script itemScript(const Job& job) {
    return {"item.sh", fmt::format("#!/bin/sh\n# {}: one item, whose number is the first argument.\n{}{}",
                                   job.title, shellHead(job), job.item)};
}

int startJob(const Engine& engine, const Job& job, const std::atomic<bool>* cancel) {
    if (!isInstalled(engine.command))
        throw Refusal(
            Problem::BadRequest,
            fmt::format("--engine {}: {} is not installed; apt-get install {}, or choose another engine",
                        engine.name, engine.command, engine.package));
    std::error_code problem;
    std::filesystem::create_directories(job.folder, problem);
    if (problem)
        throw Refusal(Problem::BadOutput, fmt::format("{}: the folder cannot be made ({})",
                                                      media::quotedName(job.folder), problem.message()));
    // The log of GNU parallel counts the items of one script; this is another one.
    std::filesystem::remove(std::filesystem::path(job.folder) / "joblog", problem);
    const std::vector<Script> scripts = engine.scripts(job);
    for (const Script& script : scripts)
        edit::TextFile((std::filesystem::path(job.folder) / script.name).string(), script.text, true)
            .commit();
    return waitFor(startShell((std::filesystem::path(job.folder) / scripts.front().name).string()), cancel);
}

std::string scriptsText(const Engine& engine, const Job& job) {
    std::string text;
    for (const Script& script : engine.scripts(job))
        text += fmt::format("{}==> {} <==\n{}", text.empty() ? "" : "\n",
                            media::printable((std::filesystem::path(job.folder) / script.name).string()),
                            script.text);
    return text;
}

}  // namespace tumblewash::farm
