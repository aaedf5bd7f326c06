#include <gtest/gtest.h>

#include <bit>
#include <cctype>
#include <cmath>
#include <limits>

#include "host_api/DeviceIdentifier.h"
#include "host_api/MemoryAccessor.h"
#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"
#include "tests/second_reading/clock_model.h"
#include "tests/second_reading/log_follower.h"
#include "tests/second_reading/random.h"
#include "uart/device_clock_readers.h"

namespace second_reading {

namespace {

using Korr::Plim::Trace::DeviceInformation;
using Korr::Plim::Trace::DeviceModule;
using Korr::Plim::Trace::MemoryAccessor;
using namespace Korr::Plim::Trace::Tarnel;

constexpr const char* kDevice = "CORTEX_M4";

std::string Lower(uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%x", number);
    return text;
}

// The host's objects over a target of the model: they write down what they are asked.
class HostOf final : public DeviceModule, public DeviceInformation, public MemoryAccessor {
  public:
    explicit HostOf(const ClockTarget& clockTarget) : target(clockTarget) {}
    std::vector<std::string> asked;

    DeviceInformation* Information(const char* deviceName) {
        asked.push_back(deviceName == std::string(kDevice) ? "information" : "another device");
        return target.hasInformation ? this : nullptr;
    }
    DeviceModule* GetModule(const char* moduleName) override {
        asked.push_back(moduleName == std::string("MOD_SYSCLK") ? "module" : "another module");
        return target.hasModule ? this : nullptr;
    }
    Korr::Plim::Trace::HostString GetRegisterAddress(const char* registerName) override {
        asked.emplace_back(registerName);
        const auto found = target.addresses.find(registerName);
        return found == target.addresses.end() ? std::string() : found->second;
    }
    uint32_t ReadMemory(uint32_t address, uint32_t& value) override {
        asked.push_back(Lower(address));
        if (target.unreadable.count(address) != 0) return 1;
        const auto found = target.words.find(address);
        value = found == target.words.end() ? 0 : found->second;
        return 0;
    }

  private:
    const ClockTarget& target;
};

class Identifier final : public Korr::Plim::Trace::DeviceIdentifier {
  public:
    explicit Identifier(HostOf& clockHost) : host(clockHost) {}
    void Reserved0() override {}
    void Reserved1() override {}
    void Reserved2() override {}
    void Reserved3() override {}
    void Reserved4() override {}
    void Reserved5() override {}
    void Reserved6() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    bool Match(uint32_t /*value*/, uint32_t /*mask*/) override { return false; }
    DeviceInformation* GetDeviceInformation(const char* deviceName) override {
        return host.Information(deviceName);
    }

