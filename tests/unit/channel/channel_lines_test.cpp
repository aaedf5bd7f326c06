#include "channel/itm_setup.h"
#include "host_api/throw_error.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

using support::LevelledLines;

const std::string kTag = "Tarnel_ChannelDriver: ";

/// Every line of the driver, at the level that it needs and at the one below.
class DriverLines : public DriverTest {
  protected:
    DriverLines() { std::filesystem::remove(setup); }
    ~DriverLines() override { std::filesystem::remove(setup); }

    /// Runs an action of a fresh driver at the levels 0, 1 and 2: the lines must be those of each level.
    template <typename Action>
    void ExpectLines(const LevelledLines& expected, Action action) {
        for (const int level : {0, 1, 2}) {
            SCOPED_TRACE("level " + std::to_string(level));
            Make();
            const std::string file = OptionsFile(changes);
            if (configured) driver->SetConfiguration(file.c_str());
            const LogAtLevel written(kVariable[level]);
            log = LogLines();
            action(file);
            std::vector<std::string> lines = written.Get();
            // A collector makes the process's log the current one again; the level stays.
            for (const std::string& line : log.Get()) lines.push_back(line);
            EXPECT_EQ(DriversLines(lines), support::LinesUpTo(level, expected));
        }
    }
    /// Without those of the collector, the clock readers and the options reader.
    static std::vector<std::string> DriversLines(std::vector<std::string> lines) {
        std::erase_if(lines, [](const std::string& line) {
            return line.find("Tarnel_UART") != line.npos || line.find("Tarnel_Xml") != line.npos ||
                   line.find("Device: ") != line.npos;
        });
        return lines;
    }

    static constexpr const char* kVariable[] = {"0", "1", "3"};  ///< what makes each level, to the file alone

    std::map<uint32_t, std::string> changes;  ///< in the options
    bool configured = false;                  ///< before the action

    const std::string setup = folder.SettingsFolder() + KORR_PLIM::platform::PathSeparator() + kItmSetupFile;
};

TEST_F(DriverLines, OfAConfiguration) {
    const std::string file = OptionsFile();
    ExpectLines({{1, "M " + kTag + "Set configuration called file - " + file + "."},
                 {1, "M " + kTag + "Setting eSWO_ENCODING = UART."},
                 {1, "M " + kTag + "Setting eSWO_TS_PRESCALAR = 16."}},
                [this](const std::string& options) { driver->SetConfiguration(options.c_str()); });
    ExpectLines({{1, "E SetConfiguration called with null options for cpu"}}, [this](const std::string&) {
        EXPECT_EQ(ErrorOf([this] { driver->SetConfiguration(nullptr); }),
                  "Internal error setting configuration.");
    });
    ExpectLines({{1, "M " + kTag + "Set configuration called file - " + file + "."},
                 {1, "E " + kTag + "NULL value for CPU=board/cpu and option ID=1."},
                 {1, "M " + kTag + "Setting eSWO_ENCODING = ."},
                 {1, "M " + kTag + "Setting eSWO_TS_PRESCALAR = 16."}},
                [this](const std::string&) {
                    Configure({{kOptionEncoding, "-"}});
                });
}

TEST_F(DriverLines, OfRefusedStartsAndStops) {
    ExpectLines({{1, "M " + kTag + "Cannot start recording unless caltibration is complete"},
                 {1, "M " + kTag + "Cannot stop recording as recording has not started yet"},
                 {1, "M " + kTag + "Cannot start recording unless target is connected"},
                 {1, "M " + kTag + "Cannot stop recording unless target is connected"}},
                [this](const std::string&) {
                    driver->StartRecording(0);
                    driver->StopRecording();
                    driver->SetTargetState(3);
                    driver->StartRecording(0);
                    driver->StopRecording();
                });
}

TEST_F(DriverLines, OfARecording) {
    configured = true;
    adapter.exportStatus = 5;
    adapter.clearsStatus = false;
    ExpectLines({{1, "M " + kTag + "Trace export (xmtr) status 0x5."},
                 {1, "M " + kTag + "Requested Trace Clock Frequency is 48000000.000000"},
                 {1, "M " + kTag + "Cannot start recording since recording is already in progress"},
                 {1, "E " + kTag + "Trace cannot be stopped while target is running."}},
                [this](const std::string&) {
                    driver->StartRecording(0);
                    driver->StartRecording(0);
                    driver->SetTargetState(6);
                    EXPECT_NE(ErrorOf([this] { driver->StopRecording(); }), "");
                    driver->SetTargetState(7);
                    driver->StopRecording();
                });
}

