#include <signal.h>
#include <sys/resource.h>

#include "channel/tdf_writer.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

constexpr char kFullDisk[] = "/dev/full";

TEST(FullDisk, RefusesTheHeaderOfASection) {
    uint32_t offset = 99;
    EXPECT_EQ(ErrorOf([&] { BeginSection(kFullDisk, "BinTraceData", 1, offset); }),
              "Write error -  TDF section header size.");
}

TEST(FullDisk, RefusesTheDataOfASection) {
    uint32_t length = 99;
    EXPECT_EQ(ErrorOf([&] { AppendSectionData(kFullDisk, "BinTraceData", 8, "01234567", 8, 1, length); }),
              "Write I/O error - unable to write section data.");
    EXPECT_EQ(length, 0U);
}

class FullDiskSaving : public DriverTest {};

TEST_F(FullDiskSaving, OfASectionThrows) {
    Make();
    SetCapture("0123456789abcdef");
    EXPECT_EQ(ErrorOf([&] { driver->SaveFile(kFullDisk, 0); }), "Write error -  TDF section header size.");
}

TEST_F(FullDiskSaving, OfARawFileIsNotReported) {
    Make();
    SetCapture("0123456789abcdef");
    driver->SaveFile(kFullDisk, 2);
    EXPECT_EQ(driver->GetNumSamples(), 2U);
}

TEST_F(FullDiskSaving, AFolderIsNoFile) {
    Make();
    uint32_t offset = 99;
    EXPECT_EQ(ErrorOf([&] { BeginSection(folder.DataFolder().c_str(), "x", 1, offset); }),
              "Could not open TDF file as specified.");
    EXPECT_EQ(ErrorOf([&] { driver->SaveFile(folder.DataFolder().c_str(), 0); }),
              "Could not open fileIs a directory");
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
}

TEST_F(FullDiskSaving, ShortWriteOfTheCaptureKeepsWhatFittedAndTheNextRecordingWorks) {
    const std::string bytes = std::string(100, 'a') + std::string(100, 'b');
    const auto content = [this] { return TraceFolder::ReadFile(CaptureFileOf("cpu")); };
    Make();
    Configure();
    {
        const LimitedFiles limited(150);
        port->AddRead(bytes);
        driver->StartRecording(0);
        EXPECT_TRUE(WaitFor([&] { return content().size() == 150; }));
        driver->StopRecording();
    }
    EXPECT_EQ(content(), bytes.substr(0, 150));
    port->AddRead(bytes);
    driver->StartRecording(0);
    EXPECT_TRUE(WaitFor([&] { return content() == bytes; }));
    driver->StopRecording();
}

}  // namespace
}  // namespace channel_tests
