#include "app/Options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "app/OptionTable.h"
#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/Folder.h"
#include "edit/Nearest.h"
#include "media/Quoting.h"

namespace tumblewash::app {

using edit::didYouMean;
using edit::Problem;
using edit::Refusal;
using media::quotedName;

namespace {

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const CommandRow& row : commandTable()) names.emplace_back(row.name);
    return names;
}

std::vector<std::string> optionNames(Command id) {
    std::vector<std::string> names;
    for (const OptionRow* row : optionsOf(id)) names.emplace_back(row->name);
    return names;
}

[[noreturn]] void refuseWord(const std::string& word) {
    if (word.size() > 1 && word[0] == '-')
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: the command comes first, e.g. tumblewash join A.mp4 B.mp4 "
                                  "-o out.mp4; see tumblewash --help",
                                  word));
    throw Refusal(Problem::BadRequest, fmt::format("{}: no such command{}; see tumblewash --help", word,
                                                   didYouMean(word, commandNames())));
}

// One command's parser, built from the table; values are stored afterwards, so that the table's own words
// are what the user reads when a value is wrong.
struct CommandParser {
    explicit CommandParser(Command command, std::vector<std::string>& inputs) : id(command) {
        app.set_help_flag();
        app.allow_extras();
        app.add_option("inputs", inputs);
        for (const OptionRow* row : optionsOf(id)) {
            const std::string names = *row->letter ? fmt::format("{},{}", row->letter, row->name) : row->name;
            CLI::Option* option = *row->value ? app.add_option(names) : app.add_flag(names);
            if (*row->value) option->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
            options.push_back(option);
        }
    }

    void parse(std::vector<std::string> words) {
        std::reverse(words.begin(), words.end());
        try {
            app.parse(words);
        } catch (const CLI::ParseError& problem) {
            refuse(problem);
        }
        for (const std::string& word : app.remaining()) {
            if (word == "--") continue;
            const std::string name = word.substr(0, word.find('='));
            throw Refusal(Problem::BadRequest,
                          fmt::format("{}: no such option of {}{}", name, commandRow(id).name,
                                      didYouMean(name, optionNames(id))));
        }
    }

    void store(Options& result) const {
        const std::vector<const OptionRow*> rows = optionsOf(id);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (options[i]->count() == 0) continue;
            result.given.emplace_back(rows[i]->name);
            const bool optional = rows[i]->kind == ValueKind::OptionalChoice;
            if (!*rows[i]->value && !optional) {
                rows[i]->store(result, "");
                continue;
            }
            if (options[i]->results().size() > 1)
                throw Refusal(Problem::BadRequest, fmt::format("{} is given more than once", rows[i]->name));
            const std::string& value = options[i]->results().front();
            if (value.empty() && rows[i]->kind == ValueKind::File)
                throw Refusal(Problem::BadRequest, fmt::format("{} needs a file name: {} {}", rows[i]->name,
                                                               rows[i]->name, rows[i]->value));
            // A switch alone is "true" to the parser.
            rows[i]->store(result, optional && value == "true" ? choicesOf(*rows[i]).front() : value);
        }
    }

    CLI::App app{"", "tumblewash"};
    Command id;
    std::vector<CLI::Option*> options;

  private:
    [[noreturn]] void refuse(const CLI::ParseError& problem) const {
        const std::string words = problem.what();
        for (const OptionRow* row : optionsOf(id))
            if (words.find(row->name) != std::string::npos && *row->value)
                throw Refusal(Problem::BadRequest,
                              fmt::format("{} needs a value: {} {}", row->name, row->name, row->value));
        std::string oneLine = words;
        std::replace(oneLine.begin(), oneLine.end(), '\n', ' ');
        throw Refusal(Problem::BadRequest, oneLine + "; see tumblewash --help");
    }
};

