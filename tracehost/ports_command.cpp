// tracehost ports
#include <algorithm>
#include <cstdio>

#include "source_utilities/visible_text.h"
#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/json_output.h"
#include "tracehost/plugin.h"
#include "tracehost/port_list.h"
#include "tracehost/standard_output.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct PortsRequest {
    bool json = false;
    std::string plugin = kDefaultPlugin;
};

Json ToJson(const std::vector<ListedPort>& ports) {
    Json list = Json::array();
    for (const ListedPort& port : ports) {
        list.push_back({{"number", port.number ? Json(*port.number) : Json(nullptr)},
                        {"device", OrNull(port.access.device)},
                        {"name", OrNull(port.name)},
                        {"probe", OrNull(port.probe)},
                        {"environment", port.byEnvironment},
                        {"default", port.isDefault},
                        {"looked_at", port.number && port.access.lookedAt},
                        {"problem", OrNull(port.access.problem)},
                        {"advice", OrNull(port.access.advice)},
                        {"why", WhyTaken(port)}});
    }
    return {{"ports", list}};
}

void PrintPort(std::FILE* output, const ListedPort& port) {
    const std::string number = port.number ? "COM" + std::to_string(*port.number) : "COM?";
    const std::string variable = "KORR_TRACE_" + number;
    const std::string name = !port.name.empty() ? port.name : "named by " + variable;
    const std::string also = !port.name.empty() && port.byEnvironment ? ", named by " + variable : "";
    std::fprintf(output, "%-7s %-16s %s%s%s\n", number.c_str(), KORR_PLIM::Visible(port.access.device).Text(),
                 KORR_PLIM::Visible(name).Text(), also.c_str(),
                 port.probe.empty() ? "" : (", " + port.probe + " probe").c_str());
    std::fprintf(output, "        %s\n", KORR_PLIM::Visible(WhyTaken(port)).Text());
}

void Print(std::FILE* output, const std::vector<ListedPort>& ports) {
    const auto isDefault = [](const ListedPort& port) { return port.isDefault; };
    if (std::none_of(ports.begin(), ports.end(), isDefault)) {
        std::fprintf(output, "No auxiliary data port of a probe was found: a recording needs --port.\n");
    }
    std::fprintf(output, "All port devices:%s\n", ports.empty() ? " none" : "");
    for (const ListedPort& port : ports) PrintPort(output, port);
}

int Run(const PortsRequest& request) {
    std::FILE* const output = TakeStandardOutput();
    const auto ports = ListPorts();
    if (request.json) {
        PrintJson(output, ToJson(ports));
    } else {
        Print(output, ports);
    }
    FinishStandardOutput(output);
    return kDone;
}

}  // namespace

void AddPortsCommand(CLI::App& program, int& status) {
    auto request = std::make_shared<PortsRequest>();
    CLI::App* const command =
        program.add_subcommand("ports", "List the COM ports, and why each is or is not recorded from");
    AddJsonFlag(*command, request->json);
    AddPluginOption(*command, request->plugin);
    command->footer("Example:\n  tracehost ports\n");
    command->callback([request, &status] { status = Run(*request); });
}

}  // namespace Korr::Plim::Trace::Tracehost
