#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

using testing::ElementsAre;

constexpr char kFirmwareMessage[] =
    "SWO is not supported by the current emulator firmware. Update the firmware to the latest version (check "
    "with your emulator's vendor for details)";
constexpr char kPrescalerMessage[] = "Please specify prescalar in Receiver settings";
constexpr char kClockMessage[] = "Please specify clock frequency in Receiver Settings";
constexpr char kComPortMessage[] = "Please specify valid COM port number in Receiver Settings";

class Configuration : public DriverTest {
  protected:
    // The collector that cannot open the port names it.
    void ExpectPort(const std::string& number) {
        EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }), "Failed to open COM port");
        EXPECT_TRUE(log.Has("E Tarnel_UARTCollector: Failed to open COM" + number + " with error code = 2"))
            << testing::PrintToString(log.Get());
    }
};

TEST_F(Configuration, SuccessLeavesTheDriverReadyToRecord) {
    Make();
    Configure();
    StatusRecord record;
    driver->GetStatus(record);
    EXPECT_EQ(record.code, 16U);
    EXPECT_EQ(record.text, "Ready to record");
    EXPECT_THAT(record.flags, ElementsAre(1, 1, 0, 0, 0));
}

TEST_F(Configuration, ItsLinesAreLoggedInOrder) {
    Make();
    const std::string file = OptionsFile();
    log = LogLines();
    driver->SetConfiguration(file.c_str());
    std::vector<std::string> lines = log.Get();
    std::erase_if(lines, [](const std::string& line) { return line.find("Tarnel_XmlOptions") != line.npos; });
    EXPECT_THAT(lines, ElementsAre("M Tarnel_ChannelDriver: Set configuration called file - " + file + ".",
                                   "M Tarnel_ChannelDriver: Setting eSWO_ENCODING = UART.",
                                   "M Tarnel_ChannelDriver: Setting eSWO_TS_PRESCALAR = 16."));
}

TEST_F(Configuration, ANullNameIsLoggedWithTheShortNameAndRefused) {
    Make("board/cpu");
    EXPECT_EQ(ErrorOf([&] { driver->SetConfiguration(nullptr); }), "Internal error setting configuration.");
    EXPECT_THAT(log.Get(), ElementsAre("E SetConfiguration called with null options for cpu"));
    EXPECT_EQ(Status(), "Calibrating ...");
}

TEST_F(Configuration, ErrorsOfTheFileArePassedOnAndKeepTheState) {
    Make();
    TraceFolder::WriteFile(folder.Path("bad.xml"), "<CHANNEL-SETUP></CHANNEL-SETUP>");
    EXPECT_EQ(ErrorOf([&] { driver->SetConfiguration(folder.Path("bad.xml").c_str()); }).substr(0, 42),
              "RCVRNAME xml tag not found in this xml fil");
    EXPECT_EQ(Status(), "Calibrating ...");
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Configuration, TheMutexIsFreeAfterSuccessAndAfterEveryError) {
    Make();
    EXPECT_EQ(ConfigurationError({{kOptionComPort, ""}}), kComPortMessage);
    EXPECT_TRUE(MutexIsFree());
    Configure();
    EXPECT_TRUE(MutexIsFree());
}

TEST_F(Configuration, AnErrorKeepsTheStateButWhatWasAppliedBeforeStays) {
    Make();
    Configure({{kOptionClockValue, "1000"}, {kOptionPrescalerValue, "1"}, {kOptionTimestampPrescaler, "1"}});
    EXPECT_EQ(ConfigurationError({{kOptionPrescalerValue, "9"},
                                  {kOptionClockValue, "Frequency in Hz"},
                                  {kOptionTimestampPrescaler, "64"}}),
              kClockMessage);
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"100\"");  // 1000 / (9 + 1)
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"1\"");
}

