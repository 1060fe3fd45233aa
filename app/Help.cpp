#include "app/Help.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "app/OptionTable.h"
#include "media/Codecs.h"

#ifndef TUMBLEWASH_VERSION
#define TUMBLEWASH_VERSION "0"
#endif

namespace tumblewash::app {
namespace {

constexpr std::size_t kWidth = 100;
constexpr const char* kExitCodes[][2] = {
    {"0", "done"},
    {"1", "rendering or writing failed"},
    {"2", "wrong usage, or a request that cannot be met"},
    {"3", "an input cannot be read"},
    {"4", "the output cannot be written"},
    {"129, 130, 143",
     "ended by SIGHUP, SIGINT or SIGTERM; no partial output is left, and an old output is unchanged"}};

// Breaks `text` at spaces so that no line passes kWidth; later lines start at column `indent`.
std::string wrap(const std::string& text, std::size_t indent, std::size_t column) {
    std::string out;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find(' ', start);
        if (end == std::string::npos) end = text.size();
        if (column + (end - start) + 1 > kWidth && column > indent) {
            out.append("\n").append(indent, ' ');
            column = indent;
        } else if (column > indent) {
            out += ' ';
            ++column;
        }
        out += text.substr(start, end - start);
        column += end - start;
        start = end + 1;
    }
    return out;
}

std::string optionHead(const OptionRow& row) {
    return fmt::format("  {:3} {}{}{}", *row.letter ? std::string(row.letter) + "," : "", row.name,
                       *row.value                              ? " "
                       : row.kind == ValueKind::OptionalChoice ? "[=HOW]"
                                                               : "",
                       row.value);
}

std::string optionHelp(const OptionRow& row) {
    std::string help = row.help;
    const std::vector<std::string> choices = choicesOf(row);
    if (!choices.empty()) help += fmt::format(" [{}]", fmt::join(choices, ", "));
    return help;
}

std::string synopsis(const CommandRow& row) {
    return fmt::format("tumblewash {}{}{}{} [OPTION...]", row.name, *row.inputs ? " " : "", row.inputs,
                       row.wantsOutput ? " -o OUT" : "");
}

std::string overview() {
    std::string out =
        "tumblewash joins clips and photos with thirteen classic video transitions, or plain cuts.\n\n"
        "Usage: tumblewash COMMAND [INPUT...] [OPTION...]\n\nCommands:\n";
    std::size_t longest = 0;
    for (const CommandRow& row : commandTable())
        longest = std::max(longest, std::string_view(row.name).size());
    for (const CommandRow& row : commandTable())
        out += fmt::format("  {:{}} {}\n", row.name, longest, row.summary);
    out += "\nExamples:\n";
    for (const CommandRow& row : commandTable()) out += fmt::format("  {}\n", row.examples.front().line);
    out +=
        "\n`tumblewash COMMAND --help` lists the options of a command.\n"
        "Times are 1.5s, 500ms, 45f, [HH:]MM:SS.m or .5.\n"
        "A clip may also be a scene that the program draws itself, e.g. pattern:harbour.\n";
    return out;
}

// One line for each kind of movie file: what goes into it.
std::string codecLines() {
    std::string out;
    for (const media::MovieKind& kind : media::movieKinds()) {
        std::string codecs;
        for (const media::Codec id : kind.codecs) {
            const media::CodecFacts& facts = media::factsOf(id);
            const char* depths = facts.eight && facts.ten ? "8, 10" : facts.ten ? "10" : "8";
            codecs += fmt::format("{}{} ({})", codecs.empty() ? "" : ", ", facts.word, depths);
        }
        for (const media::Codec id : kind.alpha)
            codecs += fmt::format("; with --alpha {}", media::factsOf(id).word);
        constexpr std::size_t kColumn = 9;
        out += fmt::format("  {:6} {}\n", kind.ending, wrap(codecs, kColumn, kColumn));
    }
    return out +
           "  The first codec of a line is the default; for 10 bits it is hevc, or vp9 in .webm; .avi holds "
           "8.\n";
}

std::string roff(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '-')
            out += "\\-";
        else if (c == '\\')
            out += "\\e";
        else
            out += c;
    }
    return out.empty() || (out[0] != '.' && out[0] != '\'') ? out : "\\&" + out;
}

}  // namespace

