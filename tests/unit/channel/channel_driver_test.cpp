#include <array>
#include <random>

#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ChannelDriverObject : public DriverTest {};

TEST_F(ChannelDriverObject, NullArgumentsAreLoggedAndRefused) {
    const std::string message = "Internal error creating Channel Driver. Null parameters.";
    EXPECT_EQ(ErrorOf([&] { ChannelDriver(nullptr, "cpu", &adapter, 1, 1); }), message);
    EXPECT_EQ(ErrorOf([&] { ChannelDriver(&receiver, nullptr, &adapter, 1, 1); }), message);
    EXPECT_EQ(ErrorOf([&] { ChannelDriver(&receiver, "cpu", nullptr, 1, 1); }), message);
    const std::string line = "E Tarnel_ChannelDriver: " + message;
    EXPECT_THAT(log.Get(), ElementsAre(line, line, line));
    EXPECT_THAT(journal.Calls(), IsEmpty());
}

TEST_F(ChannelDriverObject, ConstructionCallsNothingOfTheHost) {
    ChannelDriver made(&receiver, "board/cpu", &adapter, kCpuId, 1);
    EXPECT_THAT(journal.Calls(), IsEmpty());
}

TEST_F(ChannelDriverObject, TheCpuNameIsAnsweredInFull) {
    EXPECT_STREQ(Make("board/Cortex_M4_0").GetCpuName(), "board/Cortex_M4_0");
    EXPECT_STREQ(Make("").GetCpuName(), "");
}

TEST_F(ChannelDriverObject, TheBufferNeverWraps) {
    Make();
    EXPECT_FALSE(driver->IsBufferWrapped());
    EXPECT_EQ(Attribute("Buffer Wrapped"), "type 0 \"0\"");
    Configure();
    EXPECT_FALSE(driver->IsBufferWrapped());
    EXPECT_EQ(Attribute("Buffer Wrapped"), "type 0 \"0\"");
    driver->StartRecording(0);
    EXPECT_FALSE(driver->IsBufferWrapped());
    EXPECT_EQ(Attribute("Buffer Wrapped"), "type 0 \"0\"");
    driver->StopRecording();
    EXPECT_FALSE(driver->IsBufferWrapped());
    EXPECT_EQ(Attribute("Buffer Wrapped"), "type 0 \"0\"");
}

TEST_F(ChannelDriverObject, ResumeAndLoadAreNotSupported) {
    Make();
    EXPECT_EQ(ErrorOf([&] { driver->ResumeRecording(); }), "ResumeRecording not supported");
    EXPECT_EQ(ErrorOf([&] { driver->LoadFile("capture.tdf"); }), "LoadFile not supported");
    EXPECT_EQ(ErrorOf([&] { driver->LoadFile(nullptr); }), "LoadFile not supported");
}

TEST_F(ChannelDriverObject, ExtendedInfoIsAFixedTextInTheCallersString) {
    Make();
    Korr::Plim::Trace::HostString text = "before";
    EXPECT_EQ(&driver->GetExtendedInfo(text), &text);
    EXPECT_EQ(text, "Not implemented");
}

TEST_F(ChannelDriverObject, ProgressIsReachedByACastAndIsOneOfAHundred) {
    CChannelDriver* asHostSeesIt = &Make();
    auto* progress = dynamic_cast<CChannelDriverProgress*>(asHostSeesIt);
    ASSERT_NE(progress, nullptr);
    uint32_t current = 0;
    uint32_t total = 0;
    progress->GetProgress(current, total);
    EXPECT_EQ(current, 1U);
    EXPECT_EQ(total, 100U);
}

