#include "media/Staging.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <regex>

#include "media/MediaError.h"

namespace tumblewash::media {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw MediaError(MediaErrorCode::notWritable, path, why);
}

std::string directoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string nameOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// The file a chain of links ends at, or `path` itself.
std::string behindLinks(const std::string& path) {
    char resolved[PATH_MAX];
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode) &&
        realpath(path.c_str(), resolved) != nullptr)
        return resolved;
    return path;
}

/// A hidden name in the directory of `target` that no other run uses.
std::string hiddenName(const std::string& target) {
    static std::atomic<unsigned> counter{0};
    std::string tail(".");
    tail.append(std::to_string(getpid())).append("-").append(std::to_string(counter++)).append(".part");
    return directoryOf(target) + "/." + nameOf(target).substr(0, NAME_MAX - 1 - tail.size()) + tail;
}

void syncDirectory(const std::string& path, const std::string& shown) {
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) throwNotWritable(shown, errno);
    // Some file systems cannot sync directories; the rename holds there all the same.
    const int result = fsync(fd);
    const int error = errno;
    close(fd);
    if (result != 0 && error != EINVAL && error != ENOTSUP && error != EROFS) throwNotWritable(shown, error);
}

void writeAll(int fd, const void* bytes, size_t size, const std::string& shown) {
    const auto* at = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t written = ::write(fd, at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) throwNotWritable(shown, written < 0 ? errno : ENOSPC);
        at += written;
        size -= static_cast<size_t>(written);
    }
}

const std::regex& numberSign() {
    static const std::regex sign("%(0?[1-9]?)d");
    return sign;
}

}  // namespace

void throwNotWritable(const std::string& path, int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            refuse(path, "the disk is full; free some space or choose another place");
        case EFBIG:
            refuse(path,
                   "the file grows beyond the size allowed here; raise the limit or choose another place");
        case EPIPE:
            refuse(path, "the reader of the output has gone");
        case EACCES:
        case EPERM:
        case EROFS:
            refuse(path, "cannot be written here; check the permissions or choose another place");
        case ENOENT:
        case ENOTDIR:
            refuse(path, "its folder does not exist; make it first");
        default:
            refuse(path,
                   std::string("cannot be written (") + std::strerror(error) + "); choose another place");
    }
}

void checkDirectoryOf(const std::string& path) {
    const std::string directory = directoryOf(path);
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0)
        refuse(path, "its folder does not exist; make " + directory + " first");
    if (!S_ISDIR(status.st_mode)) refuse(path, directory + " is no folder; choose another place");
    // Permissions do not tell everything: some file systems take no new files, whoever asks.
    const std::string trial = hiddenName(path);
    const int fd = open(trial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) throwNotWritable(path, errno == ENOENT ? EPERM : errno);
    close(fd);
    unlink(trial.c_str());
}

void checkTarget(const std::string& path, bool force) {
    if (path.empty() || nameOf(path).empty()) refuse(path, "is no file name; name the file to write");
    if (nameOf(path).size() > NAME_MAX) refuse(path, "the file name is too long");
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) refuse(path, "is a folder; name a file in it");
        if (!S_ISREG(status.st_mode)) refuse(path, "is a device or pipe; name an ordinary file");
        if (!force) refuse(path, "exists already; add --force to replace it");
        if (access(path.c_str(), W_OK) != 0)
            refuse(path, "is write-protected; change that or choose another name");
    }
    checkDirectoryOf(behindLinks(path));
}

StagedFile::StagedFile(std::string path, bool force) : path_(std::move(path)), force_(force) {
    checkTarget(path_, force_);
    target_ = behindLinks(path_);
    temporary_ = hiddenName(target_);
    struct stat status {};
    const bool replaces = stat(target_.c_str(), &status) == 0;
    file_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file_ < 0) throwNotWritable(path_, errno);
    // The new file may be read by the same people as the old one; where that is not allowed the default
    // stays.
    if (replaces && fchmod(file_, status.st_mode & 07777) != 0) errno = 0;
}

StagedFile::~StagedFile() {
    if (file_ < 0) return;
    close(file_);
    unlink(temporary_.c_str());
}

void StagedFile::write(const void* bytes, size_t size) {
    writeAll(file_, bytes, size, path_);
}

