// What can happen around a recording: the probe is pulled out, the disk is full, the clock jumps.

#include <fstream>

#include "tests/fakes/scripted_capture_file.h"
#include "tests/fakes/scripted_environment_variables.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/fakes/scripted_local_time.h"
#include "tests/faults/fresh_process.h"
#include "tests/faults/whole_recording.h"

namespace fault_tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNotOpened = "E Tarnel_UARTCollector: Failed to open COM5 with error code = 2";
constexpr const char* kNotRead = "E Tarnel_UARTCollector: Reading COM port failed with error code 22";
constexpr const char* kNoBreak =
    "E Tarnel_UARTCollector: Failed to send Comm break state with error code = 22";
constexpr const char* kNotPurged = "E Tarnel_UARTCollector: Purge Comm failed with error code = 22.";
constexpr const char* kNotRestored =
    "E Tarnel_UARTCollector: Restoring communication state failed with error code 22";
constexpr const char* kNotWritten =
    "E Tarnel_UARTCollector: Writing to binary file failed with error code 112";

void At(const std::string& call, std::size_t nth, std::function<void()> action) {
    fakes::ScriptedCalls::Instance().At(call, nth, std::move(action));
}

/// Ends with the probe plugged in again.
class UnpluggedPort : public testing::Test {
  protected:
    ~UnpluggedPort() override { ExpectThatTheNextRecordingWorks(recording); }

    void Expect(const Strings& seen, const Strings& logged, const std::string& stays) {
        const Report report = recording.Run();
        EXPECT_EQ(report.seen, seen);
        EXPECT_EQ(report.logged, logged);
        EXPECT_EQ(report.log, Strings());
        EXPECT_EQ(report.stays, stays);
        EXPECT_EQ(recording.OpenHandles(), Strings());
    }
    /// The start is refused; with the probe plugged in again the same driver starts.
    void ExpectRefused(const std::string& text, const std::string& line,
                       const std::string& stays = "the earlier capture") {
        int refusals = 0;
        recording.mend = [&] {
            ++refusals;
            EXPECT_EQ(recording.Stays(), stays);
            EXPECT_EQ(recording.OpenHandles(),
                      (Strings{"SetupAdapter4", "DeviceIdentifier", "ICETargetAdapter"}))
                << "the receiver's";
            recording.before.clear();
            recording.PlugIn();
        };
        Expect({"start: " + text}, {line}, "every byte");
        EXPECT_EQ(refusals, 1);
    }
    void UnplugAt(const std::string& call, std::size_t nth) {
        At(call, nth, [this] { recording.Unplug(); });
    }

    WholeRecording recording;
};

TEST_F(UnpluggedPort, BeforeItIsOpenedIsRefused) {
    recording.before["start"] = [this] { recording.Unplug(); };
    ExpectRefused("Failed to open COM port", kNotOpened);
}

TEST_F(UnpluggedPort, BetweenOpeningAndCalibrationIsRefused) {
    UnplugAt("port.SetState", 1);
    ExpectRefused("Failed to set requested COM port state",
                  "E Tarnel_UARTCollector: Failed to set Comm state with error code = 22");
}

TEST_F(UnpluggedPort, DuringTheCalibrationIsRefused) {
    UnplugAt("port.GetState", 2);
    ExpectRefused(
        "Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver settings",
        "E Tarnel_UARTCollector: Failed to get programmed Comm state with error code = 22");
}

TEST_F(UnpluggedPort, WhileCapturingEndsTheCaptureAndKeepsWhatCame) {
    UnplugAt("port.Read", 3);
    std::string status;
    recording.before["stop"] = [&] {
        Await([] { return fakes::ScriptedCalls::Instance().Count("port.SetBreak") != 0; });
        status = recording.Status();
    };
    Expect({}, {kNotRead, kNoBreak, kNotRead, kNotPurged, kNotRestored},
           "every byte but those that came after the stop");
    EXPECT_EQ(status, "Recording");
}

TEST_F(UnpluggedPort, WhileStoppingKeepsWhatCame) {
    UnplugAt("port.SetBreak", 1);
    Expect({}, {kNoBreak, kNotRead, kNotPurged, kNotRestored},
           "every byte but those that came after the stop");
}

TEST_F(UnpluggedPort, BetweenTwoRecordingsRefusesTheSecondAndKeepsTheFirst) {
    ExpectThatTheNextRecordingWorks(recording);
    recording.Unplug();
    ExpectRefused("Failed to open COM port", kNotOpened, "every byte");
}

TEST(FullDisk, WhileCapturingEndsTheCaptureAndKeepsWhatFitted) {
    WholeRecording recording;
    At("file.Write", 2, [] { fakes::ScriptedCalls::Instance().Fail("file.Write", 112); });
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings{"read: 13 samples"});
    EXPECT_EQ(report.logged, (Strings{kNotWritten, kNotWritten}));
    EXPECT_EQ(report.log, Strings());
    EXPECT_EQ(report.stays, "every byte before the fault");
    EXPECT_EQ(recording.OpenHandles(), Strings());
    ExpectThatTheNextRecordingWorks(recording);
}

