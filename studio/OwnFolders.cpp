#include "studio/OwnFolders.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tumblewash::studio {
namespace {

/// The value of a variable that names a folder from the root; empty else.
std::string folderIn(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value == '/' ? value : "";
}

/// Makes the folder; empty where it is another's, or open to others.
std::string ownFolder(const std::string& folder) {
    mkdir(folder.c_str(), 0700);
    struct stat status {};
    const bool own = lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                     status.st_uid == geteuid() && (status.st_mode & 077) == 0;
    return own ? folder : std::string();
}

}  // namespace

std::string runtimeFolder() {
    const std::string runtime = folderIn("XDG_RUNTIME_DIR");
    if (!runtime.empty()) return ownFolder(runtime + "/tumblewash");
    std::error_code ignored;
    return ownFolder(
        fmt::format("{}/tumblewash-{}", std::filesystem::temp_directory_path(ignored).string(), geteuid()));
}

std::string stateFolder() {
    std::string state = folderIn("XDG_STATE_HOME");
    if (state.empty()) {
        const std::string home = folderIn("HOME");
        if (home.empty()) return {};
        state = home + "/.local/state";
    }
    std::error_code ignored;
    std::filesystem::create_directories(state, ignored);
    return ownFolder(state + "/tumblewash");
}

std::string nameFor(const std::string& document) {
    std::error_code problem;
    const std::string real = std::filesystem::weakly_canonical(document, problem).string();
    if (problem) return {};
    // FNV-1a.
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : real) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    return fmt::format("{:016x}", hash);
}

}  // namespace tumblewash::studio