TEST_F(ChannelDriverObject, AFreshDriverReportsCalibrating) {
    Make();
    StatusRecord record;
    driver->GetStatus(record);
    EXPECT_EQ(record.code, 1U);
    EXPECT_EQ(record.text, "Calibrating ...");
    EXPECT_THAT(record.flags, ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(ChannelDriverObject, GetStatusClearsWhatTheRecordHeld) {
    Make();
    StatusRecord record{99, "untouched", {1, 1, 1, 1, 1}};
    driver->GetStatus(record);
    EXPECT_EQ(record.code, 1U);
    EXPECT_EQ(record.text, "Calibrating ...");
    EXPECT_THAT(record.flags, ElementsAre(0, 0, 0, 0, 0));
}

TEST_F(ChannelDriverObject, WithoutAConnectionGetStatusLeavesTheRecordAsItWas) {
    Make();
    for (const uint32_t state : {3U, 4U}) {
        driver->SetTargetState(state);
        StatusRecord record{99, "untouched", {1, 0, 1, 0, 1}};
        driver->GetStatus(record);
        EXPECT_EQ(record.code, 99U);
        EXPECT_EQ(record.text, "untouched");
        EXPECT_THAT(record.flags, ElementsAre(1, 0, 1, 0, 1));
    }
    driver->SetTargetState(5);
    EXPECT_EQ(Status(), "Calibrating ...");
}

TEST_F(ChannelDriverObject, JobStateZeroIsNotedInTheLog) {
    Make().JobStateChanged(0);
    EXPECT_THAT(log.Get(),
                ElementsAre("M Tarnel_ChannelDriver: state changed to eJOB_MODIFIED_DISABLE_RESUME"));
}

TEST_F(ChannelDriverObject, OtherJobStatesDoNothing) {
    Make();
    for (const uint32_t state : {1U, 2U, 0xFFFFFFFFU}) driver->JobStateChanged(state);
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(ChannelDriverObject, JobStateZeroReadsTheStatusThroughTheInterface) {
    struct Counting : ChannelDriver {
        using ChannelDriver::ChannelDriver;
        void GetStatus(StatusRecord& record) override {
            ++asked;
            ChannelDriver::GetStatus(record);
        }
        int asked = 0;
    };
    auto& counting = MakeAs<Counting>();
    counting.JobStateChanged(0);
    EXPECT_EQ(counting.asked, 1);
    counting.JobStateChanged(1);
    EXPECT_EQ(counting.asked, 1);
}

TEST_F(ChannelDriverObject, AHaltStateIsNotedSilentlyAndItsChangeIsLogged) {
    Make().SetHaltState("board/cpu", 1);
    EXPECT_THAT(log.Get(), IsEmpty());
    driver->SetHaltState("board/cpu", 0);
    driver->SetHaltState("board/other", 1);
    driver->SetHaltState("board/other", 255);
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: modified halt state for board/cpu to 0",
                                       "M Tarnel_ChannelDriver: modified halt state for board/other to 255"));
}

TEST_F(ChannelDriverObject, AnUnregisteredCpuIsForgotten) {
    Make().SetHaltState("board/cpu", 1);
    driver->UnregisterCpu("board/cpu");
    driver->SetHaltState("board/cpu", 0);  // silent: it is new again
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: CPU unregistered."));
}

TEST_F(ChannelDriverObject, UnregisteringAnUnknownCpuChangesNothing) {
    Make().SetHaltState("board/cpu", 1);
    driver->UnregisterCpu("BOARD/CPU");
    driver->UnregisterCpu("");
    EXPECT_THAT(log.Get(), IsEmpty());
    driver->SetHaltState("board/cpu", 0);
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: modified halt state for board/cpu to 0"));
}

TEST_F(ChannelDriverObject, HaltStatesOfNoNameAreIgnored) {
    Make().SetHaltState(nullptr, 1);
    driver->UnregisterCpu(nullptr);
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(ChannelDriverObject, ChattyLinesNeedLevelTwo) {
    Make();
    const LogAtLevel ordinary("1");
    driver->SetHaltState("a", 1);
    driver->SetHaltState("a", 0);
    driver->UnregisterCpu("a");
    driver->GetNumSamples();
    Attribute("TWP Source");
    driver->JobStateChanged(0);
    EXPECT_THAT(ordinary.Get(),
                ElementsAre("M Tarnel_ChannelDriver: state changed to eJOB_MODIFIED_DISABLE_RESUME"));
}

TEST_F(ChannelDriverObject, NothingIsLoggedAtLevelZero) {
    Make();
    const LogAtLevel off("0");
    driver->JobStateChanged(0);
    Attribute("unknown");
    EXPECT_EQ(ErrorOf([&] { driver->SetConfiguration(nullptr); }), "Internal error setting configuration.");
    EXPECT_THAT(off.Get(), IsEmpty());
}

class CaptureFileName : public DriverTest {
  protected:
    // Names of all files that a recording of this CPU makes.
    std::string NameFor(const std::string& cpuName) {
        for (const auto& entry : std::filesystem::directory_iterator(folder.DataFolder())) {
            std::filesystem::remove(entry.path());
        }
        Make(cpuName);
        Configure();
        driver->SetTargetState(7);
        driver->StartRecording(0);
        driver->StopRecording();
        driver.reset();
        std::string name;
        for (const auto& entry : std::filesystem::directory_iterator(folder.DataFolder())) {
            name += entry.path().filename().string();
        }
        return name;
    }
};

TEST_F(CaptureFileName, OfATwoPartNameTheSecondPartIsTaken) {
    EXPECT_EQ(NameFor("board/Cortex_M4_0"), "swotrace_Cortex_M4_0.bin");
    EXPECT_EQ(NameFor("a/b"), "swotrace_b.bin");
    EXPECT_EQ(NameFor("/b"), "swotrace_b.bin");
    EXPECT_EQ(NameFor("a/"), "swotrace_.bin");
}

TEST_F(CaptureFileName, ANameOfOnePartIsUsedWhole) {
    EXPECT_EQ(NameFor("cpu"), "swotrace_cpu.bin");
    EXPECT_EQ(NameFor(""), "swotrace_.bin");
}

TEST_F(CaptureFileName, ANameOfThreePartsIsUsedWhole) {
    Make("a/b/c");
    Configure();
    EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }),
              "Failed to open binary file for trace data storage");
    std::filesystem::create_directories(CaptureFileOf("a/b"));
    std::filesystem::create_directories(folder.DataFolder() + "/swotrace_a/b");
    driver->StartRecording(0);
    EXPECT_TRUE(std::filesystem::exists(folder.DataFolder() + "/swotrace_a/b/c.bin"));
    driver->StopRecording();
    driver.reset();
    std::filesystem::remove_all(folder.DataFolder());
    std::filesystem::create_directory(folder.DataFolder());
}

