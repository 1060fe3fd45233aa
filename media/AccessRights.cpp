#include "media/AccessRights.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace tumblewash::media {

namespace {

constexpr const char* kList = "system.posix_acl_access";
constexpr mode_t kOwnerOnly = S_IRWXU;

/// The file gets another owner or group, so people change places: each may keep only what all of them had.
mode_t tightened(mode_t mode, bool owner, bool group) {
    mode_t own = mode >> 6 & 7;
    mode_t shared = mode >> 3 & 7;
    mode_t others = mode & 7;
    if (!group) shared = others = shared & others;
    if (!owner) {
        shared &= own;
        others &= own;
    }
    return own << 6 | shared << 3 | others;
}

}  // namespace

AccessRights readRights(int folder, const std::string& name, const struct stat& status) {
    AccessRights rights{status.st_uid, status.st_gid, status.st_mode & 0777, std::nullopt, true};
    std::array<char, 8192> list{};
    const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + name;
    const ssize_t length = lgetxattr(path.c_str(), kList, list.data(), list.size());
    if (length > 0)
        rights.list.emplace(list.data(), static_cast<size_t>(length));
    else if (length < 0 && errno != ENODATA && errno != EOPNOTSUPP)
        rights.listKnown = false;
    return rights;
}

bool adoptRights(int file, const AccessRights& rights) noexcept {
    struct stat mine {};
    if (fstat(file, &mine) != 0) return false;
    const bool owner = mine.st_uid == rights.owner || fchown(file, rights.owner, gid_t(-1)) == 0;
    const bool group = mine.st_gid == rights.group || fchown(file, uid_t(-1), rights.group) == 0;
    mode_t mode = tightened(rights.mode, owner, group);
    const bool listKept = rights.list && owner && group &&
                          fsetxattr(file, kList, rights.list->data(), rights.list->size(), 0) == 0;
    if (!listKept) {
        // A folder may give its new files a list of its own.
        fremovexattr(file, kList);
        if (rights.list || !rights.listKnown) mode &= kOwnerOnly;
    }
    fchmod(file, mode);
    return fstat(file, &mine) == 0 && (mine.st_mode & 07777 & ~mode) == 0;
}

}  // namespace tumblewash::media
