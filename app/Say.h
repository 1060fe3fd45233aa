// Words for the user on standard error, results on standard output. A standard error that is closed or full
// changes nothing about a run: what was made is made, and the exit code says the rest.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <utility>

namespace tumblewash::app {

/// Writes one line to standard error, `begin` and then `words`, with `printable` made of it, so that nothing
/// which the user typed moves the cursor or makes two lines of one; failures of writing are ignored. Says it
/// with less care rather than not at all when memory runs out.
void sayLine(const char* begin, const char* words) noexcept;

/// Formats as fmt::format does, without an end of line, and says that line.
template <class... Values>
void say(fmt::format_string<Values...> words, Values&&... values) {
    sayLine("", fmt::format(words, std::forward<Values>(values)...).c_str());
}

/// Writes a result to standard output. Throws Refusal (RenderFailed) when that cannot be written.
void printText(const std::string& text);

}  // namespace tumblewash::app
