#include "edit/Chapters.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include "media/Pattern.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using media::isPattern;

std::vector<media::Chapter> chaptersOf(const Edit& edit, const FramePlan& plan, std::int64_t first,
                                       std::int64_t end) {
    std::vector<media::Chapter> chapters;
    for (std::size_t i = 0; i < edit.clips.size(); ++i) {
        const std::int64_t frame = plan.clipOrigins[i] - first;
        if (frame >= end - first) break;
        const EditClip& clip = edit.clips[i];
        std::string title = clip.title             ? *clip.title
                            : clip.black()         ? std::string("black")
                            : isPattern(clip.file) ? clip.file.substr(0, clip.file.find('?'))
                                                   : std::filesystem::path(clip.file).stem().string();
        if (frame <= 0) chapters.clear();
        chapters.push_back({std::max<std::int64_t>(0, frame), media::printable(title)});
    }
    return chapters;
}

}  // namespace tumblewash::edit