// Folders that a name with several parts can go through, and what lies in reach of a name that leads upwards.
class HostileCpuName : public CaptureFileName {
  protected:
    HostileCpuName() {
        std::filesystem::create_directories(folder.DataFolder() + "/swotrace_a/b");
        TraceFolder::WriteFile(folder.LoggingFolder() + "/escaped.bin", "kept");
        TraceFolder::WriteFile(folder.DataFolder() + "/escaped.bin", "kept");
    }
    ~HostileCpuName() override {
        driver.reset();
        std::filesystem::remove(folder.LoggingFolder() + "/escaped.bin");
        std::filesystem::remove_all(folder.DataFolder());
        std::filesystem::create_directory(folder.DataFolder());
    }
    void ExpectNothingCaptured(const std::string& cpuName) {
        SCOPED_TRACE(cpuName.substr(0, 100));
        Make(cpuName);
        Configure();
        EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }),
                  "Failed to open binary file for trace data storage");
        EXPECT_EQ(driver->GetNumSamples(), 0U);
        EXPECT_EQ(TraceFolder::ReadFile(folder.LoggingFolder() + "/escaped.bin"), "kept");
        EXPECT_EQ(TraceFolder::ReadFile(folder.DataFolder() + "/escaped.bin"), "kept");
    }
    bool CapturesAs(const std::string& cpuName, const std::string& file) {
        Make(cpuName);
        Configure();
        driver->StartRecording(0);
        return std::filesystem::exists(folder.DataFolder() + "/" + file);
    }
    const bool onWindows = KORR_PLIM::platform::PathSeparator() == '\\';
};

