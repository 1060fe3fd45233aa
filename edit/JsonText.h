// JSON as documents take it: strict, without keys given twice, not nested without end, and with the line on
// which a value stands. What the values mean is not known here.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tumblewash::edit {

using Json = nlohmann::ordered_json;

/// How deep arrays and objects may lie in one another, and how large a document may be.
inline constexpr int kDeepestJson = 64;
inline constexpr std::size_t kLargestDocument = std::size_t{64} << 20;

/// Parses `text`, named `name` in refusals (`name:LINE: what is wrong`). A byte order mark is skipped. Throws
/// Refusal (BadRequest) for what is no JSON, for keys given twice in one object and for more than
/// `kDeepestJson` levels.
Json parseJson(const std::string& text, const std::string& name);

/// The line, from 1, on which the value that `pointer` (RFC 6901) leads to begins; of a pointer that leads
/// nowhere, the line of the last part that was found. A key given several times counts with its last value.
std::size_t lineOf(std::string_view text, std::string_view pointer);

/// `pointer` with one more part, in which ~ and / are escaped.
std::string pointerTo(const std::string& pointer, std::string_view part);

/// The bytes of a document. Throws Refusal (BadInput) for a file that is missing, no plain file, larger than
/// `kLargestDocument` or not readable.
std::string readDocument(const std::string& file);

}  // namespace tumblewash::edit
