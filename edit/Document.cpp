#include "edit/Document.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "edit/Decibels.h"
#include "edit/DocumentKeys.h"
#include "edit/Effects.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "edit/Nearest.h"
#include "edit/Words.h"
#include "media/Quoting.h"

namespace tumblewash::edit {

using host::AudioPolicy;

namespace {

/// The document that is being read, for refusals.
struct Source {
    const std::string& text;
    const std::string& name;

    [[noreturn]] void refuse(const std::string& pointer, const std::string& words) const {
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}:{}: {}: {}", media::quotedName(name), lineOf(text, pointer),
                                  pointer.empty() ? "/" : media::printable(pointer), words));
    }
};

/// One object of the document, whose keys the table names.
class Fields {
  public:
    Fields(const Source& source, std::string pointer, const Json& json, std::span<const KeyRow> table)
        : source_(source), pointer_(std::move(pointer)), json_(json) {
        if (!json.is_object()) source.refuse(pointer_, "give an object, { ... }");
        const std::vector<std::string> known = keysOf(table);
        for (const auto& [key, value] : json.items())
            if (std::find(known.begin(), known.end(), key) == known.end())
                source.refuse(pointerTo(pointer_, key), "no such key" + didYouMean(key, known));
    }

    const Json* find(const char* key) const {
        const auto found = json_.find(key);
        return found == json_.end() ? nullptr : &*found;
    }
    std::string at(const char* key) const { return pointerTo(pointer_, key); }
    [[noreturn]] void refuse(const char* key, const std::string& words) const {
        source_.refuse(*key == '\0' ? pointer_ : at(key), words);
    }

    std::optional<std::string> text(const char* key) const {
        const Json* value = find(key);
        if (!value) return std::nullopt;
        if (!value->is_string()) refuse(key, "give a text in double quotes");
        auto words = value->get<std::string>();
        if (words.find('\0') != std::string::npos) refuse(key, "a text cannot contain a null character");
        return words;
    }

    /// The value that `parse` makes of a text; its refusals get the place.
    template <class Parse>
    auto parsed(const char* key, const char* example, Parse parse) const
        -> std::optional<Written<decltype(parse(std::string()))>> {
        const Json* value = find(key);
        if (!value) return std::nullopt;
        if (!value->is_string()) refuse(key, fmt::format("write {}", example));
        const auto words = *text(key);
        try {
            return Written<decltype(parse(words))>{parse(words), words};
        } catch (const Refusal& problem) {
            refuse(key, problem.what());
        }
    }

    std::optional<EditTime> time(const char* key) const {
        std::optional<EditTime> time = parsed(key, "\"5s\" or \"125f\"", parseTime);
        return time;
    }

    /// A length that is not nothing.
    std::optional<EditTime> length(const char* key) const {
        std::optional<EditTime> length = time(key);
        if (length && length->value.count == 0) refuse(key, "give a time above 0");
        return length;
    }

    std::optional<std::int64_t> whole(const char* key, std::int64_t least, std::int64_t most) const {
        const Json* value = find(key);
        if (!value) return std::nullopt;
        const std::string wanted = fmt::format("give a whole number from {} to {}", least, most);
        if (value->is_number_float()) {
            const double number = value->get<double>();
            if (number != std::floor(number) || number < static_cast<double>(least) ||
                number > static_cast<double>(most))
                refuse(key, wanted);
            return static_cast<std::int64_t>(number);
        }
        if (!value->is_number_integer()) refuse(key, wanted);
        if (value->is_number_unsigned() && value->get<std::uint64_t>() > static_cast<std::uint64_t>(most))
            refuse(key, wanted);
        const auto number = value->get<std::int64_t>();
        if (number < least || number > most) refuse(key, wanted);
        return number;
    }

    std::optional<bool> flag(const char* key) const {
        const Json* value = find(key);
        if (!value) return std::nullopt;
        if (!value->is_boolean()) refuse(key, "give true or false");
        return value->get<bool>();
    }

    template <class Value>
    std::optional<Value> word(const char* key, std::span<const Word<Value>> table) const {
        const std::optional<std::string> words = text(key);
        if (!words) return std::nullopt;
        const std::optional<Value> value = meaningOf(table, *words);
        if (!value) {
            const std::vector<std::string> known = wordsOf(table);
            refuse(key, fmt::format("choose one of {}{}", fmt::join(known, ", "), didYouMean(*words, known)));
        }
        return value;
    }

