#include "media/OutputPlace.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "media/MediaError.h"
#include "media/Quoting.h"

namespace tumblewash::media {

namespace {

// More links in a row than this are a circle, as the system sees it too.
constexpr int kMostLinks = 40;

// Names that already exist are met by chance once in a blue moon; a folder that answers so every time is odd.
constexpr int kMostTries = 100;

/// `path` as a folder, from `from`. Reading it is wanted, naming it is enough.
void openFolder(OutputPlace& place, int from, const std::string& path) {
    Descriptor folder(openat(from, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    place.listable = static_cast<bool>(folder);
    if (!folder && errno == EACCES)
        folder = Descriptor(openat(from, path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        if (errno == ENOENT)
            refuseOutput(place.shown, "its folder does not exist; make " + quotedName(path) + " first");
        if (errno == ENOTDIR)
            refuseOutput(place.shown, quotedName(path) + " is not a folder; choose another place");
        throwNotWritable(place.shown, errno);
    }
    place.folder = std::move(folder);
}

std::string linkedFrom(const OutputPlace& place) {
    std::array<char, PATH_MAX> text{};
    const ssize_t length = readlinkat(place.folder.get(), place.name.c_str(), text.data(), text.size());
    if (length <= 0) throwNotWritable(place.shown, length < 0 ? errno : ENOENT);
    return {text.data(), static_cast<size_t>(length)};
}

/// An ending with 60 bits that nobody can foresee, in letters and digits that every file system tells apart.
std::string unforeseenEnding() {
    std::array<uint8_t, 12> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw MediaError(MediaErrorCode::notWritable, "", "the system provides no random numbers");
    std::string out(".");
    for (const uint8_t byte : bytes) out += "abcdefghijkmnpqrstuvwxyz23456789"[byte % 32];
    return out.append(".part");
}

template <typename Make>
HiddenEntry makeHidden(const OutputPlace& place, Make make) {
    for (int attempt = 0; attempt < kMostTries; ++attempt) {
        HiddenEntry entry{hiddenBeside(place.name, unforeseenEnding()), Descriptor(), HiddenName()};
        entry.listed = HiddenName(place.folder.get(), entry.name);
        entry.opened = Descriptor(make(entry.name));
        if (entry.opened) return entry;
        // A folder can vanish, or be one that takes no files and says so oddly.
        if (errno == ENOENT) throwNotWritable(place.shown, EPERM);
        if (errno != EEXIST) throwNotWritable(place.shown, errno);
    }
    throwNotWritable(place.shown, EEXIST);
}

}  // namespace

void refuseOutput(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::notWritable, path, why);
}

void throwNotWritable(const std::string& path, int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            refuseOutput(path, "the disk is full; free some space or choose another place");
        case EFBIG:
            refuseOutput(path,
                         "the file exceeds the size limit; raise it (ulimit -f) or choose another place");
        case EPIPE:
            refuseOutput(path, "the reader of the output has gone");
        case EACCES:
        case EPERM:
        case EROFS:
            refuseOutput(path, "cannot be written here; check the permissions or choose another place");
        case ENOENT:
        case ENOTDIR:
            refuseOutput(path, "its folder does not exist; make it first");
        default:
            refuseOutput(
                path, std::string("cannot be written (") + std::strerror(error) + "); choose another place");
    }
}

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameIn(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

OutputPlace findPlace(const std::string& path) {
    OutputPlace place;
    place.shown = path;
    place.name = nameIn(path);
    if (place.name.empty() || place.name == "." || place.name == "..")
        refuseOutput(path, "is not a file name; name the file to write");
    if (place.name.size() > NAME_MAX) refuseOutput(path, "the file name is too long");
    // Said first, since the links of such things lead to no name.
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        if (S_ISDIR(status.st_mode)) refuseOutput(path, "is a folder; name a file in it");
        refuseOutput(path, "is a device or pipe; name an ordinary file");
    }
    openFolder(place, AT_FDCWD, folderOf(path));
    for (int links = 0;; ++links) {
        place.there = fileAt(place, place.name);
        if (!place.there && links > 0)
            refuseOutput(path, "is a link to " + quotedName(place.name) +
                                   ", which does not exist; remove the link or name the file itself");
        if (!place.there || !S_ISLNK(place.there->st_mode)) return place;
        if (links == kMostLinks) refuseOutput(path, "is a link to itself; remove it or choose another name");
        const std::string target = linkedFrom(place);
        const Descriptor from = std::move(place.folder);
        openFolder(place, from.get(), folderOf(target));
        place.name = nameIn(target);
    }
}

std::optional<struct stat> fileAt(const OutputPlace& place, const std::string& name) {
    struct stat status {};
    if (fstatat(place.folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return status;
    if (errno != ENOENT) throwNotWritable(place.shown, errno);
    return std::nullopt;
}

HiddenEntry makeHiddenFile(const OutputPlace& place, mode_t mode) {
    return makeHidden(place, [&](const std::string& name) {
        return openat(place.folder.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      mode);
    });
}

HiddenEntry makeHiddenFolder(const OutputPlace& place) {
    return makeHidden(place, [&](const std::string& name) {
        if (mkdirat(place.folder.get(), name.c_str(), 0700) != 0) return -1;
        const int opened =
            openat(place.folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        const int error = errno;
        if (opened < 0) unlinkat(place.folder.get(), name.c_str(), AT_REMOVEDIR);
        errno = error;
        return opened;
    });
}

bool removeHiddenFolder(const OutputPlace& place, const HiddenEntry& hidden) noexcept {
    // By the open folder: opening it again may fail just when things go wrong.
    const int again = fcntl(hidden.opened.get(), F_DUPFD_CLOEXEC, 3);
    DIR* list = again < 0 ? nullptr : fdopendir(again);
    if (list == nullptr) {
        if (again >= 0) close(again);
        return false;
    }
    rewinddir(list);
    while (const dirent* entry = readdir(list))
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            unlinkat(again, entry->d_name, 0);
    closedir(list);
    return unlinkat(place.folder.get(), hidden.name.c_str(), AT_REMOVEDIR) == 0;
}

void checkTakesFiles(const OutputPlace& place) {
    const HiddenEntry trial = makeHiddenFile(place, 0600);
    unlinkat(place.folder.get(), trial.name.c_str(), 0);
}

std::string hiddenBeside(const std::string& name, const std::string& ending) {
    std::string out(".");
    out.append(name).append(ending);
    if (out.size() <= NAME_MAX) return out;
    // What is cut off must still tell two long names apart.
    uint64_t sum = 14695981039346656037U;
    for (const char c : name) sum = (sum ^ static_cast<uint8_t>(c)) * 1099511628211U;
    std::array<char, 24> mark{};
    std::snprintf(mark.data(), mark.size(), "-%016llx", static_cast<unsigned long long>(sum));
    const std::string tail = mark.data() + ending;
    out.resize(NAME_MAX - tail.size());
    return out.append(tail);
}

int renameToNew(int fromFolder, const std::string& from, int toFolder, const std::string& to) noexcept {
    if (renameat2(fromFolder, from.c_str(), toFolder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
    if (errno != EINVAL && errno != ENOSYS) return errno;
    // File systems without that call get the plain one, after a last look.
    struct stat status {};
    if (fstatat(toFolder, to.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) return EEXIST;
    return renameat(fromFolder, from.c_str(), toFolder, to.c_str()) == 0 ? 0 : errno;
}

int exchangeNames(int folder, const std::string& a, const std::string& b) noexcept {
    if (renameat2(folder, a.c_str(), folder, b.c_str(), RENAME_EXCHANGE) == 0) return 0;
    return errno == EINVAL || errno == ENOSYS ? EOPNOTSUPP : errno;
}

int syncFolder(const OutputPlace& place, int file) noexcept {
    // A folder that may not be read cannot be synced by itself; its whole file system can.
    const int result = place.listable ? fsync(place.folder.get()) : syncfs(file);
    if (result == 0) return 0;
    // Some file systems cannot sync folders; the rename holds there all the same.
    return errno == EINVAL || errno == ENOTSUP || errno == EROFS ? 0 : errno;
}

void writeAll(int file, const void* bytes, size_t size, const std::string& shown) {
    const auto* at = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t written = ::write(file, at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) throwNotWritable(shown, written < 0 ? errno : ENOSPC);
        at += written;
        size -= static_cast<size_t>(written);
    }
}

}  // namespace tumblewash::media
