// Real libraries in place of the host's, which load and then fail. Each suite is run with the folder of its
// twins in the platform's search path.

#include <gtest/gtest.h>

#include <stdexcept>

#include "receiver/device_identifier_access.h"
#include "receiver/setup_adapter_access.h"
#include "receiver/target_adapter_access.h"
#include "tests/support/expect_error.h"
#include "tests/support/log_lines.h"

namespace {

using Korr::Plim::Trace::kUnsupportedProbe;
using Korr::Plim::Trace::Tarnel::DeviceIdentifierAccess;
using Korr::Plim::Trace::Tarnel::SetupAdapterAccess;
using Korr::Plim::Trace::Tarnel::TargetAdapterAccess;
using support::ErrorOf;

void ExpectRefusal(const std::string& line) {
    const support::LogLines log;
    EXPECT_EQ(SetupAdapterAccess().CheckProbe("cpu"), kUnsupportedProbe);
    EXPECT_EQ(log.Get().back(), line);
}

TEST(missing_exports, SetupAdapterIsRefused) {
    ExpectRefusal("E Tarnel_Receiver: Unable to find CreateSetupAdapter in SetupAdapter4");
}

TEST(missing_exports, DeviceIdentifierIsRefused) {
    EXPECT_EQ(ErrorOf([] { DeviceIdentifierAccess(); }), "Missing exports in device identifier dll");
}

TEST(missing_exports, TargetAdapterIsRefused) {
    EXPECT_EQ(ErrorOf([] { TargetAdapterAccess().GetTargetAdapter("cpu"); }),
              "Cannot get target adapter factory. Bad installation.");
}

TEST(null_objects, SetupAdapterIsRefused) {
    ExpectRefusal("E Tarnel_Receiver: CreateSetupAdapter returned null in SetupAdapter4");
}

TEST(null_objects, DeviceIdentifierIsRefused) {
    EXPECT_EQ(ErrorOf([] { DeviceIdentifierAccess(); }),
              "Internal error, failed to create device identifier");
}

TEST(null_objects, TargetAdapterIsRefused) {
    EXPECT_EQ(ErrorOf([] { TargetAdapterAccess().GetTargetAdapter("cpu"); }),
              "Cannot get target adapter for SWO receiver. Bad installation or setup.");
}

TEST(throwing, SetupAdapterIsSwallowed) { ExpectRefusal("E Tarnel_Receiver: exception using SetupAdapter4"); }

TEST(throwing, DeviceIdentifierComesThrough) { EXPECT_THROW(DeviceIdentifierAccess(), std::logic_error); }

TEST(throwing, TargetAdapterComesThrough) {
    TargetAdapterAccess access;  // keeps the library, and with it the exception's code
    EXPECT_THROW(access.GetTargetAdapter("cpu"), std::logic_error);
}

}  // namespace
