#include "media/FileClock.h"

#include "media/MediaError.h"
#include "media/detail/Input.h"

namespace tumblewash::media {
namespace {

std::string timeCodeIn(const AVDictionary* metadata) {
    const AVDictionaryEntry* entry = av_dict_get(metadata, "timecode", nullptr, 0);
    return entry != nullptr ? entry->value : "";
}

}  // namespace

FileClock readFileClock(const std::string& path) try {
    const InputFile file(std::make_shared<const InputBytes>(path), nullptr);
    const AVFormatContext& context = file.context();
    FileClock clock;
    clock.timeCode = timeCodeIn(context.metadata);
    for (unsigned i = 0; clock.timeCode.empty() && i < context.nb_streams; ++i)
        clock.timeCode = timeCodeIn(context.streams[i]->metadata);
    if (const int video = file.bestVideo(); video >= 0) {
        const AVRational rate = context.streams[video]->avg_frame_rate;
        if (rate.num > 0 && rate.den > 0) clock.rate = fromAv(rate);
    }
    if (timeOrNone(context.start_time) != AV_NOPTS_VALUE) clock.startMicroseconds = context.start_time;
    return clock;
} catch (const MediaError&) {
    return {};
}

}  // namespace tumblewash::media
