// Any command line: it is understood, or refused in one line.

#include <cmath>
#include <vector>

#include "app/Options.h"
#include "edit/Errors.h"
#include "edit/Times.h"
#include "fuzz/Target.h"

namespace {

using tumblewash::fuzz::demand;

/// One word for each line.
std::vector<std::string> wordsOf(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> words(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            words.emplace_back();
        else if (data[i] != 0)  // no argument of a program holds one
            words.back().push_back(static_cast<char>(data[i]));
    }
    return words;
}

void checkUnderstood(const tumblewash::app::Options& o) {
    using tumblewash::app::Command;
    demand(!o.speed || (*o.speed >= 0 && *o.speed <= 1), "a speed outside 0 to 1");
    demand(!o.fps || (o.fps->num > 0 && o.fps->den > 0), "a rate that is none");
    demand(o.threads >= 0 && o.threads <= 64, "a number of threads out of range");
    demand(!o.crf || (*o.crf >= 0 && *o.crf <= 63), "a quality out of range");
    demand(o.columns >= 2 && o.columns <= 12, "columns out of range");
    const bool shows = o.help || o.version || !o.generate.empty() || o.command == Command::None ||
                       o.command == Command::List || o.command == Command::Studio;
    demand(shows || !o.inputs.empty(), "a command without inputs was taken");
}

template <class Parse>
void tryOne(const std::string& word, Parse parse) {
    try {
        static_cast<void>(parse(word));
    } catch (const tumblewash::edit::Refusal&) {
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::string> words = wordsOf(data, size);
    try {
        checkUnderstood(tumblewash::app::parseOptions(words));
    } catch (const tumblewash::edit::Refusal& refusal) {
        demand(refusal.problem() == tumblewash::edit::Problem::BadRequest,
               "a command line refused with another code");
        const std::string line = refusal.what();
        demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
    }
    for (const std::string& word : words) {
        tryOne(word, tumblewash::edit::parseTime);
        tryOne(word, tumblewash::edit::parseSize);
        tryOne(word, tumblewash::edit::parseRate);
    }
    return 0;
}