    std::optional<std::string> effect(const char* key) const {
        std::optional<std::string> id = text(key);
        const std::vector<std::string> ids = effectIds();
        if (id && std::find(ids.begin(), ids.end(), *id) == ids.end())
            refuse(key, fmt::format("no such effect{}; tumblewash list shows all", didYouMean(*id, ids)));
        return id;
    }

    Fields inner(const char* key, std::span<const KeyRow> table) const {
        return {source_, at(key), *find(key), table};
    }

    const Source& source() const { return source_; }

  private:
    const Source& source_;
    std::string pointer_;
    const Json& json_;
};

float parseSpeed(const std::string& words) {
    std::int64_t micros = 0;
    if (!parseDecimal(words, micros) || micros > 1000000)
        throw Refusal(Problem::BadRequest, "give a number from 0 to 1 in quotes, e.g. \"0.5\"");
    return static_cast<float>(static_cast<double>(micros) / 1e6);
}

EditSeam readSeam(const Fields& in) {
    EditSeam seam;
    seam.effect = in.effect("effect");
    seam.duration = in.length("duration");
    if (const auto speed = in.parsed("speed", "\"0.5\"", parseSpeed)) seam.speed = *speed;
    if (seam.duration && seam.speed) in.refuse("speed", "duration and speed both set the length; give one");
    seam.direction = in.word("direction", directionWords());
    if (const auto seed = in.whole("seed", 0, 0xFFFFFFFFLL)) seam.seed = static_cast<std::uint32_t>(*seed);
    seam.sound = in.word("sound", audioWords());
    return seam;
}

std::optional<EditSeam> seamAt(const Fields& in, const char* key) {
    if (!in.find(key)) return std::nullopt;
    return readSeam(in.inner(key, seamKeys()));
}

std::optional<int> depthAt(const Fields& in) {
    const std::optional<std::int64_t> depth = in.whole("depth", 8, 10);
    if (!depth) return std::nullopt;
    if (*depth == 9) in.refuse("depth", "give 8 or 10");
    return static_cast<int>(*depth);
}

EditOutput readOutput(const Fields& in) {
    EditOutput output;
    if (const auto size = in.parsed("size", "\"1280x720\"", parseSize)) {
        if (size->words != describe(size->value))
            in.refuse("size", fmt::format("write \"{}\"", describe(size->value)));
        output.size = size->value;
    }
    output.rate = in.parsed("rate", "\"25\" or \"30000/1001\"", parseRate);
    output.fit = in.word("fit", fitWords());
    if (const auto crf = in.whole("crf", 0, 63)) output.crf = static_cast<int>(*crf);
    if (const auto preset = in.word("preset", presetWords())) output.preset = *preset;
    output.colour.codec = in.word("codec", codecWords());
    output.colour.depth = depthAt(in);
    output.colour.hdr = in.word("hdr", hdrWords());
    output.colour.toneMap = in.word("toneMap", toneMapWords());
    output.colour.alpha = in.flag("alpha").value_or(false);
    output.copyBodies = in.word("copyBodies", copyBodiesWords());
    return output;
}

EditMusic readMusic(const Fields& in) {
    EditMusic music;
    if (!in.find("file")) in.refuse("", "file is missing");
    music.file = *in.text("file");
    if (music.file.empty()) in.refuse("file", "the name is empty");
    if (const auto gain = in.parsed("gain", "\"-6dB\"", parseDecibels)) music.gain = *gain;
    if (const auto duck = in.parsed("duck", "\"12dB\"", parseDecibels)) music.duck = *duck;
    if (music.duck.value < 0) in.refuse("duck", "give 0dB to 24dB");
    return music;
}

Json musicJson(const EditMusic& music) {
    if (!media::isUtf8(music.file))
        throw Refusal(Problem::BadRequest, media::quotedName(music.file) +
                                               ": a document holds names in UTF-8 only; rename the file");
    const auto words = [](const Written<double>& level) {
        return level.words.empty() ? decibelWords(level.value) : level.words;
    };
    const EditMusic usual;
    Json json{{"file", music.file}};
    if (music.gain != usual.gain) json["gain"] = words(music.gain);
    if (music.duck != usual.duck) json["duck"] = words(music.duck);
    return json;
}

bool allOf(const std::string& text, const char* pattern) {
    const std::string_view shape(pattern);
    if (text.size() != shape.size()) return false;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const char c = text[i];
        const bool digit = c >= '0' && c <= '9';
        if (shape[i] == '0' ? !digit : shape[i] == 'x' ? !(digit || (c >= 'a' && c <= 'f')) : c != shape[i])
            return false;
    }
    return true;
}

