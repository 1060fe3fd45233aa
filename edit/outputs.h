// What must hold before anything is decoded: the output is not one of the inputs. Also results written in one
// step and what their failures mean. Whether a file can be written at all is media's `checkTarget`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/StillIO.h"

namespace tumblewash::edit {

/// True when both names lead to one existing file (hard and symbolic links included).
bool sameFile(const std::string& a, const std::string& b);

/// The file name inside an output's words: `md5:FILE` gives FILE; `md5:` and `null:` give "".
std::string outputFile(const std::string& output);

/// Refuses an output that is one of the inputs, also as a picture of a numbered sequence of `pictures`
/// pictures. Throws Refusal (BadRequest).
void refuseInputAsOutput(const std::string& output, const std::vector<std::string>& inputs,
                         std::int64_t pictures = 0);

/// Turns an error of the media room into the refusal it is once work has begun: what cannot be written then
/// is a failure of the run, not of the request (`RenderFailed`); what was cancelled is `Interrupted`. Others
/// pass.
[[noreturn]] void failWhileWorking(const media::MediaError& problem);

/// `writePng` of a finished result; errors as `failWhileWorking` has them.
void writeResultPng(const std::string& file, const media::PictureRef& picture, media::PngAlpha alpha,
                    bool force);

/// Writes `text` beside `file` and puts it in place; an older file is replaced with `force` only. Errors as
/// `failWhileWorking` has them; then the old file is as it was.
void writeTextFile(const std::string& file, const std::string& text, bool force);

}  // namespace tumblewash::edit