TEST_F(Configuration, ARefusedFirmwareKeepsTheVersionOfBefore) {
    Make();
    Configure({{kOptionFirmwareVersion, "fw 1.0.0.8"}, {kOptionClockValue, "1000"}});
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "fw 1.0.0.4"}}), kFirmwareMessage);
    EXPECT_EQ(Attribute("Timing Clock Frequency"), "type 6 \"1000\"");
    Configure({{kOptionClockValue, "48000000"}, {kOptionFirmwareVersion, "fw 1.0.0.8"}});
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "fw 1.0.0.4"}}), kFirmwareMessage);
    driver->StartRecording(0);
    fakes::ScriptedCalls::Instance().Reset();
    driver->StopRecording();
    EXPECT_EQ(fakes::ScriptedCalls::Instance().Count("port.SetBreak"), 1U);
}

TEST_F(Configuration, ARefusedPrescalerIsNoLongerAutomaticAndKeepsItsValue) {
    Make();
    Configure({{kOptionPrescalerValue, "7"}});
    Configure({{kOptionPrescaler, "Auto"}});
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "fw 1.0.0.8"},
                                  {kOptionPrescalerValue, "Prescalar value"},
                                  {kOptionClockValue, "1000"},
                                  {kOptionComPort, "6"},
                                  {kOptionTimestampPrescaler, "64"}}),
              kPrescalerMessage);
    EXPECT_EQ(Attribute("Timing Clock Frequency"), "type 6 \"4.8e+07\"");
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"16\"");
    driver->StartRecording(0);
    EXPECT_THAT(journal.Calls(), testing::Contains("SetTpiuPrescaler(7, 7)"));
    EXPECT_EQ(port->Line().baudRate, 6000000U);
    driver->StopRecording();
    EXPECT_EQ(fakes::ScriptedCalls::Instance().Count("port.SetBreak"), 1U) << "the firmware was taken";
}

TEST_F(Configuration, ARefusedClockIsNoLongerAutomaticAndKeepsItsValue) {
    Make();
    Configure();
    Configure({{kOptionClock, "Auto"}});
    EXPECT_EQ(ConfigurationError({{kOptionPrescalerValue, "11"},
                                  {kOptionClockValue, "Frequency in Hz"},
                                  {kOptionComPort, "6"},
                                  {kOptionTimestampPrescaler, "64"}}),
              kClockMessage);
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"16\"");
    driver->StartRecording(0);
    EXPECT_EQ(port->Line().baudRate, 4000000U);
}

TEST_F(Configuration, ARefusedPortKeepsItsNumberAndWhatStandsBeforeItIsTaken) {
    Make();
    Configure();
    EXPECT_EQ(ConfigurationError({{kOptionPrescalerValue, "11"},
                                  {kOptionClockValue, "12000000"},
                                  {kOptionComPort, ""},
                                  {kOptionTimestampPrescaler, "64"}}),
              kComPortMessage);
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"16\"");
    driver->StartRecording(0);
    EXPECT_EQ(port->Line().baudRate, 1000000U);
}

TEST_F(Configuration, AClockAndAPrescalerThatBecomeAutomaticKeepTheValuesOfBefore) {
    Make();
    Configure({{kOptionPrescalerValue, "3"}, {kOptionClockValue, "1000"}});
    Configure({{kOptionPrescaler, "Auto"}, {kOptionClock, "Auto"}});
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"250\"");
}

TEST_F(Configuration, OfAnOptionGivenTwiceTheFirstCounts) {
    Make();
    const std::string name = OptionsFile({{kOptionPrescalerValue, "3"}, {kOptionClockValue, "1000"}});
    std::string text = TraceFolder::ReadFile(name);
    const std::size_t end = text.find("</CHANNEL-SETUP>");
    ASSERT_NE(end, text.npos);
    TraceFolder::WriteFile(name, text.insert(end,
                                             "<CLKFREQVAL>2000</CLKFREQVAL>\n"
                                             "<PRESCALARVAL>9</PRESCALARVAL>\n"
                                             "<TSPRESCALAR>64</TSPRESCALAR>\n"));
    driver->SetConfiguration(name.c_str());
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"250\"");
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"16\"");
}

