// A folder of files that are there and hold no media, for edits of other programs that name them.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "edit/CutList.h"
#include "edit/MediaFinder.h"

namespace tumblewash::edit {

class ExchangeFolder {
  public:
    explicit ExchangeFolder(const std::vector<std::string>& names) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tumblewash-exchange-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        for (const std::string& name : names) {
            const std::filesystem::path file = folder_ / name;
            std::filesystem::create_directories(file.parent_path());
            std::ofstream(file) << "no media";
        }
    }
    ~ExchangeFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    ExchangeFolder(const ExchangeFolder&) = delete;
    ExchangeFolder& operator=(const ExchangeFolder&) = delete;

    std::string path(const std::string& name = "") const { return (folder_ / name).string(); }
    MediaFinder finder(const std::string& media = "") const { return {media, folder_.string()}; }

  private:
    std::filesystem::path folder_;
};

/// Every file is a movie of this many frames.
inline AskFile moviesOf(std::int64_t frames) {
    return [frames](const std::string&, media::FrameRate) { return FileFacts{false, frames}; };
}

/// `A 0..100` for each clip, in and out as the edit says them in frames; an end that is unset as `end`.
inline std::string trimsOf(const Edit& edit) {
    std::string out;
    for (const EditClip& clip : edit.clips) {
        out += std::filesystem::path(clip.file).stem().string() + (clip.black() ? "black" : "");
        if (clip.length) out += " for " + std::to_string(clip.length->value.count);
        if (!clip.length)
            out += " " + (clip.in ? std::to_string(clip.in->value.count) : std::string("0")) + ".." +
                   (clip.out ? std::to_string(clip.out->value.count) : std::string("end"));
        out += clip.seam && clip.seam->duration
                   ? " <" + std::to_string(clip.seam->duration->value.count) + "> "
                   : " ";
    }
    out.pop_back();
    return out;
}

}  // namespace tumblewash::edit
