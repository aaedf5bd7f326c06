#include "receiver/exports.h"

#include <cstdlib>

#include "source_utilities/environment.h"
#include "source_utilities/process.h"
#include "tests/unit/receiver/receiver_fixture.h"

namespace {

using Korr::Plim::Trace::CReceiver;
using KORR_PLIM::GetEnvironment;
using KORR_PLIM::SetEnvironment;
using receiver_tests::Strings;
using support::ErrorOf;

constexpr const char* kExpectionLine = "E Tarnel_Receiver: An expection for caught when destroying receiver";

class Exports : public receiver_tests::ReceiverTest {
  protected:
    Strings ReceiverLines() const {
        Strings lines;
        for (const std::string& line : log.Get()) {
            if (line.find("Tarnel_Receiver") != std::string::npos) lines.push_back(line);
        }
        return lines;
    }
};

TEST_F(Exports, TwoCreationsGiveOneReceiverAndTheSecondDestructionEndsIt) {
    CReceiver* const receiver = CreateRcvr();
    ASSERT_NE(receiver, nullptr);
    EXPECT_EQ(CreateRcvr(), receiver);
    EXPECT_EQ(host.journal.Count("CreateDeviceIdentifier"), 1u);
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 0u);
    EXPECT_EQ(receiver->ConstantQueryA(), 1u);
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);
    EXPECT_EQ(ReceiverLines(),
              (Strings{"M Tarnel_Receiver: Created SWO receiver", "M Tarnel_Receiver: Receiver destroyed"}));
}

TEST_F(Exports, LinesNeedTheirOwnLevel) {
    DestroyRcvr(CreateRcvr());  // once, so that the environment is set up
    const support::LevelledLines expected = {{1, "M Tarnel_Receiver: Created SWO receiver"},
                                             {1, "M Tarnel_Receiver: Receiver destroyed"}};
    for (const int level : {0, 1}) {
        const support::LogAtLevel written(std::to_string(level));
        log = support::LogLines();
        DestroyRcvr(CreateRcvr());  // makes the process's log the current one again; the level stays
        EXPECT_EQ(ReceiverLines(), support::LinesUpTo(level, expected)) << level;
        EXPECT_EQ(written.Get(), Strings{}) << level;
    }
}

TEST_F(Exports, AnotherReceiverCanBeMadeAfterTheLast) {
    for (int round = 0; round < 3; ++round) DestroyRcvr(CreateRcvr());
    EXPECT_EQ(host.journal.Count("CreateDeviceIdentifier"), 3u);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 3u);
}

TEST_F(Exports, DestroyingNullOrAForeignPointerDoesNothing) {
    fakes::FakeReceiver foreign(host.journal);
    DestroyRcvr(nullptr);
    DestroyRcvr(&foreign);
    CReceiver* const receiver = CreateRcvr();
    DestroyRcvr(nullptr);
    DestroyRcvr(&foreign);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 0u);
    DestroyRcvr(receiver);
}

TEST_F(Exports, DestroyingOnceTooOftenDoesNothing) {
    CReceiver* const receiver = CreateRcvr();
    DestroyRcvr(receiver);
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);
}

TEST_F(Exports, LastDestructionReleasesTheDrivers) {
    CReceiver* const receiver = CreateRcvr();
    Allocate(*receiver, "a", 1);
    Allocate(*receiver, "b", 2);
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("TraceRelease"), 2u);
}

TEST_F(Exports, FailureOfTheConstructorReachesTheHostAndLeavesNoReceiver) {
    host.createDeviceIdentifier = [] { return nullptr; };
    EXPECT_EQ(ErrorOf([] { CreateRcvr(); }), "Internal error, failed to create device identifier");
    host.createDeviceIdentifier = []() -> Korr::Plim::Trace::DeviceIdentifier* { throw 7; };
    EXPECT_THROW(CreateRcvr(), int);
    EXPECT_EQ(ReceiverLines(), Strings{});
    host.createDeviceIdentifier = [this] { return &host.identifier; };
    CReceiver* const receiver = CreateRcvr();
    DestroyRcvr(receiver);
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u)
        << "the failures did not count as references";
}

TEST_F(Exports, ExceptionOfTheDestructionIsLoggedAndThePointerStays) {
    CReceiver* const receiver = CreateRcvr();
    Allocate(*receiver, "cpu");
    host.destroyDeviceIdentifier = [] { throw std::runtime_error("destroy"); };
    DestroyRcvr(receiver);
    EXPECT_TRUE(log.Has(kExpectionLine));
    EXPECT_FALSE(log.Has("M Tarnel_Receiver: Receiver destroyed"));

    host.destroyDeviceIdentifier = [] {};
    DestroyRcvr(receiver);
    EXPECT_FALSE(log.Has("M Tarnel_Receiver: Receiver destroyed")) << "there is no reference to give back";
    EXPECT_EQ(log.Count(kExpectionLine), 1u);

    EXPECT_EQ(CreateRcvr(), receiver) << "it was left as it was";
    EXPECT_EQ(receiver->GetNumCpus(), 0u);
    EXPECT_EQ(AllocationError(*receiver), "SWO trace is not supported by this device.");
    DestroyRcvr(receiver);
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: Receiver destroyed"));
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);

    DestroyRcvr(CreateRcvr());
    EXPECT_EQ(host.journal.Count("CreateDeviceIdentifier"), 2u);
}

TEST_F(Exports, EnvironmentIsSetUpOnlyOnce) {
    DestroyRcvr(CreateRcvr());
    SetEnvironment("KORR_TRACE_DATA_DIR", "somewhere else");
    DestroyRcvr(CreateRcvr());
    EXPECT_STREQ(GetEnvironment("KORR_TRACE_DATA_DIR"), "somewhere else");
}

}  // namespace