TEST_F(HostileCpuName, NothingIsCapturedOrReadWhereItLeadsUpwards) {
    for (const char* name : {"a/b/../../../escaped", "a/b/../../escaped", "x/../escaped", "/../../escaped",
                             "a/b/.../escaped", "a/b/.. /escaped", "a/b/. ./escaped"}) {
        ExpectNothingCaptured(name);
    }
}

TEST_F(HostileCpuName, LeadingUpwardsIsLoggedOnce) {
    const LogLines written;
    driver = std::make_unique<ChannelDriver>(&receiver, "a/../b", &adapter, kCpuId, 1U);
    EXPECT_EQ(written.Count("E Tarnel_ChannelDriver: CPU name leads out of the data folder, so that nothing "
                            "can be captured: a/../b"),
              1U);
    EXPECT_EQ(written.Get().size(), 1U);
}

TEST_F(HostileCpuName, FullStopsWithoutASeparatorArePartOfTheFileName) {
    EXPECT_TRUE(CapturesAs("..", "swotrace_...bin"));
    EXPECT_TRUE(CapturesAs("board/..", "swotrace_...bin"));
    EXPECT_TRUE(CapturesAs("a/b/..", "swotrace_a/b/...bin"));
}

TEST_F(HostileCpuName, ABackslashSeparatesOnWindowsAlone) {
    if (onWindows) {
        ExpectNothingCaptured("board/..\\..\\escaped");
        ExpectNothingCaptured("a\\b\\..\\..\\..\\escaped");
        ExpectNothingCaptured("a\\missing\\x");
        EXPECT_TRUE(CapturesAs("a\\b\\x", "swotrace_a/b/x.bin"));
    } else {
        EXPECT_TRUE(CapturesAs("board/..\\..\\escaped", "swotrace_..\\..\\escaped.bin"));
    }
}

TEST_F(HostileCpuName, ADeviceIsNotOpenedWhereAFileIsNamed) {
    for (const char* name : {"CON", "nul", "aux.txt", "PRN ", "COM1", "lpt9.x", "conout$", "com\xB9", " NUL",
                             "CON:", "x:COM1"}) {
        const std::string cpuName = std::string("a/b/") + name;
        if (onWindows) {
            ExpectNothingCaptured(cpuName);
        } else {
            EXPECT_TRUE(CapturesAs(cpuName, std::string("swotrace_a/b/") + name + ".bin")) << name;
        }
    }
    EXPECT_TRUE(CapturesAs("board/NUL", "swotrace_NUL.bin")) << "no device: the name has a beginning";
    EXPECT_TRUE(CapturesAs("a/b/COM", "swotrace_a/b/COM.bin"));
    EXPECT_TRUE(CapturesAs("a/b/COM10", "swotrace_a/b/COM10.bin"));
}

