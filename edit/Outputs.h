// What must hold before anything is decoded: of all files that a command reads and writes no two are one.
// Also results written in one step and what their failures mean. Whether a file can be written at all is
// media's `checkTarget`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/Staging.h"
#include "media/StillIO.h"

namespace tumblewash::edit {

/// The file name inside an output's words: `md5:FILE` gives FILE; `md5:` and `null:` give "".
std::string outputFile(const std::string& output);

/// All files of one command.
struct CommandFiles {
    std::vector<std::string> inputs;  ///< clips, and a module that is loaded
    std::string output;               ///< in the output's words
    std::int64_t pictures = 0;        ///< of a numbered sequence, as far as known
    std::vector<std::string> texts;   ///< reports and projects; empty names are none
};

/// Refuses an output that is one of the inputs or another output, each picture of a numbered sequence among
/// them. Throws MediaError (badRequest).
void checkFiles(const CommandFiles& files);

/// Turns an error of the media room into the refusal it is once work has begun: what cannot be written then
/// is a failure of the run, not of the request (`RenderFailed`); what was cancelled is `Interrupted`. Others
/// pass.
[[noreturn]] void failWhileWorking(const media::MediaError& problem);

/// `writePng` of a finished result; errors as `failWhileWorking` has them.
void writeResultPng(const std::string& file, const media::PictureRef& picture, media::PngAlpha alpha,
                    bool force);

/// A text written beside its file at once and put in place by `commit`, so that what a run announces stands
/// only when the run is done. An older file is replaced with `force` only. Errors as `failWhileWorking` has
/// them; then the old file is as it was.
class TextFile {
  public:
    TextFile(const std::string& file, const std::string& text, bool force);
    void commit();

  private:
    std::optional<media::StagedFile> staged_;
};

}  // namespace tumblewash::edit
