// Script commands that call the receiver.
#include <vector>

#include "tracehost/script_session.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

using Session = ScriptSession;
using Arguments = ScriptArguments;

/// Room for one CPU name of GetCpuNames, which copies without a bound.
constexpr std::size_t kCpuNameRoom = kLongestLine + 1;

void Create(Session& session, const Arguments&, Answer& answer) {
    answer["receiver"] = session.host.Create();
}

void Destroy(Session& session, const Arguments&, Answer& answer) {
    answer["receiver"] = session.host.Destroy();
}

void Cpus(Session& session, const Arguments&, Answer& answer) {
    CReceiver& receiver = session.host.Receiver();
    const uint32_t count = receiver.GetNumCpus();
    std::vector<std::vector<char>> names(count, std::vector<char>(kCpuNameRoom, '\0'));
    std::vector<char*> buffers;
    buffers.reserve(count);
    for (auto& name : names) buffers.push_back(name.data());
    if (count > 0) receiver.GetCpuNames(buffers.data());
    answer["count"] = count;
    answer["names"] = Answer::array();
    for (const auto& name : names) answer["names"].push_back(std::string(name.data()));
}

void NextChannel(Session& session, const Arguments&, Answer& answer) {
    answer["channel"] = session.host.Receiver().GetNextAvailableChannel();
}

void DataSource(Session& session, const Arguments&, Answer&) {
    session.host.Receiver().GetDataSource(nullptr);
}

void Allocate(Session& session, const Arguments& arguments, Answer& answer) {
    const uint32_t cpuId = arguments.NumberOr(1, 0);
    const uint32_t channel = arguments.NumberOr(2, session.host.NextChannel());
    answer["driver"] = session.host.Allocate(arguments.TextOrNull(0), cpuId, channel).name;
}

void Release(Session& session, const Arguments& arguments, Answer& answer) {
    if (arguments.TextOrNull(0) == nullptr) {
        session.host.Receiver().ReleaseChannelDriver(nullptr);
        answer["driver"] = nullptr;
        return;
    }
    answer["driver"] = session.host.Release(arguments.Text(0));
}

void Find(Session& session, const Arguments& arguments, Answer& answer) {
    const CChannelDriver* const driver = session.host.Receiver().GetChannelDriver(arguments.TextOrNull(0));
    const std::string* const name = session.host.NameOf(driver);
    answer["driver"] = name != nullptr ? Answer(*name) : Answer(nullptr);
}

void TargetState(Session& session, const Arguments& arguments, Answer&) {
    session.host.Receiver().TargetStateChanged(arguments.TextOrNull(0), arguments.Number(1));
}

void TargetEvent(Session& session, const Arguments& arguments, Answer&) {
    session.host.Receiver().TargetEvent(arguments.TextOrNull(0), arguments.Number(1));
}

}  // namespace

const std::vector<ScriptCommand>& ReceiverCommands() {
    static const std::vector<ScriptCommand> commands = {
        {"create", "", 0, 0, Create},
        {"destroy", "", 0, 0, Destroy},
        {"cpus", "", 0, 0, Cpus},
        {"next-channel", "", 0, 0, NextChannel},
        {"data-source", "", 0, 0, DataSource},
        {"allocate", "CPU [CPUID [CHANNEL]]", 1, 3, Allocate},
        {"release", "CPU", 1, 1, Release},
        {"find", "CPU", 1, 1, Find},
        {"target-state", "CPU CODE", 2, 2, TargetState},
        {"target-event", "CPU CODE", 2, 2, TargetEvent},
    };
    return commands;
}

}  // namespace Korr::Plim::Trace::Tracehost
