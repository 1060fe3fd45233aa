// Writes what Kdenlive needs to know about each frei0r file: transitions/*.xml for mixers, effects/*.xml for
// filters. Run at build time; everything comes from the catalogue.
//   kdenlive_files FOLDER

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include "adapters/common/TransitionRenderer.h"

namespace {

using tumblewash::plugin::effectCatalogue;
using tumblewash::plugin::EffectDriver;
using tumblewash::plugin::EffectRecord;
using namespace tumblewash::adapters;

// A composition's position runs over its whole length, however often that changes: MLT counts -1 from the
// end. Only a switch hands such key frames through as they stand; of an animated knob's default Kdenlive
// reads one number.
constexpr const char* kRun =
    "    <parameter type=\"switch\" name=\"position\" default=\"0=0;-1=1\" min=\"0=0;-1=1\" "
    "max=\"0=1;-1=0\">\n"
    "        <name>Reverse</name>\n"
    "    </parameter>\n";

// An effect covers its clip from end to end and would start before a clip that is cropped, so its key frames
// are the user's; until there are some, the picture stands whole. Kdenlive shows the position in thousandths.
std::string keyFrames(const EffectRecord& effect) {
    const char* whole = pictureArrives(effect) ? "1" : "0";
    return std::string("    <parameter type=\"animated\" name=\"position\" default=\"") + whole +
           "\" min=\"0\" max=\"1000\" factor=\"1000\">\n"
           "        <name>Position</name>\n"
           "    </parameter>\n";
}

constexpr const char* kKnobs =
    "    <parameter type=\"list\" name=\"direction\" default=\"right\" paramlist=\"up;down;left;right\">\n"
    "        <paramlistdisplay>Up,Down,Left,Right</paramlistdisplay>\n"
    "        <name>Direction</name>\n"
    "    </parameter>\n"
    "    <parameter type=\"constant\" name=\"seed\" default=\"0\" min=\"0\" max=\"1000\" factor=\"1000\">\n"
    "        <name>Random field</name>\n"
    "    </parameter>\n";

std::string stemOf(const EffectRecord& effect) {
    std::string stem = std::string("tumblewash_") + effect.id;
    std::replace(stem.begin(), stem.end(), '-', '_');
    return stem;
}

std::string description(const EffectRecord& effect) {
    const std::string kind = joinsTwoClips(effect) ? "transition" : "effect";
    const std::string service = "frei0r." + stemOf(effect);
    // Short transitions are laid over a cut, not over the whole clip.
    const char* type = joinsTwoClips(effect) ? "short" : "video";
    std::string text = "<?xml version=\"1.0\"?>\n<!DOCTYPE kpartgui>\n";
    text += "<" + kind + " tag=\"" + service + "\" id=\"" + service + "\" type=\"" + type + "\">\n";
    text += std::string("    <name>") + effect.name + " (tumblewash)</name>\n";
    text += std::string("    <description>") + effect.sentence + "</description>\n";
    text += "    <author>the tumblewash developers</author>\n";
    text += joinsTwoClips(effect) ? kRun : keyFrames(effect);
    if (hasKnobs(effect)) text += kKnobs;
    return text + "</" + kind + ">\n";
}

void writeAll(const std::filesystem::path& folder) {
    for (const char* part : {"transitions", "effects"}) std::filesystem::create_directories(folder / part);
    for (const EffectRecord& effect : effectCatalogue()) {
        if (effect.driver == EffectDriver::none) continue;
        const auto file =
            folder / (joinsTwoClips(effect) ? "transitions" : "effects") / (stemOf(effect) + ".xml");
        std::ofstream out(file, std::ios::trunc);
        out << description(effect);
        if (!out.flush()) throw std::filesystem::filesystem_error("cannot be written", file, {});
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: kdenlive_files FOLDER\n", stderr);
        return 2;
    }
    try {
        writeAll(argv[1]);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "kdenlive_files: %s\n", problem.what());
        return 1;
    }
}