TEST_F(DriverLines, OfAFailedStartWithTheDevicesClock) {
    configured = true;
    changes = {{kOptionClock, "Auto"}};
    identifier.identification = 0x0B99A02F;
    identifier.AddClockRegister("CPUCLKDIV", 0x40000000);
    memory.words[0x40000000] = 1;
    adapter.results["EnableTpiu"] = 1;
    ExpectLines(
        {{1, "M " + kTag + "Auto Trace Clock Frequency is 24000000.000000"},
         {1, "E " + kTag + "Failed to enable TPIU for tracing"}},
        [this](const std::string&) { EXPECT_NE(ErrorOf([this] { driver->StartRecording(0); }), ""); });
}

TEST_F(DriverLines, OfJobStatesHaltStatesAndAttributes) {
    ExpectLines({{1, "M " + kTag + "state changed to eJOB_MODIFIED_DISABLE_RESUME"},
                 {2, "M " + kTag + "modified halt state for a to 0"},
                 {2, "M " + kTag + "CPU unregistered."},
                 {2, "M " + kTag + "Get the attribute TWP Source."},
                 {2, "M " + kTag + "Get the attribute unknown."},
                 {1, "M " + kTag + "Unhandled Attribute = unknown"}},
                [this](const std::string&) {
                    driver->JobStateChanged(0);
                    driver->SetHaltState("a", 1);
                    driver->SetHaltState("a", 0);
                    driver->UnregisterCpu("a");
                    Attribute("TWP Source");
                    Attribute("unknown");
                });
}

TEST_F(DriverLines, OfTheItmSetup) {
    ExpectLines({{2, "M " + kTag + "Get the attribute ITMChannelType_0."},
                 {1, "M " + kTag + "Could not find/open file (" + setup +
                         ") to get ITM channel setup. Setting up legacy mapping."}},
                [this](const std::string&) { Attribute("ITMChannelType_0"); });
    TraceFolder::WriteFile(setup, "x_0=1\nx_2=1\n");
    ExpectLines({{2, "M " + kTag + "Get the attribute ITMChannelType_0."},
                 {1, "M " + kTag + "Opened file (" + setup + ") to get ITM channel setup."},
                 {1, "E " + kTag + "Read channel number 2 instead of expected channel number 1"}},
                [this](const std::string&) { Attribute("ITMChannelType_0"); });
}

TEST_F(DriverLines, OfReadingTheCapture) {
    SetCapture("0123456789abc");
    ExpectLines({{1, "M " + kTag + "SeekReadTraceData start sample = 0, num samples requested = 3 "},
                 {2, "M " + kTag + "GetNumSamples retrieved 2 samples"},
                 {1, "M " + kTag + "SeekReadTraceData start sample = 2, num samples requested = 1 "},
                 {2, "M " + kTag + "GetNumSamples retrieved 2 samples"},
                 {1, "M " + kTag + "seek read start sample out of range"},
                 {1, "M " + kTag + "SeekReadTraceData start sample = 0, num samples requested = 1 "},
                 {2, "M " + kTag + "GetNumSamples retrieved 2 samples"},
                 {1, "M " + kTag + "seek read file failed with numSamplesActual=1, numSamplesRead=0"}},
                [this](const std::string&) {
                    char buffer[24];
                    uint32_t read = 0;
                    driver->SeekReadTraceData(0, 3, buffer, read);
                    driver->SeekReadTraceData(2, 1, buffer, read);
                    driver->SeekReadTraceData(0, 1, nullptr, read);
                });
    std::filesystem::remove(CaptureFileOf("cpu"));
}

TEST_F(DriverLines, OfWhatADestructionMeets) {
    ExpectLines({{1, "M " + kTag + "Cannot stop recording as recording has not started yet"},
                 {1, "E " + kTag + "TraceRelease"}},
                [this](const std::string&) {
                    adapter.throwing = {"TraceRelease"};
                    driver.reset();
                    adapter.throwing.clear();
                });
}

/// Names and values with which somebody tries to write lines of his own.
class ForgedLines : public DriverTest {
  protected:
    const std::string forged = "x\r\nE     12:00:00:000 | Tarnel_ChannelDriver: forged\x1B[2J\t\x7F";
    const std::string shown = "x\\r\\nE     12:00:00:000 | Tarnel_ChannelDriver: forged\\x1B[2J\\t\\x7F";
};

