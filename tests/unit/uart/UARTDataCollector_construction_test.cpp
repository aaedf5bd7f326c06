#include <cstdio>
#include <thread>

#include "simulator/pelkit/error_reading.h"
#include "tests/unit/uart/collector_fixture.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

class UARTDataCollectorConstruction : public CollectorTest {};

// A step of the constructor that fails: which call, its text, its line.
struct Failure {
    const char* name;
    const char* call;
    std::size_t nth;
    const char* text;
    const char* line;  ///< up to the error number
    std::vector<std::string> calls;
};

class UARTDataCollectorFailure : public CollectorTest, public ::testing::WithParamInterface<Failure> {};

TEST_F(UARTDataCollectorConstruction, TakesItsStepsInOrder) {
    port.arrivingAfterPurge = "abc";
    const auto collector = Make();
    const std::vector<std::string> steps = {"port.Open(5)",
                                            "port.SetPollingTimeouts()",
                                            "port.GetState()",
                                            "port.SetState(1920000)",
                                            "port.Purge()",
                                            "port.QueryQueue()",
                                            "port.Read(1)",
                                            "port.Read(1)",
                                            "port.Read(1)",
                                            "port.GetState()",
                                            "file.Create(capture.bin)"};
    EXPECT_EQ(Journal(), steps);
    EXPECT_FALSE(collector->IsFinished());
    EXPECT_TRUE(port.IsOpen());
    EXPECT_EQ(fakes::ScriptedFiles::OpenCount(), 1U);
}

TEST_F(UARTDataCollectorConstruction, LogsTheLineBeforeAndAfter) {
    port.rateTaken = [](uint32_t) { return 1920001U; };
    traceClock = 48000000.5;
    Make();
    const std::vector<std::string> lines = {
        Ordinary("Original emulator Baud rate = 1200"),
        Ordinary("UART configuration: Target: Trace Clock = 48000000.500000, Baud rate=1920000, "
                 "Prescalar=24"),
        Ordinary("UART configuration: Emulator: Baud rate=1920001")};
    EXPECT_EQ(NewLines(), lines);
}