void StagedFile::commit() {
    if (fsync(file_) != 0) throwNotWritable(path_, errno);
    if (force_) {
        if (rename(temporary_.c_str(), target_.c_str()) != 0) throwNotWritable(path_, errno);
    } else if (renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno == EEXIST) refuse(path_, "exists already; add --force to replace it");
        // File systems without that call get the plain one, after a last look.
        if (errno != EINVAL && errno != ENOSYS) throwNotWritable(path_, errno);
        if (access(target_.c_str(), F_OK) == 0) refuse(path_, "exists already; add --force to replace it");
        if (rename(temporary_.c_str(), target_.c_str()) != 0) throwNotWritable(path_, errno);
    }
    close(file_);
    file_ = -1;
    syncDirectory(directoryOf(target_), path_);
}

bool isNumberPattern(const std::string& output) {
    const std::string name = nameOf(output);
    std::smatch found;
    if (!std::regex_search(name, found, numberSign())) return false;
    return name.find('%') == name.rfind('%') && directoryOf(output).find('%') == std::string::npos;
}

std::string numbered(const std::string& pattern, int64_t number) {
    std::smatch found;
    if (!std::regex_search(pattern, found, numberSign())) return pattern;
    const std::string width = found[1].str();
    const int columns = width.empty() || width == "0" ? 0 : width.back() - '0';
    const char fill = !width.empty() && width.front() == '0' ? '0' : ' ';
    std::string digits = std::to_string(number);
    if (static_cast<int>(digits.size()) < columns)
        digits.insert(0, static_cast<size_t>(columns) - digits.size(), fill);
    return found.prefix().str() + digits + found.suffix().str();
}

namespace {

/// Numbers of the existing files that `pattern` could have made, that is, whose number filled in gives their
/// name.
std::vector<int64_t> existingNumbers(const std::string& pattern) {
    std::vector<int64_t> out;
    const std::string name = nameOf(pattern);
    std::smatch found;
    if (!std::regex_search(name, found, numberSign())) return out;
    const std::string before = found.prefix().str();
    const std::string after = found.suffix().str();
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directoryOf(pattern), error)) {
        const std::string file = entry.path().filename().string();
        if (file.size() <= before.size() + after.size() || !file.starts_with(before) ||
            !file.ends_with(after))
            continue;
        const std::string digits = file.substr(before.size(), file.size() - before.size() - after.size());
        const int64_t number = std::strtoll(digits.c_str(), nullptr, 10);
        if (number > 0 && nameOf(numbered(pattern, number)) == file) out.push_back(number);
    }
    return out;
}

}  // namespace

void checkSequenceTarget(const std::string& pattern, bool force) {
    checkDirectoryOf(pattern);
    if (!force && !existingNumbers(pattern).empty())
        refuse(pattern, "pictures of that name exist already; add --force to replace them");
}

StagedSequence::StagedSequence(std::string pattern, bool force)
    : pattern_(std::move(pattern)), directory_(directoryOf(pattern_)), force_(force) {
    checkSequenceTarget(pattern_, force_);
    const std::string hidden = hiddenName(pattern_);
    if (mkdir(hidden.c_str(), 0777) != 0) throwNotWritable(pattern_, errno);
    hidden_ = hidden;
}

StagedSequence::~StagedSequence() {
    std::error_code error;
    if (!hidden_.empty()) fs::remove_all(hidden_, error);
}

void StagedSequence::add(int64_t number, const void* bytes, size_t size) {
    const std::string name = nameOf(numbered(pattern_, number));
    const std::string path = hidden_ + "/" + name;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) throwNotWritable(pattern_, errno);
    names_.push_back(name);
    try {
        writeAll(fd, bytes, size, pattern_);
    } catch (...) {
        close(fd);
        throw;
    }
    const int synced = fsync(fd);
    const int error = errno;
    close(fd);
    if (synced != 0) throwNotWritable(pattern_, error);
}

void StagedSequence::commit() {
    checkSequenceTarget(pattern_, force_);
    for (const std::string& name : names_)
        if (rename((hidden_ + "/" + name).c_str(), (directory_ + "/" + name).c_str()) != 0)
            throwNotWritable(pattern_, errno);
    if (force_)
        for (const int64_t number : existingNumbers(pattern_))
            if (number > static_cast<int64_t>(names_.size())) unlink(numbered(pattern_, number).c_str());
    if (rmdir(hidden_.c_str()) == 0) hidden_.clear();
    syncDirectory(directory_, pattern_);
}

}  // namespace tumblewash::media
