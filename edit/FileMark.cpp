#include "edit/FileMark.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <map>

#include "media/Pattern.h"

namespace tumblewash::edit {
namespace {

constexpr std::size_t kHead = 64 * 1024;

std::string utcWords(std::time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + 1900, parts.tm_mon + 1,
                       parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

/// 64-bit FNV-1a.
std::string headOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::string bytes(kHead, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, in.gcount())));
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    return fmt::format("{:016x}", hash);
}

/// Size and time alone; false for what is not a regular file.
bool statOf(const std::string& file, FileMark& mark) {
    struct stat facts {};
    if (::stat(file.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
    mark.bytes = static_cast<std::uint64_t>(facts.st_size);
    mark.modified = utcWords(facts.st_mtime);
    return true;
}

}  // namespace

std::optional<FileMark> markOf(const std::string& file) {
    FileMark mark;
    if (!statOf(file, mark)) return std::nullopt;
    mark.head = headOf(file);
    return mark;
}

void markFiles(Edit& edit) {
    std::map<std::string, std::optional<FileMark>> known;
    for (EditClip& clip : edit.clips) {
        clip.was.reset();
        if (clip.black() || media::isPattern(clip.file)) continue;
        const std::string file = fileOf(edit, clip);
        const auto [found, fresh] = known.try_emplace(file);
        if (fresh) found->second = markOf(file);
        clip.was = found->second;
    }
}

std::vector<std::string> changedFiles(const Edit& edit) {
    std::vector<std::string> changed;
    for (const EditClip& clip : edit.clips) {
        if (!clip.was) continue;
        const std::string file = fileOf(edit, clip);
        FileMark now;
        if (!statOf(file, now)) continue;
        const bool same = now.bytes == clip.was->bytes &&
                          (now.modified == clip.was->modified || headOf(file) == clip.was->head);
        if (!same && std::find(changed.begin(), changed.end(), file) == changed.end())
            changed.push_back(file);
    }
    return changed;
}

}  // namespace tumblewash::edit
