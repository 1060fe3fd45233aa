// All files that one command reads and writes, held against each other before any work begins: no output may
// be an input, and no two outputs may be one file. Files are compared by what they are, and names that exist
// not yet by their folder and by what its file system makes of them, so that case and links are seen through.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tumblewash::media {

/// What a command is going to write.
struct PlannedOutput {
    std::string path;      ///< a file name, or the pattern of a numbered run
    int64_t pictures = 0;  ///< how many pictures of the pattern, as far as known
};

/// Throws MediaError: badRequest when two are one file, notWritable for a place that cannot be looked up.
/// Inputs that are no files (drawn scenes) and outputs without a name are passed over.
void refuseSharedFiles(const std::vector<std::string>& inputs, const std::vector<PlannedOutput>& outputs);

}  // namespace tumblewash::media
