// Script commands that call a channel driver: configuration, recording, status.
#include "host_api/CChannelDriverProgress.h"
#include "tracehost/script_session.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Session = ScriptSession;
using Arguments = ScriptArguments;

void Configure(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).SetConfiguration(arguments.TextOrNull(1));
}

void Start(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).StartRecording(0);
}

void Stop(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).StopRecording();
}

void Resume(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).ResumeRecording();
}

void Status(Session& session, const Arguments& arguments, Answer& answer) {
    StatusRecord record{99, "untouched", {1, 1, 1, 1, 1}};
    DriverOf(session, arguments).GetStatus(record);
    answer["code"] = record.code;
    answer["text"] = std::string(record.text);
    answer["flags"] = Answer::array();
    for (const uint8_t flag : record.flags) answer["flags"].push_back(flag != 0);
}

void Attribute(Session& session, const Arguments& arguments, Answer& answer) {
    TraceAttribute attribute;
    DriverOf(session, arguments).GetAttribute(arguments.TextOrNull(1), attribute);
    answer["name"] = attribute.name != nullptr ? Answer(attribute.name) : Answer(nullptr);
    answer["type"] = attribute.type;
    answer["value"] = attribute.value != nullptr ? Answer(attribute.value) : Answer(nullptr);
}

void Wrapped(Session& session, const Arguments& arguments, Answer& answer) {
    answer["wrapped"] = DriverOf(session, arguments).IsBufferWrapped();
}

void Info(Session& session, const Arguments& arguments, Answer& answer) {
    HostString text = "untouched";
    answer["text"] = std::string(DriverOf(session, arguments).GetExtendedInfo(text));
}

void Progress(Session& session, const Arguments& arguments, Answer& answer) {
    auto* const progress = dynamic_cast<CChannelDriverProgress*>(&DriverOf(session, arguments));
    if (progress == nullptr) throw HostError("the driver offers no CChannelDriverProgress");
    uint32_t current = 0;
    uint32_t total = 0;
    progress->GetProgress(current, total);
    answer["current"] = current;
    answer["total"] = total;
}

void JobState(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).JobStateChanged(arguments.Number(1));
}

void SetTargetState(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).SetTargetState(arguments.Number(1));
}

void SetHaltState(Session& session, const Arguments& arguments, Answer&) {
    const auto state = static_cast<uint8_t>(arguments.Number(2, UINT8_MAX));
    DriverOf(session, arguments).SetHaltState(arguments.TextOrNull(1), state);
}

void Unregister(Session& session, const Arguments& arguments, Answer&) {
    DriverOf(session, arguments).UnregisterCpu(arguments.TextOrNull(1));
}

}  // namespace

const std::vector<ScriptCommand>& DriverCommands() {
    static const std::vector<ScriptCommand> commands = {
        {"configure", "CPU FILE", 2, 2, Configure},
        {"start", "CPU", 1, 1, Start},
        {"stop", "CPU", 1, 1, Stop},
        {"resume", "CPU", 1, 1, Resume},
        {"status", "CPU", 1, 1, Status},
        {"attribute", "CPU NAME", 2, 2, Attribute},
        {"wrapped", "CPU", 1, 1, Wrapped},
        {"info", "CPU", 1, 1, Info},
        {"progress", "CPU", 1, 1, Progress},
        {"job-state", "CPU N", 2, 2, JobState},
        {"set-target-state", "CPU N", 2, 2, SetTargetState},
        {"set-halt-state", "CPU NAME N", 3, 3, SetHaltState},
        {"unregister", "CPU NAME", 2, 2, Unregister},
    };
    return commands;
}

}  // namespace Korr::Plim::Trace::Tracehost
