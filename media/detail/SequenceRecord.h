// What this program keeps about a numbered run of pictures, in hidden text files beside them: which ones it
// wrote, so that a later run may remove those and no others; and, while one run replaces another, what to
// undo should the program be ended in the middle. Records of other users are not believed.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "media/OutputPlace.h"

namespace tumblewash::media {

/// By which a picture is known again: unchanged since it was written, and the very same file.
struct WrittenPicture {
    int64_t bytes = 0;
    int64_t seconds = 0;  ///< time of its last change
    int64_t nanoseconds = 0;
    bool operator==(const WrittenPicture&) const = default;
};
WrittenPicture writtenPicture(const struct stat& status);

/// The pictures of a finished run by their numbers.
using SequenceList = std::map<int64_t, WrittenPicture>;

/// A run about to be put in place.
struct SequenceUndo {
    struct Step {
        uint64_t inode = 0;     ///< of the new file; 0 where an old one is only taken away
        bool replaces = false;  ///< an old file makes room
    };
    std::string folder;             ///< the hidden folder with the new pictures, later with the old ones
    std::map<int64_t, Step> steps;  ///< by number; 0 is the list of pictures
};

/// The names of the two records for a pattern without folders.
std::string listNameOf(const std::string& pattern);
std::string undoNameOf(const std::string& pattern);

std::string textOf(const SequenceList& list);
std::string textOf(const SequenceUndo& undo);

/// The records beside `place`, whose name is the pattern. Nothing when there is none, or none to be believed.
std::optional<SequenceList> readList(const OutputPlace& place);
std::optional<SequenceUndo> readUndo(const OutputPlace& place);

}  // namespace tumblewash::media
