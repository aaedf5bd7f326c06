#include <string>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "tracehost/script_session.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

const ScriptCommand& FindCommand(const std::string& name) {
    for (const auto* commands :
         {&ReceiverCommands(), &DriverCommands(), &CaptureCommands(), &OwnCommands()}) {
        for (const ScriptCommand& command : *commands) {
            if (name == command.name) return command;
        }
    }
    throw ScriptError("\"" + name + "\" is no command: see \"tracehost script --help\"");
}

void CheckCount(const ScriptCommand& command, std::size_t count) {
    if (count >= command.fewest && count <= command.most) return;
    const std::string arguments = *command.arguments != '\0' ? std::string(" ") + command.arguments : "";
    throw ScriptError("wrong number of arguments: " + std::string(command.name) + arguments);
}

void Refused(Answer& answer, const std::string& error) {
    answer["ok"] = false;
    answer["error"] = error;
}

/// Runs the command and turns what comes out of the plug-in into an answer.
void RunCommand(const ScriptCommand& command, ScriptSession& session, const ScriptArguments& arguments,
                Answer& answer) {
    try {
        command.run(session, arguments, answer);
    } catch (const cPelkitErrorIF& error) {
        Refused(answer, pelkit::TextOf(error));
        answer["severity"] = static_cast<int>(pelkit::SeverityOf(error));
    } catch (const ScriptError&) {
        throw;
    } catch (const HostError& error) {
        Refused(answer, error.what());
    } catch (const std::exception& error) {
        Refused(answer, std::string("no cPelkitError, but a standard exception: ") + error.what());
    } catch (...) {
        Refused(answer, "no cPelkitError, but an exception of an unknown type");
    }
}

}  // namespace

CChannelDriver& DriverOf(ScriptSession& session, const ScriptArguments& arguments) {
    return *session.host.Find(arguments.Text(0)).driver;
}

Answer RunScriptLine(ScriptSession& session, const std::string& line, uint32_t lineNumber) {
    std::vector<ScriptWord> words = SplitScriptLine(line);
    if (words.empty()) return nullptr;
    const ScriptCommand& command = FindCommand(words.front().text);
    words.erase(words.begin());
    CheckCount(command, words.size());
    Answer answer = {{"line", lineNumber}, {"command", command.name}, {"ok", true}};
    RunCommand(command, session, ScriptArguments(std::move(words)), answer);
    return answer;
}

}  // namespace Korr::Plim::Trace::Tracehost