// What they share, the trace environment and the process's log, is looked at by the thread sanitizer.
TEST_F(UARTDataCollectorConstruction, SeveralAreMadeAtOnce) {
    std::vector<std::thread> threads;
    for (const uint32_t number : {11U, 12U, 13U}) {
        fakes::ScriptedPorts::Plug(number);
        threads.emplace_back([number] {
            const std::string file = "capture" + std::to_string(number) + ".bin";
            for (int times = 0; times < 20; ++times) {
                uint32_t manual = 24;
                UARTDataCollector(number, 48e6, false, manual, file, false);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Count("port.Open"), 60U);
    EXPECT_EQ(Count("file.Create"), 60U);
    EXPECT_EQ(Count("port.Close"), 60U);
}

TEST_F(UARTDataCollectorConstruction, AutoPrescalerIsHandedBack) {
    port.rateTaken = [](uint32_t asked) { return std::min(asked, 3000000U); };
    autoPrescaler = true;
    Make();
    EXPECT_EQ(prescaler, 15U);
    const std::vector<std::string> lines = {
        Ordinary("Original emulator Baud rate = 1200"), Ordinary("Auto Prescalar is = 15"),
        Ordinary("UART configuration: Target: Trace Clock = 48000000.000000, Baud rate=3000000, "
                 "Prescalar=15"),
        Ordinary("UART configuration: Emulator: Baud rate=3000000")};
    EXPECT_EQ(NewLines(), lines);
}

TEST_F(UARTDataCollectorConstruction, ClockOfAnySizeIsLogged) {
    traceClock = 1e300;
    Make();
    const std::vector<std::string> lines = NewLines();
    ASSERT_EQ(lines.size(), 3U);
    char clock[400];
    std::snprintf(clock, sizeof clock, "%lf", traceClock);
    EXPECT_EQ(lines[1], Ordinary(std::string("UART configuration: Target: Trace Clock = ") + clock +
                                 ", Baud rate=-1, Prescalar=24"));
}

TEST_F(UARTDataCollectorConstruction, MissingPortIsNamedInTheLog) {
    uint32_t given = 3;
    try {
        const UARTDataCollector collector(77, 48e6, true, given, kFile, true);
        FAIL() << "the collector was made";
    } catch (const cPelkitError& error) {
        EXPECT_STREQ(pelkit::TextOf(error), "Failed to open COM port");
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
    }
    EXPECT_EQ(given, 3U);
    EXPECT_EQ(NewLines(), std::vector<std::string>{Error("Failed to open COM77 with error code = 2")});
    EXPECT_EQ(Journal(), std::vector<std::string>{"port.Open(77)"});
    EXPECT_FALSE(fakes::ScriptedFiles::Exists(kFile));
}

TEST_P(UARTDataCollectorFailure, ClosesThePortAndThrows) {
    Fail(GetParam().call, 31, GetParam().nth);
    EXPECT_EQ(RefusalOfMake(), GetParam().text);
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(fakes::ScriptedFiles::OpenCount(), 0U);
    EXPECT_EQ(LastLine(), Error(std::string(GetParam().line) + "31"));
    EXPECT_EQ(Journal(), GetParam().calls) << "every call, and none after the failure but the close";
}

TEST_P(UARTDataCollectorFailure, LogsTheErrorNumberThatTheCloseLeft) {
    Fail(GetParam().call, 31, GetParam().nth);
    Fail("port.Close", 6);
    EXPECT_EQ(RefusalOfMake(), GetParam().text);
    const bool wasOpen = std::string(GetParam().call) != "port.Open";
    EXPECT_EQ(Count("port.Close"), wasOpen ? 1U : 0U);
    EXPECT_EQ(LastLine(), Error(std::string(GetParam().line) + (wasOpen ? "6" : "31")));
}

INSTANTIATE_TEST_SUITE_P(
    Steps, UARTDataCollectorFailure,
    ::testing::Values(
        Failure{"OpenPort",
                "port.Open",
                1,
                "Failed to open COM port",
                "Failed to open COM5 with error code = ",
                {"port.Open(5)"}},
        Failure{"SetTimeouts",
                "port.SetPollingTimeouts",
                1,
                "Failed to setup COM port communication",
                "Failed to set COM port Comm Timeouts with error code = ",
                {"port.Open(5)", "port.SetPollingTimeouts()", "port.Close()"}},
        Failure{"ReadSavedState",
                "port.GetState",
                1,
                "Failed to get COM port state",
                "Failed to get current Comm state with error code = ",
                {"port.Open(5)", "port.SetPollingTimeouts()", "port.GetState()", "port.Close()"}},
        Failure{"Configure",
                "port.SetState",
                1,
                "Failed to set requested COM port state",
                "Failed to set Comm state with error code = ",
                {"port.Open(5)", "port.SetPollingTimeouts()", "port.GetState()", "port.SetState(1920000)",
                 "port.Close()"}},
        Failure{"ReadProgrammedState",
                "port.GetState",
                2,
                "Failed to get programmed COM port state",
                "Failed to get programmed Comm state with error code = ",
                {"port.Open(5)", "port.SetPollingTimeouts()", "port.GetState()", "port.SetState(1920000)",
                 "port.Purge()", "port.QueryQueue()", "port.GetState()", "port.Close()"}},
        Failure{"CreateFile",
                "file.Create",
                1,
                "Failed to open binary file for trace data storage",
                "Failed to open binary file capture.bin with error code ",
                {"port.Open(5)", "port.SetPollingTimeouts()", "port.GetState()", "port.SetState(1920000)",
                 "port.Purge()", "port.QueryQueue()", "port.GetState()", "file.Create(capture.bin)",
                 "port.Close()"}}),
    [](const auto& parameter) { return std::string(parameter.param.name); });

TEST_F(UARTDataCollectorConstruction, InvalidSavedStateIsAnError) {
    port.invalidStates = {1};
    fakes::ScriptedCalls::LastError() = 13;
    EXPECT_EQ(RefusalOfMake(), "Failed to get COM port state");
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(LastLine(), Error("Failed to get current Comm state with error code = 13"));
    EXPECT_EQ(Count("port.SetState"), 0U);
}

TEST_F(UARTDataCollectorConstruction, InvalidProgrammedStateIsAnError) {
    port.invalidStates = {2};
    fakes::ScriptedCalls::LastError() = 13;
    EXPECT_EQ(RefusalOfMake(), "Failed to get programmed COM port state");
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(LastLine(), Error("Failed to get programmed Comm state with error code = 13"));
    EXPECT_FALSE(fakes::ScriptedFiles::Exists(kFile));
}

TEST_F(UARTDataCollectorConstruction, ExhaustedCalibrationLeavesThePortOpen) {
    port.rateTaken = [](uint32_t) { return 4000000000U; };
    autoPrescaler = true;
    EXPECT_EQ(RefusalOfMake(),
              "Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver "
              "settings");
    EXPECT_TRUE(port.IsOpen());
    EXPECT_EQ(Count("port.Close"), 0U);
    EXPECT_EQ(NewLines(), std::vector<std::string>{Ordinary("Original emulator Baud rate = 1200")});
}

TEST_F(UARTDataCollectorConstruction, ResultsOfTheDrainAreNotLookedAt) {
    port.arrivingAfterPurge = "ab";
    Fail("port.Read", 31);
    EXPECT_NE(Make(), nullptr);
    EXPECT_EQ(Count("port.Read"), 2U);
}

TEST_F(UARTDataCollectorConstruction, FailedPurgeIsNotLookedAt) {
    Fail("port.Purge", 31);
    EXPECT_NE(Make(), nullptr);
}

TEST_F(UARTDataCollectorConstruction, FailedQueryDrainsNothing) {
    port.arrivingAfterPurge = "ab";
    Fail("port.QueryQueue", 31);
    EXPECT_NE(Make(), nullptr);
    EXPECT_EQ(Count("port.Read"), 0U);
}

// What is thrown where the collector throws nothing itself, at each of its calls.
TEST_F(UARTDataCollectorConstruction, OtherExceptionsPassAndLeaveNothingOpen) {
    struct Foreign {};
    const std::pair<const char*, std::size_t> calls[] = {
        {"port.Open", 1},  {"port.SetPollingTimeouts", 1}, {"port.GetState", 1}, {"port.SetState", 1},
        {"port.Purge", 1}, {"port.QueryQueue", 1},         {"port.Read", 1},     {"port.GetState", 2},
        {"file.Create", 1}};
    for (const auto& [call, nth] : calls) {
        SCOPED_TRACE(call);
        fakes::ScriptedPort& fresh = FreshPort();
        fresh.arrivingAfterPurge = "a";
        fakes::ScriptedCalls::Instance().At(call, nth, [] { throw Foreign(); });
        EXPECT_THROW(Make(), Foreign);
        EXPECT_FALSE(fresh.IsOpen());
        EXPECT_EQ(Count("port.Close"), std::string(call) == "port.Open" ? 0U : 1U);
        EXPECT_EQ(fakes::ScriptedFiles::OpenCount(), 0U);
        EXPECT_NO_THROW(Make()) << "the port can be used again";
    }
}

TEST_F(UARTDataCollectorConstruction, NameOfTheCaptureFileBeginsNoLine) {
    fakes::ScriptedFiles::MakeUnreachable("a\nforged");
    try {
        const UARTDataCollector collector(5, 48e6, false, prescaler, "a\nforged", false);
        FAIL() << "the collector was made";
    } catch (const cPelkitError& error) {
        EXPECT_STREQ(pelkit::TextOf(error), "Failed to open binary file for trace data storage");
    }
    EXPECT_EQ(LastLine(), Error("Failed to open binary file a\\nforged with error code 3"));
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
