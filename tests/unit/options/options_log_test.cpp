// The log lines of reading options. A program of its own: the process has one log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "options/ChannelOptionsHandler.h"
#include "source_utilities/environment_variables.h"
#include "source_utilities/process.h"
#include "source_utilities/uLogManager.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::ElementsAre;

class OptionsLog : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        const std::string folder =
            testing::TempDir() + "options_log_" + std::to_string(KORR_PLIM::platform::CurrentProcessId());
        std::filesystem::create_directories(folder);
        file = std::filesystem::path(folder) / "log.txt";
        KORR_PLIM::platform::SetVariable("OPTIONS_TEST_LEVEL", "1");
        KORR_PLIM::platform::SetVariable("OPTIONS_TEST_FOLDER", folder.c_str());
        ASSERT_TRUE(KORR_PLIM::uLogManager::Instance().Open("log.txt", "OPTIONS_TEST_LEVEL",
                                                            "OPTIONS_TEST_FOLDER", true));
    }
    static void TearDownTestSuite() {
        KORR_PLIM::uLogManager::Instance().CurrentLogger()->SetEnabled(false);
        std::filesystem::remove_all(file.parent_path());
    }
    void SetUp() override { linesBefore = AllLines().size(); }

    /// Mask letter and text of every line.
    static std::vector<std::string> AllLines() {
        std::vector<std::string> lines;
        std::ifstream stream(file);
        for (std::string line; std::getline(stream, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            const std::size_t text = line.find("| ");
            const std::string letter(line[0] == 'M' ? "M " : "E ");
            lines.push_back(text == std::string::npos ? line : letter + line.substr(text + 2));
        }
        return lines;
    }
    /// Those that the test has added.
    std::vector<std::string> Lines() const {
        const std::vector<std::string> lines = AllLines();
        return {lines.begin() + static_cast<std::ptrdiff_t>(linesBefore), lines.end()};
    }

    std::size_t linesBefore = 0;
    static std::filesystem::path file;
};
std::filesystem::path OptionsLog::file;

TEST_F(OptionsLog, EveryOptionAndTheEndAreTold) {
    ReadText(FileWith("<TSPRESCALAR>1</TSPRESCALAR><ENCTYPE>UART</ENCTYPE>"));
    EXPECT_THAT(Lines(), ElementsAre("M Tarnel_XmlOptions: adding option to list Resolution.",
                                     "M Tarnel_XmlOptions: adding option to list Encoding Type.",
                                     "M Tarnel_XmlOptions: returning parsed otions."));
}

TEST_F(OptionsLog, OptionWithoutTextIsToldWithItsLabelAndABlankOneWithNone) {
    ReadText(FileWith("<COMPORT></COMPORT><ENCTYPE></ENCTYPE>"));
    EXPECT_THAT(Lines(), ElementsAre("M Tarnel_XmlOptions: adding option to list COM Port Number.",
                                     "M Tarnel_XmlOptions: adding option to list .",
                                     "M Tarnel_XmlOptions: returning parsed otions."));
}

TEST_F(OptionsLog, ReasonOfTheHandlerComesBeforeTheRefusal) {
    ReadText("<r><VERSION/></r>");
    EXPECT_THAT(Lines(), ElementsAre("E Tarnel_XmlOptions: VERSION tag in xml file is missing version and "
                                     "copyright attributes.",
                                     std::string("E Tarnel_XmlOptions: ") + kUndefinedException));
}

TEST_F(OptionsLog, RefusedDeclarationsAreTold) {
    const auto doctype = [](const std::string& subset) { return "<!DOCTYPE r [" + subset + "]><r/>"; };
    ReadText(doctype("<!ENTITY % p ''>"));
    ReadText(doctype("<!ENTITY e ''><!ATTLIST r a CDATA ''>"));
    const std::string undefined = std::string("E Tarnel_XmlOptions: ") + kUndefinedException;
    EXPECT_THAT(
        Lines(),
        ElementsAre("E Tarnel_XmlOptions: Parameter entities in xml file are not accepted.", undefined,
                    "E Tarnel_XmlOptions: Attribute lists behind entities in xml file are not accepted.",
                    undefined));
}

