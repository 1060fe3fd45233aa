// Words for the user on standard error, results on standard output. A standard error that is closed or full
// changes nothing about a run: what was made is made, and the exit code says the rest.
#pragma once

#include <fmt/format.h>

#include <cstdio>
#include <string>
#include <utility>

namespace tumblewash::app {

/// Formats as fmt::format does and writes to standard error; failures of writing are ignored.
template <class... Values>
void say(fmt::format_string<Values...> words, Values&&... values) {
    std::fputs(fmt::format(words, std::forward<Values>(values)...).c_str(), stderr);
}

/// Writes a result to standard output. Throws Refusal (RenderFailed) when that cannot be written.
void printText(const std::string& text);

}  // namespace tumblewash::app