std::string versionText() {
    return versionWords() + "\n";
}

std::string versionWords() {
    return "tumblewash " TUMBLEWASH_VERSION;
}

std::string helpText(Command command) {
    if (command == Command::None) return overview();
    const CommandRow& row = commandRow(command);
    std::string out = fmt::format("Usage: {}\n\n{}\n", synopsis(row), wrap(row.about, 0, 0));
    const std::vector<const OptionRow*> rows = optionsOf(command);
    for (const char* group : {"Effect", "Picture", "Sound", "Output", "Running"}) {
        bool any = false;
        for (const OptionRow* option : rows) {
            if (std::string(option->group) != group) continue;
            if (!any) out += fmt::format("\n{}:\n", group);
            any = true;
            const std::string head = optionHead(*option);
            constexpr std::size_t kColumn = 32;
            out += head.size() + 2 > kColumn ? head + "\n" + std::string(kColumn, ' ')
                                             : head + std::string(kColumn - head.size(), ' ');
            out += wrap(optionHelp(*option), kColumn, kColumn) + "\n";
        }
    }
    if (command == Command::Join || command == Command::Slideshow || command == Command::Out ||
        command == Command::In)
        out += "\nMovie files, their codecs and the bits of each colour:\n" + codecLines();
    out += "\nExamples:\n";
    for (const Example& example : row.examples)
        out += fmt::format("  {}\n      {}\n", example.line, example.purpose);
    return out;
}

std::string manPage() {
    std::string out =
        fmt::format(".TH TUMBLEWASH 1 \"\" \"tumblewash {}\" \"User Commands\"\n", TUMBLEWASH_VERSION);
    out += ".SH NAME\ntumblewash \\- join clips and photos with thirteen classic video transitions\n";
    out += ".SH SYNOPSIS\n";
    for (const CommandRow& row : commandTable()) out += fmt::format(".B {}\n.br\n", roff(synopsis(row)));
    out +=
        ".SH DESCRIPTION\nRenders transitions between clips and pictures with their sound. The commands "
        "are:\n";
    for (const CommandRow& row : commandTable())
        out += fmt::format(".TP\n.B {}\n{}\n", row.name, roff(row.about));
    out += ".SH OPTIONS\n";
    for (const OptionRow& row : optionTable()) {
        std::string commands;
        for (const CommandRow& command : commandTable())
            if (row.commands & commandBit(command.id))
                commands += (commands.empty() ? "" : ", ") + std::string(command.name);
        const std::string letter = *row.letter ? fmt::format("\\fB{}\\fR, ", roff(row.letter)) : "";
        const std::string value = *row.value ? fmt::format(" \\fI{}\\fR", roff(row.value))
                                  : row.kind == ValueKind::OptionalChoice ? "[=\\fIHOW\\fR]"
                                                                          : "";
        out += fmt::format(".TP\n{}\\fB{}\\fR{}\n{}.\nCommands: {}.\n", letter, roff(row.name), value,
                           roff(optionHelp(row)), commands);
    }
    out += ".SH MOVIE FILES AND CODECS\n.nf\n" + roff(codecLines()) + ".fi\n";
    out += ".SH TIMES\n1.5s, 500ms, 45f (frames), [HH:]MM:SS.m, .5 (seconds).\n.SH EXIT STATUS\n";
    for (const auto& row : kExitCodes) out += fmt::format(".TP\n.B {}\n{}\n", row[0], roff(row[1]));
    out += ".SH EXAMPLES\n";
    for (const CommandRow& row : commandTable())
        for (const Example& example : row.examples)
            out += fmt::format(".TP\n.B {}\n{}\n", roff(example.line), roff(example.purpose));
    return out;
}

}  // namespace tumblewash::app
