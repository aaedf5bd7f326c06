#include <gtest/gtest.h>

#include "tests/fakes/scripted_port_devices.h"
#include "tests/second_reading/discovery_model.h"
#include "tests/second_reading/random.h"
#include "uart/com_port_discovery.h"

namespace second_reading {

namespace {

using Korr::Plim::Trace::Tarnel::EnumerateProbeComPorts;
using Korr::Plim::Trace::Tarnel::PlatformCheck;
using Korr::Plim::Trace::Tarnel::PortDevicesScript;
using Korr::Plim::Trace::Tarnel::ScriptedPortDevices;

std::string RandomName(Random& random) {
    std::string name;
    for (uint32_t piece = 1 + random.Below(5); piece > 0; --piece) {
        name += random.OneOf<std::string>(
            {"Brantor User CDC Serial Port", "Brantor Serial Port", "Quiller Class Auxiliary Data Port",
             "brantor serial port", "Brantor Serial", "USB Serial Port", " (COM", "COM", "Com", " ", "-", "+",
             ")", "x", "\xC3\xA9", "0", std::to_string(random.Below(300)),
             std::to_string(random.Word()) + std::to_string(random.Word())});
    }
    if (random.Percent(70)) name += " (COM" + std::to_string(random.Below(30)) + ")";
    if (random.Percent(2)) name += std::string(150 + random.Below(60), 'y');
    return name;
}

Ports RandomPorts(Random& random) {
    Ports ports;
    if (random.Percent(4)) ports.version = static_cast<int>(1 + random.Below(2));
    ports.listOpens = !random.Percent(2);
    for (uint32_t device = random.Below(8); device > 0; --device) {
        ports.devices.push_back({RandomName(random), !random.Percent(15), !random.Percent(10)});
    }
    return ports;
}

Discovery Discover(const Ports& ports, uint32_t probeKind) {
    ScriptedPortDevices& script = PortDevicesScript();
    script = ScriptedPortDevices();
    script.version = ports.version == 0   ? PlatformCheck::kSupported
                     : ports.version == 1 ? PlatformCheck::kVersionUnknown
                                          : PlatformCheck::kTooOld;
    script.listOpens = ports.listOpens;
    for (const Ports::Device& device : ports.devices) {
        script.devices.push_back({device.name, device.present, device.readable});
    }
    Discovery discovery;
    testing::internal::CaptureStdout();
    discovery.ports = EnumerateProbeComPorts(probeKind);
    discovery.printed = testing::internal::GetCapturedStdout();
    return discovery;
}

}  // namespace

TEST(DiscoveryAgain, FindsAsTheModel) {
    ForRandomCases(1500, [](Random& random) {
        const Ports ports = RandomPorts(random);
        const uint32_t probeKind = random.OneOf({0u, 1u, 2u, 2u, 3u, random.Word()});
        const Discovery model = ModelDiscovery(ports, probeKind);
        const Discovery product = Discover(ports, probeKind);
        ASSERT_EQ(product.ports, model.ports);
        ASSERT_EQ(product.printed, model.printed);
    });
}

}  // namespace second_reading
