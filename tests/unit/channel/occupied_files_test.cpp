#include "tests/unit/channel/driver_fixture.h"
#include "tests/unit/channel/occupied_file.h"

namespace channel_tests {
namespace {

constexpr char kNoCapture[] = "Failed to open binary file for trace data storage";

class OccupiedFiles : public DriverTest, public testing::WithParamInterface<Occupation> {
  protected:
    OccupiedFiles() {
        SetCapture("earlier!");
        std::filesystem::permissions(CaptureFileOf("cpu"), std::filesystem::perms(0666));
        Make();
    }
    std::string Capture() const { return TraceFolder::ReadFile(CaptureFileOf("cpu")); }

    /// Records some bytes and expects that all of them are there.
    void ExpectARecording() {
        port->AddRead("recorded");
        driver->StartRecording(0);
        EXPECT_TRUE(WaitFor([this] { return Capture() == "recorded"; }));
        driver->StopRecording();
        EXPECT_EQ(Status(), "Stopped by user");
    }
};

INSTANTIATE_TEST_SUITE_P(Ways, OccupiedFiles, testing::Values(Occupation::kReadOnly, Occupation::kLocked),
                         [](const auto& way) {
                             return way.param == Occupation::kReadOnly ? "ReadOnly" : "Locked";
                         });

TEST_P(OccupiedFiles, CaptureFileIsRefusedAndKept) {
    Configure();
    {
        const OccupiedFile occupied(CaptureFileOf("cpu"), GetParam());
        EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }), kNoCapture);
        EXPECT_TRUE(log.Has("E Tarnel_UARTCollector: Failed to open binary file " + CaptureFileOf("cpu") +
                            " with error code " + std::to_string(occupied.ErrorNumber())));
        EXPECT_EQ(Status(), "Ready to record");
        EXPECT_FALSE(port->IsOpen());
    }
    EXPECT_EQ(Capture(), "earlier!");
    ExpectARecording();
}

TEST_P(OccupiedFiles, LogFileLosesItsLinesAndTheRecordingIsComplete) {
    Configure();
    TraceFolder::CloseLog();
    const std::string logFile = TraceFolder::Instance().LogFile();
    const std::string before = TraceFolder::ReadFile(logFile);
    {
        const OccupiedFile occupied(logFile, GetParam());
        ExpectARecording();
    }
    EXPECT_TRUE(TraceFolder::ReadFile(logFile) == before);
    ExpectARecording();
    EXPECT_GT(TraceFolder::ReadFile(logFile).size(), before.size());
}

TEST_P(OccupiedFiles, OptionsFileMustBeReadable) {
    const std::string options = OptionsFile();
    {
        const OccupiedFile occupied(options, GetParam());
        if (GetParam() == Occupation::kReadOnly) {
            driver->SetConfiguration(options.c_str());
            return ExpectARecording();
        }
        EXPECT_EQ(ErrorOf([&] { driver->SetConfiguration(options.c_str()); }),
                  "Undefined exception occurred while parsing emulation setup file");
        EXPECT_TRUE(log.Has("E Tarnel_XmlOptions: " + options + " cannot be read or is too long."));
        EXPECT_TRUE(
            log.Has("E Tarnel_XmlOptions: Undefined exception occurred while parsing emulation setup file"));
        EXPECT_EQ(Status(), "Calibrating ...");
        EXPECT_EQ(Capture(), "earlier!");
    }
    driver->SetConfiguration(options.c_str());
    ExpectARecording();
}

TEST_P(OccupiedFiles, SavedFileIsRefusedAndKept) {
    const std::string saved = folder.Path("saved.bin");
    TraceFolder::WriteFile(saved, "TDF file");
    for (const int32_t format : {0, 2}) {
        const OccupiedFile occupied(saved, GetParam());
        EXPECT_EQ(ErrorOf([&] { driver->SaveFile(saved.c_str(), format); }),
                  "Could not open filePermission denied");
        EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver : Could not open filePermission denied : " + saved));
    }
    EXPECT_EQ(TraceFolder::ReadFile(saved), "TDF file");
    driver->SaveFile(saved.c_str(), 2);
    EXPECT_EQ(TraceFolder::ReadFile(saved), "earlier!");
}

TEST_F(DriverTest, CaptureFileOfAnotherRecordingIsRefusedAndGoesOn) {
    Make("one/cpu");
    StartRecording();
    port->AddRead("first");
    fakes::ScriptedPorts::Plug(6);
    ChannelDriver other(&receiver, "other/cpu", &adapter, kCpuId, 2U);
    other.SetHostAccess(&identifier, &memory, 0);
    other.SetConfiguration(OptionsFile({{kOptionComPort, "6"}}).c_str());
    EXPECT_EQ(ErrorOf([&] { other.StartRecording(0); }), kNoCapture);
    EXPECT_TRUE(log.Has("E Tarnel_UARTCollector: Failed to open binary file " + CaptureFileOf("cpu") +
                        " with error code " + std::to_string(OtherCaptureErrorNumber())));
    port->AddRead(" goes on");
    const auto content = [this] { return TraceFolder::ReadFile(CaptureFileOf("cpu")); };
    EXPECT_TRUE(WaitFor([&] { return content() == "first goes on"; })) << content();
    driver->StopRecording();
    other.StartRecording(0);
    EXPECT_EQ(content(), "");
    other.StopRecording();
}

}  // namespace
}  // namespace channel_tests
