#include "tracehost/port_list.h"

#include <algorithm>
#include <charconv>

#include "tracehost/explanation.h"
#include "uart/com_port_discovery.h"
#include "uart/port_devices.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

struct ProbeFamily {
    uint32_t kind;
    const char* name;
};
constexpr ProbeFamily kFamilies[] = {{0, "Brantor"}, {1, "Quiller"}};

/// N of a name that ends in "(COM<N>)".
std::optional<uint32_t> NumberIn(const std::string& name) {
    const std::size_t start = name.rfind("(COM");
    if (start == std::string::npos) return std::nullopt;
    const char* const end = name.data() + name.size();
    uint32_t number = 0;
    const auto [stop, failure] = std::from_chars(name.data() + start + 4, end, number);
    if (failure != std::errc() || stop == end || *stop != ')') return std::nullopt;
    return number;
}

bool Holds(const std::vector<std::string>& numbers, uint32_t number) {
    return std::find(numbers.begin(), numbers.end(), std::to_string(number)) != numbers.end();
}

/// Which probe a port belongs to, by the plug-in's own discovery; of all of them it takes the smallest
/// number.
void NameProbes(std::vector<ListedPort>& ports) {
    for (const ProbeFamily& family : kFamilies) {
        const auto numbers = Tarnel::EnumerateProbeComPorts(family.kind);
        for (ListedPort& port : ports) {
            if (port.number && !port.name.empty() && Holds(numbers, *port.number)) port.probe = family.name;
        }
    }
    const auto first =
        std::find_if(ports.begin(), ports.end(), [](const ListedPort& port) { return !port.probe.empty(); });
    if (first != ports.end()) first->isDefault = true;
}

void AddFromSystem(std::vector<ListedPort>& ports) {
    for (const std::string& name : Tarnel::ListPresentPortDevices()) {
        ListedPort port;
        port.number = NumberIn(name);
        port.name = name;
        ports.push_back(port);
    }
}

void AddFromEnvironment(std::vector<ListedPort>& ports) {
    for (const uint32_t number : PortsOfEnvironment()) {
        const auto same = [number](const ListedPort& port) { return port.number == number; };
        auto found = std::find_if(ports.begin(), ports.end(), same);
        if (found == ports.end()) found = ports.insert(ports.end(), ListedPort());
        found->number = number;
        found->byEnvironment = true;
    }
}

/// The end of a sentence about the port; empty when it was seen to be well.
std::string Trouble(const PortAccess& access, uint32_t number) {
    if (!access.lookedAt) {
        return "; not opened, \"tracehost doctor --port " + std::to_string(number) + "\" looks at it";
    }
    return access.problem.empty() ? "" : "; but " + FormatFinding(access.problem, "", access.advice);
}

}  // namespace

std::vector<ListedPort> ListPorts() {
    std::vector<ListedPort> ports;
    AddFromSystem(ports);
    AddFromEnvironment(ports);
    std::stable_sort(ports.begin(), ports.end(), [](const ListedPort& left, const ListedPort& right) {
        return left.number.value_or(UINT32_MAX) < right.number.value_or(UINT32_MAX);
    });
    NameProbes(ports);
    for (ListedPort& port : ports) {
        if (port.number) port.access = CheckPort(*port.number, PortCheck::FromOutside);
    }
    return ports;
}

std::string PortDeviceName(uint32_t number) {
    for (const std::string& name : Tarnel::ListPresentPortDevices()) {
        if (NumberIn(name) == number) return name;
    }
    return {};
}

std::string WhyTaken(const ListedPort& port) {
    if (!port.number) return "not taken: its name tells no COM number";
    const std::string asked = "--port " + std::to_string(*port.number) + " takes it";
    const std::string trouble = Trouble(port.access, *port.number);
    if (port.isDefault) return "taken: the first port of a probe" + trouble;
    if (!port.probe.empty()) {
        return "not taken by itself: another probe's port comes first; " + asked + trouble;
    }
    const std::string why = port.name.empty() ? "named by the environment alone" : "its name is no probe's";
    return "not taken by itself: " + why + "; " + asked + trouble;
}

}  // namespace Korr::Plim::Trace::Tracehost
