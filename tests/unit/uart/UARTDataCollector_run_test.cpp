#include <chrono>
#include <thread>

#include "source_utilities/uThread.h"
#include "tests/unit/uart/collector_fixture.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

class UARTDataCollectorRun : public CollectorTest {
  protected:
    // Calls that Run made.
    std::vector<std::string> RunJournal(UARTDataCollector& collector) {
        const std::size_t before = Journal().size();
        collector.Run();
        std::vector<std::string> calls = Journal();
        calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
        return calls;
    }
    void StopAtNextRead(UARTDataCollector& collector) {
        port.AddAction([&collector] { collector.Stop(); });
    }
};

std::string Numbered(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 256);
    return bytes;
}

TEST_F(UARTDataCollectorRun, WritesEveryByteInOrder) {
    const std::string first = Numbered(1);
    const std::string second = Numbered(99);
    const std::string third = Numbered(100);
    for (const std::string& bytes : {first, second, third}) port.AddRead(bytes);
    MakeAndRun();
    EXPECT_EQ(Content(), first + second + third);
}

TEST_F(UARTDataCollectorRun, ReadsAtMostAHundredBytesAndWritesThemAtOnce) {
    port.AddRead(Numbered(250));
    const auto collector = Make();
    StopAtNextRead(*collector);
    const std::vector<std::string> calls = {"port.Read(100)",  "file.Write(100)", "port.Read(100)",
                                            "file.Write(100)", "port.Read(100)",  "file.Write(50)",
                                            "port.Read(100)",  "file.Write(0)"};
    EXPECT_EQ(RunJournal(*collector), calls);
    EXPECT_EQ(Content(), Numbered(250));
}

TEST_F(UARTDataCollectorRun, EmptyReadIsAZeroLengthWriteThatChangesNothing) {
    port.AddRead("a");
    port.AddEmptyRead();
    port.AddEmptyRead();
    port.AddRead("b");
    const auto collector = Make();
    StopAtNextRead(*collector);
    const std::vector<std::string> calls = {
        "port.Read(100)", "file.Write(1)",  "port.Read(100)", "file.Write(0)",  "port.Read(100)",
        "file.Write(0)",  "port.Read(100)", "file.Write(1)",  "port.Read(100)", "file.Write(0)"};
    EXPECT_EQ(RunJournal(*collector), calls);
    EXPECT_EQ(Content(), "ab");
}

TEST_F(UARTDataCollectorRun, PendingBytesAreNotCaptured) {
    port.arrivingAfterPurge = "old bytes";
    port.AddRead("new");
    MakeAndRun();
    EXPECT_EQ(Content(), "new");
    EXPECT_EQ(Count("port.Read"), 9U + 2U);
}

TEST_F(UARTDataCollectorRun, StopBeforeRunReadsNothing) {
    const auto collector = Make();
    collector->Stop();
    EXPECT_TRUE(RunJournal(*collector).empty());
    EXPECT_TRUE(collector->IsFinished());
}

TEST_F(UARTDataCollectorRun, StopWithoutBreakEndsAfterTheReadUnderWay) {
    const auto collector = Make();
    StopAtNextRead(*collector);
    port.AddRead("late");
    const std::vector<std::string> calls = {"port.Read(100)", "file.Write(0)"};
    EXPECT_EQ(RunJournal(*collector), calls);
    EXPECT_TRUE(collector->IsFinished());
    EXPECT_FALSE(port.InBreak());
    EXPECT_EQ(Content(), "");
}

TEST_F(UARTDataCollectorRun, StopWithBreakDrainsTenReadsAMillisecondApart) {
    sendBreakOnStop = true;
    const auto collector = Make();
    StopAtNextRead(*collector);
    port.AddRead("late");
    port.AddEmptyRead();
    port.AddRead("r");
    for (int i = 0; i < 20; ++i) port.AddEmptyRead();
    const auto start = std::chrono::steady_clock::now();
    const std::vector<std::string> calls = RunJournal(*collector);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    std::vector<std::string> expected = {"port.Read(100)", "file.Write(0)", "port.SetBreak()",
                                         "port.Read(100)", "file.Write(4)", "port.Read(100)",
                                         "port.Read(100)", "file.Write(1)"};
    for (int i = 0; i < 7; ++i) expected.push_back("port.Read(100)");
    EXPECT_EQ(calls, expected);
    EXPECT_GE(elapsed, std::chrono::milliseconds(10));
    EXPECT_EQ(Content(), "later");
    EXPECT_TRUE(port.InBreak());
    EXPECT_TRUE(collector->IsFinished());
}

