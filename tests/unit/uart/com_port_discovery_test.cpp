#include "uart/com_port_discovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cwchar>
#include <new>
#include <stdexcept>

#include "tests/fakes/scripted_port_devices.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kBrantorUser[] = "Brantor User CDC Serial Port";
constexpr char kBrantor[] = "Brantor Serial Port";
constexpr char kQuiller[] = "Quiller Class Auxiliary Data Port";

class ComPortDiscovery : public testing::Test {
  protected:
    void SetUp() override { PortDevicesScript() = {}; }

    void Plug(const std::string& friendlyName) { PortDevicesScript().devices.push_back({friendlyName}); }

    /// Runs the discovery; what it printed is in `printed`.
    std::vector<std::string> Enumerate(uint32_t probeKind) {
        testing::internal::CaptureStdout();
        auto ports = EnumerateProbeComPorts(probeKind);
        printed = testing::internal::GetCapturedStdout();
        return ports;
    }

    std::string printed;
};

TEST_F(ComPortDiscovery, NothingPluggedInGivesNothingAndPrintsNothing) {
    EXPECT_THAT(Enumerate(2), IsEmpty());
    EXPECT_EQ(printed, "");
}

TEST_F(ComPortDiscovery, PortsComeInNumericNotTextOrder) {
    Plug("Brantor Serial Port (COM12)");
    Plug("Brantor Serial Port (COM3)");
    EXPECT_THAT(Enumerate(0), ElementsAre("3", "12"));
}

TEST_F(ComPortDiscovery, MatchingPortsArePrintedInThePlatformsOrder) {
    Plug("Brantor Serial Port (COM12)");
    Plug("Communications Port (COM1)");
    Plug("Brantor User CDC Serial Port (COM3)");
    Enumerate(0);
    EXPECT_EQ(printed,
              "Enumerated:  Brantor Serial Port (COM12)\n"
              "Enumerated:  Brantor User CDC Serial Port (COM3)\n");
}

TEST_F(ComPortDiscovery, NameWithoutComIsPrintedAndLeftOut) {
    Plug("Brantor Serial Port");
    EXPECT_THAT(Enumerate(0), IsEmpty());
    EXPECT_EQ(printed, "Enumerated:  Brantor Serial Port\n");
}

TEST_F(ComPortDiscovery, NoDigitsAfterComGiveZero) {
    Plug("Brantor Serial Port (COMx)");
    Plug("Brantor Serial Port COM");
    EXPECT_THAT(Enumerate(0), ElementsAre("0", "0"));
}

TEST_F(ComPortDiscovery, KindZeroTakesBothBrantorNamesOnly) {
    Plug(std::string(kBrantorUser) + " (COM5)");
    Plug(std::string(kQuiller) + " (COM6)");
    Plug(std::string(kBrantor) + " (COM7)");
    EXPECT_THAT(Enumerate(0), ElementsAre("5", "7"));
}

TEST_F(ComPortDiscovery, KindOneTakesTheQuillerNameOnly) {
    Plug(std::string(kBrantorUser) + " (COM5)");
    Plug(std::string(kQuiller) + " (COM6)");
    Plug(std::string(kBrantor) + " (COM7)");
    EXPECT_THAT(Enumerate(1), ElementsAre("6"));
}

TEST_F(ComPortDiscovery, KindTwoTakesAllThreeNames) {
    Plug(std::string(kBrantorUser) + " (COM5)");
    Plug(std::string(kQuiller) + " (COM6)");
    Plug(std::string(kBrantor) + " (COM7)");
    EXPECT_THAT(Enumerate(2), ElementsAre("5", "6", "7"));
}

TEST_F(ComPortDiscovery, OtherKindsTakeNothingAndPrintNothing) {
    Plug(std::string(kBrantor) + " (COM7)");
    for (const uint32_t kind : {3u, 4u, 0xFFFFFFFFu}) {
        EXPECT_THAT(Enumerate(kind), IsEmpty()) << kind;
        EXPECT_EQ(printed, "") << kind;
    }
}

TEST_F(ComPortDiscovery, NamesMatchAnywhereAndWithTheirCaseOnly) {
    Plug("My Brantor Serial Port #2 (COM4)");
    Plug("brantor serial port (COM5)");
    Plug("BRANTOR SERIAL PORT (COM6)");
    EXPECT_THAT(Enumerate(0), ElementsAre("4"));
}

TEST_F(ComPortDiscovery, ListedButAbsentDeviceIsNeverReported) {
    Plug("Brantor Serial Port (COM3)");
    PortDevicesScript().devices.push_back({"Brantor Serial Port (COM9)", false});
    EXPECT_THAT(Enumerate(0), ElementsAre("3"));
    EXPECT_EQ(printed, "Enumerated:  Brantor Serial Port (COM3)\n");
}

TEST_F(ComPortDiscovery, DeviceWithoutReadableNameIsSkipped) {
    PortDevicesScript().devices.push_back({"Brantor Serial Port (COM9)", true, false});
    Plug("Brantor Serial Port (COM3)");
    EXPECT_THAT(Enumerate(0), ElementsAre("3"));
}

