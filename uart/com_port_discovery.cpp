#include "uart/com_port_discovery.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "host_api/ProbeKind.h"
#include "uart/port_devices.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr char kBrantorUserPort[] = "Brantor User CDC Serial Port";
constexpr char kBrantorPort[] = "Brantor Serial Port";
constexpr char kQuillerPort[] = "Quiller Class Auxiliary Data Port";

using ProbeNames = std::vector<const char*>;

ProbeNames NamesOfProbe(uint32_t probeKind) {
    switch (probeKind) {
        case kBrantorProbe:
            return {kBrantorUserPort, kBrantorPort};
        case kQuillerProbe:
            return {kQuillerPort};
        case kUnsupportedProbe:
            return {kBrantorUserPort, kQuillerPort, kBrantorPort};
        default:
            return {};
    }
}

bool BelongsToProbe(const std::string& friendlyName, const ProbeNames& names) {
    return std::any_of(names.begin(), names.end(),
                       [&](const char* name) { return friendlyName.find(name) != std::string::npos; });
}

/// Leading white space and a sign are allowed, reading stops at the first other character, no digits give 0.
/// A number that does not fit is the nearest one that does.
int32_t ReadDecimal(const char* text) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    const int64_t most = std::numeric_limits<int32_t>::max() + (negative ? int64_t{1} : int64_t{0});
    int64_t number = 0;
    for (; *text >= '0' && *text <= '9'; ++text) number = std::min(most, number * 10 + (*text - '0'));
    return static_cast<int32_t>(negative ? -number : number);
}

bool PlatformIsSupported() {
    switch (CheckPlatformVersion()) {
        case PlatformCheck::kVersionUnknown:
            std::printf("CleanUp:  Unable to verify Windows version, exiting...\n");
            return false;
        case PlatformCheck::kTooOld:
            std::printf("CleanUp:  This utility is  designed to run on Windows XP/2003 and later\n");
            return false;
        case PlatformCheck::kSupported:
            break;
    }
    return true;
}

std::vector<std::string> Enumerate(uint32_t probeKind) {
    if (!PlatformIsSupported()) return {};
    const ProbeNames names = NamesOfProbe(probeKind);
    std::vector<int32_t> numbers;
    for (const std::string& friendlyName : ListPresentPortDevices()) {
        if (!BelongsToProbe(friendlyName, names)) continue;
        std::printf("Enumerated:  %s\n", friendlyName.c_str());
        const std::size_t com = friendlyName.find("COM");
        if (com != std::string::npos) numbers.push_back(ReadDecimal(friendlyName.c_str() + com + 3));
    }
    std::sort(numbers.begin(), numbers.end());
    std::vector<std::string> texts;
    texts.reserve(numbers.size());
    for (const int32_t number : numbers) texts.push_back(std::to_string(number));
    return texts;
}

}  // namespace

std::vector<std::string> EnumerateProbeComPorts(uint32_t probeKind) {
    try {
        return Enumerate(probeKind);
    } catch (...) {
        return {};
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
