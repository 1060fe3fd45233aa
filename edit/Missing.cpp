#include "edit/Missing.h"

#include <fmt/format.h>

#include <filesystem>
#include <map>
#include <set>

#include "edit/Errors.h"
#include "edit/Nearest.h"
#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

/// So many missing files are named, and so many names of a folder are compared.
constexpr std::size_t kNamed = 8;
constexpr std::size_t kCompared = 5000;

std::string nearestIn(const std::filesystem::path& file) {
    std::error_code problem;
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry(folder, problem), end; !problem && entry != end;
         entry.increment(problem)) {
        names.push_back(entry->path().filename().string());
        if (names.size() >= kCompared) break;
    }
    return didYouMean(file.filename().string(), names);
}

}  // namespace

std::vector<std::string> filesOf(const Edit& edit) {
    std::vector<std::string> files;
    std::set<std::string> seen;
    for (const EditClip& clip : edit.clips) {
        if (clip.black() || media::isPattern(clip.file)) continue;
        std::string file = fileOf(edit, clip);
        if (seen.insert(file).second) files.push_back(std::move(file));
    }
    if (edit.music && seen.insert(musicOf(edit)).second) files.push_back(musicOf(edit));
    return files;
}

void refuseMissing(const std::vector<std::string>& files) {
    std::vector<std::string> missing;
    for (const std::string& file : files) {
        std::error_code problem;
        if (std::filesystem::status(file, problem).type() == std::filesystem::file_type::not_found)
            missing.push_back(file);
    }
    if (missing.empty()) return;
    std::string named;
    for (std::size_t i = 0; i < missing.size() && i < kNamed; ++i)
        named += (i ? ", " : "") + media::quotedName(missing[i]) + nearestIn(missing[i]);
    if (missing.size() > kNamed) named += fmt::format(" and {} more", missing.size() - kNamed);
    throw Refusal(Problem::BadInput,
                  missing.size() == 1
                      ? named + ": no such file; check the name"
                      : fmt::format("{}: {} files do not exist; check the names", named, missing.size()));
}

}  // namespace tumblewash::edit
