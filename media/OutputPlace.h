// Where an output goes: its folder, held open, and the name in it. Links are followed once, when the place is
// looked up; from then on a folder or link that somebody puts in their way redirects nothing.
// Hidden files under way are made here, under names that nobody can foresee. It knows no contents.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "media/Descriptor.h"
#include "media/HiddenNames.h"

namespace tumblewash::media {

struct OutputPlace {
    Descriptor folder;
    bool listable = true;  ///< false: the folder may be written but not read, and `folder` only names it
    std::string name;      ///< behind links
    std::string shown;     ///< as the user said it, for messages
    std::optional<struct stat> there;  ///< the file of that name when the place was looked up
};

/// Looks `path` up. Throws MediaError (notWritable): no file name, a missing folder, a link that leads
/// nowhere or in a circle.
OutputPlace findPlace(const std::string& path);

/// The file of that name now, or nothing.
std::optional<struct stat> fileAt(const OutputPlace& place, const std::string& name);

/// A file or folder of the moment beside the output, under a hidden name.
struct HiddenEntry {
    std::string name;
    Descriptor opened;
    HiddenName listed;  ///< for an end without destructors
};
/// Makes an empty file, open for reading and writing. Throws MediaError (notWritable).
HiddenEntry makeHiddenFile(const OutputPlace& place, mode_t mode);
/// Makes an empty folder that only its owner may enter.
HiddenEntry makeHiddenFolder(const OutputPlace& place);
/// Removes a hidden folder with the files in it, and says whether it is gone.
bool removeHiddenFolder(const OutputPlace& place, const HiddenEntry& hidden) noexcept;

/// Throws MediaError (notWritable) when the folder takes no new file, which a trial finds out: permissions do
/// not tell everything.
void checkTakesFiles(const OutputPlace& place);

/// `.NAME` with `ending`, shortened where it would be too long for a file system.
std::string hiddenBeside(const std::string& name, const std::string& ending);

/// Renames; without replacing anything. 0, or the system's error number.
int renameToNew(int fromFolder, const std::string& from, int toFolder, const std::string& to) noexcept;
/// Lets two files change names. 0, EOPNOTSUPP where the file system cannot, or the system's error number.
int exchangeNames(int folder, const std::string& a, const std::string& b) noexcept;

/// Makes names of the folder last through a loss of power. `file` stands in where the folder cannot be read.
/// 0 or the system's error number.
int syncFolder(const OutputPlace& place, int file) noexcept;

/// Writes all bytes. Throws MediaError (notWritable) with `shown`.
void writeAll(int file, const void* bytes, size_t size, const std::string& shown);

/// MediaError (notWritable) with the system's words for `error` and what to do about it.
[[noreturn]] void throwNotWritable(const std::string& path, int error);
/// MediaError (notWritable) in own words.
[[noreturn]] void refuseOutput(const std::string& path, const std::string& why);

/// The folder of a path and the name in it, as text.
std::string folderOf(const std::string& path);
std::string nameIn(const std::string& path);

}  // namespace tumblewash::media
