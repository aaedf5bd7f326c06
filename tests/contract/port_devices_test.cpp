// What every body of uart/port_devices.h keeps; run against each of them.
#include <gtest/gtest.h>

#include "uart/port_devices.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

TEST(PortDevicesContract, PlatformOfTheTestsIsSupported) {
    EXPECT_EQ(CheckPlatformVersion(), PlatformCheck::kSupported);
}

TEST(PortDevicesContract, EveryNameHasATextThatFits) {
    for (const std::string& name : ListPresentPortDevices()) {
        EXPECT_NE(name, "");
        // 200 UTF-16 units are at most 600 bytes.
        EXPECT_LE(name.size(), 600u);
        EXPECT_EQ(name.find('\0'), std::string::npos);
    }
}

TEST(PortDevicesContract, ListingTwiceGivesTheSame) {
    EXPECT_EQ(ListPresentPortDevices(), ListPresentPortDevices());
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
