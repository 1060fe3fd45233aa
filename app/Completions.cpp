#include <fmt/format.h>

#include "app/Help.h"
#include "app/OptionTable.h"
#include "edit/Effects.h"

namespace tumblewash::app {

using edit::effectIds;

namespace {

std::vector<std::string> wordsOf(const OptionRow& row) {
    return row.kind == ValueKind::Effect ? effectIds() : choicesOf(row);
}

std::string commandList() {
    std::string names;
    for (const CommandRow& row : commandTable()) names.append(names.empty() ? "" : " ").append(row.name);
    return names;
}

// Quotes for a single-quoted word of zsh and fish descriptions.
std::string quoted(const std::string& text, const std::string& escape) {
    std::string out;
    for (char c : text)
        out += escape.find(c) != std::string::npos ? std::string("\\") + c : std::string(1, c);
    return out;
}

std::string bashScript() {
    std::string out =
        "# bash completion for tumblewash\n_tumblewash() {\n"
        "    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command=${COMP_WORDS[1]}\n"
        "    COMPREPLY=()\n    if [ \"$COMP_CWORD\" -eq 1 ]; then\n";
    out += fmt::format(
        "        COMPREPLY=($(compgen -W '{} --help --version' -- \"$cur\"))\n        return\n    fi\n"
        "    case $prev in\n",
        commandList());
    for (const OptionRow& row : optionTable()) {
        if (!*row.value) continue;
        const std::string names = *row.letter ? fmt::format("{}|{}", row.letter, row.name) : row.name;
        const std::vector<std::string> words = wordsOf(row);
        if (row.kind == ValueKind::File)
            out += fmt::format("        {}) COMPREPLY=($(compgen -f -- \"$cur\")); return ;;\n", names);
        else if (words.empty())
            out += fmt::format("        {}) return ;;\n", names);
        else
            out += fmt::format("        {}) COMPREPLY=($(compgen -W '{}' -- \"$cur\")); return ;;\n", names,
                               fmt::join(words, " "));
    }
    out += "    esac\n    if [[ $cur == -* ]]; then\n        case $command in\n";
    for (const CommandRow& command : commandTable()) {
        std::string names;
        for (const OptionRow* row : optionsOf(command.id))
            names.append(names.empty() ? "" : " ").append(row->name);
        out += fmt::format("            {}) COMPREPLY=($(compgen -W '{}' -- \"$cur\")) ;;\n", command.name,
                           names);
    }
    out +=
        "        esac\n        return\n    fi\n    COMPREPLY=($(compgen -f -- \"$cur\"))\n}\n"
        "complete -o filenames -F _tumblewash tumblewash\n";
    return out;
}

std::string zshScript() {
    std::string out = "#compdef tumblewash\n_tumblewash() {\n    local -a commands\n    commands=(\n";
    for (const CommandRow& row : commandTable())
        out += fmt::format("        '{}:{}'\n", row.name, quoted(row.summary, "':"));
    out +=
        "    )\n    if (( CURRENT == 2 )); then\n        _describe command commands\n        return\n    fi\n"
        "    local command=$words[2]\n    case $command in\n";
    for (const CommandRow& command : commandTable()) {
        out += fmt::format("        {})\n            _arguments \\\n", command.name);
        for (const OptionRow* row : optionsOf(command.id)) {
            const std::string help = quoted(row->help, "'[]:");
            std::string action;
            if (*row->value) {
                const std::vector<std::string> words = wordsOf(*row);
                action = row->kind == ValueKind::File ? ":file:_files"
                         : words.empty()              ? ":value: "
                                                      : fmt::format(":value:({})", fmt::join(words, " "));
            }
            out += fmt::format("                '{}[{}]{}' \\\n", row->name, help, action);
        }
        out += "                '*:file:_files' ;;\n";
    }
    out += "    esac\n}\n_tumblewash \"$@\"\n";
    return out;
}

std::string fishScript() {
    std::string out = "# fish completion for tumblewash\n";
    for (const CommandRow& row : commandTable())
        out += fmt::format("complete -c tumblewash -n __fish_use_subcommand -f -a {} -d '{}'\n", row.name,
                           quoted(row.summary, "'\\"));
    for (const OptionRow& row : optionTable()) {
        std::string commands;
        for (const CommandRow& command : commandTable())
            if (row.commands & commandBit(command.id)) commands.append(" ").append(command.name);
        const std::string letter = *row.letter ? fmt::format(" -s {}", row.letter + 1) : "";
        const std::vector<std::string> words = wordsOf(row);
        std::string value = *row.value ? row.kind == ValueKind::File ? " -r" : " -x" : "";
        if (!words.empty()) value += fmt::format(" -a '{}'", fmt::join(words, " "));
        out += fmt::format("complete -c tumblewash -n '__fish_seen_subcommand_from{}'{} -l {}{} -d '{}'\n",
                           commands, letter, row.name + 2, value, quoted(row.help, "'\\"));
    }
    return out;
}

}  // namespace

std::string completionScript(const std::string& shell) {
    if (shell == "bash") return bashScript();
    if (shell == "zsh") return zshScript();
    if (shell == "fish") return fishScript();
    return "";
}

}  // namespace tumblewash::app