TEST_F(HostileCpuName, ADriveLetterDoesNotLeaveTheDataFolder) {
    const auto file = std::filesystem::temp_directory_path() /
                      ("tarnel_drive_letter_" + std::to_string(std::random_device{}()) + ".bin");
    const std::string name = file.string().substr(0, file.string().size() - 4);
    ExpectNothingCaptured(name);
    ExpectNothingCaptured("C:\\/" + name);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(HostileCpuName, ANameLongerThanAnyFileNameIsRefusedAtTheStart) {
    ExpectNothingCaptured(std::string(32768, 'n'));
    ExpectNothingCaptured("board/" + std::string(32768, 'n'));
    EXPECT_EQ(std::string(driver->GetCpuName()).size(), 32774U);
}

TEST_F(CaptureFileName, OfTwoCpusWithOneShortNameTheSecondIsRefusedWhileTheFirstRecords) {
    Make("first/cpu");
    StartRecording();
    fakes::ScriptedPorts::Plug(6);
    ChannelDriver second(&receiver, "second/cpu", &adapter, kCpuId, 2U);
    second.SetHostAccess(&identifier, &memory, 0);
    second.SetConfiguration(OptionsFile({{kOptionComPort, "6"}}).c_str());
    EXPECT_EQ(ErrorOf([&] { second.StartRecording(0); }),
              "Failed to open binary file for trace data storage");
    EXPECT_EQ(Status(), "Recording");
    driver->StopRecording();
    second.StartRecording(0);
    StatusRecord record;
    second.GetStatus(record);
    EXPECT_EQ(record.text, "Recording");
}

TEST_F(CaptureFileName, TheFolderIsTakenFromTheEnvironmentOnceAtConstruction) {
    const std::string before = folder.LoggingFolder();
    KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING_DIR", folder.Path("elsewhere").c_str());
    std::filesystem::create_directories(folder.Path("elsewhere/data"));
    Make();
    KORR_PLIM::SetEnvironment("KORR_TRACE_LOGGING_DIR", before.c_str());
    TraceFolder::WriteFile(folder.Path("elsewhere/data/swotrace_cpu.bin"), "12345678");
    EXPECT_EQ(driver->GetNumSamples(), 1U);
}

class Attributes : public DriverTest {};

TEST_F(Attributes, ANullNameIsRefused) {
    TraceAttribute answer;
    EXPECT_EQ(ErrorOf([&] { Make().GetAttribute(nullptr, answer); }), "Null attribute name");
}

TEST_F(Attributes, TheAnswerNamesTheCallersOwnText) {
    Make();
    const std::string name = "TWP Source";
    TraceAttribute answer;
    driver->GetAttribute(name.c_str(), answer);
    EXPECT_EQ(answer.name, name.c_str());
}

TEST_F(Attributes, TheRequestIsAChattyLine) {
    Make();
    Attribute("TWP Source");
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: Get the attribute TWP Source."));
}

TEST_F(Attributes, FrequenciesHaveSixSignificantDigits) {
    Make();
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"0\"");
    EXPECT_EQ(Attribute("Timing Clock Frequency"), "type 6 \"0\"");
    Configure({{kOptionClockValue, "48000000"}, {kOptionPrescalerValue, "23"}});
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"2e+06\"");
    EXPECT_EQ(Attribute("Timing Clock Frequency"), "type 6 \"4.8e+07\"");
    Configure({{kOptionClockValue, "115200"}, {kOptionPrescalerValue, "0"}});
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"115200\"");
    EXPECT_EQ(Attribute("Timing Clock Frequency"), "type 6 \"115200\"");
}

TEST_F(Attributes, TheLargestPrescalerDividesByTwoToThePowerOf32) {
    Make();
    Configure({{kOptionClockValue, "4294967296"}, {kOptionPrescalerValue, "4294967295"}});
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"1\"");
}

TEST_F(Attributes, ConstantAnswers) {
    Make();
    EXPECT_EQ(Attribute("Buffer Wrapped"), "type 0 \"0\"");
    EXPECT_EQ(Attribute("TWP Source"), "type 0 \"0\"");
}

TEST_F(Attributes, TheTimestampPrescaleIsADecimalInteger) {
    Make();
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"1\"");
    Configure({{kOptionTimestampPrescaler, "64"}});
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"64\"");
    Configure({{kOptionTimestampPrescaler, "-1"}});
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"4294967295\"");
}