FileMark readWas(const Fields& in) {
    for (const KeyRow& row : wasKeys())
        if (!in.find(row.key)) in.refuse("", fmt::format("{} is missing", row.key));
    FileMark was;
    was.bytes = static_cast<std::uint64_t>(*in.whole("bytes", 0, std::int64_t{1} << 53));
    was.modified = *in.text("modified");
    if (!allOf(was.modified, "0000-00-00T00:00:00Z"))
        in.refuse("modified", "write the time as \"2026-01-31T12:00:00Z\"");
    was.head = *in.text("head");
    if (!allOf(was.head, "xxxxxxxxxxxxxxxx")) in.refuse("head", "give 16 hexadecimal digits");
    return was;
}

EditClip readClip(const Fields& in, bool first) {
    EditClip clip;
    const bool black = in.find("black") != nullptr;
    if (black == (in.find("file") != nullptr)) in.refuse("", "give either a file or black");
    if (black) {
        for (const char* key : {"in", "out", "length", "gain", "was"})
            if (in.find(key)) in.refuse(key, "black has none; its length is the value of black");
        clip.length = in.length("black");
    } else {
        clip.file = *in.text("file");
        if (clip.file.empty()) in.refuse("file", "the name is empty");
        clip.in = in.time("in");
        clip.out = in.length("out");
        clip.length = in.length("length");
        clip.gain = in.parsed("gain", "\"-6dB\"", parseDecibels);
        if (in.find("was")) clip.was = readWas(in.inner("was", wasKeys()));
    }
    clip.title = in.text("title");
    clip.seam = seamAt(in, "seam");
    if (first && clip.seam) in.refuse("seam", "no clip comes before the first; use opening");
    return clip;
}

Json seamJson(const EditSeam& seam) {
    Json json = Json::object();
    if (seam.effect) json["effect"] = *seam.effect;
    if (seam.duration) json["duration"] = wordsOf(*seam.duration);
    if (seam.speed)
        json["speed"] = seam.speed->words.empty() ? fmt::format("{}", seam.speed->value) : seam.speed->words;
    if (seam.direction) json["direction"] = wordFor(directionWords(), *seam.direction);
    if (seam.seed) json["seed"] = *seam.seed;
    if (seam.sound) json["sound"] = wordFor(audioWords(), *seam.sound);
    return json;
}

void putSeam(Json& json, const char* key, const std::optional<EditSeam>& seam) {
    if (seam) json[key] = seamJson(*seam);
}

Json outputJson(const EditOutput& output) {
    Json json = Json::object();
    if (output.size) json["size"] = describe(*output.size);
    if (output.rate)
        json["rate"] = output.rate->words.empty() ? rateWords(output.rate->value) : output.rate->words;
    if (output.fit) json["fit"] = wordFor(fitWords(), *output.fit);
    const media::ColourWishes& colour = output.colour;
    if (colour.codec) json["codec"] = wordFor(codecWords(), *colour.codec);
    if (colour.depth) json["depth"] = *colour.depth;
    if (output.crf) json["crf"] = *output.crf;
    if (output.preset) json["preset"] = *output.preset;
    if (colour.hdr) json["hdr"] = wordFor(hdrWords(), *colour.hdr);
    if (colour.toneMap) json["toneMap"] = wordFor(toneMapWords(), *colour.toneMap);
    if (colour.alpha) json["alpha"] = true;
    if (output.copyBodies) json["copyBodies"] = wordFor(copyBodiesWords(), *output.copyBodies);
    return json;
}

Json clipJson(const EditClip& clip) {
    Json json = Json::object();
    if (clip.black())
        json["black"] = wordsOf(clip.length.value_or(EditTime{}));
    else
        json["file"] = clip.file;
    if (clip.in) json["in"] = wordsOf(*clip.in);
    if (clip.out) json["out"] = wordsOf(*clip.out);
    if (clip.length && !clip.black()) json["length"] = wordsOf(*clip.length);
    if (clip.gain)
        json["gain"] = clip.gain->words.empty() ? decibelWords(clip.gain->value) : clip.gain->words;
    if (clip.title) json["title"] = *clip.title;
    putSeam(json, "seam", clip.seam);
    if (clip.was)
        json["was"] = {
            {"bytes", clip.was->bytes}, {"modified", clip.was->modified}, {"head", clip.was->head}};
    return json;
}

}  // namespace

