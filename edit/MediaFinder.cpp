#include "edit/MediaFinder.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "edit/Errors.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

namespace fs = std::filesystem;
using media::printable;

namespace {

constexpr std::size_t kMostFiles = 200000;
constexpr std::size_t kNamed = 8;

bool isFile(const std::string& name) {
    std::error_code ignored;
    return fs::is_regular_file(name, ignored);
}

std::string lastPart(const std::string& name) {
    const std::size_t slash = name.find_last_of("/\\");
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

std::string stemOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

/// How many parts of two paths agree, counted from their ends.
std::size_t commonEnd(const std::string& a, const std::string& b) {
    const auto parts = [](const std::string& path) {
        std::vector<std::string> out{""};
        for (const char c : path) {
            if (c == '/' || c == '\\')
                out.emplace_back();
            else
                out.back() += c;
        }
        std::reverse(out.begin(), out.end());
        return out;
    };
    const auto left = parts(a);
    const auto right = parts(b);
    std::size_t n = 0;
    while (n < left.size() && n < right.size() && left[n] == right[n]) ++n;
    return n;
}

bool hidden(const fs::path& path) {
    return path.filename().string().rfind('.', 0) == 0;
}

}  // namespace

std::string reelOf(const std::string& name, std::size_t length) {
    std::string reel;
    for (const char c : stemOf(lastPart(name))) {
        if (c >= 'a' && c <= 'z')
            reel += static_cast<char>(c - 'a' + 'A');
        else if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
            reel += c;
    }
    return reel.substr(0, length);
}

MediaFinder::MediaFinder(std::string folder, std::string beside)
    : folder_(std::move(folder)), beside_(std::move(beside)) {
    std::error_code ignored;
    if (!folder_.empty() && !fs::is_directory(folder_, ignored))
        throw Refusal(Problem::BadRequest, fmt::format("--media {}: no such folder", printable(folder_)));
}

void MediaFinder::index() {
    if (indexed_) return;
    indexed_ = true;
    std::error_code problem;
    std::size_t seen = 0;
    const auto take = [&](const fs::directory_entry& entry) {
        std::error_code ignored;
        if (!hidden(entry.path()) && entry.is_regular_file(ignored))
            byName_.emplace(entry.path().filename().string(), entry.path().string());
    };
    if (folder_.empty()) {
        for (fs::directory_iterator entry(beside_.empty() ? "." : beside_, problem), end;
             !problem && entry != end && ++seen < kMostFiles; entry.increment(problem))
            take(*entry);
        return;
    }
    for (fs::recursive_directory_iterator
             entry(folder_, fs::directory_options::skip_permission_denied, problem),
         end;
         !problem && entry != end && ++seen < kMostFiles; entry.increment(problem)) {
        if (hidden(entry->path())) entry.disable_recursion_pending();
        take(*entry);
    }
}

std::string MediaFinder::only(const std::vector<std::string>& files, const std::string& name) const {
    if (files.empty()) return "";
    if (files.size() == 1) return files.front();
    throw Refusal(
        Problem::BadRequest,
        fmt::format("{}: both {} and {} match; name a folder that holds only one of them: --media FOLDER",
                    printable(name), printable(files[0]), printable(files[1])));
}

std::string MediaFinder::find(const std::string& name) {
    if (name.empty()) return "";
    if (isFile(name) && fs::path(name).is_absolute()) return name;
    const std::string here = (fs::path(beside_) / name).string();
    if (isFile(here)) return here;
    index();
    std::vector<std::string> best;
    std::size_t most = 0;
    const auto [first, last] = byName_.equal_range(lastPart(name));
    for (auto entry = first; entry != last; ++entry) {
        const std::size_t common = commonEnd(entry->second, name);
        if (common > most) best.clear();
        if (common >= most) best.push_back(entry->second);
        most = std::max(most, common);
    }
    return only(best, name);
}

std::string MediaFinder::findStem(const std::string& stem) {
    index();
    std::vector<std::string> found;
    for (const auto& [name, path] : byName_)
        if (stemOf(name) == stem) found.push_back(path);
    return only(found, stem);
}

std::string MediaFinder::findReel(const std::string& reel) {
    index();
    const std::string wanted = reelOf(reel, reel.size());
    if (wanted.empty()) return "";
    std::vector<std::string> found;
    for (const auto& [name, path] : byName_)
        if (reelOf(name, wanted.size()) == wanted) found.push_back(path);
    return only(found, reel);
}

void MediaFinder::miss(const std::string& name) {
    if (std::find(missing_.begin(), missing_.end(), name) == missing_.end()) missing_.push_back(name);
}

void MediaFinder::refuseMissing(const std::string& document) const {
    if (missing_.empty()) return;
    std::string named;
    for (std::size_t i = 0; i < missing_.size() && i < kNamed; ++i)
        named += (i ? ", " : "") + printable(missing_[i]);
    if (missing_.size() > kNamed) named += fmt::format(" and {} more", missing_.size() - kNamed);
    throw Refusal(Problem::BadInput,
                  fmt::format("{}: {}: no such {}; say where the files are: --media FOLDER",
                              printable(document), named, missing_.size() == 1 ? "file" : "files"));
}

}  // namespace tumblewash::edit
