#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace second_reading {

/// What the platform says of its port devices, in its order.
struct Ports {
    int version = 0;  ///< 0 supported, 1 unknown, 2 too old
    bool listOpens = true;
    struct Device {
        std::string name;
        bool present = true;
        bool readable = true;
    };
    std::vector<Device> devices;
};

/// What a discovery gives and prints.
struct Discovery {
    std::vector<std::string> ports;
    std::string printed;
};

/// A second reading of EnumerateProbeComPorts, made from what it promises and not from its code.
Discovery ModelDiscovery(const Ports& ports, uint32_t probeKind);

}  // namespace second_reading