TEST_F(ComPortDiscovery, SameNumberTwiceIsListedTwice) {
    Plug("Brantor Serial Port (COM3)");
    Plug("Brantor User CDC Serial Port (COM3)");
    EXPECT_THAT(Enumerate(0), ElementsAre("3", "3"));
}

TEST_F(ComPortDiscovery, TheFirstComOfTheNameCounts) {
    Plug("COM8 Brantor Serial Port (COM3)");
    EXPECT_THAT(Enumerate(0), ElementsAre("8"));
}

TEST_F(ComPortDiscovery, NumberIsReadAsTheRuntimeReadsDecimals) {
    const std::pair<const char*, const char*> cases[] = {
        {"COM 12", "12"}, {"COM\t\n 7", "7"},  {"COM12a", "12"},
        {"COM1 2", "1"},  {"COM007", "7"},     {"COM+5", "5"},
        {"COM-5", "-5"},  {"COM- 5", "0"},     {"COM2147483647", "2147483647"},
        {"COM0x10", "0"}, {"COM\v\f\r9", "9"},
    };
    for (const auto& [text, number] : cases) {
        PortDevicesScript() = {};
        Plug(std::string(kBrantor) + " " + text);
        EXPECT_THAT(Enumerate(0), ElementsAre(number)) << text;
    }
}

TEST_F(ComPortDiscovery, NumberBeyondTheRangeBecomesTheNearestInRange) {
    Plug("Brantor Serial Port (COM2147483648)");
    Plug("Brantor Serial Port (COM99999999999999999999999999999999)");
    Plug("Brantor Serial Port (COM-99999999999999999999999999999999)");
    EXPECT_THAT(Enumerate(0), ElementsAre("-2147483648", "2147483647", "2147483647"));
}

TEST_F(ComPortDiscovery, UnknownPlatformVersionPrintsItsTextAndListsNothing) {
    Plug("Brantor Serial Port (COM3)");
    PortDevicesScript().version = PlatformCheck::kVersionUnknown;
    EXPECT_THAT(Enumerate(0), IsEmpty());
    EXPECT_EQ(printed, "CleanUp:  Unable to verify Windows version, exiting...\n");
    EXPECT_EQ(PortDevicesScript().listings, 0u);
}

TEST_F(ComPortDiscovery, TooOldPlatformPrintsItsTextAndListsNothing) {
    Plug("Brantor Serial Port (COM3)");
    PortDevicesScript().version = PlatformCheck::kTooOld;
    EXPECT_THAT(Enumerate(0), IsEmpty());
    EXPECT_EQ(printed, "CleanUp:  This utility is  designed to run on Windows XP/2003 and later\n");
    EXPECT_EQ(PortDevicesScript().listings, 0u);
}

TEST_F(ComPortDiscovery, VersionIsCheckedBeforeEveryListing) {
    Enumerate(2);
    Enumerate(3);
    EXPECT_EQ(PortDevicesScript().versionChecks, 2u);
    EXPECT_EQ(PortDevicesScript().listings, 2u);
}

TEST_F(ComPortDiscovery, ListThatCannotBeOpenedGivesNothing) {
    Plug("Brantor Serial Port (COM3)");
    PortDevicesScript().listOpens = false;
    EXPECT_THAT(Enumerate(0), IsEmpty());
    EXPECT_EQ(printed, "");
}

TEST_F(ComPortDiscovery, NamesOutsideAsciiArePrintedAsTheyAre) {
    Plug("Brantor Serial Port \xC3\xA9%s%n (COM3)");
    EXPECT_THAT(Enumerate(0), ElementsAre("3"));
    EXPECT_EQ(printed, "Enumerated:  Brantor Serial Port \xC3\xA9%s%n (COM3)\n");
}

TEST_F(ComPortDiscovery, StandardOutputTakesNarrowTextAfterwards) {
    Plug("Brantor Serial Port (COM3)");
    testing::internal::CaptureStdout();
    EnumerateProbeComPorts(0);
    EXPECT_GT(std::printf("after\n"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Enumerated:  Brantor Serial Port (COM3)\nafter\n");
    EXPECT_LE(std::fwide(stdout, 0), 0);
}

TEST_F(ComPortDiscovery, ThrowsNothingWhateverThePlatformThrows) {
    Plug("Brantor Serial Port (COM3)");
    const std::function<void()> faults[] = {[] { throw std::bad_alloc(); },
                                            [] { throw std::runtime_error("x"); }, [] { throw 7; }};
    for (const auto& fault : faults) {
        PortDevicesScript().whileListing = fault;
        EXPECT_NO_THROW(EXPECT_THAT(EnumerateProbeComPorts(0), IsEmpty()));
        PortDevicesScript().whileListing = nullptr;
        PortDevicesScript().whileChecking = fault;
        EXPECT_NO_THROW(EXPECT_THAT(EnumerateProbeComPorts(0), IsEmpty()));
        PortDevicesScript().whileChecking = nullptr;
    }
    EXPECT_THAT(EnumerateProbeComPorts(0), ElementsAre("3"));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
