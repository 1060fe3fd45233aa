#include "edit/DocumentKeys.h"

#include <nlohmann/json.hpp>

#include "edit/Effects.h"
#include "edit/Words.h"

namespace tumblewash::edit {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kTimePattern =
    "^([0-9]{1,9}f|([0-9]{1,9}(\\.[0-9]*)?|\\.[0-9]+)(ms|s)?|([0-9]{1,4}:)?[0-9]{1,4}:[0-9]{1,2}(\\.[0-9]*)?)"
    "$";
constexpr const char* kSizePattern = "^[1-9][0-9]{0,4}x[1-9][0-9]{0,4}$";
constexpr const char* kRatePattern = "^[0-9]{1,9}(\\.[0-9]*|/[0-9]{1,9})?$";
constexpr const char* kSpeedPattern = "^(0|1|0?\\.[0-9]+|[01]\\.[0-9]*)$";
constexpr const char* kLoudnessPattern = "^-[0-9]{1,2}(\\.[0-9]*)? ?([Ll][Uu][Ff][Ss])?$";
constexpr const char* kLevelPattern = "^[-+]?([0-9]{1,2}(\\.[0-9]*)?|\\.[0-9]+) ?([Dd][Bb])?$";
constexpr const char* kDuckPattern = "^[+]?([0-9]{1,2}(\\.[0-9]*)?|\\.[0-9]+) ?([Dd][Bb])?$";
constexpr const char* kTextPattern = "^[^\\u0000]*$";
constexpr const char* kFilePattern = "^[^\\u0000]+$";

Json text(const char* pattern) {
    return {{"type", "string"}, {"pattern", pattern}};
}

Json oneWord(const std::vector<std::string>& words) {
    return {{"type", "string"}, {"enum", words}};
}

Json whole(std::int64_t least, std::int64_t most) {
    return {{"type", "integer"}, {"minimum", least}, {"maximum", most}};
}

Json typeJson(KeyType type) {
    switch (type) {
        case KeyType::Version:
            return {{"const", kDocumentVersion}};
        case KeyType::Text:
            return text(kTextPattern);
        case KeyType::File:
            return text(kFilePattern);
        case KeyType::Flag:
            return {{"type", "boolean"}};
        case KeyType::Size:
            return text(kSizePattern);
        case KeyType::Rate:
            return text(kRatePattern);
        case KeyType::Time:
            return text(kTimePattern);
        case KeyType::Speed:
            return text(kSpeedPattern);
        case KeyType::Seed:
            return whole(0, 0xFFFFFFFFLL);
        case KeyType::Crf:
            return whole(0, 63);
        case KeyType::Effect:
            return oneWord(effectIds());
        case KeyType::Direction:
            return oneWord(wordsOf(directionWords()));
        case KeyType::Audio:
            return oneWord(wordsOf(audioWords()));
        case KeyType::Channels:
            return oneWord(wordsOf(channelWords()));
        case KeyType::Loudness:
            return text(kLoudnessPattern);
        case KeyType::Level:
            return text(kLevelPattern);
        case KeyType::Fit:
            return oneWord(wordsOf(fitWords()));
        case KeyType::StillMotion:
            return oneWord(wordsOf(stillMotionWords()));
        case KeyType::Preset:
            return oneWord(wordsOf(presetWords()));
        case KeyType::Codec:
            return oneWord(wordsOf(codecWords()));
        case KeyType::Depth:
            return {{"enum", {8, 10}}};
        case KeyType::Hdr:
            return oneWord(wordsOf(hdrWords()));
        case KeyType::ToneMap:
            return oneWord(wordsOf(toneMapWords()));
        case KeyType::CopyBodies:
            return oneWord(wordsOf(copyBodiesWords()));
        case KeyType::Count:
            return whole(0, std::int64_t{1} << 53);
        case KeyType::Modified:
            return text("^[0-9]{4,}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$");
        case KeyType::Head:
            return text("^[0-9a-f]{16}$");
        case KeyType::Output:
            return {{"$ref", "#/$defs/output"}};
        case KeyType::Duck:
            return text(kDuckPattern);
        case KeyType::Music:
            return {{"$ref", "#/$defs/music"}};
        case KeyType::Seam:
            return {{"$ref", "#/$defs/seam"}};
        case KeyType::Was:
            return {{"$ref", "#/$defs/was"}};
        case KeyType::Clips:
            return {{"type", "array"},
                    {"minItems", 1},
                    {"items", {{"oneOf", {{{"$ref", "#/$defs/media"}}, {{"$ref", "#/$defs/black"}}}}}}};
    }
    return {};
}

Json objectJson(std::span<const KeyRow> table, const std::vector<std::string>& required,
                const std::vector<std::string>& left = {}) {
    Json properties = Json::object();
    for (const KeyRow& row : table) {
        if (std::find(left.begin(), left.end(), row.key) != left.end()) continue;
        Json value = typeJson(row.type);
        value["description"] = row.help;
        properties[row.key] = std::move(value);
    }
    Json json{{"type", "object"}, {"properties", std::move(properties)}};
    if (!required.empty()) json["required"] = required;
    json["additionalProperties"] = false;
    return json;
}

}  // namespace

