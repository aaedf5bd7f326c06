#include <atomic>
#include <functional>

#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

const char* const kNotConnectedAtStart =
    "M Tarnel_ChannelDriver: Cannot start recording unless target is connected";
const char* const kNotCalibrated =
    "M Tarnel_ChannelDriver: Cannot start recording unless caltibration is complete";
const char* const kInProgress =
    "M Tarnel_ChannelDriver: Cannot start recording since recording is already in progress";
const char* const kNotConnectedAtStop =
    "M Tarnel_ChannelDriver: Cannot stop recording unless target is connected";
const char* const kNotStarted =
    "M Tarnel_ChannelDriver: Cannot stop recording as recording has not started yet";
const char* const kRunningLogged = "E Tarnel_ChannelDriver: Trace cannot be stopped while target is running.";
const char* const kRunningThrown = "Trace cannot be stopped while target is running. Please halt the target.";
const char* const kClockUnknown =
    "Could not determine the System clock frequency automatically. Please set it manually in the receiver "
    "properties.";

const std::vector<std::string> kStartCalls = {"TraceExportOpA(7)",
                                              "TraceExportOpB(7)",
                                              "GetExportStatus(7)",
                                              "Match(0xF0F0F0F0, 0xFFFFFFFF)",
                                              "SetTpiuPrescaler(7, 23)",
                                              "SetTpiuPinProtocol(7, 2)",
                                              "SetTimestampPrescale(7, 16)",
                                              "ProgramTpiu(7)",
                                              "EnableTpiu(7)"};

class Recording : public DriverTest {
  protected:
    /// Clock "Auto" for a device; its reader finds the registers given as name to word.
    std::map<uint32_t, std::string> AutoClock(uint32_t identification,
                                              const std::map<std::string, uint32_t>& registers) {
        identifier.identification = identification;
        uint32_t address = 0x40000000;
        for (const auto& [name, word] : registers) {
            identifier.AddClockRegister(name, address);
            memory.words[address] = word;
            address += 4;
        }
        return {{kOptionClock, "Auto"}, {kOptionClockValue, "Frequency in Hz"}};
    }
    /// All registers that a reader of a Glintar device may want, DID0 with this value.
    static std::map<std::string, uint32_t> GlintarRegisters(uint32_t did0) {
        return {{"DID0", did0},  {"RCC", 0x810},  {"RCC2", 0},
                {"RSCLKCFG", 0}, {"PLLFREQ0", 0}, {"PLLFREQ1", 0}};
    }
    std::string StartError(const std::map<uint32_t, std::string>& changes = {}) {
        Configure(changes);
        return ErrorOf([this] { driver->StartRecording(0); });
    }
};

