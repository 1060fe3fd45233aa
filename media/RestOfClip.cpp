#include "media/detail/RestOfClip.h"

#include <cstring>

namespace tumblewash::media {

namespace {

std::string counted(int n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

bool hasTimeCode(const AVDictionary* metadata) {
    return av_dict_get(metadata, "timecode", nullptr, 0) != nullptr;
}

}  // namespace

std::string channelsWord(const AVChannelLayout& layout) {
    char name[64] = {};
    const int length = av_channel_layout_describe(&layout, name, sizeof name);
    if (length > 0 && std::strchr(name, '+') == nullptr && std::strchr(name, ' ') == nullptr) return name;
    return std::to_string(layout.nb_channels) + " channels";
}

std::vector<std::string> restOfClip(const AVFormatContext& file, int video, int audio) {
    int videos = 0, sounds = 0, subtitles = 0, covers = 0;
    bool timeCode = hasTimeCode(file.metadata);
    for (unsigned i = 0; i < file.nb_streams; ++i) {
        const AVStream& stream = *file.streams[i];
        timeCode = timeCode || hasTimeCode(stream.metadata) ||
                   stream.codecpar->codec_tag == MKTAG('t', 'm', 'c', 'd');
        if (static_cast<int>(i) == video || static_cast<int>(i) == audio) continue;
        const bool cover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        switch (stream.codecpar->codec_type) {
            case AVMEDIA_TYPE_VIDEO:
                ++(cover ? covers : videos);
                break;
            case AVMEDIA_TYPE_AUDIO:
                ++sounds;
                break;
            case AVMEDIA_TYPE_SUBTITLE:
                ++subtitles;
                break;
            default:
                break;
        }
    }
    std::vector<std::string> out;
    if (videos > 0) out.push_back(counted(videos, "more picture track", "more picture tracks"));
    if (sounds > 0) out.push_back(counted(sounds, "more sound track", "more sound tracks"));
    if (subtitles > 0) out.push_back(counted(subtitles, "subtitle track", "subtitle tracks"));
    if (file.nb_chapters > 0)
        out.push_back(counted(static_cast<int>(file.nb_chapters), "chapter mark", "chapter marks"));
    if (timeCode) out.push_back("the time code");
    if (covers > 0) out.push_back("the cover picture");
    return out;
}

}  // namespace tumblewash::media
