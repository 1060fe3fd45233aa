#include "edit/Words.h"

namespace tumblewash::edit {

using host::AudioPolicy;
using media::Codec;
using media::Fit;
using media::HdrPolicy;
using media::ToneMap;

std::span<const Word<HYPluginDirection>> directionWords() {
    static constexpr Word<HYPluginDirection> kWords[] = {{"up", kPluginDirectionUp},
                                                         {"down", kPluginDirectionDown},
                                                         {"left", kPluginDirectionLeft},
                                                         {"right", kPluginDirectionRight}};
    return kWords;
}

std::span<const Word<AudioPolicy>> audioWords() {
    static constexpr Word<AudioPolicy> kWords[] = {{"natural", AudioPolicy::natural},
                                                   {"equal-power", AudioPolicy::equalPower},
                                                   {"plugin", AudioPolicy::plugin},
                                                   {"none", AudioPolicy::none}};
    return kWords;
}

std::span<const Word<ChannelChoice>> channelWords() {
    static constexpr Word<ChannelChoice> kWords[] = {
        {"keep", ChannelChoice::keep}, {"stereo", ChannelChoice::stereo}, {"mono", ChannelChoice::mono}};
    return kWords;
}

std::span<const Word<Fit>> fitWords() {
    static constexpr Word<Fit> kWords[] = {
        {"contain", Fit::contain}, {"blur", Fit::blur}, {"cover", Fit::cover}, {"stretch", Fit::stretch}};
    return kWords;
}

std::span<const Word<StillMotion>> stillMotionWords() {
    static constexpr Word<StillMotion> kWords[] = {
        {"none", StillMotion::none}, {"zoom", StillMotion::zoom}, {"pan", StillMotion::pan}};
    return kWords;
}

std::span<const Word<HdrPolicy>> hdrWords() {
    static constexpr Word<HdrPolicy> kWords[] = {
        {"auto", HdrPolicy::automatic}, {"keep", HdrPolicy::keep}, {"sdr", HdrPolicy::sdr}};
    return kWords;
}

std::span<const Word<CopyBodies>> copyBodiesWords() {
    static constexpr Word<CopyBodies> kWords[] = {
        {"auto", CopyBodies::automatic}, {"always", CopyBodies::always}, {"never", CopyBodies::never}};
    return kWords;
}

std::span<const Word<ToneMap>> toneMapWords() {
    static constexpr Word<ToneMap> kWords[] = {{"natural", ToneMap::natural}, {"white", ToneMap::white}};
    return kWords;
}

std::span<const Word<Codec>> codecWords() {
    static const std::vector<Word<Codec>> words = [] {
        std::vector<Word<Codec>> out;
        for (const media::CodecFacts& facts : media::codecTable())
            if (!facts.beside) out.push_back({facts.word, facts.id});
        return out;
    }();
    return words;
}

std::span<const Word<const char*>> presetWords() {
    static constexpr Word<const char*> kWords[] = {
        {"ultrafast", "ultrafast"}, {"superfast", "superfast"}, {"veryfast", "veryfast"},
        {"faster", "faster"},       {"fast", "fast"},           {"medium", "medium"},
        {"slow", "slow"},           {"slower", "slower"},       {"veryslow", "veryslow"}};
    return kWords;
}

}  // namespace tumblewash::edit
