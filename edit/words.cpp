#include "edit/words.h"

namespace tumblewash::edit {

using host::AudioPolicy;
using media::Fit;

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

std::span<const Word<Fit>> fitWords() {
    static constexpr Word<Fit> kWords[] = {
        {"contain", Fit::contain}, {"cover", Fit::cover}, {"stretch", Fit::stretch}};
    return kWords;
}

std::span<const Word<const char*>> presetWords() {
    static constexpr Word<const char*> kWords[] = {
        {"ultrafast", "ultrafast"}, {"superfast", "superfast"}, {"veryfast", "veryfast"},
        {"faster", "faster"},       {"fast", "fast"},           {"medium", "medium"},
        {"slow", "slow"},           {"slower", "slower"},       {"veryslow", "veryslow"}};
    return kWords;
}

}  // namespace tumblewash::edit
