#include <signal.h>
#include <sys/resource.h>

#include "channel/tdf_writer.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

constexpr char kFullDisk[] = "/dev/full";

TEST(FullDisk, ADeviceTakesNoSection) {
    uint32_t number = 99;
    const std::string message = "File name passed to save file is not valid.";
    EXPECT_EQ(ErrorOf([&] { BeginSection(kFullDisk, "BinTraceData", 1, number); }), message);
    EXPECT_EQ(ErrorOf([&] { AppendSectionData(kFullDisk, "BinTraceData", 8, "01234567", 8, 1, number); }),
              message);
}

/// Files of this process end at a size: a write across it is short, and the next one is refused.
class LimitedFiles {
  public:
    explicit LimitedFiles(rlim_t bytes) {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &usual);
        const rlimit limited{bytes, usual.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~LimitedFiles() { ::setrlimit(RLIMIT_FSIZE, &usual); }
    LimitedFiles(const LimitedFiles&) = delete;
    LimitedFiles& operator=(const LimitedFiles&) = delete;

  private:
    rlimit usual{};
};

/// Records again behind each fault, and counts what is open.
class FullDiskSaving : public DriverTest {
  protected:
    static std::ptrdiff_t Handles() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    std::string Capture() const { return TraceFolder::ReadFile(CaptureFileOf("cpu")); }

    void ExpectARecording(const std::string& bytes) {
        port->AddRead(bytes);
        driver->StartRecording(0);
        EXPECT_TRUE(WaitFor([&] { return Capture() == bytes; })) << Capture();
        driver->StopRecording();
        EXPECT_FALSE(port->IsOpen());
    }
    void ExpectNothingLeftOpen() const { EXPECT_EQ(Handles(), handlesBefore); }

  private:
    std::ptrdiff_t handlesBefore = Handles();
};

TEST_F(FullDiskSaving, OfASectionThrows) {
    Make();
    SetCapture("0123456789abcdef");
    const std::string saved = folder.Path("full.tdf");
    TraceFolder::WriteFile(saved, "TDF file");
    {
        const LimitedFiles limited(8);
        EXPECT_EQ(ErrorOf([&] { driver->SaveFile(saved.c_str(), 0); }),
                  "Write error -  TDF section header size.");
    }
    EXPECT_EQ(TraceFolder::ReadFile(saved), "TDF file");
    EXPECT_EQ(Capture(), "0123456789abcdef");
    ExpectNothingLeftOpen();
    Configure();
    ExpectARecording("next");
    ExpectNothingLeftOpen();
}

TEST_F(FullDiskSaving, OfARawFileIsNotReported) {
    Make();
    SetCapture("0123456789abcdef");
    driver->SaveFile(kFullDisk, 2);
    EXPECT_EQ(driver->GetNumSamples(), 2U);
    ExpectNothingLeftOpen();
    Configure();
    ExpectARecording("next");
    ExpectNothingLeftOpen();
}

TEST_F(FullDiskSaving, AFolderIsNoFile) {
    Make();
    uint32_t offset = 99;
    EXPECT_EQ(ErrorOf([&] { BeginSection(folder.DataFolder().c_str(), "x", 1, offset); }),
              "File name passed to save file is not valid.");
    EXPECT_EQ(ErrorOf([&] { driver->SaveFile(folder.DataFolder().c_str(), 0); }),
              "Could not open fileIs a directory");
}

TEST_F(FullDiskSaving, AFolderInTheCapturesPlaceHoldsNoSamples) {
    Make();
    std::filesystem::remove(CaptureFileOf("cpu"));
    std::filesystem::create_directory(CaptureFileOf("cpu"));
    char sample[8] = {};
    uint32_t read = 99;
    EXPECT_EQ(driver->GetNumSamples(), 0U);
    EXPECT_EQ(driver->SeekReadTraceData(0, 1, sample, read), 0U);
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: seek read start sample out of range"));
    const std::string saved = folder.Path("saved.bin");
    driver->SaveFile(saved.c_str(), 2);
    EXPECT_EQ(TraceFolder::ReadFile(saved), "");
    Configure();
    EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }),
              "Failed to open binary file for trace data storage");
    std::filesystem::remove(CaptureFileOf("cpu"));
}

TEST_F(FullDiskSaving, ShortWriteOfASectionThrowsAndTheNextSaveWorks) {
    Make();
    SetCapture("0123456789abcdef");
    const std::string saved = folder.Path("saved.tdf");
    TraceFolder::WriteFile(saved, "TDF file");
    {
        const LimitedFiles limited(40);  // 8 bytes of the samples fit
        EXPECT_EQ(ErrorOf([&] { driver->SaveFile(saved.c_str(), 0); }),
                  "Write I/O error - unable to write section data.");
    }
    EXPECT_EQ(TraceFolder::ReadFile(saved).substr(32), "01234567");
    TraceFolder::WriteFile(saved, "TDF file");
    driver->SaveFile(saved.c_str(), 0);
    EXPECT_EQ(TraceFolder::ReadFile(saved).substr(32), "0123456789abcdef");
    Configure();
    ExpectARecording("next");
    ExpectNothingLeftOpen();
}

TEST_F(FullDiskSaving, ShortWriteOfTheCaptureKeepsWhatFittedAndTheNextRecordingWorks) {
    constexpr std::size_t kFits = 50050;  // the log as well
    const std::string bytes = std::string(50000, 'a') + std::string(100, 'b');
    Make();
    Configure();
    {
        const LimitedFiles limited(kFits);
        port->AddRead(bytes);
        driver->StartRecording(0);
        EXPECT_TRUE(WaitFor([&] { return Capture().size() == kFits; }));
        EXPECT_EQ(Status(), "Recording");
        driver->StopRecording();
    }
    EXPECT_EQ(Capture(), bytes.substr(0, kFits));
    EXPECT_EQ(log.Count("E Tarnel_UARTCollector: Writing to binary file failed with error code 27"), 1U);
    ExpectNothingLeftOpen();
    ExpectARecording(bytes);
    ExpectNothingLeftOpen();
}

TEST_F(FullDiskSaving, OfTheLogLosesTheLinesAlone) {
    Make();
    Configure();
    const std::string logFile = folder.LogFile();
    const std::string before = TraceFolder::ReadFile(logFile);
    TraceFolder::CloseLog();
    std::filesystem::rename(logFile, logFile + ".aside");
    std::filesystem::create_symlink(kFullDisk, logFile);
    ExpectARecording("recorded");
    EXPECT_TRUE(std::filesystem::is_symlink(logFile));
    TraceFolder::CloseLog();
    std::filesystem::rename(logFile + ".aside", logFile);
    EXPECT_TRUE(TraceFolder::ReadFile(logFile) == before);
    ExpectARecording("next");
    EXPECT_GT(TraceFolder::ReadFile(logFile).size(), before.size());
    ExpectNothingLeftOpen();
}

}  // namespace
}  // namespace channel_tests