TEST_F(Recording, StartProgramsTheTpiuInOrder) {
    Make();
    StartRecording();
    EXPECT_THAT(journal.Calls(), ElementsAreArray(kStartCalls));
    EXPECT_EQ(Status(), "Recording");
    EXPECT_EQ(port->Line().baudRate, 2000000U);
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, AnyFlagIsIgnored) {
    Make();
    Configure();
    driver->StartRecording(255);
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(Recording, StopReversesTheStart) {
    Make();
    StartRecording();
    journal.Clear();
    driver->StopRecording();
    EXPECT_THAT(journal.Calls(), ElementsAre("TraceExportOpB(7)", "TraceExportOpA(7)"));
    StatusRecord record;
    driver->GetStatus(record);
    EXPECT_EQ(record.code, 11U);
    EXPECT_EQ(record.text, "Stopped by user");
    EXPECT_THAT(record.flags, ElementsAre(1, 1, 0, 0, 1));
    EXPECT_FALSE(port->IsOpen());
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, TheCaptureStopsBetweenTheTwoExportOperations) {
    struct Watching : fakes::FakeTargetAdapter {
        using fakes::FakeTargetAdapter::FakeTargetAdapter;
        uint32_t TraceExportOpA(uint32_t) override {
            seen += capturing() ? "A with capture, " : "A without, ";
            return 1;
        }
        uint32_t TraceExportOpB(uint32_t) override {
            seen += capturing() ? "B with capture, " : "B without, ";
            return 1;
        }
        std::function<bool()> capturing;
        std::string seen;
    };
    Watching watching(journal);
    watching.capturing = [this] { return port->IsOpen(); };
    driver = std::make_unique<ChannelDriver>(&receiver, "board/cpu", &watching, kCpuId, 1U);
    driver->SetHostAccess(&identifier, &memory, 0);
    StartRecording();
    driver->StopRecording();
    driver.reset();
    EXPECT_EQ(watching.seen, "A without, B without, B with capture, A without, B without, ");
}

TEST_F(Recording, ResultsOfTheExportOperationsAreNotLookedAt) {
    Make();
    adapter.results = {
        {"TraceExportOpA", 1}, {"TraceExportOpB", 2}, {"GetExportStatus", 3}, {"TraceRelease", 4}};
    StartRecording();
    driver->StopRecording();
    EXPECT_EQ(Status(), "Stopped by user");
}

TEST_F(Recording, StartOnAFreshDriverIsRefused) {
    Make().StartRecording(0);
    EXPECT_THAT(log.Get(), ElementsAre(kNotCalibrated));
    EXPECT_THAT(journal.Calls(), IsEmpty());
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, ASecondStartIsRefusedAndTheTpiuIsNotTouchedAgain) {
    Make();
    StartRecording();
    journal.Clear();
    log = LogLines();
    driver->StartRecording(0);
    EXPECT_THAT(log.Get(), ElementsAre(kInProgress));
    EXPECT_THAT(journal.Calls(), IsEmpty());
    EXPECT_EQ(Status(), "Recording");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, WithoutAConnectionNeitherStartsNorStops) {
    for (const uint32_t state : {3U, 4U}) {
        Make();
        Configure();
        driver->SetTargetState(state);
        log = LogLines();
        driver->StartRecording(0);
        EXPECT_THAT(log.Get(), ElementsAre(kNotConnectedAtStart));
        driver->SetTargetState(0);
        driver->StartRecording(0);
        driver->SetTargetState(state);
        log = LogLines();
        driver->StopRecording();
        EXPECT_THAT(log.Get(), ElementsAre(kNotConnectedAtStop));
        driver->SetTargetState(0);
        EXPECT_EQ(Status(), "Recording");
    }
}

TEST_F(Recording, AFreshDriverWithoutAConnectionSaysSo) {
    Make().SetTargetState(3);
    driver->StartRecording(0);
    driver->StopRecording();
    EXPECT_THAT(log.Get(), ElementsAre(kNotConnectedAtStart, kNotConnectedAtStop));
}

TEST_F(Recording, StopWithoutAStartIsRefused) {
    Make().StopRecording();
    Configure();
    log = LogLines();
    driver->StopRecording();
    EXPECT_THAT(log.Get(), ElementsAre(kNotStarted));
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, ASecondStopIsRefused) {
    Make();
    StartRecording();
    driver->StopRecording();
    log = LogLines();
    journal.Clear();
    driver->StopRecording();
    EXPECT_THAT(log.Get(), ElementsAre(kNotStarted));
    EXPECT_THAT(journal.Calls(), IsEmpty());
    EXPECT_EQ(Status(), "Stopped by user");
}

TEST_F(Recording, AStoppedDriverStartsAgain) {
    Make();
    StartRecording();
    driver->StopRecording();
    journal.Clear();
    driver->StartRecording(0);
    EXPECT_THAT(journal.Calls(), ElementsAreArray(kStartCalls));
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(Recording, AStartIsAllowedWhileTheTargetRuns) {
    Make().SetTargetState(6);
    StartRecording();
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(Recording, AStopWhileTheTargetRunsThrowsAndWorksOnceItIsHalted) {
    Make();
    StartRecording();
    driver->SetTargetState(6);
    log = LogLines();
    journal.Clear();
    EXPECT_EQ(ErrorOf([this] { driver->StopRecording(); }), kRunningThrown);
    EXPECT_THAT(log.Get(), ElementsAre(kRunningLogged));
    EXPECT_THAT(journal.Calls(), IsEmpty());
    EXPECT_EQ(Status(), "Recording");
    EXPECT_TRUE(port->IsOpen());
    driver->SetTargetState(7);
    driver->StopRecording();
    EXPECT_EQ(Status(), "Stopped by user");
}

// What a driver needs, kept for the rest of the program: a thread of this test waits for its mutex for ever.
struct KeptForEver {
    fakes::CallJournal journal;
    fakes::FakeReceiver receiver{journal};
    fakes::FakeTargetAdapter adapter{journal};
    std::unique_ptr<ChannelDriver> driver =
        std::make_unique<ChannelDriver>(&receiver, "board/cpu", &adapter, kCpuId, 1U);
    std::atomic<int> asking{0};
    std::atomic<int> answered{0};
};

TEST_F(Recording, ARefusedStopKeepsTheMutexForTheCallingThread) {
    static auto* kept = new KeptForEver;
    kept->driver->SetConfiguration(OptionsFile().c_str());
    kept->driver->StartRecording(0);
    kept->driver->SetTargetState(6);
    EXPECT_EQ(ErrorOf([] { kept->driver->StopRecording(); }), kRunningThrown);
    std::thread([] {
        ++kept->asking;
        StatusRecord record;
        kept->driver->GetStatus(record);
        ++kept->answered;
    }).detach();
    ASSERT_TRUE(WaitFor([] { return kept->asking == 1; }));
    kept->driver->SetTargetState(7);
    kept->driver->StopRecording();
    StatusRecord record;
    kept->driver->GetStatus(record);
    EXPECT_EQ(record.text, "Stopped by user");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(kept->answered, 0);
}

TEST_F(Recording, EachFailingTpiuStepStopsTheCaptureAndThrows) {
    const struct {
        const char* operation;
        const char* logged;
        const char* thrown;
        std::size_t calls;  // of kStartCalls that are made
    } kSteps[] = {
        {"SetTpiuPrescaler", "Failed to setup TPIU prescalar", "Invalid Prescalar Value", 5},
        {"SetTpiuPinProtocol", "Failed to setup TPIU pin protocol", "Invalid Pin Protocol", 6},
        {"SetTimestampPrescale", "Failed to setup timestamping resolution",
         "Failed to configure timestamping resolution", 7},
        {"ProgramTpiu", "Failed to program TPIU", "Failed to program TPIU", 8},
        {"EnableTpiu", "Failed to enable TPIU for tracing", "Failed to Enable TPIU for SWO trace", 9},
    };
    for (const auto& step : kSteps) {
        adapter.results.clear();
        Make();
        adapter.results[step.operation] = 0xFFFFFFFF;
        EXPECT_EQ(StartError(), step.thrown);
        EXPECT_TRUE(log.Has(std::string("E Tarnel_ChannelDriver: ") + step.logged)) << step.operation;
        EXPECT_THAT(journal.Calls(),
                    ElementsAreArray(kStartCalls.begin(),
                                     kStartCalls.begin() + static_cast<std::ptrdiff_t>(step.calls)));
        EXPECT_FALSE(port->IsOpen());
        EXPECT_EQ(Status(), "Ready to record");
        EXPECT_TRUE(MutexIsFree());
        adapter.results.clear();
        driver->StartRecording(0);
        EXPECT_EQ(Status(), "Recording");
    }
}

TEST_F(Recording, AFailedStartAfterAStopKeepsTheStateStopped) {
    Make();
    StartRecording();
    driver->StopRecording();
    adapter.results["ProgramTpiu"] = 1;
    EXPECT_EQ(ErrorOf([this] { driver->StartRecording(0); }), "Failed to program TPIU");
    EXPECT_EQ(Status(), "Stopped by user");
}

TEST_F(Recording, WhatTheAdapterThrowsAtTheStartStopsTheCaptureAndIsPassedOn) {
    for (const char* operation :
         {"TraceExportOpA", "TraceExportOpB", "GetExportStatus", "SetTpiuPrescaler", "SetTpiuPinProtocol",
          "SetTimestampPrescale", "ProgramTpiu", "EnableTpiu"}) {
        adapter.throwing.clear();
        Make();
        Configure();
        adapter.throwing = {operation};
        EXPECT_THROW(driver->StartRecording(0), fakes::HostFault) << operation;
        EXPECT_FALSE(port->IsOpen());
        EXPECT_EQ(Status(), "Ready to record");
        EXPECT_TRUE(MutexIsFree()) << operation;
    }
    adapter.throwing.clear();
}

TEST_F(Recording, WhatTheAdapterThrowsAtTheStopIsPassedOnAndTheMutexIsFree) {
    for (const char* operation : {"TraceExportOpA", "TraceExportOpB"}) {
        Make();
        StartRecording();
        adapter.throwing = {operation};
        EXPECT_THROW(driver->StopRecording(), fakes::HostFault);
        EXPECT_EQ(Status(), "Recording");
        EXPECT_TRUE(MutexIsFree()) << operation;
        adapter.throwing.clear();
        driver->StopRecording();
        EXPECT_EQ(Status(), "Stopped by user");
    }
}

TEST_F(Recording, AnExportStatusIsLoggedInHexadecimalAndClearedWithItsValue) {
    Make();
    adapter.exportStatus = 5;
    StartRecording();
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Trace export (xmtr) status 0x5."));
    std::vector<std::string> calls = kStartCalls;
    calls.insert(calls.begin() + 3, "ClearExportStatus(7, 5)");
    EXPECT_THAT(journal.Calls(), ElementsAreArray(calls));
}

TEST_F(Recording, ALargeExportStatusIsLoggedWhole) {
    Make();
    adapter.exportStatus = 0xDEADBEEF;
    StartRecording();
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Trace export (xmtr) status 0xdeadbeef."));
    EXPECT_THAT(journal.Calls(), Contains("ClearExportStatus(7, 3735928559)"));
}

TEST_F(Recording, AnExportStatusThatTheHostCannotClearIsLoggedAllTheSame) {
    Make();
    adapter.exportStatus = 5;
    adapter.throwing = {"ClearExportStatus"};
    EXPECT_THROW(StartRecording(), fakes::HostFault);
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Trace export (xmtr) status 0x5."));
}

TEST_F(Recording, AFailingClearIsNotAnError) {
    Make();
    adapter.exportStatus = 5;
    adapter.results["ClearExportStatus"] = 1;
    StartRecording();
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(Recording, TheManualClockIsLogged) {
    Make();
    StartRecording();
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Requested Trace Clock Frequency is 48000000.000000"));
}

TEST_F(Recording, AnEndlessClockIsLoggedInBounds) {
    Make();
    StartRecording({{kOptionClockValue, "1e300"}});
    const std::vector<std::string> lines = log.Get();
    EXPECT_THAT(lines,
                Contains(testing::StartsWith(
                    "M Tarnel_ChannelDriver: Requested Trace Clock Frequency is 1000000000000000052504")));
    EXPECT_EQ(port->Line().baudRate, 4294967295U);
}

TEST_F(Recording, AnAutomaticPrescalerIsFoundAndProgrammed) {
    Make();
    port->rateTaken = [](uint32_t asked) { return std::min(asked, 3000000U); };
    StartRecording({{kOptionPrescaler, "Auto"}, {kOptionPrescalerValue, "Prescalar value"}});
    std::vector<std::string> calls = kStartCalls;
    calls[4] = "SetTpiuPrescaler(7, 15)";
    EXPECT_THAT(journal.Calls(), ElementsAreArray(calls));
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"3e+06\"");
}

TEST_F(Recording, AFailedCalibrationIsPassedOnAndLeavesThePrescalerThatItTriedLast) {
    Make();
    port->rateTaken = [](uint32_t) { return 1U; };
    EXPECT_EQ(
        StartError({{kOptionPrescaler, "Auto"}, {kOptionClockValue, "8192000000"}}),
        "Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver settings");
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"1e+06\"");
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_EQ(journal.Count("SetTpiuPrescaler"), 0U);
}

TEST_F(Recording, AMissingPortIsReportedByTheCollector) {
    Make();
    EXPECT_EQ(StartError({{kOptionComPort, "6"}}), "Failed to open COM port");
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, TheClockOfAGlintarDeviceIsReadFromIt) {
    Make();
    StartRecording(AutoClock(0xF0F0F0F0, GlintarRegisters(0x00050000)));
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Auto Trace Clock Frequency is 16000000.000000"));
    EXPECT_EQ(journal.Count("Match"), 2U);  // for the clock, and for the exception map
    EXPECT_THAT(journal.Calls(), Contains("GetDeviceInformation(board/cpu)"));
}

TEST_F(Recording, TheClockOfAFerrinDeviceIsReadFromIt) {
    for (const uint32_t identification : {0x0B9AF02FU, 0x3BB4D02FU}) {
        Make();
        StartRecording(AutoClock(identification, {{"CSCTL0", 0x00030000},
                                                  {"CSCTL1", 3},
                                                  {"CSCTL2", 0},
                                                  {"CSCTL3", 0},
                                                  {"CSCLKEN", 0},
                                                  {"TLVBASE", 0}}));
        EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Auto Trace Clock Frequency is 12000000.000000"));
        std::vector<std::string> asked;
        for (const std::string& call : journal.Calls()) {
            if (call.rfind("Match", 0) == 0) asked.push_back(call);
        }
        EXPECT_THAT(asked, ElementsAre("Match(0xF0F0F0F0, 0xFFFFFFFF)", "Match(0x0B9AF02F, 0x0FFFFFFF)",
                                       "Match(0x0BB4D02F, 0x0FFFFFFF)", "Match(0xF0F0F0F0, 0xFFFFFFFF)"));
    }
}

TEST_F(Recording, TheClockOfAMothwingDeviceIsReadFromIt) {
    for (const uint32_t identification : {0x0B99A02FU, 0x1B9BE02FU, 0x2BB4102FU}) {
        Make();
        StartRecording(AutoClock(identification, {{"CPUCLKDIV", 1}}));
        EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Auto Trace Clock Frequency is 24000000.000000"));
        std::vector<std::string> asked;
        for (const std::string& call : journal.Calls()) {
            if (call.rfind("Match", 0) == 0) asked.push_back(call);
        }
        EXPECT_THAT(asked, ElementsAre("Match(0xF0F0F0F0, 0xFFFFFFFF)", "Match(0x0B9AF02F, 0x0FFFFFFF)",
                                       "Match(0x0BB4D02F, 0x0FFFFFFF)", "Match(0x0B99A02F, 0x0FFFFFFF)",
                                       "Match(0x0B9BE02F, 0x0FFFFFFF)", "Match(0x0BB4102F, 0x0FFFFFFF)",
                                       "Match(0xF0F0F0F0, 0xFFFFFFFF)"));
    }
}

TEST_F(Recording, AnUnknownDeviceHasNoAutomaticClock) {
    Make();
    EXPECT_EQ(StartError(AutoClock(0x12345678, {})), kClockUnknown);
    EXPECT_THAT(journal.Calls(),
                ElementsAre("TraceExportOpA(7)", "TraceExportOpB(7)", "GetExportStatus(7)",
                            "Match(0xF0F0F0F0, 0xFFFFFFFF)", "Match(0x0B9AF02F, 0x0FFFFFFF)",
                            "Match(0x0BB4D02F, 0x0FFFFFFF)", "Match(0x0B99A02F, 0x0FFFFFFF)",
                            "Match(0x0B9BE02F, 0x0FFFFFFF)", "Match(0x0BB4102F, 0x0FFFFFFF)"));
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_EQ(port->Openings(), 0U);
}

TEST_F(Recording, WithoutADeviceIdentifierNoDeviceIsRecognised) {
    Make().SetHostAccess(nullptr, nullptr, 0);
    EXPECT_EQ(StartError({{kOptionClock, "Auto"}}), kClockUnknown);
    StartRecording();
    EXPECT_EQ(Attribute("ITM Exception Map Name"), "type 5 \"MOD_EXCEPTIONMAP\"");
}

TEST_F(Recording, ErrorsOfTheClockReaderArePassedOn) {
    Make();
    const auto options = AutoClock(0xF0F0F0F0, {});
    identifier.hasInformation = false;
    EXPECT_EQ(StartError(options), "Internal error: Device information could not be parsed");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, TheExceptionMapOfAGlintarDeviceFollowsItsClass) {
    const struct {
        uint32_t did0;
        const char* map;
    } kClasses[] = {{0x000A0000, "MOD_EXCEPTIONMAP_129"},
                    {0x000C1234, "MOD_EXCEPTIONMAP_129"},
                    {0x00050000, "MOD_EXCEPTIONMAP_123"},
                    {0x0A0B0000, "MOD_EXCEPTIONMAP_123"}};
    for (const auto& device : kClasses) {
        Make();
        AutoClock(0xF0F0F0F0, GlintarRegisters(device.did0));
        StartRecording();
        EXPECT_EQ(Attribute("ITM Exception Map Name"), std::string("type 5 \"") + device.map + "\"");
    }
}

TEST_F(Recording, TheExceptionMapOfAnotherDeviceStaysWhatItWas) {
    Make();
    identifier.identification = 0x0B9AF02F;
    StartRecording();
    EXPECT_EQ(Attribute("ITM Exception Map Name"), "type 5 \"MOD_EXCEPTIONMAP\"");
    driver->StopRecording();
    AutoClock(0xF0F0F0F0, GlintarRegisters(0x000A0000));
    driver->StartRecording(0);
    driver->StopRecording();
    identifier.identification = 0x0B9AF02F;
    driver->StartRecording(0);
    EXPECT_EQ(Attribute("ITM Exception Map Name"), "type 5 \"MOD_EXCEPTIONMAP_129\"");
}

TEST_F(Recording, TheExceptionMapIsChosenBeforeTheCollectorIsMade) {
    Make();
    AutoClock(0xF0F0F0F0, GlintarRegisters(0x000A0000));
    EXPECT_EQ(StartError({{kOptionComPort, "6"}}), "Failed to open COM port");
    EXPECT_EQ(Attribute("ITM Exception Map Name"), "type 5 \"MOD_EXCEPTIONMAP_129\"");
}

TEST_F(Recording, AGlintarDeviceThatCannotBeReadEndsAStartWithAManualClockToo) {
    Make();
    identifier.identification = 0xF0F0F0F0;
    identifier.hasInformation = false;
    EXPECT_EQ(StartError(), "Internal error: Device information could not be parsed");
    EXPECT_EQ(port->Openings(), 0U);
    EXPECT_EQ(Attribute("ITM Exception Map Name"), "type 5 \"MOD_EXCEPTIONMAP\"");
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Recording, DeviceInformationIsAskedForByTheFullNameOfTheCpu) {
    const std::map<uint32_t, std::map<std::string, uint32_t>> devices = {
        {0xF0F0F0F0, GlintarRegisters(0x00050000)},
        {0x0B9AF02F,
         {{"CSCTL0", 0x00030000},
          {"CSCTL1", 3},
          {"CSCTL2", 0},
          {"CSCTL3", 0},
          {"CSCLKEN", 0},
          {"TLVBASE", 0}}},
        {0x0B99A02F, {{"CPUCLKDIV", 1}}}};
    for (const auto& [identification, registers] : devices) {
        Make("board/cpu");
        StartRecording(AutoClock(identification, registers));
        EXPECT_GE(journal.Count("GetDeviceInformation"), identification == 0xF0F0F0F0 ? 2U : 1U);
        for (const std::string& call : journal.Calls()) {
            if (call.rfind("GetDeviceInformation", 0) != 0) continue;
            EXPECT_EQ(call, "GetDeviceInformation(board/cpu)");
        }
    }
}

TEST_F(Recording, AnOlderCaptureIsStoppedBeforeTheClockIsFound) {
    struct Watching : fakes::FakeDeviceIdentifier {
        using fakes::FakeDeviceIdentifier::FakeDeviceIdentifier;
        bool Match(uint32_t value, uint32_t mask) override {
            capturing = capturing || port->IsOpen();
            return fakes::FakeDeviceIdentifier::Match(value, mask);
        }
        fakes::ScriptedPort* port = nullptr;
        bool capturing = false;
    } watching(journal);
    watching.port = port;
    Make().SetHostAccess(&watching, &memory, 0);
    StartRecording();
    EXPECT_TRUE(port->IsOpen());
    Configure({{kOptionClock, "Auto"}});
    EXPECT_TRUE(port->IsOpen());
    EXPECT_EQ(ErrorOf([this] { driver->StartRecording(0); }), kClockUnknown);
    EXPECT_FALSE(watching.capturing);
    EXPECT_FALSE(port->IsOpen());
    driver.reset();
}

TEST_F(Recording, AnOlderCaptureIsStoppedWhereverTheStartFails) {
    for (const char* operation : {"TraceExportOpA", "TraceExportOpB", "GetExportStatus"}) {
        Make();
        StartRecording();
        Configure();
        adapter.throwing = {operation};
        EXPECT_THROW(driver->StartRecording(0), fakes::HostFault) << operation;
        EXPECT_FALSE(port->IsOpen()) << operation;
        adapter.throwing.clear();
    }
}

TEST_F(Recording, WithoutAnExportStatusNothingIsCleared) {
    Make();
    StartRecording();
    EXPECT_EQ(journal.Count("GetExportStatus"), 1U);
    EXPECT_EQ(journal.Count("ClearExportStatus"), 0U);
}

TEST_F(Recording, ABreakIsSentAtTheStopWithFirmware1008OfTheBrantorFamilyOnly) {
    const struct {
        const char* version;
        uint32_t probeKind;
        std::size_t breaks;
    } kCases[] = {{"fw 1.0.0.7", 0, 0}, {"fw 1.0.0.8", 0, 1}, {"fw 2.0.0.0", 0, 1}, {"fw 1.0.0.8", 1, 0}};
    for (const auto& entry : kCases) {
        Make("board/cpu", entry.probeKind);
        fakes::ScriptedCalls::Instance().Reset();
        StartRecording({{kOptionFirmwareVersion, entry.version}});
        driver->StopRecording();
        EXPECT_EQ(fakes::ScriptedCalls::Instance().Count("port.SetBreak"), entry.breaks) << entry.version;
    }
}

TEST_F(Recording, ReceivedBytesAreSamplesWhileRecordingAndAfter) {
    Make();
    StartRecording();
    port->AddRead("0123456789abc");
    EXPECT_TRUE(WaitFor([this] { return driver->GetNumSamples() == 2; }));
    driver->StopRecording();
    EXPECT_EQ(driver->GetNumSamples(), 2U);
    EXPECT_EQ(TraceFolder::ReadFile(CaptureFileOf("cpu")), "0123456789abc");
}

TEST_F(Recording, TheNextRecordingStartsWithAnEmptyFile) {
    Make();
    SetCapture("from the recording before");
    StartRecording();
    EXPECT_EQ(driver->GetNumSamples(), 0U);
}

TEST_F(Recording, ACaptureThatFailsLeavesTheStateRecordingUntilTheStop) {
    Make();
    Configure();
    fakes::ScriptedCalls::Instance().Fail("port.Read", 31);
    driver->StartRecording(0);
    EXPECT_TRUE(WaitFor(
        [this] { return log.Has("E Tarnel_UARTCollector: Reading COM port failed with error code 31"); }));
    EXPECT_EQ(Status(), "Recording");
    driver->StopRecording();
    EXPECT_EQ(Status(), "Stopped by user");
}

TEST_F(Recording, ManyRecordingsInARow) {
    Make();
    Configure();
    for (int round = 1; round <= 50; ++round) {
        driver->StartRecording(0);
        EXPECT_EQ(Status(), "Recording");
        driver->StopRecording();
        EXPECT_FALSE(port->IsOpen());
    }
    EXPECT_EQ(port->Openings(), 50U);
}

class Destruction : public DriverTest {
  protected:
    void Destroy() {
        journal.Clear();
        log = LogLines();
        driver.reset();
    }
};

TEST_F(Destruction, OfAFreshDriverGivesTheTraceResourcesBack) {
    Make();
    Destroy();
    EXPECT_THAT(journal.Calls(), ElementsAre("GetExportStatus(7)", "TraceExportOpB(7)", "TraceRelease(7)"));
    EXPECT_THAT(log.Get(), ElementsAre(kNotStarted));
}

TEST_F(Destruction, OfARecordingDriverStopsIt) {
    Make();
    StartRecording();
    Destroy();
    EXPECT_THAT(journal.Calls(), ElementsAre("TraceExportOpB(7)", "TraceExportOpA(7)", "GetExportStatus(7)",
                                             "TraceExportOpB(7)", "TraceRelease(7)"));
    EXPECT_FALSE(port->IsOpen());
}

TEST_F(Destruction, ClearsTheExportStatus) {
    Make();
    adapter.exportStatus = 5;
    Destroy();
    EXPECT_THAT(journal.Calls(), ElementsAre("GetExportStatus(7)", "ClearExportStatus(7, 5)",
                                             "TraceExportOpB(7)", "TraceRelease(7)"));
    EXPECT_THAT(log.Get(),
                ElementsAre(kNotStarted, "M Tarnel_ChannelDriver: Trace export (xmtr) status 0x5."));
}

TEST_F(Destruction, WhileTheTargetRunsStopsTheCaptureAllTheSame) {
    Make();
    StartRecording();
    driver->SetTargetState(6);
    Destroy();
    EXPECT_THAT(journal.Calls(), ElementsAre("GetExportStatus(7)", "TraceExportOpB(7)", "TraceRelease(7)"));
    EXPECT_THAT(log.Get(),
                ElementsAre(kRunningLogged, std::string("E Tarnel_ChannelDriver: ") + kRunningThrown));
    EXPECT_FALSE(port->IsOpen());
}

TEST_F(Destruction, AfterRefusedStopsOnTheSameThreadIsOrderly) {
    Make();
    StartRecording();
    driver->SetTargetState(6);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(ErrorOf([this] { driver->StopRecording(); }), kRunningThrown);
    }
    Destroy();
    EXPECT_THAT(journal.Calls(), ElementsAre("GetExportStatus(7)", "TraceExportOpB(7)", "TraceRelease(7)"));
    EXPECT_FALSE(port->IsOpen());
}

TEST_F(Destruction, StopsTheCaptureBehindTheExportOperationAndBeforeTheRelease) {
    struct Watching : fakes::FakeTargetAdapter {
        using fakes::FakeTargetAdapter::FakeTargetAdapter;
        uint32_t GetExportStatus(uint32_t, uint32_t&) override { return See("status"); }
        uint32_t TraceExportOpB(uint32_t) override { return See("B"); }
        uint32_t TraceRelease(uint32_t) override { return See("release"); }
        uint32_t See(const std::string& operation) {
            seen += operation + (port->IsOpen() ? " with capture, " : " without, ");
            return 0;
        }
        fakes::ScriptedPort* port = nullptr;
        std::string seen;
    } watching(journal);
    watching.port = port;
    driver = std::make_unique<ChannelDriver>(&receiver, "board/cpu", &watching, kCpuId, 1U);
    driver->SetHostAccess(&identifier, &memory, 0);
    StartRecording();
    driver->SetTargetState(6);
    watching.seen.clear();
    driver.reset();
    EXPECT_EQ(watching.seen, "status with capture, B with capture, release without, ");
}

TEST_F(Destruction, WithoutAConnectionStopsTheCaptureAllTheSame) {
    Make();
    StartRecording();
    driver->SetTargetState(3);
    Destroy();
    EXPECT_THAT(log.Get(), ElementsAre(kNotConnectedAtStop));
    EXPECT_FALSE(port->IsOpen());
}

TEST_F(Destruction, AfterAConfigurationDuringTheRecordingStopsTheCapture) {
    Make();
    StartRecording();
    Configure();
    Destroy();
    EXPECT_THAT(log.Get(), ElementsAre(kNotStarted));
    EXPECT_FALSE(port->IsOpen());
}

TEST_F(Destruction, LogsWhatTheAdapterThrowsAndGoesOn) {
    adapter.throwing = {"TraceExportOpB", "GetExportStatus", "TraceRelease"};
    Make();
    Destroy();
    EXPECT_THAT(journal.Calls(), ElementsAre("GetExportStatus(7)", "TraceExportOpB(7)", "TraceRelease(7)"));
    EXPECT_THAT(log.Get(), ElementsAre(kNotStarted, "E Tarnel_ChannelDriver: GetExportStatus",
                                       "E Tarnel_ChannelDriver: TraceExportOpB",
                                       "E Tarnel_ChannelDriver: TraceRelease"));
}

TEST_F(Destruction, LogsEvenWhatIsNoException) {
    struct Throwing : fakes::FakeTargetAdapter {
        using fakes::FakeTargetAdapter::FakeTargetAdapter;
        uint32_t TraceRelease(uint32_t) override { throw 42; }
    };
    Throwing throwing(journal);
    driver = std::make_unique<ChannelDriver>(&receiver, "board/cpu", &throwing, kCpuId, 1U);
    Destroy();
    EXPECT_THAT(log.Get(), ElementsAre(kNotStarted, "E Tarnel_ChannelDriver: Unknown exception"));
}

}  // namespace
}  // namespace channel_tests
