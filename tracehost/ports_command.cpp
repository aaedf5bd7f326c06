// tracehost ports
#include <cstdio>

#include "tracehost/commands.h"
#include "tracehost/errors.h"
#include "tracehost/plugin.h"
#include "tracehost/standard_output.h"
#include "uart/com_port_discovery.h"
#include "uart/port_devices.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ProbeFamily {
    uint32_t kind;
    const char* name;
};
constexpr ProbeFamily kFamilies[] = {{0, "Brantor"}, {1, "Quiller"}};

uint32_t PrintProbePorts(std::FILE* output) {
    uint32_t found = 0;
    for (const ProbeFamily& family : kFamilies) {
        for (const std::string& number : Tarnel::EnumerateProbeComPorts(family.kind)) {
            std::fprintf(output, "COM%s  %s probe, auxiliary data port\n", number.c_str(), family.name);
            ++found;
        }
    }
    return found;
}

int Run() {
    std::FILE* const output = TakeStandardOutput();
    if (PrintProbePorts(output) == 0) {
        std::fprintf(output, "No auxiliary data port of a probe was found.\n");
    }
    const auto devices = Tarnel::ListPresentPortDevices();
    std::fprintf(output, "\nAll port devices:%s\n", devices.empty() ? " none" : "");
    for (const std::string& device : devices) std::fprintf(output, "  %s\n", device.c_str());
    FinishStandardOutput(output);
    return kDone;
}

}  // namespace

void AddPortsCommand(CLI::App& program, int& status) {
    CLI::App* const command = program.add_subcommand("ports", "List the COM ports of the connected probes");
    auto plugin = std::make_shared<std::string>(kDefaultPlugin);
    AddPluginOption(*command, *plugin);
    command->footer("Example:\n  tracehost ports\n");
    command->callback([plugin, &status] { status = Run(); });
}

}  // namespace Korr::Plim::Trace::Tracehost