void checkInputs(const Options& o, const CommandRow& row) {
    const int count = static_cast<int>(o.inputs.size());
    for (const std::string& input : o.inputs)
        if (input.empty())
            throw Refusal(Problem::BadRequest, fmt::format("{}: an input's name is empty", row.name));
    // A folder stands for what it holds, which is counted when it is read; one clip alone is a stretch of it,
    // cut without a loss.
    const bool folder = count == 1 && edit::isFolder(o.inputs.front());
    const bool alone = folder || asksForCopies(o);
    const int fewest = o.command == Command::Join && !alone ? 2 : row.fewest;
    if (count < fewest)
        throw Refusal(
            Problem::BadRequest,
            fmt::format("{} needs {}{}: tumblewash {} {}", row.name, row.most == fewest ? "" : "at least ",
                        fewest == 1 ? "one input" : fmt::format("{} inputs", fewest), row.name, row.inputs));
    if (row.most >= 0 && count > row.most)
        throw Refusal(Problem::BadRequest,
                      fmt::format("{}: one input too many for {}; it takes {}",
                                  quotedName(o.inputs[static_cast<std::size_t>(row.most)]), row.name,
                                  row.most == 0 ? "none" : row.inputs));
}

void checkTogether(const Options& o, const CommandRow& row) {
    if (!o.durations.empty() && o.speed)
        throw Refusal(Problem::BadRequest, "--duration and --speed both set the length; give one of them");
    if (o.hold && isGiven(o, "--still"))
        throw Refusal(Problem::BadRequest,
                      "--still and --hold both say how long a photo lasts; give one of them");
    if (o.music.empty())
        for (const char* option : {"--music-gain", "--duck"})
            if (isGiven(o, option))
                throw Refusal(Problem::BadRequest, fmt::format("{} needs music: --music FILE", option));
    if (row.wantsOutput && o.output.empty() && o.mlt.empty() && !o.dryRun)
        throw Refusal(Problem::BadRequest, fmt::format("{} needs an output: -o FILE", row.name));
    if (o.output.empty() && !o.mlt.empty() && !o.report.empty())
        throw Refusal(Problem::BadRequest,
                      "--report describes what was rendered; give an output too: -o FILE");
    if (o.command == Command::Plan && o.inputs.size() > 1)
        for (const std::string& input : o.inputs)
            if (edit::isDocumentName(input))
                throw Refusal(Problem::BadRequest,
                              fmt::format("{}: is an edit; plan takes one edit alone, or clips", input));
    if (o.frame && *o.frame >= o.of.value_or(30))
        throw Refusal(Problem::BadRequest,
                      fmt::format("--frame {} is past the end: of {} frames the last is {}", *o.frame,
                                  o.of.value_or(30), o.of.value_or(30) - 1));
    if (o.quiet && o.verbose)
        throw Refusal(Problem::BadRequest, "--quiet and --verbose cannot be used together");
}

}  // namespace

bool asksForCopies(const Options& options) {
    return options.copyBodies && *options.copyBodies != edit::CopyBodies::never;
}

bool isGiven(const Options& options, std::string_view name) {
    return std::find(options.given.begin(), options.given.end(), name) != options.given.end();
}

Options parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    if (arguments.empty()) {
        options.help = true;
        return options;
    }
    const std::string& word = arguments.front();
    if (word == "--help" || word == "-h" || word == "help") {
        options.help = true;
        for (const CommandRow& row : commandTable())
            if (arguments.size() > 1 && arguments[1] == row.name) options.command = row.id;
        return options;
    }
    if (word == "--version" || word == "-V") {
        options.version = true;
        return options;
    }
    if (word == "--generate") {
        static const std::vector<std::string> kKinds{"man", "bash", "zsh", "fish", "schema"};
        if (arguments.size() != 2 || std::find(kKinds.begin(), kKinds.end(), arguments[1]) == kKinds.end())
            throw Refusal(Problem::BadRequest, "--generate needs one of man, bash, zsh, fish, schema");
        options.generate = arguments[1];
        return options;
    }
    for (const CommandRow& row : commandTable()) {
        if (word != row.name) continue;
        options.command = row.id;
        CommandParser parser(row.id, options.inputs);
        parser.parse({arguments.begin() + 1, arguments.end()});
        parser.store(options);
        if (options.help) return options;
        checkInputs(options, row);
        checkTogether(options, row);
        return options;
    }
    refuseWord(word);
}

}  // namespace tumblewash::app
