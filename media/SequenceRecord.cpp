#include "media/detail/SequenceRecord.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <sstream>

namespace tumblewash::media {

namespace {

constexpr const char* kListTitle = "tumblewash wrote these pictures; a later run may replace them 1";
constexpr const char* kUndoTitle = "tumblewash is putting these pictures in place 1";
constexpr const char* kEnd = "end";

// A record of a million pictures has half of this.
constexpr off_t kMostBytes = 64 << 20;

/// The lines of a record behind its title. Whoever may write the folder may put a file there, so only what
/// this user alone wrote is believed; one without its last line was cut off.
std::optional<std::istringstream> linesOf(const OutputPlace& place, const std::string& name,
                                          const char* title) {
    const Descriptor file(
        openat(place.folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1 ||
        status.st_uid != geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ||
        status.st_size > kMostBytes)
        return std::nullopt;
    std::string text;
    std::array<char, 65536> part;
    for (ssize_t got = 0; (got = read(file.get(), part.data(), part.size())) > 0;)
        text.append(part.data(), static_cast<size_t>(got));
    const std::string first = std::string(title) + "\n";
    const std::string last = std::string(kEnd) + "\n";
    if (!text.starts_with(first) || !text.ends_with("\n" + last)) return std::nullopt;
    return std::istringstream(text.substr(first.size(), text.size() - first.size() - last.size()));
}

}  // namespace

WrittenPicture writtenPicture(const struct stat& status) {
    return {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::string listNameOf(const std::string& pattern) {
    return hiddenBeside(pattern, ".tumblewash");
}

std::string undoNameOf(const std::string& pattern) {
    return hiddenBeside(pattern, ".tumblewash-undo");
}

std::string textOf(const SequenceList& list) {
    std::ostringstream out;
    out << kListTitle << "\n";
    for (const auto& [number, picture] : list)
        out << number << " " << picture.bytes << " " << picture.seconds << " " << picture.nanoseconds << "\n";
    out << kEnd << "\n";
    return out.str();
}

std::string textOf(const SequenceUndo& undo) {
    std::ostringstream out;
    out << kUndoTitle << "\n" << undo.folder << "\n";
    for (const auto& [number, step] : undo.steps)
        out << number << " " << step.inode << " " << step.replaces << "\n";
    out << kEnd << "\n";
    return out.str();
}

std::optional<SequenceList> readList(const OutputPlace& place) {
    auto lines = linesOf(place, listNameOf(place.name), kListTitle);
    if (!lines) return std::nullopt;
    SequenceList list;
    int64_t number = 0;
    WrittenPicture picture;
    while (*lines >> number >> picture.bytes >> picture.seconds >> picture.nanoseconds)
        if (number > 0) list[number] = picture;
    return list;
}

std::optional<SequenceUndo> readUndo(const OutputPlace& place) {
    auto lines = linesOf(place, undoNameOf(place.name), kUndoTitle);
    if (!lines) return std::nullopt;
    SequenceUndo undo;
    std::getline(*lines, undo.folder);
    if (!undo.folder.starts_with(".") || undo.folder.find('/') != std::string::npos || undo.folder == "..")
        return std::nullopt;
    int64_t number = 0;
    SequenceUndo::Step step;
    while (*lines >> number >> step.inode >> step.replaces)
        if (number >= 0) undo.steps[number] = step;
    return undo;
}

}  // namespace tumblewash::media
