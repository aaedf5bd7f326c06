// The allocations that have a message of their own. This program replaces the allocation function that
// answers with null.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>

#include "receiver/exports.h"
#include "receiver/host_library.h"
#include "tests/unit/receiver/receiver_fixture.h"

namespace {

std::size_t failingSize = 0;  ///< allocations of this size give null; 0: none
int failures = 0;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (size == failingSize) {
        ++failures;
        return nullptr;
    }
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

namespace {

using Korr::Plim::Trace::Tarnel::ChannelDriver;
using Korr::Plim::Trace::Tarnel::LoadHostLibrary;
using Korr::Plim::Trace::Tarnel::Receiver;
using support::ErrorOf;

class OutOfMemory : public receiver_tests::ReceiverTest {
  protected:
    OutOfMemory() { failures = 0; }
    ~OutOfMemory() override {
        failingSize = 0;
        EXPECT_EQ(failures, 1);
    }
};

TEST_F(OutOfMemory, LibraryLoader) {
    failingSize = sizeof(KORR_PLIM::uDll);
    EXPECT_EQ(ErrorOf([] { LoadHostLibrary("DeviceIdentifier"); }), "Failed to allocate receiver dll.");
    EXPECT_EQ(fakes::dynamic_library::LoadLog().size(), 0u);
}

TEST_F(OutOfMemory, Receiver) {
    failingSize = sizeof(Receiver);
    EXPECT_EQ(ErrorOf([] { CreateRcvr(); }), "Failed to create SWO receiver");
    EXPECT_TRUE(log.Has("E Tarnel_Receiver: Failed to create SWO receiver"));
    EXPECT_FALSE(log.Has("M Tarnel_Receiver: Created SWO receiver"));
    failingSize = 0;
    auto* const receiver = CreateRcvr();
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);
}

TEST_F(OutOfMemory, ChannelDriverHasTwoWordings) {
    Korr::Plim::Trace::Tarnel::Receiver receiver;
    failingSize = sizeof(ChannelDriver);
    EXPECT_EQ(AllocationError(receiver), "Failed to allocated SWO channel driver");
    EXPECT_TRUE(log.Has("E Tarnel_Receiver: Failed to allocate SWO Channel driver"));
    EXPECT_EQ(receiver.GetNumCpus(), 0u);
}

}  // namespace
