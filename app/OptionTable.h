// The tables of commands and options: help, man page, completions and `list --json` are printed from it,
// and the command line is read by it. It says what exists, not what happens.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "app/Options.h"

namespace tumblewash::app {

/// What a shell should offer as an option's value.
enum class ValueKind { None, Text, File, Choice, Effect, OptionalChoice };

/// One option.
struct OptionRow {
    const char* name;    ///< long form with dashes
    const char* letter;  ///< short form with one dash, or ""
    const char* value;   ///< what the value is called in help, "" for a switch
    ValueKind kind;
    const char* choices;  ///< comma-separated, for Choice; of OptionalChoice the first is meant without one
    const char* group;    ///< heading in help
    const char* help;     ///< one sentence, no full stop
    unsigned commands;    ///< bits of commandBit()
    void (*store)(Options&, const std::string&);  ///< checks and keeps the value; throws Refusal
};

/// An invocation with what it is for.
struct Example {
    const char* line;
    const char* purpose;
};

/// One command.
struct CommandRow {
    Command id;
    const char* name;
    const char* inputs;  ///< the positional arguments as help shows them
    int fewest;          ///< inputs at least
    int most;            ///< inputs at most; -1 for any number
    bool wantsOutput;    ///< -o must be given
    const char* summary;
    const char* about;  ///< a paragraph
    std::vector<Example> examples;
};

/// The bit of a command in OptionRow::commands.
constexpr unsigned commandBit(Command c) {
    return 1U << static_cast<unsigned>(c);
}

/// All commands, in the order of help.
const std::vector<CommandRow>& commandTable();

/// All options, in the order of help; those that every command takes come last.
std::span<const OptionRow> optionTable();

/// The row of a command.
const CommandRow& commandRow(Command id);

/// The words of a Choice option; empty for other kinds.
std::vector<std::string> choicesOf(const OptionRow& row);

/// The options of one command, in order.
std::vector<const OptionRow*> optionsOf(Command id);

}  // namespace tumblewash::app
