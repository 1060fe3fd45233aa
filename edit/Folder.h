// A folder as an input: which of its files are clips and photos, in natural order. Hidden files and folders
// inside are not entered. It opens files to see what they are, and keeps none.
#pragma once

#include <string>
#include <vector>

#include "media/MediaError.h"

namespace tumblewash::edit {

/// What a folder holds.
struct FolderMedia {
    std::vector<std::string> files;    ///< clips and photos, with the folder's name before theirs
    std::vector<std::string> leftOut;  ///< names of what is neither
};

/// True for a folder (or a link to one).
bool isFolder(const std::string& path);

/// Looks at every file of a folder but `output`, which a run is about to write. Throws Refusal (BadInput)
/// where it cannot be read or has no media in it, and Refusal (Interrupted).
FolderMedia mediaOf(const std::string& folder, const std::string& output, media::CancelFlag cancel);

/// One line that names what was left out; empty when nothing was.
std::string leftOutLine(const std::string& folder, const FolderMedia& media);

}  // namespace tumblewash::edit
