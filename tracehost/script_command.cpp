// tracehost script
#include <fstream>
#include <iostream>
#include <memory>

#include "tracehost/commands.h"
#include "tracehost/script_session.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ScriptRequest {
    std::string file;
    std::string board;
    std::string plugin = kDefaultPlugin;
};

void Print(std::FILE* output, const Answer& answer) {
    const std::string text = answer.dump(-1, ' ', false, Answer::error_handler_t::replace) + "\n";
    std::fwrite(text.data(), 1, text.size(), output);
    FinishStandardOutput(output);
}

/// Carries out every line; the first that is no command ends it.
void RunScript(std::istream& lines, const std::string& name, ScriptSession& session, std::FILE* output) {
    std::string line;
    for (uint32_t number = 1; ReadScriptLine(lines, line); ++number) {
        try {
            const Answer answer = RunScriptLine(session, line, number);
            if (!answer.is_null()) Print(output, answer);
        } catch (const ScriptError& error) {
            throw ScriptError(name + ", line " + std::to_string(number) + ": " + error.what());
        }
    }
}

int Run(const ScriptRequest& request) {
    if (!request.board.empty()) SetProcessVariable("TRACEHOST_BOARD", request.board.c_str());
    std::FILE* const output = TakeStandardOutput();
    if (request.file == "-") {
        ScriptSession session(request.plugin);
        RunScript(std::cin, "standard input", session, output);
        return kDone;
    }
    std::ifstream lines(request.file);
    if (!lines) throw UsageError("script \"" + request.file + "\" cannot be opened");
    ScriptSession session(request.plugin);
    RunScript(lines, request.file, session, output);
    return kDone;
}

std::string CommandList() {
    std::string text =
        "Commands, one a line (# starts a comment, - is a null pointer where a text is expected):\n";
    for (const auto* commands :
         {&ReceiverCommands(), &DriverCommands(), &CaptureCommands(), &OwnCommands()}) {
        for (const ScriptCommand& command : *commands) {
            text += std::string("  ") + command.name + " " + command.arguments + "\n";
        }
    }
    return text + "\nExample:\n  printf 'create\\ncpus\\ndestroy\\n' | tracehost script -\n";
}

}  // namespace

void AddScriptCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<ScriptRequest>();
    CLI::App* const command = program.add_subcommand(
        "script", "Carry out the plug-in's operations line by line, one JSON answer each");
    command->add_option("FILE", request->file, "Script file, - for standard input")->required();
    command->add_option("--board", request->board, "Board file (otherwise TRACEHOST_BOARD names it)");
    AddPluginOption(*command, request->plugin);
    command->footer(CommandList());
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
