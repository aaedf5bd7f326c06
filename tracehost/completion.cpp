#include "tracehost/completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// "HZ|auto" names a number or the word auto.
std::vector<std::string> WordsOf(const std::string& type) {
    std::vector<std::string> words;
    if (type.find('|') == std::string::npos) return words;
    for (std::size_t start = 0; start <= type.size();) {
        const std::size_t end = std::min(type.find('|', start), type.size());
        const std::string word = type.substr(start, end - start);
        const auto isCapital = [](char letter) { return letter >= 'A' && letter <= 'Z'; };
        if (!std::all_of(word.begin(), word.end(), isCapital)) words.push_back(word);
        start = end + 1;
    }
    return words;
}

Completion OptionOf(const CLI::Option& option) {
    Completion completion;
    for (const std::string& name : option.get_snames()) completion.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) completion.names.push_back("--" + name);
    completion.description = option.get_description();
    if (option.get_items_expected_max() > 0) completion.type = option.get_type_name();
    completion.words = WordsOf(completion.type);
    completion.takesFile = completion.type == "FILE" || completion.type == "PATH";
    return completion;
}

CompletedCommand CommandOf(const CLI::App& command) {
    CompletedCommand completed{command.get_name(), command.get_description(), {}, {}};
    for (const CLI::Option* option : command.get_options({})) {
        Completion completion = OptionOf(*option);
        if (!option->get_positional()) {
            completed.options.push_back(completion);
            continue;
        }
        completion.names.clear();
        completion.type = option->get_name();
        completion.takesFile = completion.words.empty();
        completed.positionals.push_back(completion);
    }
    return completed;
}

}  // namespace

std::vector<CompletedCommand> CompletedCommands(const CLI::App& program) {
    std::vector<CompletedCommand> commands{CommandOf(program)};
    Completion names;
    names.description = names.type = "COMMAND";
    const auto isShown = [](const CLI::App* command) { return !command->get_group().empty(); };
    for (const CLI::App* command : program.get_subcommands(isShown)) {
        commands.push_back(CommandOf(*command));
        names.words.push_back(command->get_name());
    }
    commands.front().name.clear();
    commands.front().positionals = {names};
    for (CompletedCommand& command : commands) {
        if (command.name == "help") command.positionals = {names};
    }
    return commands;
}

}  // namespace Korr::Plim::Trace::Tracehost
