#include "receiver/Receiver.h"

#include <cstring>

#include "tests/unit/receiver/receiver_fixture.h"

namespace {

using Korr::Plim::Trace::CChannelDriver;
using Korr::Plim::Trace::MemoryAccessor;
using Korr::Plim::Trace::Tarnel::Receiver;
using receiver_tests::Strings;
using support::ErrorOf;

class ReceiverObject : public receiver_tests::ReceiverTest {};

TEST_F(ReceiverObject, LoadsTheDeviceIdentifierWhenItIsMade) {
    const Receiver receiver;
    EXPECT_EQ(host.journal.Calls(), Strings{"CreateDeviceIdentifier()"});
    EXPECT_EQ(fakes::dynamic_library::LoadLog(), Strings{"DeviceIdentifier"});
}

TEST_F(ReceiverObject, FailuresOfTheDeviceIdentifierComeOutOfTheConstructor) {
    host.createDeviceIdentifier = [] { return nullptr; };
    EXPECT_EQ(ErrorOf([] { Receiver(); }), "Internal error, failed to create device identifier");
}

TEST_F(ReceiverObject, WithoutDriversItHasNoCpuAndTheFirstChannelIsNext) {
    Receiver receiver;
    EXPECT_EQ(receiver.GetNumCpus(), 0u);
    EXPECT_EQ(receiver.GetNextAvailableChannel(), 1u);
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: number of attached cpus is 0"));
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: next available channel is 1"));
}

TEST_F(ReceiverObject, ChannelsAreNumberedByTheCountOfDrivers) {
    Receiver receiver;
    CChannelDriver* const first = Allocate(receiver, "a/one");
    Allocate(receiver, "a/two");
    EXPECT_EQ(receiver.GetNumCpus(), 2u);
    EXPECT_EQ(receiver.GetNextAvailableChannel(), 3u);
    receiver.ReleaseChannelDriver(first);
    EXPECT_EQ(receiver.GetNumCpus(), 1u);
    EXPECT_EQ(receiver.GetNextAvailableChannel(), 2u);
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: number of attached cpus is 2"));
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: next available channel is 3"));
}

TEST_F(ReceiverObject, CpuNamesAreCopiedInAllocationOrder) {
    Receiver receiver;
    for (const char* name : {"b/second", "a/first", "c"}) Allocate(receiver, name);
    char first[32];
    char third[32];
    char* buffers[] = {first, nullptr, third};
    receiver.GetCpuNames(buffers);
    EXPECT_STREQ(first, "b/second");
    EXPECT_STREQ(third, "c");
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: cpuName[0] is b/second"));
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: cpuName[1] is a/first"));
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: cpuName[2] is c"));
    receiver.GetCpuNames(nullptr);
}

TEST_F(ReceiverObject, LinesNeedTheirOwnLevel) {
    const support::LevelledLines expected = {{2, "M Tarnel_Receiver: number of attached cpus is 1"},
                                             {2, "M Tarnel_Receiver: next available channel is 2"},
                                             {1, "M Tarnel_Receiver: cpuName[0] is cpu"},
                                             {1, "M Tarnel_Receiver: Get channel driver for CPU cpu."}};
    Receiver receiver;
    Allocate(receiver, "cpu");
    const char* const variable[] = {"0", "1", "3"};
    for (const int level : {0, 1, 2}) {
        const support::LogAtLevel written(variable[level]);
        receiver.GetNumCpus();
        receiver.GetNextAvailableChannel();
        char name[8];
        char* buffers[] = {name};
        receiver.GetCpuNames(buffers);
        receiver.GetChannelDriver("cpu");
        EXPECT_EQ(written.Get(), support::LinesUpTo(level, expected)) << level;
    }
}

TEST_F(ReceiverObject, NamesCannotForgeLines) {
    Receiver receiver;
    Allocate(receiver, "a\nM     12:00:00:000 | b");
    char name[64];
    char* buffers[] = {name};
    receiver.GetCpuNames(buffers);
    receiver.GetChannelDriver(name);
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: cpuName[0] is a\\nM     12:00:00:000 | b"));
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: Get channel driver for CPU a\\nM     12:00:00:000 | b."));
}

TEST_F(ReceiverObject, ConstantAnswers) {
    Receiver receiver;
    EXPECT_EQ(receiver.ConstantQueryA(), 1u);
    EXPECT_EQ(receiver.ConstantQueryB(7), 0u);
    EXPECT_EQ(receiver.ConstantQueryC(), 0u);
    receiver.ProgressNotice();
    EXPECT_EQ(ErrorOf([&] { receiver.GetDataSource(nullptr); }), "Cannot get data source");
}

TEST_F(ReceiverObject, AllocationAsksTheHostInOrder) {
    Receiver receiver;
    host.journal.Clear();
    CChannelDriver* const driver = Allocate(receiver, "board/cpu");
    EXPECT_STREQ(driver->GetCpuName(), "board/cpu");
    const Strings session = {"CreateSetupAdapter()", "Initialise()", "GetSetupFile(board/cpu)",
                             "DestroySetupAdapter(adapter)"};
    Strings expected = session;  // the probe
    expected.push_back("Match(0xF0F0F0F0, 0xFFFFFFFF)");
    for (int query = 0; query < 2; ++query) expected.insert(expected.end(), session.begin(), session.end());
    expected.push_back("NewTargetAdapter(board/cpu)");
    EXPECT_EQ(host.journal.Calls(), expected);
}

TEST_F(ReceiverObject, DriverReadsMemoryThroughTheAccessorOfTheHost) {
    Receiver receiver;
    host.memory.words[0xE0001020] = 4711;
    Korr::Plim::Trace::TraceAttribute answer;
    Allocate(receiver, "cpu")->GetAttribute("WP0 Comp", answer);
    EXPECT_STREQ(answer.value, "4711");
}

TEST_F(ReceiverObject, ProbeWithoutSwoIsRefused) {
    Receiver receiver;
    host.SetSetupFile("$ product\n name=\"Other\"\n");
    EXPECT_EQ(AllocationError(receiver), "SWO trace is not supported by this emulator.");
    EXPECT_EQ(host.journal.Count("Match"), 0u);
    EXPECT_EQ(receiver.GetNumCpus(), 0u);
}

TEST_F(ReceiverObject, ProbeKindOfAnEarlierAllocationDoesNotCount) {
    Receiver receiver;
    Allocate(receiver, "cpu");
    host.setupAdapter.initialises = false;
    EXPECT_EQ(AllocationError(receiver), "SWO trace is not supported by this emulator.");
    EXPECT_EQ(receiver.GetNumCpus(), 1u);
}

TEST_F(ReceiverObject, DeviceWithoutSwoIsRefused) {
    Receiver receiver;
    host.identifier.identification = 0x11111111;
    EXPECT_EQ(AllocationError(receiver), "SWO trace is not supported by this device.");
    EXPECT_EQ(host.journal.Count("NewTargetAdapter"), 0u);
}

TEST_F(ReceiverObject, WrongPinsComeThroughAsTheirMessage) {
    Receiver receiver;
    host.SetSetupFile("$ brantor\n");
    EXPECT_EQ(AllocationError(receiver),
              "Please check the target configuration(VELXML). Debug probe protocol must be SWD with COM port "
              "connected to TDO.");
}

TEST_F(ReceiverObject, MissingHandleIsRefused) {
    Receiver receiver;
    host.newTargetAdapter = [this](MemoryAccessor**) { return &host.memory; };
    EXPECT_EQ(AllocationError(receiver),
              "Internal error: Cannot get target adapter handle. Bad installation or setup.");
    host.newTargetAdapter = [](MemoryAccessor**) { return nullptr; };
    EXPECT_EQ(AllocationError(receiver),
              "Cannot get target adapter for SWO receiver. Bad installation or setup.");
    EXPECT_EQ(receiver.GetNumCpus(), 0u);
}

TEST_F(ReceiverObject, ExceptionsOfTheHostComeThroughAsTheyAre) {
    Receiver receiver;
    host.identifier.matchThrows = true;
    EXPECT_THROW(Allocate(receiver, "cpu"), fakes::HostFault);
    host.identifier.matchThrows = false;
    host.newTargetAdapter = [](MemoryAccessor**) -> MemoryAccessor* { throw 7; };
    EXPECT_THROW(Allocate(receiver, "cpu"), int);
    EXPECT_EQ(receiver.GetNumCpus(), 0u);
}

TEST_F(ReceiverObject, FailingDriverConstructionComesThroughAndLeavesTheListAsItWas) {
    Receiver receiver;
    Allocate(receiver, "cpu");
    EXPECT_EQ(ErrorOf([&] { receiver.AllocateChannelDriver("other", nullptr, 1, 1); }),
              "Internal error creating Channel Driver. Null parameters.");
    EXPECT_EQ(ErrorOf([&] { receiver.AllocateChannelDriver(nullptr, &targetAdapter, 1, 1); }),
              "Internal error creating Channel Driver. Null parameters.");
    EXPECT_EQ(receiver.GetNumCpus(), 1u);
}

TEST_F(ReceiverObject, SameCpuTwiceMakesTwoDriversAndTheFirstIsFound) {
    Receiver receiver;
    CChannelDriver* const first = Allocate(receiver, "cpu");
    CChannelDriver* const second = Allocate(receiver, "cpu");
    EXPECT_NE(first, second);
    EXPECT_EQ(receiver.GetChannelDriver("cpu"), first);
    receiver.ReleaseChannelDriver(first);
    EXPECT_EQ(receiver.GetChannelDriver("cpu"), second);
    EXPECT_TRUE(log.Has("M Tarnel_Receiver: Get channel driver for CPU cpu."));
}

TEST_F(ReceiverObject, DriverIsFoundByItsExactName) {
    Receiver receiver;
    Allocate(receiver, "board/cpu");
    for (const char* name : {"board/CPU", "cpu", "board/cpu1", ""}) {
        EXPECT_EQ(receiver.GetChannelDriver(name), nullptr) << name;
    }
    EXPECT_EQ(receiver.GetChannelDriver(nullptr), nullptr);
    EXPECT_NE(receiver.GetChannelDriver("board/cpu"), nullptr);
}

TEST_F(ReceiverObject, ReleasedDriverIsDestroyed) {
    Receiver receiver;
    CChannelDriver* const driver = Allocate(receiver, "cpu", 42);
    EXPECT_EQ(host.journal.Count("TraceRelease"), 0u);
    receiver.ReleaseChannelDriver(driver);
    EXPECT_EQ(host.journal.Calls().back(), "TraceRelease(42)");
}

TEST_F(ReceiverObject, ReleasingTwiceThrowsUnknownDriver) {
    Receiver receiver;
    CChannelDriver* const driver = Allocate(receiver, "cpu");
    receiver.ReleaseChannelDriver(driver);
    EXPECT_EQ(ErrorOf([&] { receiver.ReleaseChannelDriver(driver); }),
              "Failed to release unknown SWO channel driver");
}

TEST_F(ReceiverObject, ReleasingNullDoesNothing) {
    Receiver receiver;
    receiver.ReleaseChannelDriver(nullptr);
    Allocate(receiver, "cpu");
    receiver.ReleaseChannelDriver(nullptr);
    EXPECT_EQ(receiver.GetNumCpus(), 1u);
}

TEST_F(ReceiverObject, OfSeveralDriversTheRightOneIsReleased) {
    Receiver receiver;
    Allocate(receiver, "a", 1);
    CChannelDriver* const middle = Allocate(receiver, "b", 2);
    Allocate(receiver, "c", 3);
    receiver.ReleaseChannelDriver(middle);
    EXPECT_EQ(host.journal.Count("TraceRelease"), 1u);
    EXPECT_EQ(host.journal.Calls().back(), "TraceRelease(2)");
    EXPECT_EQ(receiver.GetChannelDriver("b"), nullptr);
    EXPECT_NE(receiver.GetChannelDriver("c"), nullptr);
}

TEST_F(ReceiverObject, DestructorTakesDownDriversThenIdentifierThenLibraries) {
    {
        Receiver receiver;
        Allocate(receiver, "a", 1);
        Allocate(receiver, "b", 2);
        host.journal.Clear();
    }
    Strings ends;
    for (const std::string& call : host.journal.Calls()) {
        if (call.rfind("TraceRelease", 0) == 0 || call.rfind("Destroy", 0) == 0) ends.push_back(call);
    }
    EXPECT_EQ(ends,
              (Strings{"TraceRelease(1)", "TraceRelease(2)", "DestroyDeviceIdentifier(identifier, 0)"}));
    EXPECT_EQ(fakes::dynamic_library::UnloadLog(),
              (Strings{"DeviceIdentifier", "ICETargetAdapter", "SetupAdapter4"}));
}

TEST_F(ReceiverObject, EachLibraryIsLoadedOnceForAllDrivers) {
    Receiver receiver;
    for (const char* name : {"a", "b", "c"}) Allocate(receiver, name);
    EXPECT_EQ(fakes::dynamic_library::LoadLog(),
              (Strings{"DeviceIdentifier", "SetupAdapter4", "ICETargetAdapter"}));
}

TEST_F(ReceiverObject, DestructorSwallowsAndLogsWhatTheIdentifierThrows) {
    host.destroyDeviceIdentifier = [] { throw 1; };
    { const Receiver receiver; }
    EXPECT_TRUE(log.Has("E Tarnel_Receiver: exception using DeviceIdentifier"));
    EXPECT_EQ(fakes::dynamic_library::UnloadLog(), Strings{"DeviceIdentifier"});
}

TEST_F(ReceiverObject, ClosedReceiverSupportsNoDevice) {
    Receiver receiver;
    receiver.Close();
    EXPECT_EQ(AllocationError(receiver), "SWO trace is not supported by this device.");
}

}  // namespace
