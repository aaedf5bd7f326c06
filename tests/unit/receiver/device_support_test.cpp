#include "receiver/device_support.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/expect_error.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

using Korr::Plim::Trace::Tarnel::CheckDeviceSupport;
using Korr::Plim::Trace::Tarnel::SetupAdapterAccess;
using Strings = std::vector<std::string>;

constexpr const char* kSwdMessage =
    "Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM port connected "
    "to TDO.";
constexpr const char* kCjtagMessage =
    "Please check the target configuration(VELXML). Debug probe protocol must be set to either: \n 1. 2-pin "
    "CJTAG with Aux COM port connected to target TDO or UART pin.\n 1. 4-pin CJTAG with Aux COM port "
    "connected to target UART pin.";
constexpr const char* kBothRules =
    "$ swd\n swd_debug=enabled\n swo_data=tdo_pin\n$ dot7\n ts_pin_width=only_two\n";
constexpr const char* kNeitherRule = "$ swd\n swo_data=tdo_pin\n";

class DeviceSupport : public testing::Test {
  protected:
    receiver_tests::ScriptedHost host;
    SetupAdapterAccess setup;

    bool Check(uint32_t identification, const std::string& setupFile) {
        host.SetSetupFile(setupFile);
        host.identifier.identification = identification;
        host.journal.Clear();
        return CheckDeviceSupport(&host.identifier, setup, "cpu");
    }
    Strings Matches() const {
        Strings matches;
        for (const std::string& call : host.journal.Calls()) {
            if (call.rfind("Match(", 0) == 0) matches.push_back(call);
        }
        return matches;
    }
};

TEST_F(DeviceSupport, UnknownDeviceIsAskedForInTheOrderOfTheTableAndNotSupported) {
    EXPECT_FALSE(Check(0x12345678, kBothRules));
    EXPECT_EQ(host.journal.Calls(),
              (Strings{"Match(0xF0F0F0F0, 0xFFFFFFFF)", "Match(0x0B9AF02F, 0x0FFFFFFF)",
                       "Match(0x0BB4D02F, 0x0FFFFFFF)", "Match(0x0B99A02F, 0x0FFFFFFF)",
                       "Match(0x0B9BE02F, 0x0FFFFFFF)", "Match(0x0BB4102F, 0x0FFFFFFF)"}));
}

TEST_F(DeviceSupport, FirstMatchEndsTheQuestions) {
    const uint32_t devices[] = {0xF0F0F0F0, 0x0B9AF02F, 0x1BB4D02F, 0x2B99A02F, 0x3B9BE02F, 0xFBB4102F};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_TRUE(Check(devices[i], kBothRules)) << i;
        EXPECT_EQ(Matches().size(), i + 1);
    }
}

TEST_F(DeviceSupport, FirstRowComparesAll32Bits) { EXPECT_FALSE(Check(0x00F0F0F0, kBothRules)); }

TEST_F(DeviceSupport, SwdDevicesNeedTheSwdSetup) {
    for (const uint32_t device : {0xF0F0F0F0U, 0x0B9AF02FU, 0x0BB4D02FU}) {
        EXPECT_EQ(support::ErrorOf([&] { Check(device, kNeitherRule); }), kSwdMessage);
        EXPECT_EQ(host.journal.Count("CreateSetupAdapter"), host.journal.Count("DestroySetupAdapter"));
    }
}

TEST_F(DeviceSupport, CjtagDevicesNeedTheCjtagSetup) {
    for (const uint32_t device : {0x0B99A02FU, 0x0B9BE02FU, 0x0BB4102FU}) {
        EXPECT_EQ(support::ErrorOf([&] { Check(device, kNeitherRule); }), kCjtagMessage);
    }
}

TEST_F(DeviceSupport, RulesAreNotMixedUp) {
    EXPECT_TRUE(Check(0xF0F0F0F0, "$ swd\n swd_debug=enabled\n swo_data=tdo_pin\n"));
    EXPECT_TRUE(Check(0x0BB4102F, "$ swd\n swo_data=aux_pin\n"));
}

TEST_F(DeviceSupport, WrongSetupOfTheFirstMatchThrowsEvenIfALaterRowMatchesToo) {
    class MatchesEverything : public fakes::FakeDeviceIdentifier {
      public:
        using FakeDeviceIdentifier::FakeDeviceIdentifier;
        bool Match(uint32_t value, uint32_t mask) override {
            FakeDeviceIdentifier::Match(value, mask);
            return true;
        }
    } identifier(host.journal);
    host.SetSetupFile("$ dot7\n ts_pin_width=only_two\n");
    EXPECT_EQ(support::ErrorOf([&] { CheckDeviceSupport(&identifier, setup, "cpu"); }), kSwdMessage);
    EXPECT_EQ(Matches(), Strings{"Match(0xF0F0F0F0, 0xFFFFFFFF)"});
}

TEST_F(DeviceSupport, ExceptionOfTheIdentifierComesThrough) {
    host.identifier.matchThrows = true;
    EXPECT_THROW(Check(1, kBothRules), fakes::HostFault);
}

TEST_F(DeviceSupport, NoIdentifierSupportsNothing) {
    EXPECT_FALSE(CheckDeviceSupport(nullptr, setup, "cpu"));
}

}  // namespace
