#include "studio/Folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

#include "edit/Errors.h"
#include "media/Quoting.h"
#include "studio/Http.h"

namespace tumblewash::studio {

using media::Descriptor;

namespace {

/// Folders of thousands of photos are common; a list that is longer than this helps nobody.
constexpr std::size_t kMostEntries = 20000;

constexpr std::string_view kMovies[] = {".mp4", ".m4v",  ".mov", ".mkv",  ".webm", ".avi",
                                        ".mpg", ".mpeg", ".mts", ".m2ts", ".ts",   ".ogv",
                                        ".wmv", ".flv",  ".3gp", ".mxf",  ".dv"};
constexpr std::string_view kSilent[] = {".y4m", ".gif",  ".apng", ".png",  ".jpg",  ".jpeg", ".webp", ".bmp",
                                        ".tif", ".tiff", ".heic", ".heif", ".avif", ".jxl",  ".ppm"};
constexpr std::string_view kSound[] = {".mp3", ".m4a", ".aac",  ".flac", ".ogg", ".oga", ".opus",
                                       ".wav", ".aif", ".aiff", ".wma",  ".mka", ".ac3"};

bool looksLike(Wanted wanted, const std::string& name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return false;
    std::string ending = name.substr(dot);
    for (char& c : ending)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    const auto among = [&](std::span<const std::string_view> endings) {
        return std::find(endings.begin(), endings.end(), ending) != endings.end();
    };
    return among(kMovies) || (wanted == Wanted::music ? among(kSound) : among(kSilent));
}

[[noreturn]] void refuse() {
    throw Refused{404, "no-such-file", "there is no such file below the folders of this studio"};
}

std::string realPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real ? std::string(real.get()) : std::string();
}

bool isBelow(const std::string& file, const std::string& folder) {
    return folder == "/" ||
           (file.size() > folder.size() + 1 && file.starts_with(folder) && file[folder.size()] == '/');
}

/// Kernels before 5.6 and some containers lack openat2: then the name is resolved and compared.
int openBeneath(int folder, const std::string& base, const std::string& path, int flags) {
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    const long opened = syscall(SYS_openat2, folder, path.empty() ? "." : path.c_str(), &how, sizeof how);
    if (opened >= 0) return static_cast<int>(opened);
    if (errno != ENOSYS && errno != EPERM) return -1;
    const std::string real = realPath(path.empty() ? base : base + "/" + path);
    if (real != base && !isBelow(real, base)) return -1;
    return ::open(real.c_str(), flags);
}

}  // namespace

Folders::Folders(const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
        const std::string real = realPath(folder);
        Descriptor opened(real.empty() ? -1 : ::open(real.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!opened)
            throw edit::Refusal(edit::Problem::BadInput,
                                media::quotedName(folder) + ": this folder cannot be opened");
        if (std::find(paths_.begin(), paths_.end(), real) != paths_.end()) continue;
        paths_.push_back(real);
        open_.push_back(std::move(opened));
    }
}

Descriptor Folders::open(std::size_t root, const std::string& path, int flags) const {
    if (root >= open_.size() || path.starts_with('/') || path.find('\0') != std::string::npos) refuse();
    for (std::size_t start = 0; start < path.size();) {
        const std::size_t slash = std::min(path.find('/', start), path.size());
        if (slash > start && path[start] == '.') refuse();
        start = slash + 1;
    }
    Descriptor opened(openBeneath(open_[root].get(), paths_[root], path, flags | O_CLOEXEC | O_NONBLOCK));
    if (!opened) refuse();
    return opened;
}

std::vector<FolderEntry> Folders::list(std::size_t root, const std::string& path, Wanted wanted) const {
    Descriptor folder = open(root, path, O_RDONLY | O_DIRECTORY);
    const int number = dup(folder.get());
    DIR* const opened = number < 0 ? nullptr : fdopendir(number);
    if (opened == nullptr) {
        if (number >= 0) ::close(number);
        refuse();
    }
    const std::unique_ptr<DIR, decltype([](DIR* d) { closedir(d); })> entries(opened);
    std::vector<FolderEntry> list;
    while (const dirent* entry = readdir(entries.get())) {
        FolderEntry found{entry->d_name};
        struct stat status {};
        if (found.name.front() == '.' || list.size() >= kMostEntries ||
            fstatat(folder.get(), found.name.c_str(), &status, 0) != 0)
            continue;
        found.folder = S_ISDIR(status.st_mode);
        found.bytes = static_cast<std::uint64_t>(status.st_size);
        if (!found.folder && !(S_ISREG(status.st_mode) && looksLike(wanted, found.name))) continue;
        list.push_back(std::move(found));
    }
    std::sort(list.begin(), list.end(), [](const FolderEntry& a, const FolderEntry& b) {
        if (a.folder != b.folder) return a.folder;
        return strverscmp(a.name.c_str(), b.name.c_str()) < 0;
    });
    return list;
}

std::optional<media::FileIdentity> Folders::find(const std::string& file) const {
    const std::string real = realPath(file);
    for (std::size_t root = 0; root < paths_.size(); ++root) {
        if (!isBelow(real, paths_[root])) continue;
        const std::string path = real.substr(paths_[root] == "/" ? 1 : paths_[root].size() + 1);
        const Descriptor opened(
            openBeneath(open_[root].get(), paths_[root], path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        struct stat now {};
        if (!opened || fstat(opened.get(), &now) != 0 || !S_ISREG(now.st_mode)) continue;
        return media::FileIdentity{now.st_dev, now.st_ino, now.st_size, now.st_mtim.tv_sec,
                                   now.st_mtim.tv_nsec};
    }
    return std::nullopt;
}

}  // namespace tumblewash::studio
