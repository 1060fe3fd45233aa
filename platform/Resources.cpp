#include "platform/Resources.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>

#include "platform/Utf8.h"

namespace tumblewash::platform {
namespace {

constexpr std::size_t kLargestFile = 1 << 20;
constexpr const char* kFolder = "tumblewash/resources";

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string localeName() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const std::string value = environment(name); !value.empty()) return value;
    }
    return "";
}

// Folder of the program or module that this code was linked into; empty when unknown.
std::filesystem::path ownFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&GetIndString), &info) == 0 || info.dli_fname == nullptr)
        return {};
    std::error_code error;
    const auto file = std::filesystem::canonical(info.dli_fname, error);
    if (!error) return file.parent_path();
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path{} : program.parent_path();
}

StringLists readFile(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return {};
    std::ifstream in(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(kLargestFile);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(0, in.gcount())));
    return ParseStringLists(bytes);
}

// The first folder that has English strings serves all languages, so that a translation is never mixed with
// the strings of another version.
StringLists readLists(const std::string& locale) {
    for (const std::string& folder : ResourceFolders()) {
        StringLists lists;
        for (const std::string& language : LanguagesForLocale(locale)) {
            lists.merge(readFile(std::filesystem::path(folder) / (language + ".strings")));
        }
        if (!lists.empty()) return lists;
    }
    return {};
}

// The strings of the last language asked for. Read again when the environment says otherwise.
struct Cache {
    std::mutex mutex;
    std::string key;
    StringLists lists;
    bool filled = false;
};

Cache& cache() {
    static Cache the;
    return the;
}

}  // namespace

std::vector<std::string> LanguagesForLocale(std::string_view locale) {
    std::string name(locale.substr(0, locale.find_first_of(".@")));
    const bool plain =
        !name.empty() && name.size() <= 16 && std::all_of(name.begin(), name.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
        });
    std::vector<std::string> languages;
    if (plain && name != "C" && name != "POSIX") {
        languages.push_back(name);
        const std::size_t underscore = name.find('_');
        if (underscore != std::string::npos && underscore > 0)
            languages.push_back(name.substr(0, underscore));
    }
    if (std::find(languages.begin(), languages.end(), "en") == languages.end()) languages.emplace_back("en");
    return languages;
}

std::vector<std::string> ResourceFolders() {
    std::vector<std::string> folders;
    if (const std::string chosen = environment("TUMBLEWASH_RESOURCES"); !chosen.empty())
        folders.push_back(chosen);
    // An installation may have been moved as a whole: bin/ and lib/ lie one to three levels below the prefix,
    // the binary of a bundle five. The tree that this was built in is never asked for.
    std::filesystem::path above = ownFolder();
    for (int level = 0; level < 5 && above.has_relative_path(); ++level) {
        above = above.parent_path();
        folders.push_back((above / "share" / kFolder).string());
    }
    // A program that was linked against the installed libraries may lie anywhere.
    const std::string data = environment("XDG_DATA_DIRS");
    std::istringstream list(data.empty() ? "/usr/local/share:/usr/share" : data);
    for (std::string folder; std::getline(list, folder, ':');) {
        if (folder.starts_with('/')) folders.push_back((std::filesystem::path(folder) / kFolder).string());
    }
    return folders;
}

std::string LocalizedString(short list, short index) {
    const std::string locale = localeName();
    const std::string key = environment("TUMBLEWASH_RESOURCES") + '\n' + locale;
    const std::lock_guard hold(cache().mutex);
    if (!cache().filled || cache().key != key) {
        cache().lists = readLists(locale);
        cache().key = key;
        cache().filled = true;
    }
    const auto found = cache().lists.find({list, index});
    return found != cache().lists.end() ? found->second : std::string{};
}

}  // namespace tumblewash::platform

void GetIndString(Str255 text, short list, short index) {
    if (text == nullptr) return;
    const std::string found = tumblewash::platform::LocalizedString(list, index);
    text[0] = static_cast<unsigned char>(found.size());
    std::memcpy(text + 1, found.data(), found.size());
}
