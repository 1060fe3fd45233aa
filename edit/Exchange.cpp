#include "edit/Exchange.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "edit/ConcatList.h"
#include "edit/Edl.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "edit/MediaFinder.h"
#include "edit/Otio.h"
#include "media/Quoting.h"

namespace tumblewash::edit {
namespace {

namespace fs = std::filesystem;

enum class Format { None, Otio, Edl, Concat };

struct Ending {
    const char* ending;
    Format format;
};
constexpr Ending kEndings[] = {{".otio", Format::Otio}, {".edl", Format::Edl}, {".ffconcat", Format::Concat}};

Format formatOf(const std::string& file) {
    std::string ending = fs::path(file).extension().string();
    for (char& c : ending)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    for (const Ending& row : kEndings)
        if (ending == row.ending) return row.format;
    return Format::None;
}

/// Facts of files, each asked once.
AskFile askOnce() {
    return
        [known = std::map<std::string, FileFacts>()](const std::string& file, media::FrameRate rate) mutable {
            if (const auto found = known.find(file); found != known.end()) return found->second;
            FileFacts facts;
            media::ReaderSettings settings;
            settings.rate = rate;
            settings.prefetch = 0;
            const media::Reader reader = media::Reader::open(file, settings);
            facts.still = reader.info().kind == media::MediaKind::still;
            facts.frames = reader.frameCount();
            return known[file] = facts;
        };
}

/// What no format of other programs has a place for, in words; empty where the edit has none of it.
std::string keptHere(const Edit& edit) {
    std::vector<std::string> things;
    if (edit.music) things.emplace_back("music");
    if (edit.loudness) things.emplace_back("loudness");
    if (std::any_of(edit.clips.begin(), edit.clips.end(),
                    [](const EditClip& c) { return c.gain.has_value(); }))
        things.emplace_back("gains of clips");
    if (edit.stillMotion != StillMotion::none) things.emplace_back("motion of stills");
    return fmt::format("{}", fmt::join(things, ", "));
}

}  // namespace

bool isExchangeName(const std::string& name) {
    return formatOf(name) != Format::None;
}

std::string exchangeEndings() {
    std::string words;
    for (const Ending& row : kEndings) words += (words.empty() ? "" : ", ") + std::string(row.ending);
    return words;
}

Edit readExchange(const std::string& file, const ExchangeSettings& settings,
                  std::vector<std::string>& remarks) {
    const std::string text = readDocument(file);
    const Format format = formatOf(file);
    if (format == Format::Concat) return readConcat(text, file, settings, remarks);
    const fs::path folder = fs::path(file).parent_path();
    MediaFinder finder(settings.media, folder.string());
    const CutList list = format == Format::Otio ? readOtio(text, file, settings, finder, remarks)
                                                : readEdl(text, file, settings, finder, remarks);
    return editOf(list, askOnce(), remarks);
}

std::string exchangeText(const std::string& file, const Edit& edit, const MovieRequest& request,
                         std::vector<std::string>& remarks) {
    const CutList list = cutListOf(edit, request);
    if (const std::string things = keptHere(edit); !things.empty())
        remarks.push_back(fmt::format("{}: only an .edit.json keeps that", things));
    switch (formatOf(file)) {
        case Format::Otio:
            return otioText(list, remarks);
        case Format::Edl:
            return edlText(list, remarks);
        case Format::Concat:
            return concatText(list, fs::path(file).parent_path().string(), remarks);
        case Format::None:
            break;
    }
    throw Refusal(Problem::BadRequest,
                  fmt::format("{}: use one of {}", media::printable(file), exchangeEndings()));
}

}  // namespace tumblewash::edit
