#include "tracehost/program.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/help_topics.h"
#include "tracehost/number_option.h"
#include "tracehost/plugin.h"
#include "tracehost/plugin_version.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

void AddPluginOption(CLI::App& command, std::string& plugin) {
    AddText(command, "--plugin", "PATH", "Plug-in to load (default: the one beside tracehost)", plugin);
}

namespace {

/// The parser itself would only say that a command is missing.
void RefuseUnknownCommand(const CLI::App& program, const std::string& word) {
    const auto named = [&word](const CLI::App* command) { return command->get_name() == word; };
    if (word.empty() || word.front() == '-' || !program.get_subcommands(named).empty()) return;
    throw UsageError("\"" + word + "\" is no command: see \"tracehost --help\"");
}

/// "tracehost record" while it is record's words that are parsed, else "tracehost".
std::string ParsedCommand(const CLI::App& program) {
    const auto commands = program.get_subcommands();
    return "tracehost" + (commands.empty() ? "" : " " + commands.front()->get_name());
}

/// What the parser says, where its words are not a user's.
std::string Reworded(const std::string& text) {
    constexpr std::string_view kMost = ": At Most 1 required but received ";
    const std::size_t found = text.find(kMost);
    if (found == std::string::npos) return text;
    return text.substr(0, found) + " is given " + text.substr(found + kMost.size()) +
           " times: once is enough";
}

std::string WhatIsWrong(const CLI::App& program, const CLI::ParseError& error) {
    const bool noCommand = program.get_subcommands().empty();
    const auto words = program.remaining(true);
    const auto extras = static_cast<int>(CLI::ExitCodes::ExtrasError);
    if (words.empty() || (!noCommand && error.get_exit_code() != extras)) {
        return noCommand ? "a command is missing" : Reworded(error.what());
    }
    std::string text = "not understood:";
    for (const std::string& word : words) text += " \"" + word + "\"";
    return text;
}

/// "help" is --help, "help COMMAND" is "COMMAND --help".
std::vector<std::string> TranslateHelp(std::vector<std::string> words) {
    if (words.front() != "help") return words;
    if (words.size() == 1) return {"--help"};
    if (words.size() == 2 && !words[1].starts_with('-')) return {words[1], "--help"};
    return words;
}

/// Whether the words ask for a topic that is no command.
bool ShowTopic(const std::vector<std::string>& words) {
    const char* const text = words.size() == 2 && words[0] == "help" ? HelpTopic(words[1]) : nullptr;
    if (text == nullptr) return false;
    PrintText(text);
    return true;
}

/// \throws UsageError for words that cannot be parsed
void Parse(CLI::App& program, std::vector<std::string> words) {
    try {
        std::reverse(words.begin(), words.end());
        program.parse(words);
    } catch (const CLI::CallForHelp&) {
        PrintText(program.help());
    } catch (const CLI::CallForVersion& version) {
        PrintText(version.what() + std::string("\n"));
    } catch (const CLI::ParseError& error) {
        throw UsageError(WhatIsWrong(program, error) + ": see \"" + ParsedCommand(program) + " --help\"");
    }
}

/// The statuses as the end of the program's help.
std::string StatusList() {
    std::string text = "Exit status:\n";
    for (const ExitStatus& row : kExitStatuses) {
        text += "  " + std::to_string(row.status) + "  " + row.meaning + "\n";
    }
    return text;
}

}  // namespace

int RunProgram(int argc, char** argv) {
    CLI::App program(
        "Records SWO trace through the trace receiver plug-in, and drives the plug-in as a host does.",
        "tracehost");
    program.set_version_flag("-V,--version", [] { return VersionReport(kDefaultPlugin); });
    program.require_subcommand(1);
    int status = kDone;
    AddRecordCommand(program, status);
    AddPortsCommand(program, status);
    AddOptionsCommand(program, status);
    AddInfoCommand(program, status);
    AddDecodeCommand(program, status);
    AddExportCommand(program, status);
    AddProfileCommand(program, status);
    AddReportCommand(program, status);
    AddViewCommand(program, status);
    AddDiagnoseCommand(program, status);
    AddRatesCommand(program, status);
    AddScriptCommand(program, status);
    AddDoctorCommand(program, status);
    AddCheckCommand(program, status);
    AddAboutCommands(program, status);
    if (argc < 2) throw UsageError("a command is missing: see \"tracehost --help\"");
    if (ShowTopic({argv + 1, argv + argc})) return kDone;
    const std::vector<std::string> words = TranslateHelp({argv + 1, argv + argc});
    RefuseUnknownCommand(program, words.front());
    program.footer("\"tracehost help loss\" tells how loss is found.\n\n" + StatusList());
    Parse(program, words);
    return status;
}

}  // namespace Korr::Plim::Trace::Tracehost