TEST_F(Configuration, TheEncodingIsLoggedBehindTheFirmwareAndBeforeThePrescaler) {
    const std::string encoding = "M Tarnel_ChannelDriver: Setting eSWO_ENCODING = UART.";
    const std::string timestamps = "M Tarnel_ChannelDriver: Setting eSWO_TS_PRESCALAR = 16.";
    Make();
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, ""}}), kFirmwareMessage);
    EXPECT_EQ(log.Count(encoding), 0U);
    EXPECT_EQ(ConfigurationError({{kOptionPrescalerValue, "Prescalar value"}}), kPrescalerMessage);
    EXPECT_EQ(log.Count(encoding), 1U);
    EXPECT_EQ(ConfigurationError({{kOptionComPort, ""}}), kComPortMessage);
    EXPECT_EQ(log.Count(encoding), 2U);
    EXPECT_EQ(log.Count(timestamps), 0U);
}

TEST_F(Configuration, FirmwareOfTheBrantorFamilyMustBe1005) {
    Make("board/cpu", 0);
    Configure({{kOptionFirmwareVersion, "fw 1.0.0.5"}});
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "fw 1.0.0.4"}}), kFirmwareMessage);
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "fw 1.0.5"}}), kFirmwareMessage);
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, ""}}), kFirmwareMessage);
}

TEST_F(Configuration, AFirmwareTextWithoutABlankLosesItsFirstCharacterAndIsRefused) {
    Make("board/cpu", 0);
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "1.0.0.5"}}), kFirmwareMessage);
    Configure({{kOptionFirmwareVersion, "v1.0.0.5"}});
}

TEST_F(Configuration, FirmwareOfOtherProbesIsNotChecked) {
    for (const uint32_t kind : {1U, 2U}) {
        Make("board/cpu", kind);
        Configure({{kOptionFirmwareVersion, "fw 1.0.0.4"}});
        EXPECT_EQ(Status(), "Ready to record");
    }
}

TEST_F(Configuration, TheFirmwareIsCheckedBeforeEverythingElse) {
    Make("board/cpu", 0);
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, ""},
                                  {kOptionPrescalerValue, "Prescalar value"},
                                  {kOptionClockValue, "Frequency in Hz"},
                                  {kOptionComPort, ""}}),
              kFirmwareMessage);
}

TEST_F(Configuration, PrescalerClockAndPortAreCheckedInThisOrder) {
    Make();
    EXPECT_EQ(ConfigurationError({{kOptionPrescalerValue, "Prescalar value"},
                                  {kOptionClockValue, "Frequency in Hz"},
                                  {kOptionComPort, ""}}),
              kPrescalerMessage);
    EXPECT_EQ(ConfigurationError({{kOptionClockValue, "Frequency in Hz"}, {kOptionComPort, ""}}),
              kClockMessage);
    EXPECT_EQ(ConfigurationError({{kOptionComPort, ""}}), kComPortMessage);
}

TEST_F(Configuration, WithAutoTheUnsetValueIsNotRead) {
    Make();
    Configure({{kOptionPrescaler, "Auto"},
               {kOptionPrescalerValue, "Prescalar value"},
               {kOptionClock, "Auto"},
               {kOptionClockValue, "Frequency in Hz"}});
    EXPECT_EQ(Status(), "Ready to record");
}

TEST_F(Configuration, OnlyTheExactWordIsAuto) {
    Make();
    EXPECT_EQ(ConfigurationError({{kOptionPrescaler, "auto"}, {kOptionPrescalerValue, "Prescalar value"}}),
              kPrescalerMessage);
    EXPECT_EQ(ConfigurationError({{kOptionClock, "AUTO"}, {kOptionClockValue, "Frequency in Hz"}}),
              kClockMessage);
}

TEST_F(Configuration, OnlyTheExactPlaceholderIsUnset) {
    Make();
    Configure({{kOptionPrescalerValue, "prescalar value"}, {kOptionClockValue, "frequency in Hz"}});
    driver->SetTargetState(0);
    EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }), "Invalid trace clock frequency");
}

TEST_F(Configuration, AnyEncodingIsLoggedAndUartIsUsed) {
    Make();
    Configure({{kOptionEncoding, "Manchester"}});
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Setting eSWO_ENCODING = Manchester."));
    driver->StartRecording(0);
    EXPECT_EQ(journal.Count("SetTpiuPinProtocol"), 1U);
    EXPECT_THAT(journal.Calls(), testing::Contains("SetTpiuPinProtocol(7, 2)"));
}

