#include "farm/PlanJson.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <span>

#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/JsonText.h"
#include "edit/Words.h"
#include "media/Fingerprint.h"
#include "media/Quoting.h"

namespace tumblewash::farm {

using edit::Json;
using edit::Problem;
using edit::Refusal;
using edit::Word;

namespace {

constexpr int kPlanVersion = 1;
constexpr const char* kVersionKey = "tumblewash-plan";

std::span<const Word<media::FieldOrder>> fieldWords() {
    static constexpr Word<media::FieldOrder> kWords[] = {{"progressive", media::FieldOrder::progressive},
                                                         {"top-first", media::FieldOrder::topFirst},
                                                         {"bottom-first", media::FieldOrder::bottomFirst}};
    return kWords;
}

std::span<const Word<media::Transfer>> transferWords() {
    static constexpr Word<media::Transfer> kWords[] = {
        {"sdr", media::Transfer::sdr}, {"hlg", media::Transfer::hlg}, {"pq", media::Transfer::pq}};
    return kWords;
}

std::span<const Word<media::ColourMatrix>> matrixWords() {
    static constexpr Word<media::ColourMatrix> kWords[] = {{"bt601", media::ColourMatrix::bt601},
                                                           {"bt709", media::ColourMatrix::bt709},
                                                           {"bt2020", media::ColourMatrix::bt2020}};
    return kWords;
}

std::span<const Word<media::PixelLayout>> layoutWords() {
    static constexpr Word<media::PixelLayout> kWords[] = {{"argb", media::PixelLayout::argb},
                                                          {"yuv420", media::PixelLayout::yuv420},
                                                          {"yuv420p10", media::PixelLayout::yuv420p10},
                                                          {"deep", media::PixelLayout::deep}};
    return kWords;
}

/// What a word of the document means; another one is as much a fault as a missing key.
template <class Value>
Value meant(std::span<const Word<Value>> table, const Json& json) {
    const auto value = edit::meaningOf(table, json.get<std::string>());
    if (!value) throw std::invalid_argument("unknown word " + json.get<std::string>());
    return *value;
}

Json colourJson(const media::MovieColour& colour) {
    Json json{{"transfer", edit::wordFor(transferWords(), colour.transfer)},
              {"depth", colour.depth},
              {"matrix", edit::wordFor(matrixWords(), colour.matrix)},
              {"codec", media::factsOf(colour.codec).word},
              {"chroma-top-left", colour.chromaTopLeft}};
    if (colour.mastering)
        json["mastering"] = {{"chromaticity", colour.mastering->chromaticity},
                             {"has-chromaticity", colour.mastering->hasChromaticity},
                             {"max-nits", colour.mastering->maxNits},
                             {"min-nits", colour.mastering->minNits}};
    if (colour.light) json["light"] = {colour.light->maxContent, colour.light->maxAverage};
    return json;
}

media::MovieColour readColour(const Json& json) {
    media::MovieColour colour;
    colour.transfer = meant(transferWords(), json.at("transfer"));
    colour.depth = json.at("depth").get<int>();
    colour.matrix = meant(matrixWords(), json.at("matrix"));
    colour.codec = meant(edit::codecWords(), json.at("codec"));
    colour.chromaTopLeft = json.at("chroma-top-left").get<bool>();
    if (json.contains("mastering")) {
        const Json& from = json.at("mastering");
        media::MasteringDisplay display;
        display.chromaticity = from.at("chromaticity").get<decltype(display.chromaticity)>();
        display.hasChromaticity = from.at("has-chromaticity").get<bool>();
        display.maxNits = from.at("max-nits").get<double>();
        display.minNits = from.at("min-nits").get<double>();
        colour.mastering = display;
    }
    if (json.contains("light"))
        colour.light = {json.at("light").at(0).get<int>(), json.at("light").at(1).get<int>()};
    return colour;
}

/// What was settled, apart from the edit.
Json settledJson(const FarmPlan& plan) {
    Json json{{"movie",
               {{"kind", plan.kind},
                {"frames", plan.frames},
                {"size", edit::describe(plan.size)},
                {"rate", edit::rateWords(plan.rate)},
                {"fields", edit::wordFor(fieldWords(), plan.fields)},
                {"sound", plan.sound},
                {"sample-rate", plan.sampleRate},
                {"channels", plan.channels},
                {"encoder-threads", plan.threads},
                {"colour", colourJson(plan.colour)}}},
              {"reading",
               {{"layout", edit::wordFor(layoutWords(), plan.reader.layout)},
                {"matrix", edit::wordFor(matrixWords(), plan.reader.matrix)},
                {"transfer", edit::wordFor(transferWords(), plan.reader.transfer)},
                {"tone-map", edit::wordFor(edit::toneMapWords(), plan.reader.toneMap)},
                {"alpha", plan.reader.keepAlpha},
                {"fields", plan.reader.keepFields}}}};
    json["clips"] = Json::array();
    for (const KnownClip& clip : plan.clips)
        json["clips"].push_back(
            {{"in", clip.in}, {"frames", clip.frames}, {"still", clip.still}, {"sound", clip.sound}});
    if (plan.music)
        json["music"] = {
            {"bytes", plan.music->bytes}, {"modified", plan.music->modified}, {"head", plan.music->head}};
    json["seams"] = plan.seams;
    json["parts"] = Json::array();
    for (const PartBounds& part : plan.parts)
        json["parts"].push_back({{"first", part.first}, {"frames", part.frames}});
    return json;
}

Json editWithMarks(const FarmPlan& plan) {
    return Json::parse(edit::editJson(plan.edit));
}

/// The document without its own fingerprint.
Json bodyOf(const FarmPlan& plan, PlanPrints& prints) {
    Json edit = editWithMarks(plan);
    Json bare = edit;
    Json marks = Json::array();
    for (Json& clip : bare["clips"]) {
        if (clip.contains("was")) marks.push_back(clip["was"]);
        clip.erase("was");
    }
    const Json settled = settledJson(plan);
    prints.edit = media::sha256Of(bare.dump());
    prints.inputs = media::sha256Of(marks.dump());
    prints.settings = media::sha256Of(settled.dump());
    Json body{{kVersionKey, kPlanVersion},
              {"program", plan.program},
              {"hashes", {{"edit", prints.edit}, {"inputs", prints.inputs}, {"settings", prints.settings}}}};
    body.update(settled);
    body["edit"] = std::move(edit);
    prints.whole = media::sha256Of(body.dump());
    return body;
}

void readSettled(const Json& json, FarmPlan& plan) {
    const Json& movie = json.at("movie");
    plan.kind = movie.at("kind").get<std::string>();
    plan.frames = movie.at("frames").get<std::int64_t>();
    plan.size = edit::parseSize(movie.at("size").get<std::string>());
    plan.rate = edit::parseRate(movie.at("rate").get<std::string>());
    plan.fields = meant(fieldWords(), movie.at("fields"));
    plan.sound = movie.at("sound").get<bool>();
    plan.sampleRate = movie.at("sample-rate").get<int>();
    plan.channels = movie.at("channels").get<int>();
    plan.threads = movie.at("encoder-threads").get<int>();
    plan.colour = readColour(movie.at("colour"));
    const Json& reading = json.at("reading");
    plan.reader.layout = meant(layoutWords(), reading.at("layout"));
    plan.reader.matrix = meant(matrixWords(), reading.at("matrix"));
    plan.reader.transfer = meant(transferWords(), reading.at("transfer"));
    plan.reader.toneMap = meant(edit::toneMapWords(), reading.at("tone-map"));
    plan.reader.keepAlpha = reading.at("alpha").get<bool>();
    plan.reader.keepFields = reading.at("fields").get<bool>();
    for (const Json& clip : json.at("clips"))
        plan.clips.push_back({clip.at("in").get<std::int64_t>(), clip.at("frames").get<std::int64_t>(),
                              clip.at("still").get<bool>(), clip.at("sound").get<bool>()});
    if (json.contains("music")) {
        const Json& from = json.at("music");
        edit::FileMark mark;
        from.at("bytes").get_to(mark.bytes);
        from.at("modified").get_to(mark.modified);
        from.at("head").get_to(mark.head);
        plan.music = mark;
    }
    plan.seams = json.at("seams").get<std::vector<std::int64_t>>();
    for (const Json& part : json.at("parts"))
        plan.parts.push_back({part.at("first").get<std::int64_t>(), part.at("frames").get<std::int64_t>()});
}

/// Sums of a few thousand counts up to this one do not overflow; it is a thousand years of film.
constexpr std::int64_t kMostFrames = std::int64_t{1} << 40;

bool isCount(std::int64_t value) {
    return value >= 0 && value <= kMostFrames;
}

/// What holds for every plan, however it came about.
void checkWhole(const FarmPlan& plan) {
    bool counts = isCount(plan.frames);
    for (const KnownClip& clip : plan.clips) counts = counts && isCount(clip.in) && isCount(clip.frames);
    for (const std::int64_t seam : plan.seams) counts = counts && isCount(seam);
    for (const PartBounds& part : plan.parts) counts = counts && isCount(part.frames);
    if (!counts) throw std::invalid_argument("a count of frames is out of range");
    std::int64_t next = 0;
    for (const PartBounds& part : plan.parts) {
        if (part.first != next || part.frames < 1)
            throw std::invalid_argument("its parts do not follow each other");
        next += part.frames;
    }
    if (next != plan.frames) throw std::invalid_argument("its parts do not make up the movie");
    const std::size_t seams =
        plan.edit.clips.size() - 1 + (plan.edit.opening ? 1U : 0U) + (plan.edit.closing ? 1U : 0U);
    if (plan.clips.size() != plan.edit.clips.size() || plan.seams.size() != seams)
        throw std::invalid_argument("it does not describe all clips and seams of its edit");
    if (media::movieKindOf("movie" + plan.kind) == nullptr)
        throw std::invalid_argument("its kind of file is unknown");
    if (plan.threads < 1 || plan.threads > 64)
        throw std::invalid_argument("its encoder threads go from 1 to 64");
}

}  // namespace

std::string planText(const FarmPlan& plan) {
    PlanPrints prints;
    const Json body = bodyOf(plan, prints);
    Json json{{kVersionKey, kPlanVersion}, {"hash", prints.whole}};
    json.update(body);
    return json.dump(2) + "\n";
}

PlanPrints printsOf(const FarmPlan& plan) {
    PlanPrints prints;
    bodyOf(plan, prints);
    return prints;
}

FarmPlan readPlan(const std::string& text, const std::string& name) {
    const auto refuse = [&](const std::string& words) {
        throw Refusal(Problem::BadRequest, media::quotedName(name) + ": " + words);
    };
    Json json = edit::parseJson(text, name);
    if (!json.is_object() || !json.contains(kVersionKey) || !json[kVersionKey].is_number_integer())
        refuse("is not a plan of parts; make one with tumblewash plan EDIT --parts N -o NAME.plan.json");
    if (json[kVersionKey].get<std::int64_t>() != kPlanVersion)
        refuse(fmt::format("made by a newer tumblewash ({}), this one reads {}", json[kVersionKey].dump(),
                           kPlanVersion));
    const std::string said =
        json.contains("hash") && json["hash"].is_string() ? json["hash"].get<std::string>() : "";
    Json body = json;
    body.erase("hash");
    constexpr const char* kByHand = "was changed by hand; change the edit and make the plan again";
    if (media::sha256Of(body.dump()) != said) refuse(kByHand);
    try {
        FarmPlan plan;
        plan.program = json.at("program").get<std::string>();
        plan.edit = edit::readEdit(json.at("edit").dump(), name);
        readSettled(json, plan);
        checkWhole(plan);
        if (printsOf(plan).whole != said) refuse(kByHand);
        return plan;
    } catch (const Json::exception& problem) {
        refuse(fmt::format("is not a plan written by this program ({})", problem.what()));
    } catch (const std::invalid_argument& problem) {
        refuse(fmt::format("is not a plan written by this program: {}", problem.what()));
    }
    return {};
}

}  // namespace tumblewash::farm
