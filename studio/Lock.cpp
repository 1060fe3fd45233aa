#include "studio/Lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "edit/Errors.h"
#include "media/Quoting.h"
#include "studio/OwnFolders.h"

namespace tumblewash::studio {
namespace {

std::string textOf(int file) {
    char text[512];
    const ssize_t count = pread(file, text, sizeof text, 0);
    return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : std::string();
}

}  // namespace

Lock::Lock(const std::string& document) {
    const std::string folder = runtimeFolder();
    const std::string name = nameFor(document);
    if (folder.empty() || name.empty()) return;
    file_ = folder + "/" + name + ".lock";
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
