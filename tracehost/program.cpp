#include "tracehost/program.h"

#include <iostream>

#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

void AddPluginOption(CLI::App& command, std::string& plugin) {
    command.add_option("--plugin", plugin, "Plug-in to load (default: the one beside tracehost)");
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

/// \throws UsageError for words that cannot be parsed
void Parse(CLI::App& program, int argc, char** argv) {
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw UsageError(std::string(error.what()) + ": see \"" + ParsedCommand(program) + " --help\"");
        }
        program.exit(error);  // help or version
        std::cout.flush();
        FinishStandardOutput(stdout);
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
    program.set_version_flag("--version", "tracehost " TRACEHOST_VERSION);
    program.require_subcommand(1);
    int status = kDone;
    AddRecordCommand(program, status);
    AddPortsCommand(program, status);
    AddOptionsCommand(program, status);
    AddInfoCommand(program, status);
    AddScriptCommand(program, status);
    RefuseUnknownCommand(program, argc > 1 ? argv[1] : "");
    program.footer(StatusList());
    Parse(program, argc, argv);
    return status;
}

}  // namespace Korr::Plim::Trace::Tracehost