TEST(FullDisk, WhileLoggingLosesTheLinesAlone) {
    WholeRecording recording;
    fakes::file_system::Script().Fail("Write", 1, 1);  // the log is the first stream of a recording
    const std::string before = recording.Log();
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.log, Strings{"log: none"});
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.Log(), before);
    EXPECT_EQ(recording.OpenHandles(), Strings());
    ExpectThatTheNextRecordingWorks(recording);
    EXPECT_GT(recording.Log().size(), before.size());
}

void RecordWithoutSpaceForALog() {
    constexpr uint64_t kLeast = 5'120'000;
    WholeRecording recording;
    fakes::file_system::SetFreeSpace(kLeast - 1);
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.log, Strings{"log: none"});
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.OpenHandles(), Strings());
    fakes::file_system::SetFreeSpace(kLeast);
    ExpectThatTheNextRecordingWorks(recording);
}

TEST(FullDisk, TooLittleSpaceForALogMakesNone) { RunInFreshProcess(RecordWithoutSpaceForALog); }

TEST(FullDisk, WhileSavingIsReportedAndTheCaptureStays) {
    WholeRecording recording;
    fakes::file_system::Script().Fail("Write", 15, 15);  // the saved file's last stream
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings{"save: Write I/O error - unable to write section data."});
    EXPECT_EQ(report.logged, Strings());
    EXPECT_EQ(report.log, Strings());
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.OpenHandles(), Strings());
    ExpectThatTheNextRecordingWorks(recording);
}

TEST(ClockChange, InARecordingShowsInTheLogAlone) {
    WholeRecording recording;
    auto time = fakes::local_time::UsualTime();
    recording.before["read"] = [&] { time.hour = 3, fakes::local_time::Set(time); };
    recording.before["stop"] = [&] { time.hour = 23, time.year = 2031, fakes::local_time::Set(time); };
    const std::size_t before = recording.Log().size();
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.logged, Strings());
    EXPECT_EQ(report.log, Strings());
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.OpenHandles(), Strings());
    const std::string log = recording.Log().substr(before);
    const std::size_t back = log.find("03:34:56:007 | Tarnel_ChannelDriver: SeekReadTraceData");
    const std::size_t on = log.find("23:34:56:007 | Tarnel_Receiver: Receiver destroyed");
    EXPECT_NE(log.find("12:34:56:007 | "), std::string::npos);
    EXPECT_NE(back, std::string::npos);
    EXPECT_NE(on, std::string::npos);
    EXPECT_LT(back, on);
    ExpectThatTheNextRecordingWorks(recording);
}

void RecordOverMidnight() {
    WholeRecording recording;
    recording.before["start"] = [] {
        auto tomorrow = fakes::local_time::UsualTime();
        ++tomorrow.day;
        fakes::local_time::Set(tomorrow);
    };
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.logged, Strings());
    const Strings both{"log: korr_trace_log_11162026_77.txt", "log: korr_trace_log_11172026_77.txt"};
    EXPECT_EQ(report.log, (Strings{both[0], both[1], "log: 1 stays open"}));
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.OpenHandles(), Strings());
    const std::string tomorrow = ContentOf(recording.LogFolder() / "korr_trace_log_11172026_77.txt");
    EXPECT_EQ(recording.Log().find("Tarnel_UARTCollector"), std::string::npos);
    EXPECT_NE(tomorrow.find("Tarnel_UARTCollector: UART configuration"), std::string::npos);
    EXPECT_NE(tomorrow.find("Tarnel_Receiver: Receiver destroyed"), std::string::npos);
    ExpectThatTheNextRecordingWorks(recording, both);
}

TEST(ClockChange, ToAnotherDayBeforeTheFirstStartContinuesTheLogInANewFile) {
    RunInFreshProcess(RecordOverMidnight);
}

void RecordWithoutAClock() {
    WholeRecording recording;
    fakes::local_time::Set({});
    const Report report = recording.Run();
    const Strings named{"log: korr_trace_log_000_77.txt"};
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.logged, Strings());
    EXPECT_EQ(report.log, named);
    EXPECT_EQ(report.stays, "every byte");
    EXPECT_EQ(recording.OpenHandles(), Strings());
    EXPECT_NE(ContentOf(recording.LogFolder() / "korr_trace_log_000_77.txt").find("M     00:00:00:000 | "),
              std::string::npos);
    ExpectThatTheNextRecordingWorks(recording, named);
}

TEST(ClockChange, UnknownTimeIsZerosInTheLogAndItsName) { RunInFreshProcess(RecordWithoutAClock); }

}  // namespace
}  // namespace fault_tests
