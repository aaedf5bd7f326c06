// tracehost script
#include <fstream>
#include <iostream>
#include <memory>

#include "simulator/board/board_file.h"
#include "tracehost/commands.h"
#include "tracehost/file_access.h"
#include "tracehost/log_level.h"
#include "tracehost/number_option.h"
#include "tracehost/own_board.h"
#include "tracehost/script_session.h"
#include "tracehost/standard_output.h"
#include "tracehost/temporary_folder.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ScriptRequest {
    std::string file;
    std::string board;
    bool strict = false;
    std::string plugin = kDefaultPlugin;
};

void Print(std::FILE* output, const Answer& answer) {
    const std::string text = answer.dump(-1, ' ', false, Answer::error_handler_t::replace) + "\n";
    std::fwrite(text.data(), 1, text.size(), output);
    FinishStandardOutput(output);
}

/// With --strict the first answer that is not ok ends the script.
void CheckAnswer(const ScriptRequest& request, const Answer& answer, const std::string& place) {
    if (!request.strict || answer["ok"]) return;
    throw HostError(place + "\"" + answer["command"].get<std::string>() +
                    "\" was refused: " + answer["error"].get<std::string>());
}

/// Carries out every line; the first that is no command ends it.
void RunScript(const ScriptRequest& request, std::istream& lines, std::FILE* output) {
    ScriptSession session(request.plugin);
    const std::string name = request.file == "-" ? "standard input" : request.file;
    std::string line;
    for (uint32_t number = 1; ReadScriptLine(lines, line); ++number) {
        const std::string place = name + ", line " + std::to_string(number) + ": ";
        try {
            const Answer answer = RunScriptLine(session, line, number);
            if (answer.is_null()) continue;
            Print(output, answer);
            CheckAnswer(request, answer, place);
        } catch (const ScriptError& error) {
            throw ScriptError(place + error.what());
        }
    }
}

/// The board of --board, which must be one; else the same as a recording's.
std::string PrepareBoard(const ScriptRequest& request, const TemporaryFolder& folder) {
    if (request.board.empty()) return DefaultBoard(folder);
    CheckBoard(request.board);
    return request.board;
}

int Run(const ScriptRequest& request) {
    WarnOfLogLevel();
    const std::string why = request.file == "-" ? std::string() : WhyNotReadable(request.file);
    if (!why.empty()) throw UsageError("script \"" + request.file + "\" cannot be opened: " + why);
    const TemporaryFolder folder;
    SetProcessVariable(Simulator::kBoardVariable, PrepareBoard(request, folder).c_str());
    std::FILE* const output = TakeStandardOutput();
    if (request.file == "-") {
        RunScript(request, std::cin, output);
        if (std::ferror(stdin) != 0) throw HostError("standard input cannot be read: is it open?");
    } else {
        std::ifstream lines(request.file);
        RunScript(request, lines, output);
        if (lines.bad()) throw HostError("script \"" + request.file + "\" could not be read to its end");
    }
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
    command->add_option("FILE", request->file, "Script file, - for standard input")
        ->type_name("")
        ->required();
    AddText(*command, "--board", "FILE", "Board file (default: TRACEHOST_BOARD, else a plain board)",
            request->board);
    command->add_flag("--strict", request->strict, "End with status 1 at the first answer that is not ok");
    AddPluginOption(*command, request->plugin);
    command->footer(CommandList());
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
