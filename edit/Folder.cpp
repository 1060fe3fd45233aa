#include "edit/Folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "edit/Errors.h"
#include "edit/NaturalOrder.h"
#include "edit/Outputs.h"
#include "edit/Parallel.h"
#include "media/Probe.h"
#include "media/Quoting.h"
#include "media/StillHead.h"

namespace tumblewash::edit {

namespace fs = std::filesystem;

namespace {

constexpr int kLooks = 4;

bool isMedia(const std::string& path, media::CancelFlag cancel) {
    try {
        if (!media::probeHead(path)) static_cast<void>(media::probe(path, cancel));
        return true;
    } catch (const media::MediaError& problem) {
        if (problem.code() == media::MediaErrorCode::cancelled)
            throw Refusal(Problem::Interrupted, "interrupted");
        return false;
    }
}

}  // namespace

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

FolderMedia mediaOf(const std::string& folder, const std::string& output, media::CancelFlag cancel) {
    std::vector<std::string> names;
    std::error_code problem;
    const fs::path out(outputFile(output));
    for (fs::directory_iterator entry(folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        const std::string name = entry->path().filename().string();
        std::error_code ignored;
        if (name.front() == '.' || entry->is_directory(ignored)) continue;
        if (!out.empty() && fs::equivalent(entry->path(), out, ignored)) continue;
        names.push_back(name);
    }
    if (problem)
        throw Refusal(Problem::BadInput, fmt::format("{}: the folder cannot be read: {}",
                                                     media::quotedName(folder), problem.message()));
    std::sort(names.begin(), names.end(), comesBefore);

    std::vector<char> usable(names.size(), 0);
    const auto pathOf = [&](const std::string& name) { return (fs::path(folder) / name).string(); };
    inParallel(static_cast<int>(names.size()), kLooks, cancel, [&](int i) {
        const auto at = static_cast<std::size_t>(i);
        usable[at] = isMedia(pathOf(names[at]), cancel) ? 1 : 0;
    });
    FolderMedia found;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (usable[i] != 0)
            found.files.push_back(pathOf(names[i]));
        else
            found.leftOut.push_back(names[i]);
    }
    if (found.files.empty())
        throw Refusal(Problem::BadInput,
                      fmt::format("{}: the folder holds no clip and no photo", media::quotedName(folder)));
    return found;
}

std::string leftOutLine(const std::string& folder, const FolderMedia& media) {
    constexpr std::size_t kNamed = 5;
    if (media.leftOut.empty()) return {};
    std::string line = media::quotedName(folder) + ": no clips and no photos, left out: ";
    for (std::size_t i = 0; i < media.leftOut.size() && i < kNamed; ++i)
        line.append(i > 0 ? ", " : "").append(media::quotedName(media.leftOut[i]));
    if (media.leftOut.size() > kNamed) line += fmt::format(" and {} more", media.leftOut.size() - kNamed);
    return line;
}

}  // namespace tumblewash::edit
