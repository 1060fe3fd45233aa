// The words of people for values that have names: directions, policies of sound, ways to fit, presets,
// colours. Options, documents, their schema and reports read the same tables. Effects have a catalogue of
// their own.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "edit/Edit.h"
#include "host/AudioMix.h"
#include "hostapi/HYPlugin.h"
#include "media/ColourPlan.h"
#include "media/Reader.h"

namespace tumblewash::edit {

/// A word and what it means.
template <class Value>
struct Word {
    const char* word;
    Value value;
};

std::span<const Word<HYPluginDirection>> directionWords();
std::span<const Word<host::AudioPolicy>> audioWords();
std::span<const Word<ChannelChoice>> channelWords();
std::span<const Word<media::Fit>> fitWords();
std::span<const Word<StillMotion>> stillMotionWords();
std::span<const Word<media::HdrPolicy>> hdrWords();
std::span<const Word<media::ToneMap>> toneMapWords();
std::span<const Word<media::Codec>> codecWords();
std::span<const Word<CopyBodies>> copyBodiesWords();
/// The encoder's presets, quickest first.
std::span<const Word<const char*>> presetWords();

/// What a word means; nothing when the table lacks it.
template <class Value>
std::optional<Value> meaningOf(std::span<const Word<Value>> table, std::string_view word) {
    for (const auto& row : table)
        if (word == row.word) return row.value;
    return std::nullopt;
}

/// The word for a value; "none" when the table lacks it.
template <class Value>
const char* wordFor(std::span<const Word<Value>> table, Value value) {
    for (const auto& row : table)
        if (row.value == value) return row.word;
    return "none";
}

/// All words of a table, in its order.
template <class Value>
std::vector<std::string> wordsOf(std::span<const Word<Value>> table) {
    std::vector<std::string> words;
    for (const auto& row : table) words.emplace_back(row.word);
    return words;
}

}  // namespace tumblewash::edit
