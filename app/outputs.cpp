#include "app/outputs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "app/errors.h"
#include "app/signals.h"

namespace tumblewash {
namespace {

std::string folderOf(const std::string& file) {
    const std::string folder = std::filesystem::path(file).parent_path().string();
    return folder.empty() ? "." : folder;
}

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
    throw Refusal(ExitCode::BadUsage,
                  output == input ? fmt::format("{}: is an input too; choose another output", output)
                                  : fmt::format("{}: is the same file as the input {}; choose another output",
                                                output, input));
}

[[noreturn]] void failed(const std::string& file, const char* step) {
    throw Refusal(ExitCode::RenderFailed,
                  fmt::format("{}: cannot be {}: {}", file, step, std::strerror(errno)));
}

// Owns a file half written; removes it unless it was renamed.
struct Beside {
    std::string name;
    int descriptor = -1;
    bool kept = false;
    ~Beside() {
        if (descriptor >= 0) ::close(descriptor);
        if (!kept && !name.empty()) ::unlink(name.c_str());
    }
};

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

void refuseUnwritable(const std::string& file, bool force) {
    struct stat facts {};
    const std::string folder = folderOf(file);
    if (::stat(folder.c_str(), &facts) != 0)
        throw Refusal(ExitCode::BadOutput,
                      fmt::format("{}: the folder {} does not exist; make it first", file, folder));
    if (!S_ISDIR(facts.st_mode))
        throw Refusal(ExitCode::BadOutput,
                      fmt::format("{}: {} is no folder; choose another output", file, folder));
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw Refusal(
            ExitCode::BadOutput,
            fmt::format("{}: the folder {} cannot be written; choose another output", file, folder));
    if (::stat(file.c_str(), &facts) != 0) return;
    if (S_ISDIR(facts.st_mode))
        throw Refusal(ExitCode::BadOutput, fmt::format("{}: is a folder; give a file name", file));
    if (!S_ISREG(facts.st_mode))
        throw Refusal(ExitCode::BadOutput,
                      fmt::format("{}: is no regular file; choose another output", file));
    if (!force)
        throw Refusal(ExitCode::BadOutput,
                      fmt::format("{}: exists already; give --force to replace it", file));
}

void failWhileWorking(const MediaError& problem) {
    if (problem.code() == MediaErrorCode::cancelled || interruptFlag().load())
        throw Refusal(ExitCode::Interrupted, "interrupted");
    if (problem.code() == MediaErrorCode::notWritable || problem.code() == MediaErrorCode::encoding)
        throw Refusal(ExitCode::RenderFailed, problem.what());
    throw problem;
}

void writeResultPng(const std::string& file, const PictureRef& picture, PngAlpha alpha, bool force) {
    try {
        writePng(file, picture, alpha, force);
    } catch (const MediaError& problem) {
        failWhileWorking(problem);
    }
}

void writeTextFile(const std::string& file, const std::string& text) {
    Beside beside;
    beside.name = fmt::format("{}.{}.part", file, ::getpid());
    beside.descriptor = ::open(beside.name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (beside.descriptor < 0) {
        beside.name.clear();
        failed(file, "made");
    }
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t wrote = ::write(beside.descriptor, text.data() + done, text.size() - done);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote < 0) failed(file, "written");
        done += static_cast<std::size_t>(wrote);
    }
    if (::fsync(beside.descriptor) != 0) failed(file, "written");
    if (::rename(beside.name.c_str(), file.c_str()) != 0) failed(file, "put in place");
    beside.kept = true;
    const int folder = ::open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);
        ::close(folder);
    }
}

}  // namespace tumblewash