std::span<const KeyRow> editKeys() {
    static constexpr KeyRow kKeys[] = {
        {"tumblewash", KeyType::Version, "the version of the format"},
        {"title", KeyType::Text, "written into the movie as its title"},
        {"comment", KeyType::Text, "written into the movie as its comment"},
        {"chapters", KeyType::Flag, "a chapter at the start of each clip"},
        {"output", KeyType::Output, "size, rate and encoding of the movie"},
        {"sound", KeyType::Audio, "sound across seams that do not say otherwise; none is a silent movie"},
        {"channels", KeyType::Channels, "channels of the sound; keep is mono or 5.1 where all clips are"},
        {"loudness", KeyType::Loudness, "loudness to which every clip's sound is brought"},
        {"limiter", KeyType::Flag, "keep peaks of the sound below -1 dBTP"},
        {"music", KeyType::Music, "music under the whole movie"},
        {"still", KeyType::Time, "how long a still lasts"},
        {"hold", KeyType::Time, "instead of still: how long a still is shown between its seams"},
        {"stillMotion", KeyType::StillMotion, "how stills move while they are shown"},
        {"seams", KeyType::Seam, "defaults of seams, opening and closing"},
        {"opening", KeyType::Seam, "how the picture arrives at the start"},
        {"closing", KeyType::Seam, "how the picture leaves at the end"},
        {"clips", KeyType::Clips, "the clips in order"}};
    return kKeys;
}

std::span<const KeyRow> outputKeys() {
    static constexpr KeyRow kKeys[] = {
        {"size", KeyType::Size, "width x height; else the first clip's"},
        {"rate", KeyType::Rate, "frames per second; else the first clip's"},
        {"fit", KeyType::Fit, "how pictures of another shape are fitted to the size"},
        {"codec", KeyType::Codec, "picture codec; else the default of the file type"},
        {"depth", KeyType::Depth, "bits of each colour; else 8, and 10 where HDR is kept"},
        {"crf", KeyType::Crf, "quality of the encoder, lower is better"},
        {"preset", KeyType::Preset, "encoder speed; faster presets make larger files"},
        {"hdr", KeyType::Hdr, "HDR clips: auto, kept, or converted to SDR"},
        {"toneMap", KeyType::ToneMap, "how HDR becomes SDR"},
        {"alpha", KeyType::Flag, "keep transparency, in files that hold it"},
        {"copyBodies", KeyType::CopyBodies, "copy what lies between seams as it is coded; else auto"}};
    return kKeys;
}

std::span<const KeyRow> musicKeys() {
    static constexpr KeyRow kKeys[] = {
        {"file", KeyType::File, "a file with sound, from the document's folder"},
        {"gain", KeyType::Level, "its volume"},
        {"duck", KeyType::Duck, "how much it is lowered under clips with sound; else 12dB"}};
    return kKeys;
}

std::span<const KeyRow> seamKeys() {
    static constexpr KeyRow kKeys[] = {
        {"effect", KeyType::Effect, "the transition; none is a cut"},
        {"duration", KeyType::Time, "its length, made even; else as long as the clips allow, at most 1 s"},
        {"speed", KeyType::Speed, "instead of duration: 0 to 1 on the effect's own scale"},
        {"direction", KeyType::Direction, "the edge towards which a wash leaves"},
        {"seed", KeyType::Seed, "the wash's random pattern"},
        {"sound", KeyType::Audio, "sound across this seam"}};
    return kKeys;
}

std::span<const KeyRow> clipKeys() {
    static constexpr KeyRow kKeys[] = {
        {"file", KeyType::File, "a clip or still, from the document's folder, or a drawn scene"},
        {"black", KeyType::Time, "instead of a file: black and silence of this length"},
        {"in", KeyType::Time, "the first picture that is used, from the file's start"},
        {"out", KeyType::Time, "the end of what is used: the first picture that is not"},
        {"length", KeyType::Time, "how long this still lasts"},
        {"gain", KeyType::Level, "the volume of its sound"},
        {"title", KeyType::Text, "the name of its chapter; else the file's"},
        {"seam", KeyType::Seam, "the transition from the previous clip into this one"},
        {"was", KeyType::Was, "what the file was like when the edit was planned"}};
    return kKeys;
}

std::span<const KeyRow> wasKeys() {
    static constexpr KeyRow kKeys[] = {
        {"bytes", KeyType::Count, "size of the file"},
        {"modified", KeyType::Modified, "when it was last changed, UTC"},
        {"head", KeyType::Head, "64-bit FNV-1a of its first 64 KiB, hexadecimal"}};
    return kKeys;
}

std::vector<std::string> keysOf(std::span<const KeyRow> table) {
    std::vector<std::string> keys;
    for (const KeyRow& row : table) keys.emplace_back(row.key);
    return keys;
}

std::string documentSchema() {
    Json schema{{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                {"$id", "https://tumblewash.net/schemas/edit.schema.json"},
                {"title", "tumblewash edit"},
                {"description", "The clips of a movie, the seams between them, its sound and its output"}};
    schema.update(objectJson(editKeys(), {"tumblewash", "clips"}));
    schema["not"] = {{"required", {"still", "hold"}}};
    Json seam = objectJson(seamKeys(), {});
    seam["not"] = {{"required", {"duration", "speed"}}};
    schema["$defs"] = {
        {"output", objectJson(outputKeys(), {})},
        {"music", objectJson(musicKeys(), {"file"})},
        {"seam", std::move(seam)},
        {"media", objectJson(clipKeys(), {"file"}, {"black"})},
        {"black", objectJson(clipKeys(), {"black"}, {"file", "in", "out", "length", "gain", "was"})},
        {"was", objectJson(wasKeys(), {"bytes", "modified", "head"})}};
    return schema.dump(2) + "\n";
}

}  // namespace tumblewash::edit
