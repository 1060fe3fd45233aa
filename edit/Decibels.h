// Levels as people write them, `-6dB` and `-16LUFS`, and decibels as factors. No samples here.
#pragma once

#include <string>

namespace tumblewash::edit {

/// Reads `-6dB`, `+3.5 dB`, `12` as decibels, from -96 to 24. Throws Refusal (BadRequest).
double parseDecibels(const std::string& text);

/// Reads `-16LUFS`, `-16`, from -50 to -5. Throws Refusal (BadRequest).
double parseLoudness(const std::string& text);

/// `-6dB`, `3.5dB`.
std::string decibelWords(double decibels);

/// `-16LUFS`.
std::string loudnessWords(double lufs);

/// The factor of a level: 10^(dB / 20).
double linearOf(double decibels);

/// The level of a factor above 0.
double decibelsOf(double linear);

}  // namespace tumblewash::edit