TEST_F(ForgedLines, AreShownInTheLineOfTheName) {
    Make("board/" + forged);
    EXPECT_EQ(ErrorOf([this] { driver->SetConfiguration(nullptr); }),
              "Internal error setting configuration.");
    driver->SetHaltState(forged.c_str(), 1);
    driver->SetHaltState(forged.c_str(), 0);
    Attribute(forged);
    EXPECT_EQ(log.Get(), (std::vector<std::string>{"E SetConfiguration called with null options for " + shown,
                                                   "M " + kTag + "modified halt state for " + shown + " to 0",
                                                   "M " + kTag + "Get the attribute " + shown + ".",
                                                   "M " + kTag + "Unhandled Attribute = " + shown}));
}

TEST_F(ForgedLines, AreShownInTheLineOfANameThatLeadsOut) {
    driver = std::make_unique<ChannelDriver>(&receiver, ("a/../" + forged).c_str(), &adapter, kCpuId, 1U);
    EXPECT_EQ(log.Get(),
              (std::vector<std::string>{
                  "E " + kTag +
                  "CPU name leads out of the data folder, so that nothing can be captured: a/../" + shown}));
}

TEST_F(ForgedLines, AreShownInTheLineOfTheItmFile) {
    const std::string name =
        folder.Path("itm\x7F.ini");  // of the control characters, all platforms take this one
    TraceFolder::WriteFile(name, "x_0=1\n");
    ReadItmTypes(name);
    EXPECT_EQ(log.Get(),
              (std::vector<std::string>{"M " + kTag + "Opened file (" + folder.Path("itm\\x7F.ini") +
                                        ") to get ITM channel setup."}));
}

TEST_F(ForgedLines, AreShownInTheLineOfTheFile) {
    Make();
    EXPECT_NE(ErrorOf([this] { driver->SetConfiguration(forged.c_str()); }), "");
    EXPECT_EQ(log.Get().at(0), "M " + kTag + "Set configuration called file - " + shown + ".");
    log = LogLines();
    const std::string missing = "no such folder/" + forged;
    EXPECT_NE(ErrorOf([&] { driver->SaveFile(missing.c_str(), 2); }), "");
    ASSERT_EQ(log.Get().size(), 1U);
    EXPECT_EQ(log.Get().at(0).substr(0, 44), "E Tarnel_ChannelDriver : Could not open file");
    log = LogLines();
    ReadItmTypes(missing);
    EXPECT_EQ(log.Get(),
              (std::vector<std::string>{"M " + kTag + "Could not find/open file (no such folder/" + shown +
                                        ") to get ITM channel setup. Setting up legacy mapping."}));
}

TEST_F(ForgedLines, AreShownInTheLineOfTheOption) {
    Make("board/" + forged);
    Configure({{kOptionEncoding, "a\nM     12:00:00:000 | forged"}, {kOptionTimestampPrescaler, "-"}});
    EXPECT_TRUE(log.Has("M " + kTag + "Setting eSWO_ENCODING = a\\nM     12:00:00:000 | forged."));
    EXPECT_TRUE(log.Has("E " + kTag + "NULL value for CPU=board/" + shown + " and option ID=7."));
}

TEST_F(ForgedLines, AreShownInWhatOthersThrow) {
    Make();
    struct Throwing : fakes::FakeTargetAdapter {
        using fakes::FakeTargetAdapter::FakeTargetAdapter;
        uint32_t GetExportStatus(uint32_t, uint32_t&) override { ThrowError("five\nsix"); }
        uint32_t TraceRelease(uint32_t) override { throw std::runtime_error("one\ntwo"); }
        uint32_t TraceExportOpB(uint32_t) override {
            throw cPelkitError("three\nfour", cPelkitErrorIF::eSEVERITY_ERROR);
        }
    } throwing(journal);
    driver = std::make_unique<ChannelDriver>(&receiver, "cpu", &throwing, kCpuId, 1U);
    log = LogLines();
    driver.reset();
    EXPECT_EQ(log.Get(),
              (std::vector<std::string>{
                  "M " + kTag + "Cannot stop recording as recording has not started yet",
                  "E " + kTag + "five\\nsix", "E " + kTag + "Error of the host", "E " + kTag + "one\\ntwo"}));
}

}  // namespace
}  // namespace channel_tests
