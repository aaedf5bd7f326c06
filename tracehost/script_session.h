#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "tracehost/host_session.h"
#include "tracehost/script_parser.h"

namespace Korr::Plim::Trace::Tracehost {

using Answer = nlohmann::ordered_json;

/// What the commands of one script share.
struct ScriptSession {
    explicit ScriptSession(const std::string& pluginPath) : host(pluginPath) {}

    HostSession host;
};

/// A command of the script language.
struct ScriptCommand {
    const char* name;
    const char* arguments;  ///< as shown to the user
    std::size_t fewest;     ///< arguments that must be there
    std::size_t most;
    /// Carries it out and adds its fields to the answer. \throws ScriptError for arguments of the wrong form,
    /// HostError, and whatever comes out of the plug-in
    std::function<void(ScriptSession&, const ScriptArguments&, Answer&)> run;
};

/// The driver that a command's first argument names. \throws ScriptError or HostError when there is none
CChannelDriver& DriverOf(ScriptSession& session, const ScriptArguments& arguments);

/// The commands of the receiver, of a channel driver, and of tracehost itself.
const std::vector<ScriptCommand>& ReceiverCommands();
const std::vector<ScriptCommand>& DriverCommands();
const std::vector<ScriptCommand>& CaptureCommands();
const std::vector<ScriptCommand>& OwnCommands();

/// Carries out one line. \return the answer, one JSON object; null for a line without a command
/// \throws ScriptError for a line that is no command
Answer RunScriptLine(ScriptSession& session, const std::string& line, uint32_t lineNumber);

}  // namespace Korr::Plim::Trace::Tracehost