  private:
    HostOf& host;
};

template <typename Device>
ClockReading ReadingOf(const ClockTarget& target) {
    HostOf host(target);
    Identifier identifier(host);
    ClockReading reading;
    LogFollower::Instance().NewLines();
    try {
        const Device device(kDevice, &identifier, &host);
        reading.constructed = true;
        reading.frequency = device.GetFrequency();
    } catch (const cPelkitError& error) {
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
        reading.error = pelkit::TextOf(error);
    }
    reading.asked = host.asked;
    reading.lines = LogFollower::Instance().NewLines();
    return reading;
}

void ExpectSame(const ClockReading& product, const ClockReading& model) {
    ASSERT_EQ(product.error, model.error);
    ASSERT_EQ(product.constructed, model.constructed);
    ASSERT_EQ(product.asked, model.asked);
    ASSERT_EQ(product.lines, model.lines);
    if (model.error.empty()) {
        ASSERT_NEAR(product.frequency, model.frequency, std::abs(model.frequency) * 1e-12);
    }
}

std::string AddressText(Random& random, uint32_t address) {
    const std::string digits = Lower(address).substr(2);
    std::string capitals = digits;
    for (char& digit : capitals) digit = static_cast<char>(std::toupper(digit));
    return random.OneOf({digits, capitals, "0x" + digits, "0X" + capitals, " 0x" + capitals, digits + "H",
                         "0x" + digits + "u", "00" + digits + ".5"});
}

// Registers at random places. Few of them are missing, unreadable or at a number beyond 32 bits.
ClockTarget RandomTarget(Random& random, const std::map<std::string, uint32_t>& registers) {
    ClockTarget target;
    target.hasInformation = !random.Percent(1);
    target.hasModule = !random.Percent(1);
    for (const auto& [name, value] : registers) {
        const uint32_t address = random.Word();
        target.words[address] = value;
        target.addresses[name] = AddressText(random, address);
        if (random.Percent(2)) target.unreadable.insert(address);
        if (random.Below(200) == 0) target.addresses.erase(name);
        if (random.Below(200) == 0) target.addresses[name] = "no address";
        if (random.Below(200) == 0) target.addresses[name] = "1" + target.addresses[name] + "000000000";
    }
    return target;
}

uint32_t RandomFloat(Random& random) {
    if (random.Percent(10)) return random.Word();
    if (random.Percent(5)) return std::bit_cast<uint32_t>(std::numeric_limits<float>::infinity());
    const double sign = random.Percent(50) ? 1 : -1;
    return std::bit_cast<uint32_t>(static_cast<float>(sign * random.Fraction() * 0.01));
}

}  // namespace

TEST(ClockReadersAgain, FerrinReadsAsTheModel) {
    ForRandomCases(2500, [](Random& random) {
        uint32_t csctl0 = random.Word();
        if (random.Percent(10)) csctl0 &= ~0x1FFFu;
        uint32_t csctl1 = random.Word();
        if (random.Percent(50)) csctl1 = (csctl1 & ~7u) | 3u;
        const uint32_t tlvbase = random.Percent(90) ? random.Word() : 0xFFFFFFF0u;
        ClockTarget target = RandomTarget(random, {{"CSCTL0", csctl0},
                                                   {"CSCTL1", csctl1},
                                                   {"CSCTL2", random.Word()},
                                                   {"CSCTL3", random.Word()},
                                                   {"CSCLKEN", random.Word()}});
        if (!random.Percent(1)) target.addresses["TLVBASE"] = AddressText(random, tlvbase);
        target.words[tlvbase + 100] = RandomFloat(random);
        target.words[tlvbase + 76] = random.Percent(80) ? random.Below(1024) : random.Word();
        target.words[tlvbase + 132] = random.Word();
        target.words[tlvbase + 108] = random.Word();
        if (random.Percent(3)) target.unreadable.insert(tlvbase + random.OneOf({100u, 76u}));
        ExpectSame(ReadingOf<Tarnel_FerrinDevice>(target), ModelFerrin(target));
    });
}

TEST(ClockReadersAgain, MothwingReadsAsTheModel) {
    ForRandomCases(500, [](Random& random) {
        const ClockTarget target = RandomTarget(random, {{"CPUCLKDIV", random.Word()}});
        ExpectSame(ReadingOf<Tarnel_MothwingDevice>(target), ModelMothwing(target));
    });
}

TEST(ClockReadersAgain, GlintarReadsAsTheModel) {
    ForRandomCases(3500, [](Random& random) {
        const uint32_t deviceClass =
            random.OneOf({0u, 1u, 3u, 4u, 5u, 9u, 10u, 10u, 11u, 12u, 12u, 13u, random.Below(256)});
        const uint32_t did0 = (random.Word() & 0xFF00FFFFu) | (deviceClass << 16);
        uint32_t rsclkcfg = random.Word();
        if (random.Percent(70)) rsclkcfg &= ~0x0FF00000u;
        const ClockTarget target = RandomTarget(random, {{"DID0", did0},
                                                         {"RCC", random.Word()},
                                                         {"RCC2", random.Word()},
                                                         {"RSCLKCFG", rsclkcfg},
                                                         {"PLLFREQ0", random.Word()},
                                                         {"PLLFREQ1", random.Word()}});
        ExpectSame(ReadingOf<Tarnel_GlintarDevice>(target), ModelGlintar(target));
    });
}

}  // namespace second_reading
