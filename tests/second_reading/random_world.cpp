#include "tests/second_reading/random_world.h"

#include <algorithm>
#include <array>
#include <limits>

#include "tests/fakes/scripted_capture_file.h"

namespace second_reading {

namespace {

std::string RandomBytes(Random& random, uint32_t most) {
    std::string bytes(random.Below(most + 1), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.Below(256));
    return bytes;
}

void AddFailures(Random& random, World& world) {
    static const std::array<const char*, 12> calls = {"port.Open",     "port.SetPollingTimeouts",
                                                      "port.GetState", "port.SetState",
                                                      "port.Purge",    "port.QueryQueue",
                                                      "port.SetBreak", "port.Read",
                                                      "port.Close",    "file.Create",
                                                      "file.Write",    "file.Close"};
    for (const char* call : calls) {
        if (!random.Percent(5)) continue;
        world.failures[{call, 1 + random.Below(4)}] = 1 + random.Below(2000);
    }
    if (random.Percent(5)) world.failures[{"port.Close", 1}] = random.Word();
    if (random.Percent(4)) world.invalidStates[1 + random.Below(4)] = true;
}

}  // namespace

LineState RandomLine(Random& random) {
    LineState line;
    line.length = 1 + random.Below(100);
    line.baudRate = random.Word();
    line.dataBits = static_cast<uint8_t>(random.Below(9));
    line.parity = static_cast<uint8_t>(random.Below(5));
    line.stopBits = static_cast<uint8_t>(random.Below(3));
    line.binary = random.Percent(50);
    line.checkParity = random.Percent(50);
    line.ctsFlow = random.Percent(50);
    line.dsrFlow = random.Percent(50);
    line.dtrControl = static_cast<uint8_t>(random.Below(3));
    line.dsrSensitivity = random.Percent(50);
    line.xoffOutput = random.Percent(50);
    line.xoffInput = random.Percent(50);
    line.discardNull = random.Percent(50);
    line.rtsControl = static_cast<uint8_t>(random.Below(4));
    line.abortOnError = random.Percent(50);
    for (std::byte& byte : line.native) byte = static_cast<std::byte>(random.Below(256));
    return line;
}

double RandomClock(Random& random) {
    if (random.Below(300) == 0) {
        return random.OneOf({0.0, -48e6, 0.5, std::numeric_limits<double>::infinity(),
                             std::numeric_limits<double>::quiet_NaN()});
    }
    if (random.Percent(40)) return 1e6 * (1 + random.Below(120));
    const double hertz = 1e4 + random.Fraction() * random.OneOf({1e6, 1e8, 1e10});
    return random.Percent(70) ? static_cast<double>(static_cast<uint64_t>(hertz)) : hertz;
}

std::function<uint32_t(uint32_t)> RandomRates(Random& random, double traceClock) {
    const uint32_t most = 1 + random.Below(12000000);
    const uint32_t base = 1000000 + random.Below(50000000);
    const uint32_t permille = random.OneOf({900u, 949u, 950u, 951u, 1000u, 1049u, 1050u, 1051u, 1100u});
    static const std::array<uint32_t, 6> standard = {9600, 115200, 460800, 921600, 1843200, 3000000};
    if (random.Below(300) == 0) return [most](uint32_t) { return most; };
    switch (random.Below(5)) {
        case 0:
            return nullptr;
        case 1:
            return [most](uint32_t asked) { return std::min(asked, most); };
        case 2:
            return [base](uint32_t asked) { return asked == 0 ? 0 : base / std::max(1u, base / asked); };
        case 3:
            return [](uint32_t asked) {
                const auto* above = std::lower_bound(standard.begin(), standard.end(), asked);
                return above == standard.end() ? standard.back() : *above;
            };
        default:
            // Some rates on the search's way are taken with a deviation, those before them not at all.
            return [permille, traceClock, first = 1 + random.Below(40)](uint32_t asked) {
                const double divisor = traceClock / asked;
                if (!(divisor >= first)) return 1u;
                return divisor > first + 5 ? asked : static_cast<uint32_t>(uint64_t{asked} * permille / 1000);
            };
    }
}

World RandomWorld(Random& random, double traceClock) {
    World world;
    world.found = RandomLine(random);
    world.rateTaken = RandomRates(random, traceClock);
    if (random.Percent(20)) world.stopBitsTaken = static_cast<int>(random.Below(3));
    world.lastError = random.Below(100);
    world.pending = RandomBytes(random, 20);
    if (random.Percent(50)) world.afterPurge = RandomBytes(random, 300);
    for (uint32_t step = random.Below(12); step > 0; --step) {
        world.steps.push_back({random.Percent(70) ? RandomBytes(random, 250) : std::string(), false});
    }
    world.steps.push_back({std::string(), true});
    for (uint32_t step = random.Below(8); step > 0; --step) {
        world.steps.push_back({RandomBytes(random, 250), false});
    }
    if (random.Percent(30)) world.stopsInWrite[1 + random.Below(10)] = true;
    AddFailures(random, world);
    return world;
}

fakes::ScriptedPort& Script(const World& world, uint32_t number) {
    fakes::ScriptedPorts::Reset();
    fakes::ScriptedFiles::Reset();
    fakes::ScriptedPort& port = fakes::ScriptedPorts::Plug(number);
    port.SetLine(world.found);
    port.rateTaken = world.rateTaken;
    if (world.stopBitsTaken >= 0) {
        port.lineTaken = [stopBits = world.stopBitsTaken](LineState& line) {
            line.stopBits = static_cast<uint8_t>(stopBits);
        };
    }
    for (const auto& [nth, invalid] : world.invalidStates) port.invalidStates.insert(nth);
    port.AddArrived(world.pending);
    port.arrivingAfterPurge = world.afterPurge;
    fakes::ScriptedCalls& calls = fakes::ScriptedCalls::Instance();
    for (const auto& [call, code] : world.failures) calls.Fail(call.first, code, call.second);
    fakes::ScriptedCalls::LastError() = world.lastError;
    return port;
}

}  // namespace second_reading
