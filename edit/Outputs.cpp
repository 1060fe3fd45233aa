#include "edit/Outputs.h"

#include "edit/Errors.h"
#include "media/SharedFiles.h"

namespace tumblewash::edit {

using media::MediaError;
using media::MediaErrorCode;
using media::PictureRef;
using media::PlannedOutput;
using media::PngAlpha;
using media::refuseSharedFiles;
using media::writePng;

std::string outputFile(const std::string& output) {
    if (output == "null:") return "";
    if (output.rfind("md5:", 0) == 0) return output.substr(4);
    return output;
}

void checkFiles(const CommandFiles& files) {
    std::vector<PlannedOutput> outputs{{outputFile(files.output), files.pictures}};
    for (const std::string& text : files.texts) outputs.push_back({text});
    refuseSharedFiles(files.inputs, outputs);
}

void failWhileWorking(const MediaError& problem) {
    if (problem.code() == MediaErrorCode::cancelled) throw Refusal(Problem::Interrupted, "interrupted");
    if (problem.code() == MediaErrorCode::notWritable || problem.code() == MediaErrorCode::encoding)
        throw Refusal(Problem::RenderFailed, problem.what());
    throw problem;
}

void writeResultPng(const std::string& file, const PictureRef& picture, PngAlpha alpha, bool force) {
    try {
        writePng(file, picture, alpha, force);
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
}

TextFile::TextFile(const std::string& file, const std::string& text, bool force) try {
    staged_.emplace(file, force);
    staged_->write(text.data(), text.size());
} catch (const MediaError& problem) {
    failWhileWorking(problem);
}

void TextFile::commit() {
    try {
        staged_->commit();
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
}

}  // namespace tumblewash::edit
