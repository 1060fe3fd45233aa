// Names with a number in them, such as p%05d.png: which texts are patterns, and what they give.
// Text only; whether such files exist is somebody else's question.
#pragma once

#include <cstdint>
#include <string>

namespace tumblewash::media {

/// True when `output`'s file name holds exactly one %d, %5d or %05d and no other percent sign.
bool isNumberPattern(const std::string& output);
/// The pattern with its number filled in.
std::string numbered(const std::string& pattern, int64_t number);
/// The number that makes `name` of `pattern` (both without folders), or 0 when none does.
int64_t numberOf(const std::string& pattern, const std::string& name);

}  // namespace tumblewash::media