TEST_F(Configuration, MissingOptionsAreLoggedAndCountAsEmpty) {
    Make("board/cpu", 1);
    Configure(
        {{kOptionFirmwareVersion, "-"}, {kOptionPrescalerValue, "-"}, {kOptionTimestampPrescaler, "-"}});
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: NULL value for CPU=board/cpu and option ID=0."));
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: NULL value for CPU=board/cpu and option ID=3."));
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: NULL value for CPU=board/cpu and option ID=7."));
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Setting eSWO_TS_PRESCALAR = 0."));
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_EQ(Attribute("Trace Data Frequency"), Attribute("Timing Clock Frequency"));
}

TEST_F(Configuration, AMissingPortIsRefusedLikeAnEmptyOne) {
    Make();
    EXPECT_EQ(ConfigurationError({{kOptionComPort, "-"}}), kComPortMessage);
    EXPECT_TRUE(log.Has("E Tarnel_ChannelDriver: NULL value for CPU=board/cpu and option ID=6."));
}

TEST_F(Configuration, AMissingFirmwareVersionIsVersionZero) {
    Make("board/cpu", 0);
    EXPECT_EQ(ConfigurationError({{kOptionFirmwareVersion, "-"}}), kFirmwareMessage);
}

TEST_F(Configuration, NumbersAreReadWithDefinedBounds) {
    Make();
    Configure({{kOptionComPort, "12 and more"}});
    ExpectPort("12");
    Configure({{kOptionComPort, "99999999999"}});
    ExpectPort("-1");  // 4294967295 in the line's signed notation
    Configure({{kOptionTimestampPrescaler, "4294967296"}});
    EXPECT_EQ(Attribute("ITM Timestamp Prescale"), "type 2 \"4294967295\"");
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Setting eSWO_TS_PRESCALAR = -1."));
}

TEST_F(Configuration, TheFileIsReadAgainOnEveryCall) {
    Make();
    Configure({{kOptionPrescalerValue, "1"}, {kOptionClockValue, "100"}});
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"50\"");
    Configure({{kOptionPrescalerValue, "3"}, {kOptionClockValue, "100"}});
    EXPECT_EQ(Attribute("Trace Data Frequency"), "type 6 \"25\"");
}

TEST_F(Configuration, WhileRecordingItMakesTheDriverReadyAndTheNextStartReplacesTheCapture) {
    Make();
    StartRecording();
    Configure();
    EXPECT_EQ(Status(), "Ready to record");
    EXPECT_TRUE(port->IsOpen());
    driver->StopRecording();
    EXPECT_TRUE(log.Has("M Tarnel_ChannelDriver: Cannot stop recording as recording has not started yet"));
    driver->StartRecording(0);
    EXPECT_EQ(port->Openings(), 2U);
    EXPECT_EQ(Status(), "Recording");
}

TEST_F(Configuration, ABadClockFailsOnlyAtTheStart) {
    for (const char* clock : {"0", "-5", "-inf", "junk"}) {
        Make();
        Configure({{kOptionClockValue, clock}});
        EXPECT_EQ(Status(), "Ready to record");
        EXPECT_EQ(ErrorOf([&] { driver->StartRecording(0); }), "Invalid trace clock frequency");
        EXPECT_EQ(port->Openings(), 0U);
    }
}

TEST_F(Configuration, DriversOfSeveralCpusCanBeConfiguredAtOnce) {
    Make();
    ChannelDriver second(&receiver, "board/other", &adapter, kCpuId + 1, 2);
    second.SetHostAccess(&identifier, &memory, 1);
    const std::string file = OptionsFile();
    std::thread other([&] {
        for (int round = 0; round < 5; ++round) second.SetConfiguration(file.c_str());
    });
    for (int round = 0; round < 5; ++round) driver->SetConfiguration(file.c_str());
    other.join();
    EXPECT_EQ(Status(), "Ready to record");
}

}  // namespace
}  // namespace channel_tests
