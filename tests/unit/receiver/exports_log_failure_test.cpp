// A log that throws while the receiver is made. The linker puts the function of this program in the place of
// KORR_PLIM::LogMessage, under its mangled name.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "receiver/exports.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

std::string throwingFormat;  ///< LogMessage throws for this format

}  // namespace

void BrokenLogMessage(int32_t threshold, const char* format, ...) __asm__("__wrap_" LOG_MESSAGE);

void BrokenLogMessage(int32_t /*threshold*/, const char* format, ...) {
    if (throwingFormat == format) throw std::runtime_error("the log is broken");
}

namespace {

TEST(ExportsWithBrokenLog, ReceiverIsDestroyedAndTheExceptionReachesTheHostUnchanged) {
    receiver_tests::ScriptedHost host;
    throwingFormat = "%s: Created SWO receiver";
    EXPECT_THROW(CreateRcvr(), std::runtime_error);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);
    EXPECT_EQ(fakes::dynamic_library::LoadedCount("DeviceIdentifier"), 0);

    throwingFormat.clear();
    auto* const receiver = CreateRcvr();
    EXPECT_EQ(host.journal.Count("CreateDeviceIdentifier"), 2u);
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 2u)
        << "the failure did not count as a reference";
}

TEST(ExportsWithBrokenLog, EventWhoseLineCannotBeWrittenLetsNothingOut) {
    receiver_tests::ScriptedHost host;
    fakes::FakeTargetAdapter adapter(host.journal);
    auto* const receiver = CreateRcvr();
    receiver->AllocateChannelDriver("cpu", &adapter, 1, 1);
    throwingFormat = "%s: state changed to eJOB_MODIFIED_DISABLE_RESUME";
    EXPECT_NO_THROW(receiver->TargetEvent("cpu", 0));
    throwingFormat = "%s: Get channel driver for CPU %s.";
    EXPECT_NO_THROW(receiver->TargetEvent("cpu", 0));
    EXPECT_NO_THROW(receiver->TargetStateChanged("cpu", 6));
    throwingFormat.clear();
    DestroyRcvr(receiver);
}

TEST(ExportsWithBrokenLog, ExceptionAfterTheDestructionIsSwallowedAndTheReceiverIsGone) {
    receiver_tests::ScriptedHost host;
    auto* const receiver = CreateRcvr();
    throwingFormat = "%s: Receiver destroyed";
    DestroyRcvr(receiver);
    throwingFormat.clear();
    DestroyRcvr(CreateRcvr());
    EXPECT_EQ(host.journal.Count("CreateDeviceIdentifier"), 2u);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 2u);
}

}  // namespace
