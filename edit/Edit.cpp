#include "edit/Edit.h"

#include <fmt/format.h>

#include <filesystem>

#include "media/Pattern.h"

namespace tumblewash::edit {

std::string fileOf(const Edit& edit, const EditClip& clip) {
    if (edit.folder.empty() || media::isPattern(clip.file)) return clip.file;
    const std::filesystem::path file(clip.file);
    return file.is_absolute() ? clip.file : (std::filesystem::path(edit.folder) / file).string();
}

std::string musicOf(const Edit& edit) {
    if (!edit.music) return {};
    EditClip named;
    named.file = edit.music->file;
    return fileOf(edit, named);
}

media::Fit fitOf(const Edit& edit, bool still) {
    return edit.output.fit.value_or(still ? media::Fit::blur : media::Fit::contain);
}

std::string timeWords(TimeSpan span) {
    if (span.unit == TimeSpan::Unit::Frames) return fmt::format("{}f", span.count);
    std::string words = fmt::format("{}.{:06}", span.count / 1000000, span.count % 1000000);
    while (words.back() == '0') words.pop_back();
    if (words.back() == '.') words.pop_back();
    return words + "s";
}

std::string rateWords(media::FrameRate rate) {
    return rate.den == 1 ? fmt::format("{}", rate.num) : fmt::format("{}/{}", rate.num, rate.den);
}

std::string wordsOf(const EditTime& time) {
    return time.words.empty() ? timeWords(time.value) : time.words;
}

}  // namespace tumblewash::edit