TEST_F(UARTDataCollectorRun, DrainTakesNoMoreThanTenReadsOfAHundredBytes) {
    sendBreakOnStop = true;
    const auto collector = Make();
    collector->Stop();
    port.AddRead(Numbered(1500));
    collector->Run();
    EXPECT_EQ(Content(), Numbered(1500).substr(0, 1000));
}

TEST_F(UARTDataCollectorRun, FailedBreakIsLoggedAndDrainsAllTheSame) {
    sendBreakOnStop = true;
    Fail("port.SetBreak", 31);
    const auto collector = Make();
    collector->Stop();
    port.AddRead("late");
    collector->Run();
    EXPECT_EQ(Content(), "late");
    EXPECT_EQ(LastLine(), Error("Failed to send Comm break state with error code = 31"));
    EXPECT_TRUE(collector->IsFinished());
}

TEST_F(UARTDataCollectorRun, FailedReadEndsTheCaptureAndKeepsWhatCameBefore) {
    port.AddRead("before");
    Fail("port.Read", 995, 2);
    const auto collector = Make();
    collector->Run();
    EXPECT_TRUE(collector->IsFinished());
    EXPECT_EQ(Content(), "before");
    EXPECT_EQ(LastLine(), Error("Reading COM port failed with error code 995"));
    EXPECT_EQ(Count("port.SetBreak"), 0U);
}

TEST_F(UARTDataCollectorRun, FailedWriteEndsTheCapture) {
    port.AddRead("before");
    port.AddRead("lost");
    Fail("file.Write", 112, 2);
    const auto collector = Make();
    collector->Run();
    EXPECT_TRUE(collector->IsFinished());
    EXPECT_EQ(Content(), "before");
    EXPECT_EQ(LastLine(), Error("Writing to binary file failed with error code 112"));
}

TEST_F(UARTDataCollectorRun, FailedZeroLengthWriteEndsTheCaptureToo) {
    Fail("file.Write", 112);
    const auto collector = Make();
    collector->Run();
    EXPECT_TRUE(collector->IsFinished());
    EXPECT_EQ(LastLine(), Error("Writing to binary file failed with error code 112"));
}

TEST_F(UARTDataCollectorRun, BreakAndDrainFollowAFailedReadAsWell) {
    sendBreakOnStop = true;
    port.AddRead("before");
    Fail("port.Read", 995, 2);
    const auto collector = Make();
    port.AddRead("after");
    const std::vector<std::string> calls = RunJournal(*collector);
    ASSERT_GE(calls.size(), 6U);
    EXPECT_EQ(calls[3], "port.SetBreak()");
    EXPECT_EQ(Content(), "beforeafter");
    EXPECT_TRUE(port.InBreak());
}

TEST_F(UARTDataCollectorRun, FailedReadEndsTheDrain) {
    sendBreakOnStop = true;
    Fail("port.Read", 995, 2);
    const auto collector = Make();
    collector->Stop();
    const std::vector<std::string> calls = {"port.SetBreak()", "port.Read(100)", "port.Read(100)"};
    EXPECT_EQ(RunJournal(*collector), calls);
    EXPECT_TRUE(collector->IsFinished());
    EXPECT_EQ(LastLine(), Error("Reading COM port failed with error code 995"));
}

