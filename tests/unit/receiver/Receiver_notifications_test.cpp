#include <algorithm>

#include "tests/unit/receiver/receiver_fixture.h"

namespace {

using Korr::Plim::Trace::CChannelDriver;
using Korr::Plim::Trace::StatusRecord;
using Korr::Plim::Trace::Tarnel::Receiver;
using receiver_tests::Strings;

class ReceiverNotifications : public receiver_tests::ReceiverTest {
  protected:
    Receiver receiver;
    CChannelDriver* driver = Allocate(receiver, "cpu");

    /// A device whose clock registers are not asked for.
    ReceiverNotifications() { host.identifier.identification = 0x0B9AF02F; }

    void StartThrough(uint32_t state) {
        Configure(*driver);
        receiver.TargetStateChanged("cpu", state);
        ASSERT_EQ(StatusCode(*driver), kRecording);
    }
    Strings LinesWith(const std::string& part) const {
        Strings found;
        for (const std::string& line : log.Get()) {
            if (line.find(part) != std::string::npos) found.push_back(line);
        }
        return found;
    }
};

TEST_F(ReceiverNotifications, RunningTargetStartsTheRecording) {
    for (const uint32_t state : {5U, 6U}) {
        StartThrough(state);
        receiver.TargetStateChanged("cpu", 7);
    }
    EXPECT_EQ(host.journal.Count("EnableTpiu"), 2u);
}

TEST_F(ReceiverNotifications, RunningTargetLeavesARecordingAlone) {
    StartThrough(5);
    receiver.TargetStateChanged("cpu", 6);
    EXPECT_EQ(host.journal.Count("EnableTpiu"), 1u);
    EXPECT_EQ(LinesWith("already in progress"), Strings{});
    receiver.TargetStateChanged("cpu", 7);
}

TEST_F(ReceiverNotifications, HaltedTargetStopsTheRecording) {
    for (const uint32_t state : {7U, 8U}) {
        StartThrough(6);
        receiver.TargetStateChanged("cpu", state);
        EXPECT_EQ(StatusCode(*driver), kStoppedByUser);
    }
}

TEST_F(ReceiverNotifications, HaltedTargetWithoutRecordingIsOnlyNoted) {
    Configure(*driver);
    for (const uint32_t state : {7U, 8U}) receiver.TargetStateChanged("cpu", state);
    EXPECT_EQ(StatusCode(*driver), kReady);
    EXPECT_EQ(LinesWith("has not started yet"), Strings{});
}

TEST_F(ReceiverNotifications, HaltStatesAreKeptPerCpu) {
    receiver.TargetStateChanged("cpu", 7);
    receiver.TargetStateChanged("cpu", 5);
    receiver.TargetStateChanged("cpu", 8);
    EXPECT_EQ(LinesWith("modified halt state"),
              (Strings{"M Tarnel_ChannelDriver: modified halt state for cpu to 0",
                       "M Tarnel_ChannelDriver: modified halt state for cpu to 1"}));
}

TEST_F(ReceiverNotifications, LostConnectionUnregistersTheCpu) {
    for (const uint32_t state : {3U, 4U}) {
        receiver.TargetStateChanged("cpu", 7);
        receiver.TargetStateChanged("cpu", state);
    }
    EXPECT_EQ(LinesWith("CPU unregistered").size(), 2u);
}

TEST_F(ReceiverNotifications, LostConnectionDoesNotStopTheRecordingBecauseTheStatusIsNotToldAnyMore) {
    StartThrough(6);
    receiver.TargetStateChanged("cpu", 3);
    StatusRecord status;
    status.code = 99;
    driver->GetStatus(status);
    EXPECT_EQ(status.code, 99u);
    EXPECT_EQ(LinesWith("Cannot stop recording"), Strings{});
    receiver.TargetStateChanged("cpu", 7);
    EXPECT_EQ(StatusCode(*driver), kStoppedByUser);
}

TEST_F(ReceiverNotifications, HaltStateIsKeptBeforeTheRecordingStartsAndStops) {
    Configure(*driver);
    receiver.TargetStateChanged("cpu", 8);
    targetAdapter.throwing = {"EnableTpiu"};
    receiver.TargetStateChanged("cpu", 6);
    EXPECT_EQ(LinesWith("modified halt state"),
              (Strings{"M Tarnel_ChannelDriver: modified halt state for cpu to 0"}));
    targetAdapter.throwing.clear();
    receiver.TargetStateChanged("cpu", 6);
    ASSERT_EQ(StatusCode(*driver), kRecording);
    targetAdapter.throwing = {"TraceExportOpB"};
    receiver.TargetStateChanged("cpu", 7);
    EXPECT_EQ(LinesWith("modified halt state").back(),
              "M Tarnel_ChannelDriver: modified halt state for cpu to 1");
    const Strings lines = log.Get();
    const auto kept =
        std::find(lines.begin(), lines.end(), "M Tarnel_ChannelDriver: modified halt state for cpu to 1");
    EXPECT_NE(std::find(kept, lines.end(), "E Tarnel_Receiver: TraceExportOpB"), lines.end());
    targetAdapter.throwing.clear();
    receiver.TargetStateChanged("cpu", 7);
}

TEST_F(ReceiverNotifications, NoNameIsNotTheEmptyName) {
    CChannelDriver* const nameless = Allocate(receiver, "", 2);
    Configure(*nameless);
    receiver.TargetStateChanged(nullptr, 6);
    receiver.TargetEvent(nullptr, 0);
    EXPECT_EQ(StatusCode(*nameless), kReady);
    EXPECT_EQ(receiver.GetChannelDriver(nullptr), nullptr);
    EXPECT_EQ(LinesWith("state changed"), Strings{});
    receiver.TargetStateChanged("", 6);
    EXPECT_EQ(StatusCode(*nameless), kRecording);
    receiver.TargetStateChanged("", 7);
}

TEST_F(ReceiverNotifications, OtherStatesAreOnlyPassedOn) {
    Configure(*driver);
    for (const uint32_t state : {0U, 1U, 2U, 9U, 0xFFFFFFFFU}) receiver.TargetStateChanged("cpu", state);
    EXPECT_EQ(StatusCode(*driver), kReady);
    EXPECT_EQ(LinesWith("halt state"), Strings{});
    EXPECT_EQ(LinesWith("unregistered"), Strings{});
}

TEST_F(ReceiverNotifications, OnlyTheDriverOfTheCpuIsConcerned) {
    CChannelDriver* const other = Allocate(receiver, "other", 2);
    Configure(*driver);
    Configure(*other);
    receiver.TargetStateChanged("other", 6);
    EXPECT_EQ(StatusCode(*driver), kReady);
    EXPECT_EQ(StatusCode(*other), kRecording);
    receiver.TargetStateChanged("other", 7);
}

TEST_F(ReceiverNotifications, StateOfAnUnknownCpuDoesNothing) {
    Configure(*driver);
    host.journal.Clear();
    const support::LogLines since;
    receiver.TargetStateChanged("unknown", 6);
    receiver.TargetStateChanged(nullptr, 6);
    EXPECT_EQ(host.journal.Calls(), Strings{});
    EXPECT_EQ(since.Get(), Strings{});
}

TEST_F(ReceiverNotifications, RefusedStartIsLoggedAndNotThrown) {
    Configure(*driver);
    targetAdapter.results["EnableTpiu"] = 1;
    receiver.TargetStateChanged("cpu", 6);
    EXPECT_EQ(StatusCode(*driver), kReady);
    EXPECT_TRUE(log.Has("E Tarnel_Receiver: Failed to Enable TPIU for SWO trace"));
}

TEST_F(ReceiverNotifications, ExceptionsOfTheHostAreLoggedAndNotThrown) {
    Configure(*driver);
    targetAdapter.throwing.insert("EnableTpiu");
    receiver.TargetStateChanged("cpu", 6);
    EXPECT_TRUE(log.Has("E Tarnel_Receiver: EnableTpiu"));
}

TEST_F(ReceiverNotifications, ExceptionsThatAreNoneAreLoggedAndNotThrown) {
    class Throwing : public fakes::FakeTargetAdapter {
      public:
        using FakeTargetAdapter::FakeTargetAdapter;
        uint32_t EnableTpiu(uint32_t) override { throw 1; }
    } throwing(host.journal);
    CChannelDriver* const other = receiver.AllocateChannelDriver("other", &throwing, 2, 2);
    Configure(*other);
    receiver.TargetStateChanged("other", 6);
    EXPECT_TRUE(log.Has("E Tarnel_Receiver: Unknown exception"));
    receiver.ReleaseChannelDriver(other);
}

TEST_F(ReceiverNotifications, JobStateEventReachesTheDriver) {
    receiver.TargetEvent("cpu", 0);
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: state changed to eJOB_MODIFIED_DISABLE_RESUME"));
}

TEST_F(ReceiverNotifications, OtherEventsDoNothing) {
    for (const uint32_t event : {1U, 2U, 0xFFFFFFFFU}) receiver.TargetEvent("cpu", event);
    EXPECT_EQ(LinesWith("Tarnel_ChannelDriver"), Strings{});
    EXPECT_EQ(LinesWith("Get channel driver"), Strings{});
}

TEST_F(ReceiverNotifications, EventOfAnUnknownCpuDoesNothing) {
    receiver.TargetEvent("unknown", 0);
    receiver.TargetEvent(nullptr, 0);
    EXPECT_EQ(LinesWith("Tarnel_ChannelDriver"), Strings{});
}

TEST_F(ReceiverNotifications, NoticesDoNothing) {
    host.journal.Clear();
    receiver.TargetNotice("cpu", 1, 2);
    receiver.TargetNotice(nullptr, 0, 0);
    EXPECT_EQ(host.journal.Calls(), Strings{});
}

}  // namespace
