// What a read file answers, message by message; the XML library's part is real.
#include "options/options_reader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "options/ChannelOptionsHandler.h"
#include "source_utilities/file_system.h"
#include "source_utilities/uLogManager.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

class OptionsReader : public testing::Test {
  protected:
    void SetUp() override { PortDevicesScript() = {}; }
};

void ExpectRefusal(const Answer& answer, const std::string& error) {
    EXPECT_EQ(answer.error, error);
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(OptionsReader, OptionsComeBackSortedWhateverTheirOrder) {
    EXPECT_EQ(
        ReadText(FileWith("<TSPRESCALAR>64</TSPRESCALAR><CLKFREQ>Manual</CLKFREQ><ENCTYPE>UART</ENCTYPE>"))
            .Text(),
        "ENCTYPE=UART;CLKFREQ=Manual;TSPRESCALAR=64");
}

TEST_F(OptionsReader, OneOptionGivesAOneOptionList) {
    EXPECT_EQ(ReadText(FileWith("<ENCTYPE>UART</ENCTYPE>")).Text(), "ENCTYPE=UART");
}

TEST_F(OptionsReader, NoOptionGivesAnEmptyList) { EXPECT_EQ(ReadText(FileWith("")).Text(), ""); }

TEST_F(OptionsReader, MissingVersionOrReceiverNameGivesTheLongMessage) {
    ExpectRefusal(ReadText("<r><VERSION version='1.1.0.0'/></r>"), kReceiverNameNotFound);
    ExpectRefusal(ReadText("<r><RCVRNAME>SWO Trace</RCVRNAME></r>"), kReceiverNameNotFound);
    ExpectRefusal(ReadText("<r><ENCTYPE>UART</ENCTYPE></r>"), kReceiverNameNotFound);
}

TEST_F(OptionsReader, BadVersionHidesTheMissingReceiverName) {
    ExpectRefusal(ReadText("<r><VERSION version='1.1.0'/></r>"), kUndefinedException);
}

TEST_F(OptionsReader, TextThatTheParserSplitsKeepsItsLastPiece) {
    // The parser delivers the text before and after a reference or a section as pieces of their own.
    EXPECT_EQ(ReadText(FileWith("<CLKFREQVAL>1<![CDATA[2]]></CLKFREQVAL>")).Text(), "CLKFREQVAL=2");
}

TEST_F(OptionsReader, ComPortChoicesAreDiscoveredAfresh) {
    PortDevicesScript().devices.push_back({"Brantor Serial Port (COM5)"});
    OptionList options;
    TemporaryFile file(FileWith("<COMPORT>9</COMPORT>"));
    ChannelOptionsHandler().GetOptions(options, file.Name(), 0);
    ASSERT_EQ(options.size(), 1u);
    EXPECT_EQ(options[0].value, "9");
    EXPECT_EQ(options[0].choices, std::vector<std::string>{"5"});
}

// Files

TEST_F(OptionsReader, MissingFileIsAnUndefinedException) {
    ExpectRefusal(ReadFile(testing::TempDir() + "no such file.xml"), kUndefinedException);
    ExpectRefusal(ReadFile(testing::TempDir() + "no such folder/file.xml"), kUndefinedException);
}

TEST_F(OptionsReader, FolderIsAnUndefinedException) {
    ExpectRefusal(ReadFile(testing::TempDir()), kUndefinedException);
    ExpectRefusal(ReadFile("."), kUndefinedException);
}

TEST_F(OptionsReader, EmptyFileIsAnUndefinedException) {
    ExpectRefusal(ReadFile(TemporaryFile("").Name()), kUndefinedException);
}

TEST_F(OptionsReader, AddressIsTakenAsAFileName) {
    for (const char* name :
         {"http://localhost/options.xml", "ftp://localhost/options.xml", "file:///etc/hostname",
          "file://localhost/options.xml", "//localhost/share/options.xml"}) {
        SCOPED_TRACE(name);
        ExpectRefusal(ReadFile(name), kUndefinedException);
    }
}

TEST_F(OptionsReader, FileWithAPercentSignOrBlankInItsNameIsRead) {
    const std::string name =
        testing::TempDir() + std::to_string(std::random_device{}()) + "options %20 #1.xml";
    OptionList options;
    ChannelOptionsHandler handler;
    handler.SaveOptions(handler.GetOptions(options, "", 2), name);
    EXPECT_EQ(ReadFile(name).options.size(), 8u);
    EXPECT_EQ(std::remove(name.c_str()), 0);
}

TEST_F(OptionsReader, FileWithANameOutsideAsciiIsRead) {
    const std::string name =
        testing::TempDir() + std::to_string(std::random_device{}()) + "options_\xE9\xE8.xml";
    OptionList options;
    ChannelOptionsHandler handler;
    handler.SaveOptions(handler.GetOptions(options, "", 2), name);
    EXPECT_EQ(ReadFile(name).options.size(), 8u);
    EXPECT_EQ(std::remove(name.c_str()), 0);
}

TEST_F(OptionsReader, FileOfTheGreatestLengthIsReadAndALongerOneRefused) {
    const std::string file = FileWith("<ENCTYPE>UART</ENCTYPE>");
    const TemporaryFile longest(file + std::string(kMaxOptionsFileBytes - file.size(), '\n'));
    EXPECT_EQ(ReadFile(longest.Name()).Text(), "ENCTYPE=UART");
    const TemporaryFile tooLong(file + std::string(kMaxOptionsFileBytes - file.size() + 1, '\n'));
    ExpectRefusal(ReadFile(tooLong.Name()), kUndefinedException);
}

TEST_F(OptionsReader, LibraryCanBeUsedAgainAndAgain) {
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(ReadText(FileWith("<ENCTYPE>UART</ENCTYPE>")).Text(), "ENCTYPE=UART");
        ExpectRefusal(ReadText("<r>"), kUndefinedException);
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