TEST_F(Attributes, ComparatorsAreReadFromTheTarget) {
    Make();
    memory.words = {{0xE0001020, 0}, {0xE0001030, 1234}, {0xE0001040, 0xFFFFFFFF}, {0xE0001050, 42}};
    EXPECT_EQ(Attribute("WP0 Comp"), "type 2 \"0\"");
    EXPECT_EQ(Attribute("WP1 Comp"), "type 2 \"1234\"");
    EXPECT_EQ(Attribute("WP2 Comp"), "type 2 \"4294967295\"");
    EXPECT_EQ(Attribute("WP3 Comp"), "type 2 \"42\"");
    EXPECT_THAT(journal.Calls(), ElementsAre("ReadMemory(0xE0001020)", "ReadMemory(0xE0001030)",
                                             "ReadMemory(0xE0001040)", "ReadMemory(0xE0001050)"));
}

TEST_F(Attributes, AComparatorThatCannotBeReadIsZero) {
    Make();
    memory.words = {{0xE0001020, 99}};
    memory.failing = {0xE0001020};
    EXPECT_EQ(Attribute("WP0 Comp"), "type 2 \"0\"");
    driver->SetHostAccess(&identifier, nullptr, 0);
    EXPECT_EQ(Attribute("WP0 Comp"), "type 2 \"0\"");
}

TEST_F(Attributes, AComparatorWhoseReadThrowsLeavesTheAnswerWithoutAValue) {
    Make();
    memory.throws = true;
    TraceAttribute answer;
    EXPECT_THROW(driver->GetAttribute("WP0 Comp", answer), fakes::HostFault);
    EXPECT_EQ(answer.type, 0U);
    EXPECT_EQ(answer.value, nullptr);
}

TEST_F(Attributes, TheExceptionMapIsTheDefaultOneAtFirst) {
    Make();
    EXPECT_EQ(Attribute("ITM Exception Map Name"), "type 5 \"MOD_EXCEPTIONMAP\"");
}

TEST_F(Attributes, NamesAreComparedExactly) {
    Make();
    for (const char* name : {"", "twp source", "TWP Source ", "WP4 Comp", "ITMChannelType", "Trace"}) {
        log = LogLines();
        EXPECT_EQ(Attribute(name), "type 1 \"0\"");
        EXPECT_TRUE(log.Has(std::string("M Tarnel_ChannelDriver: Unhandled Attribute = ") + name)) << name;
    }
}

class ChannelTypes : public DriverTest {
  protected:
    void SetFile(const std::string& content) {
        TraceFolder::WriteFile(file, content);
        Make();
    }
    void RemoveFile() {
        std::filesystem::remove(file);
        Make();
    }
    ~ChannelTypes() override { std::filesystem::remove(file); }

    const std::string file =
        folder.SettingsFolder() + KORR_PLIM::platform::PathSeparator() + "TraceCntrl-itm.ini";
    const std::string opened = "M Tarnel_ChannelDriver: Opened file (" + file + ") to get ITM channel setup.";
};

TEST_F(ChannelTypes, WithoutTheFileChannelZeroAnswersOneAndAllOthersZero) {
    RemoveFile();
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"");
    for (int channel = 1; channel < 32; ++channel) {
        EXPECT_EQ(Attribute("ITMChannelType_" + std::to_string(channel)), "type 1 \"0\"");
    }
    EXPECT_EQ(log.Count("M Tarnel_ChannelDriver: Could not find/open file (" + file +
                        ") to get ITM channel setup. Setting up legacy mapping."),
              1U);
}

TEST_F(ChannelTypes, OnlyTypeOneAnswersOne) {
    SetFile("x_0=2\nx_1=1\nx_2=-1\nx_3=0\n");
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"0\"");
    EXPECT_EQ(Attribute("ITMChannelType_1"), "type 1 \"1\"");
    EXPECT_EQ(Attribute("ITMChannelType_2"), "type 1 \"0\"");
    EXPECT_EQ(Attribute("ITMChannelType_3"), "type 1 \"0\"");
    EXPECT_EQ(Attribute("ITMChannelType_31"), "type 1 \"0\"");
}

