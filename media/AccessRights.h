// Who may read and write a file: owner, group, mode and access list, taken from a file that is replaced.
// What cannot be carried over is tightened, never widened; set-id bits are never carried over.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

namespace tumblewash::media {

struct AccessRights {
    uid_t owner = 0;
    gid_t group = 0;
    mode_t mode = 0;                  ///< the nine bits
    std::optional<std::string> list;  ///< the access list as the system keeps it
    bool listKnown = true;            ///< false: there may be a list, but it cannot be read
};

/// The rights of the file `name` in an open folder, whose facts are `status`.
AccessRights readRights(int folder, const std::string& name, const struct stat& status);

/// Gives the open file `file` these rights or fewer. False when it could be read more widely afterwards,
/// which only a file system without such rights brings about.
bool adoptRights(int file, const AccessRights& rights) noexcept;

}  // namespace tumblewash::media
