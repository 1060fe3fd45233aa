#include "media/SharedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "media/MediaError.h"
#include "media/NumberPattern.h"
#include "media/OutputPlace.h"
#include "media/Quoting.h"
#include "media/StagedSequence.h"

namespace tumblewash::media {

namespace {

using FileId = std::pair<dev_t, ino_t>;

FileId idOf(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

struct Entry {
    size_t output = 0;  ///< which of the outputs
    std::string name;
    std::string shown;
    std::optional<FileId> file;  ///< when it exists
};

/// The outputs in one folder.
struct Folder {
    OutputPlace place;
    std::vector<Entry> entries;
    std::optional<bool> exact;  ///< names are one only when their bytes are, once that has been asked
};

[[noreturn]] void refuse(const std::string& output, const std::string& why) {
    throw MediaError(MediaErrorCode::badRequest, output, why);
}

/// True when two names might be one to a file system that takes letters lightly: it may know small from
/// capital letters, two ways of writing an accent, and drop dots at the end.
bool alike(std::string a, std::string b) {
    for (std::string* name : {&a, &b}) {
        while (name->ends_with('.') || name->ends_with(' ')) name->pop_back();
        for (char& c : *name) {
            if (c < 0) return true;
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
        }
    }
    return a == b;
}

/// Asks the file system itself, with an empty file in a hidden folder, whether one of `others` leads there.
bool sameToFileSystem(const OutputPlace& place, const std::string& name,
                      const std::vector<std::string>& others) {
    const HiddenEntry trial = makeHiddenFolder(place);
    const Descriptor file(
        openat(trial.opened.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    const bool same = file && std::any_of(others.begin(), others.end(), [&](const std::string& other) {
                          return faccessat(trial.opened.get(), other.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
                      });
    removeHiddenFolder(place, trial);
    return same;
}

bool sameFile(Folder& folder, const Entry& a, const Entry& b) {
    if (a.name == b.name || (a.file && a.file == b.file)) return true;
    if ((a.file && b.file) || !alike(a.name, b.name)) return false;
    if (!folder.exact)
        folder.exact =
            !sameToFileSystem(folder.place, "a\u00e9", {"A\u00e9", "a\u00c9", "ae\u0301", "a\u00e9."});
    return !*folder.exact && sameToFileSystem(folder.place, a.name, {b.name});
}

void addOutput(std::map<FileId, Folder>& folders, size_t index, const PlannedOutput& output) {
    OutputPlace place = findPlace(output.path);
    struct stat status {};
    if (fstat(place.folder.get(), &status) != 0) throwNotWritable(output.path, ENOENT);
    const bool pattern = isNumberPattern(output.path) && output.path.ends_with(".png");
    const std::vector<std::string> names =
        pattern ? filesOfSequence(output.path, output.pictures) : std::vector<std::string>{place.name};
    const std::string folder = output.path.substr(0, output.path.size() - nameIn(output.path).size());
    std::vector<Entry> entries;
    for (const std::string& name : names) {
        const auto there = fileAt(place, name);
        entries.push_back({index, name, pattern ? folder + name : output.path,
                           there ? std::optional(idOf(*there)) : std::nullopt});
    }
    Folder& at = folders.try_emplace(idOf(status), Folder{std::move(place), {}, {}}).first->second;
    at.entries.insert(at.entries.end(), entries.begin(), entries.end());
}

/// No two outputs, in whichever folders, are one file that exists.
void compareFiles(const std::map<FileId, Folder>& folders, const std::vector<std::string>& inputs) {
    std::map<FileId, const Entry*> known;
    for (const auto& [id, folder] : folders)
        for (const Entry& entry : folder.entries) {
            if (!entry.file) continue;
            const auto [found, fresh] = known.try_emplace(*entry.file, &entry);
            if (!fresh && found->second->output != entry.output)
                refuse(entry.shown, "is the same file as the output " + quotedName(found->second->shown) +
                                        "; choose another name for one of them");
        }
    for (const std::string& input : inputs) {
        struct stat status {};
        if (stat(input.c_str(), &status) != 0) continue;
        const auto found = known.find(idOf(status));
        if (found == known.end()) continue;
        const std::string& output = found->second->shown;
        refuse(output, output == input ? "is an input too; choose another output"
                                       : "is the same file as the input " + quotedName(input) +
                                             "; choose another output");
    }
}

/// No two outputs in one folder have names that are one.
void compareNames(Folder& folder) {
    const std::vector<Entry>& all = folder.entries;
    for (size_t i = 0; i < all.size(); ++i)
        // The entries of one output follow each other and differ.
        for (size_t k = all.size(); k-- > i + 1 && all[k].output != all[i].output;)
            if (sameFile(folder, all[i], all[k]))
                refuse(all[k].shown, all[k].shown == all[i].shown
                                         ? "is to be written twice; choose another name for one of them"
                                         : "is the same file as the output " + quotedName(all[i].shown) +
                                               "; choose another name for one of them");
}

}  // namespace

void refuseSharedFiles(const std::vector<std::string>& inputs, const std::vector<PlannedOutput>& outputs) {
    std::map<FileId, Folder> folders;
    for (size_t i = 0; i < outputs.size(); ++i)
        if (!outputs[i].path.empty()) addOutput(folders, i, outputs[i]);
    compareFiles(folders, inputs);
    for (auto& [id, folder] : folders) compareNames(folder);
}

}  // namespace tumblewash::media