TEST_F(ChannelTypes, AFileWithALineOutOfOrderLeavesThatChannelNotSet) {
    SetFile("x_0=1\nx_2=1\nx_1=1\n");
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"");
    EXPECT_EQ(Attribute("ITMChannelType_1"), "type 1 \"1\"");
    EXPECT_EQ(Attribute("ITMChannelType_2"), "type 1 \"0\"");
    EXPECT_TRUE(
        log.Has("E Tarnel_ChannelDriver: Read channel number 2 instead of expected channel number 1"));
}

TEST_F(ChannelTypes, AnyNameThatContainsTheWordMatches) {
    SetFile("0=0\n1=0\n2=0\n3=0\n4=0\n5=1\n");
    EXPECT_EQ(Attribute("xITMChannelType_5"), "type 1 \"1\"");
    EXPECT_EQ(Attribute("xITMChannelType_5 and more"), "type 1 \"1\"");
    EXPECT_EQ(Attribute("xITMChannelType_4"), "type 1 \"0\"");
}

TEST_F(ChannelTypes, TheNumberStandsAfterTheFirstUnderscoreOfTheName) {
    SetFile("0=1\n1=0\n");
    EXPECT_EQ(Attribute("my_ITMChannelType_1"), "type 1 \"1\"");  // "ITMChannelType_1" is no number: 0
    EXPECT_EQ(Attribute("1_ITMChannelType_"), "type 1 \"1\"");
}

TEST_F(ChannelTypes, ChannelsOutsideTheTableAreUnhandled) {
    SetFile("0=1\n");
    for (const char* name : {"ITMChannelType_32", "ITMChannelType_-1", "ITMChannelType_99999999999"}) {
        log = LogLines();
        EXPECT_EQ(Attribute(name), "type 1 \"0\"");
        EXPECT_TRUE(log.Has(std::string("M Tarnel_ChannelDriver: Unhandled Attribute = ") + name));
    }
}

TEST_F(ChannelTypes, TheFileIsReadBeforeTheNumberIsLookedAt) {
    SetFile("0=1\n");
    Attribute("ITMChannelType_32");
    EXPECT_THAT(log.Get(), ElementsAre("M Tarnel_ChannelDriver: Get the attribute ITMChannelType_32.", opened,
                                       "M Tarnel_ChannelDriver: Unhandled Attribute = ITMChannelType_32"));
}

TEST_F(ChannelTypes, TheFileIsReadOnceUntilARecordingWasStopped) {
    SetFile("0=1\n");
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"");
    TraceFolder::WriteFile(file, "0=0\n");
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"");
    StartRecording();
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"");
    driver->StopRecording();
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"0\"");
    EXPECT_EQ(log.Count(opened), 2U);
}

TEST_F(ChannelTypes, TheTableIsKeptByEverythingButAStopThatSucceeds) {
    SetFile("0=1\n");
    Attribute("ITMChannelType_0");
    TraceFolder::WriteFile(file, "0=0\n");
    Configure();
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"") << "a configuration";
    driver->StartRecording(0);
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"") << "a start";
    driver->SetTargetState(6);
    EXPECT_NE(ErrorOf([this] { driver->StopRecording(); }), "");
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"") << "a stop while the target runs";
    driver->SetTargetState(3);
    driver->StopRecording();
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"") << "a stop without a connection";
    driver->SetTargetState(7);
    for (const char* operation : {"TraceExportOpB", "TraceExportOpA"}) {
        adapter.throwing = {operation};
        EXPECT_THROW(driver->StopRecording(), fakes::HostFault);
        EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"1\"") << operation << " throws";
    }
    adapter.throwing.clear();
    driver->StopRecording();
    EXPECT_EQ(Attribute("ITMChannelType_0"), "type 1 \"0\"");
}

TEST_F(ChannelTypes, ARefusedStopKeepsTheTable) {
    SetFile("0=1\n");
    Attribute("ITMChannelType_0");
    driver->StopRecording();
    Attribute("ITMChannelType_0");
    EXPECT_EQ(log.Count(opened), 1U);
}

}  // namespace
}  // namespace channel_tests