Edit readEdit(const std::string& text, const std::string& name) {
    const Json json = parseJson(text, name);
    const Source source{text, name};
    if (!json.is_object()) source.refuse("", "an edit is an object, { \"tumblewash\": 1, ... }");
    const auto version = json.find("tumblewash");
    if (version == json.end())
        source.refuse("", "this is not an edit: \"tumblewash\", the format version, is missing");
    if (version->is_number() && version->get<double>() > kDocumentVersion)
        source.refuse("/tumblewash", fmt::format("made by a newer tumblewash ({}), this one reads {}",
                                                 version->dump(), kDocumentVersion));
    const Fields in(source, "", json, editKeys());
    if (in.whole("tumblewash", 1, kDocumentVersion) != kDocumentVersion) in.refuse("tumblewash", "give 1");

    Edit edit;
    edit.folder = std::filesystem::path(name).parent_path().string();
    edit.title = in.text("title");
    edit.comment = in.text("comment");
    edit.chapters = in.flag("chapters").value_or(false);
    if (in.find("output")) edit.output = readOutput(in.inner("output", outputKeys()));
    edit.sound = in.word("sound", audioWords()).value_or(edit.sound);
    edit.channels = in.word("channels", channelWords()).value_or(edit.channels);
    edit.loudness = in.parsed("loudness", "\"-16LUFS\"", parseLoudness);
    edit.limiter = in.flag("limiter").value_or(true);
    if (const auto still = in.length("still")) edit.still = *still;
    edit.hold = in.length("hold");
    if (edit.hold && in.find("still"))
        in.refuse("hold", "still and hold both say how long stills last; give one");
    edit.stillMotion = in.word("stillMotion", stillMotionWords()).value_or(edit.stillMotion);
    if (in.find("music")) edit.music = readMusic(in.inner("music", musicKeys()));
    if (in.find("seams")) edit.seams = readSeam(in.inner("seams", seamKeys()));
    edit.opening = seamAt(in, "opening");
    edit.closing = seamAt(in, "closing");
    const Json* clips = in.find("clips");
    if (!clips || !clips->is_array() || clips->empty())
        in.refuse(clips ? "clips" : "", "give the clips as an array, \"clips\": [ ... ], one or more");
    edit.clips.reserve(clips->size());
    for (std::size_t i = 0; i < clips->size(); ++i) {
        const std::string pointer = pointerTo("/clips", std::to_string(i));
        edit.clips.push_back(readClip({source, pointer, (*clips)[i], clipKeys()}, i == 0));
    }
    return edit;
}

std::string editJson(const Edit& edit) {
    Json json{{"tumblewash", kDocumentVersion}};
    if (edit.title) json["title"] = *edit.title;
    if (edit.comment) json["comment"] = *edit.comment;
    if (edit.chapters) json["chapters"] = true;
    if (edit.output != EditOutput()) json["output"] = outputJson(edit.output);
    const Edit usual;
    if (edit.sound != usual.sound) json["sound"] = wordFor(audioWords(), edit.sound);
    if (edit.channels != usual.channels) json["channels"] = wordFor(channelWords(), edit.channels);
    if (edit.loudness)
        json["loudness"] =
            edit.loudness->words.empty() ? loudnessWords(edit.loudness->value) : edit.loudness->words;
    if (!edit.limiter) json["limiter"] = false;
    if (edit.music) json["music"] = musicJson(*edit.music);
    if (!edit.hold && (edit.still.value != usual.still.value || !edit.still.words.empty()))
        json["still"] = wordsOf(edit.still);
    if (edit.hold) json["hold"] = wordsOf(*edit.hold);
    if (edit.stillMotion != usual.stillMotion)
        json["stillMotion"] = wordFor(stillMotionWords(), edit.stillMotion);
    if (edit.seams != EditSeam()) json["seams"] = seamJson(edit.seams);
    putSeam(json, "opening", edit.opening);
    putSeam(json, "closing", edit.closing);
    json["clips"] = Json::array();
    for (const EditClip& clip : edit.clips) {
        if (!media::isUtf8(clip.file))
            throw Refusal(Problem::BadRequest, media::quotedName(clip.file) +
                                                   ": a document holds names in UTF-8 only; rename the file");
        json["clips"].push_back(clipJson(clip));
    }
    try {
        return json.dump(2) + "\n";
    } catch (const Json::type_error&) {
        throw Refusal(Problem::BadRequest, "a title or comment is not valid UTF-8");
    }
}

bool isDocumentName(const std::string& name) {
    constexpr std::string_view kEnding = ".edit.json";
    return name.size() > kEnding.size() &&
           name.compare(name.size() - kEnding.size(), kEnding.size(), kEnding) == 0;
}

}  // namespace tumblewash::edit
