#include "studio/Lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "edit/errors.h"
#include "media/Quoting.h"

namespace tumblewash::studio {
namespace {

/// A folder that is this user's alone; empty where there is none.
std::string ownFolder() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code ignored;
    const std::string folder =
        runtime && *runtime == '/'
            ? std::string(runtime) + "/tumblewash"
            : fmt::format("{}/tumblewash-{}", std::filesystem::temp_directory_path(ignored).string(),
                          geteuid());
    mkdir(folder.c_str(), 0700);
    struct stat status {};
    const bool own = lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                     status.st_uid == geteuid() && (status.st_mode & 077) == 0;
    return own ? folder : std::string();
}

/// FNV-1a: saving makes a new file each time, so it is the name that is locked.
std::uint64_t hashOf(const std::string& text) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    return hash;
}

std::string textOf(int file) {
    char text[512];
    const ssize_t count = pread(file, text, sizeof text, 0);
    return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : std::string();
}

}  // namespace

Lock::Lock(const std::string& document) {
    const std::string folder = ownFolder();
    std::error_code problem;
    const std::string real = std::filesystem::weakly_canonical(document, problem).string();
    if (folder.empty() || problem) return;
    file_ = fmt::format("{}/{:016x}.lock", folder, hashOf(real));
    for (;;) {
        held_ = media::Descriptor(open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        if (!held_) return;
        if (flock(held_.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno == EWOULDBLOCK) break;
            held_ = {};
            return;
        }
        // Its last holder may have taken the file away between the two calls.
        struct stat mine {};
        struct stat named {};
        if (fstat(held_.get(), &mine) == 0 && stat(file_.c_str(), &named) == 0 && mine.st_ino == named.st_ino)
            return;
    }
    const std::string where = textOf(held_.get());
    throw edit::Refusal(edit::Problem::RenderFailed,
                        fmt::format("{}: is already open in a studio{}", media::quotedName(document),
                                    where.empty() ? std::string() : ": " + where));
}

void Lock::tell(const std::string& address) {
    if (!held_) return;
    // A lock that does not say where it is held is still a lock.
    if (ftruncate(held_.get(), 0) != 0 || pwrite(held_.get(), address.data(), address.size(), 0) < 0) return;
}

Lock::~Lock() {
    if (held_) unlink(file_.c_str());
}

}  // namespace tumblewash::studio