TEST_F(UARTDataCollectorRun, FailedWriteEndsTheDrain) {
    sendBreakOnStop = true;
    Fail("file.Write", 112);
    const auto collector = Make();
    collector->Stop();
    port.AddEmptyRead();
    port.AddRead("late");
    const std::vector<std::string> calls = {"port.SetBreak()", "port.Read(100)", "port.Read(100)",
                                            "file.Write(4)"};
    EXPECT_EQ(RunJournal(*collector), calls);
    EXPECT_TRUE(collector->IsFinished());
    EXPECT_EQ(LastLine(), Error("Writing to binary file failed with error code 112"));
}

TEST_F(UARTDataCollectorRun, DestructionRestoresTheLineAsFound) {
    Make().reset();
    EXPECT_EQ(port.Asked().size(), 2U);
    const LineState found = fakes::ScriptedPort::ForeignLine();
    const LineState restored = port.Asked().back();
    EXPECT_EQ(restored.length, found.length);
    EXPECT_EQ(restored.baudRate, 1200U);
    EXPECT_EQ(restored.dataBits, found.dataBits);
    EXPECT_EQ(restored.parity, found.parity);
    EXPECT_EQ(restored.stopBits, found.stopBits);
    EXPECT_EQ(restored.binary, found.binary);
    EXPECT_EQ(restored.checkParity, found.checkParity);
    EXPECT_EQ(restored.ctsFlow, found.ctsFlow);
    EXPECT_EQ(restored.dsrFlow, found.dsrFlow);
    EXPECT_EQ(restored.dtrControl, found.dtrControl);
    EXPECT_EQ(restored.dsrSensitivity, found.dsrSensitivity);
    EXPECT_EQ(restored.xoffOutput, found.xoffOutput);
    EXPECT_EQ(restored.xoffInput, found.xoffInput);
    EXPECT_EQ(restored.discardNull, found.discardNull);
    EXPECT_EQ(restored.rtsControl, found.rtsControl);
    EXPECT_EQ(restored.abortOnError, found.abortOnError);
    EXPECT_EQ(restored.native, found.native);
    EXPECT_FALSE(port.IsOpen());
    EXPECT_EQ(fakes::ScriptedFiles::OpenCount(), 0U);
}

TEST_F(UARTDataCollectorRun, DestructionTakesItsStepsInOrder) {
    auto collector = Make();
    const std::size_t before = Journal().size();
    collector.reset();
    std::vector<std::string> calls = Journal();
    calls.erase(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(before));
    const std::vector<std::string> expected = {"port.Purge()", "port.SetState(1200)", "port.Close()",
                                               "file.Close()"};
    EXPECT_EQ(calls, expected);
}

TEST_F(UARTDataCollectorRun, EveryStepOfTheDestructionRunsAndHasItsOwnMessage) {
    auto collector = Make();
    ForgetLines();
    Fail("port.Purge", 31);
    Fail("port.SetState", 87);
    Fail("port.Close", 6);
    Fail("file.Close", 5);
    collector.reset();
    const std::vector<std::string> lines = {Error("Purge Comm failed with error code = 31."),
                                            Error("Restoring communication state failed with error code 87"),
                                            Error("Releasing port handle failed with error code 6")};
    EXPECT_EQ(NewLines(), lines);
    EXPECT_EQ(Count("file.Close"), 1U);
    EXPECT_EQ(fakes::ScriptedFiles::OpenCount(), 0U);
}

TEST_F(UARTDataCollectorRun, SecondCollectorTruncatesTheFile) {
    port.AddRead("a long first capture");
    MakeAndRun();
    port.AddRead("second");
    MakeAndRun();
    EXPECT_EQ(Content(), "second");
}

TEST_F(UARTDataCollectorRun, OwnerStopsAndWaitsForTheCaptureThread) {
    const std::string bytes = Numbered(100000);
    const auto collector = Make();
    KORR_PLIM::uThread thread(collector.get());
    ASSERT_TRUE(thread.Start());
    for (std::size_t at = 0; at < bytes.size(); at += 1000) port.AddRead(bytes.substr(at, 1000));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Content().size() < bytes.size() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(collector->IsFinished());
    collector->Stop();
    while (!collector->IsFinished()) KORR_PLIM::uThread::Yield();
    EXPECT_EQ(Content(), bytes);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tarnel
