#include <tuple>

#include "tests/fakes/scripted_file_system.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

namespace scripted = fakes::file_system;
using testing::Contains;
using testing::ElementsAre;

/// Captured data on a file system that fails.
class CapturedDataFaults : public DriverTest {
  protected:
    CapturedDataFaults() {
        SetCapture("0123456789abcdef");
        Make();
        scripted::Reset();
    }
    ~CapturedDataFaults() override { scripted::Reset(); }

    uint32_t Read() {
        char buffer[16];
        uint32_t samplesRead = 99;
        const uint32_t samples = driver->SeekReadTraceData(0, 2, buffer, samplesRead);
        EXPECT_EQ(samplesRead, samples);
        return samples;
    }
    const std::string head = "M Tarnel_ChannelDriver: ";
};

TEST_F(CapturedDataFaults, AFileThatCannotBeOpenedHasNoSamples) {
    scripted::Script().Fail("OpenShared");
    EXPECT_EQ(driver->GetNumSamples(), 0U);
    EXPECT_THAT(scripted::OpenLog(), ElementsAre("rb " + CaptureFileOf("cpu")));
}

TEST_F(CapturedDataFaults, AnUnknownLengthIsNoSamples) {
    scripted::Script().Fail("StreamLength");
    EXPECT_EQ(driver->GetNumSamples(), 0U);
}

TEST_F(CapturedDataFaults, AReadThatCannotOpenTheFileGivesNothing) {
    scripted::Script().Fail("OpenShared", 2, 2);
    EXPECT_EQ(Read(), 0U);
    EXPECT_THAT(log.Get(),
                ElementsAre(head + "SeekReadTraceData start sample = 0, num samples requested = 2 ",
                            head + "GetNumSamples retrieved 2 samples",
                            head + "seek read file failed to open internal data file"));
    EXPECT_EQ(Read(), 2U);
}

TEST_F(CapturedDataFaults, AReadThatCannotSeekGivesNothing) {
    scripted::Script().Fail("SeekStream", 1, 1);
    EXPECT_EQ(Read(), 0U);
    EXPECT_THAT(log.Get(),
                ElementsAre(head + "SeekReadTraceData start sample = 0, num samples requested = 2 ",
                            head + "GetNumSamples retrieved 2 samples",
                            head + "seek read file failed to seek to start of data"));
    EXPECT_EQ(Read(), 2U);
}

TEST_F(CapturedDataFaults, LinesOfReadsThatFailAreOrdinary) {
    const std::tuple<const char*, int, std::string> failures[] = {
        {"OpenShared", 2, "seek read file failed to open internal data file"},
        {"SeekStream", 1, "seek read file failed to seek to start of data"}};
    for (const auto& [call, nth, line] : failures) {
        const LogAtLevel ordinary("1");
        scripted::Reset();
        scripted::Script().Fail(call, nth, nth);
        EXPECT_EQ(Read(), 0U);
        EXPECT_THAT(ordinary.Get(),
                    ElementsAre(head + "SeekReadTraceData start sample = 0, num samples requested = 2 ",
                                head + line));
    }
}

TEST_F(CapturedDataFaults, FilesAreOpenedAsDocumented) {
    Read();
    const std::string capture = CaptureFileOf("cpu");
    const std::string target = folder.Path("saved");
    EXPECT_THAT(scripted::OpenLog(), ElementsAre("rb " + capture, "rb " + capture));
    scripted::Reset();
    driver->SaveFile(target.c_str(), 2);
    EXPECT_THAT(scripted::OpenLog(), ElementsAre("ab " + target, "wb " + target, "rb " + capture,
                                                 "rb " + capture, "rb " + capture));
    scripted::Reset();
    driver->SaveFile(target.c_str(), 0);
    EXPECT_THAT(scripted::OpenLog(),
                ElementsAre("ab " + target, "r " + target, "r+b " + target, "rb " + capture, "rb " + capture,
                            "rb " + capture, "r " + target, "r+b " + target));
}

TEST_F(CapturedDataFaults, ARawFileThatOpensForTheTestOnlyIsNotReported) {
    const std::string target = folder.Path("kept");
    TraceFolder::WriteFile(target, "kept");
    scripted::Script().Fail("OpenShared", 2, 2);
    driver->SaveFile(target.c_str(), 2);
    EXPECT_EQ(TraceFolder::ReadFile(target), "kept");
    EXPECT_THAT(log.Get(), Contains(head + "SeekReadTraceData start sample = 0, num samples requested = 2 "));
}

TEST_F(CapturedDataFaults, ErrorsOfTheTdfWriterPassThroughUnlogged) {
    const std::string target = folder.Path("host");
    TraceFolder::WriteFile(target, "TDF file");
    scripted::Script().Fail("OpenShared", 3, 3);
    EXPECT_EQ(ErrorOf([&] { driver->SaveFile(target.c_str(), 0); }), "Could not open TDF file as specified.");
    EXPECT_TRUE(log.Get().empty());
    EXPECT_EQ(TraceFolder::ReadFile(target), "TDF file");
}

TEST_F(CapturedDataFaults, NamesFollowThePlatformsSeparator) {
    scripted::UseWindowsPaths();
    Make();
    scripted::Reset();
    driver->GetNumSamples();
    EXPECT_THAT(scripted::OpenLog(),
                ElementsAre("rb " + folder.LoggingFolder() + "\\data\\swotrace_cpu.bin"));
    scripted::UseWindowsPaths();
    Make();
    Attribute("ITMChannelType_0");
    EXPECT_THAT(scripted::OpenLog(), Contains("r " + folder.SettingsFolder() + "\\TraceCntrl-itm.ini"));
}

}  // namespace
}  // namespace channel_tests
