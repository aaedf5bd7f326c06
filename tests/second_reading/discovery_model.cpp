#include "tests/second_reading/discovery_model.h"

#include <map>

namespace second_reading {

namespace {

// A number behind "COM": blanks and a sign before its digits, as far as they go, within 32 bits.
long long NumberIn(const std::string& text) {
    std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
    if (at == std::string::npos) return 0;
    const bool negative = text[at] == '-';
    if (text[at] == '-' || text[at] == '+') ++at;
    const std::size_t end = text.find_first_not_of("0123456789", at);
    const std::string digits = text.substr(at, end == std::string::npos ? end : end - at);
    if (digits.empty()) return 0;
    const std::size_t first = digits.find_first_not_of('0');
    if (first == std::string::npos) return 0;
    const bool huge = digits.size() - first > 10;
    const long long number = huge ? 99999999999LL : std::stoll(digits);
    if (negative) return number > 2147483648LL ? -2147483648LL : -number;
    return number > 2147483647LL ? 2147483647LL : number;
}

bool Accepts(uint32_t probeKind, const std::string& name) {
    const bool brantor = name.find("Brantor User CDC Serial Port") != std::string::npos ||
                         name.find("Brantor Serial Port") != std::string::npos;
    const bool quiller = name.find("Quiller Class Auxiliary Data Port") != std::string::npos;
    if (probeKind == 0) return brantor;
    if (probeKind == 1) return quiller;
    return probeKind == 2 && (brantor || quiller);
}

}  // namespace

Discovery ModelDiscovery(const Ports& ports, uint32_t probeKind) {
    if (ports.version == 1) return {{}, "CleanUp:  Unable to verify Windows version, exiting...\n"};
    if (ports.version == 2) {
        return {{}, "CleanUp:  This utility is  designed to run on Windows XP/2003 and later\n"};
    }
    Discovery discovery;
    std::map<long long, int> numbers;
    for (const Ports::Device& device : ports.devices) {
        const bool seen = ports.listOpens && device.present && device.readable && device.name.size() < 200;
        if (!seen || !Accepts(probeKind, device.name)) continue;
        discovery.printed += "Enumerated:  " + device.name + "\n";
        const std::size_t com = device.name.find("COM");
        if (com != std::string::npos) ++numbers[NumberIn(device.name.substr(com + 3))];
    }
    for (const auto& [number, count] : numbers) {
        for (int i = 0; i < count; ++i) discovery.ports.push_back(std::to_string(number));
    }
    return discovery;
}

}  // namespace second_reading
