#include "edit/outputs.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include "edit/errors.h"
#include "media/Quoting.h"
#include "media/Staging.h"

namespace tumblewash::edit {

using media::MediaError;
using media::MediaErrorCode;
using media::PictureRef;
using media::PngAlpha;
using media::quotedName;
using media::StagedFile;
using media::writePng;

namespace {

// The name of picture `number` when `output` holds one %d or %05d; empty when it holds none.
std::string sequenceName(const std::string& output, std::int64_t number) {
    const std::size_t percent = output.find('%');
    if (percent == std::string::npos) return "";
    std::size_t end = percent + 1;
    while (end < output.size() && output[end] >= '0' && output[end] <= '9') ++end;
    if (end >= output.size() || output[end] != 'd' || end - percent > 3) return "";
    const std::string digits = output.substr(percent + 1, end - percent - 1);
    const int width = digits.empty() ? 0 : std::stoi(digits);
    return output.substr(0, percent) + fmt::format("{:0{}}", number, width) + output.substr(end + 1);
}

[[noreturn]] void refuseSame(const std::string& output, const std::string& input) {
    throw Refusal(Problem::BadRequest,
                  output == input
                      ? fmt::format("{}: is an input too; choose another output", quotedName(output))
                      : fmt::format("{}: is the same file as the input {}; choose another output",
                                    quotedName(output), quotedName(input)));
}

}  // namespace

bool sameFile(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::string outputFile(const std::string& output) {
    if (output == "null:") return "";
    if (output.rfind("md5:", 0) == 0) return output.substr(4);
    return output;
}

void refuseInputAsOutput(const std::string& output, const std::vector<std::string>& inputs,
                         std::int64_t pictures) {
    const std::string file = outputFile(output);
    if (file.empty()) return;
    for (const std::string& input : inputs) {
        if (sameFile(file, input)) refuseSame(output, input);
        for (std::int64_t k = 1; k <= pictures; ++k) {
            const std::string name = sequenceName(file, k);
            if (name.empty()) break;
            if (sameFile(name, input)) refuseSame(name, input);
        }
    }
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

void writeTextFile(const std::string& file, const std::string& text, bool force) {
    try {
        StagedFile staged(file, force);
        staged.write(text.data(), text.size());
        staged.commit();
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
}

}  // namespace tumblewash::edit