TEST_F(OptionsLog, ReasonOfTheParserComesWithItsLine) {
    ReadText("<r>\n<x>\n</y></r>");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].rfind("E Tarnel_XmlOptions: line 3: ", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1], std::string("E Tarnel_XmlOptions: ") + kUndefinedException);
}

TEST_F(OptionsLog, MissingFileIsNamed) {
    ReadFile("no such file.xml");
    EXPECT_THAT(Lines(), ElementsAre("E Tarnel_XmlOptions: no such file.xml cannot be read or is too long.",
                                     std::string("E Tarnel_XmlOptions: ") + kUndefinedException));
}

TEST_F(OptionsLog, LongReasonIsCut) {
    ReadText("<r><RCVRNAME>" + std::string(5000, 'x') + "</RCVRNAME></r>");
    const auto lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].size(), std::string("E Tarnel_XmlOptions: ").size() + 500);
}

TEST_F(OptionsLog, RefusalsOfSavingAreTold) {
    ChannelOptionsHandler handler;
    OptionList options;
    handler.GetOptions(options, "", 2);
    AnswerOf([&](OptionList&) { handler.SaveOptions({}, "options.xml"); });
    AnswerOf([&](OptionList&) { handler.SaveOptions(options, ""); });
    AnswerOf([&](OptionList&) { handler.SaveOptions(options, testing::TempDir() + "no such folder/o.xml"); });
    EXPECT_THAT(Lines(), ElementsAre("E Tarnel_XmlOptions: Invalid options to save.",
                                     "E Tarnel_XmlOptions: No XML file specified to save options.",
                                     "E Tarnel_XmlOptions: Cannot open file for writing."));
}

TEST_F(OptionsLog, NoValueOfAFileBeginsALineOfItsOwn) {
    const std::string undefined = std::string("E Tarnel_XmlOptions: ") + kUndefinedException;
    EXPECT_EQ(ReadText("<r><VERSION version='1&#10;forged'/></r>").error, kUndefinedException);
    EXPECT_THAT(Lines(),
                ElementsAre("E Tarnel_XmlOptions: Invalid version attribute in VERSION tag of xml "
                            "file: '1\\nforged'.",
                            "Version attribute format should be <Major>.<Minor>.<BugFix>.<Patch>'",
                            "Where Major, Minor, BugFix and Patch are unsigned decimal values.", undefined));
    SetUp();
    ReadText("<r><RCVRNAME>a&#10;&#13;\tforged</RCVRNAME></r>");
    // The parser hands over a character reference as a text of its own.
    EXPECT_THAT(Lines(),
                ElementsAre("E Tarnel_XmlOptions: Invalid RCVRNAME tag value in xml file: 'a'.", undefined));
    SetUp();
    ReadText("<r><RCVRNAME>a\n\tforged</RCVRNAME></r>");
    EXPECT_THAT(Lines(),
                ElementsAre("E Tarnel_XmlOptions: Invalid RCVRNAME tag value in xml file: 'a\\n\\tforged'.",
                            undefined));
    SetUp();
    // U+010A may stand in a name, and narrows to a line feed.
    ReadText("<x\xC4\x8A></y>");
    const std::vector<std::string> lines = Lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE(lines[0].find("x\\n"), std::string::npos) << lines[0];
    SetUp();
    ReadFile("no\nsuch\nfile.xml");
    EXPECT_THAT(
        Lines(),
        ElementsAre("E Tarnel_XmlOptions: no\\nsuch\\nfile.xml cannot be read or is too long.", undefined));
}

TEST_F(OptionsLog, MessageOfSeveralLinesKeepsThem) {
    ReadText("<r/>");
    EXPECT_THAT(Lines(), ElementsAre("E Tarnel_XmlOptions: RCVRNAME xml tag not found in this xml file.",
                                     "If this file was created with Trace V1.0, then please recreate",
                                     "the file using Trace V1.1 software by setting the same options",
                                     "and saving to the same file name.",
                                     "It is also possible this file is corrupted. Saving the file again",
                                     "as desribed above will resolve this problem."));
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
