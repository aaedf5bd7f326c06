#include "options/XMLOptionsHandler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLString.hpp>

#include "host_api/cPelkitError.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using Attributes = std::vector<std::pair<std::u16string, std::u16string>>;

class ScriptedAttributes : public xercesc::AttributeList {
  public:
    explicit ScriptedAttributes(Attributes list) : attributes(std::move(list)) {}
    XMLSize_t getLength() const override { return attributes.size(); }
    const XMLCh* getName(const XMLSize_t i) const override { return attributes[i].first.c_str(); }
    const XMLCh* getType(const XMLSize_t) const override { return u"CDATA"; }
    const XMLCh* getValue(const XMLSize_t i) const override { return attributes[i].second.c_str(); }
    const XMLCh* getType(const XMLCh* const) const override { return u"CDATA"; }
    const XMLCh* getValue(const XMLCh* const) const override { return nullptr; }
    const XMLCh* getValue(const char* const) const override { return nullptr; }

  private:
    Attributes attributes;
};

class XMLOptionsHandlerTest : public testing::Test {
  protected:
    void SetUp() override { PortDevicesScript() = {}; }

    void Start(const std::u16string& name, Attributes attributes = {}) {
        ScriptedAttributes list(std::move(attributes));
        handler.startElement(name.c_str(), list);
    }
    void Text(const std::u16string& text) { handler.characters(text.c_str(), text.size()); }
    void End(const std::u16string& name) { handler.endElement(name.c_str()); }
    void Option(const std::u16string& name, const std::u16string& text) {
        Start(name);
        Text(text);
        End(name);
    }
    Answer Options() {
        return AnswerOf([this](OptionList& out) { handler.GetParsedOptions(out); });
    }
    std::string Sorted() {
        handler.SortOptions();
        return Options().Text();
    }
    template <typename Operation>
    static Answer Refusal(Operation operation) {
        return AnswerOf([&](OptionList&) { operation(); });
    }

    XMLOptionsHandler handler;
};

TEST(NarrowText, TakesTheLowByteOfEachUnit) {
    EXPECT_EQ(NarrowText(u"abc"), "abc");
    EXPECT_EQ(NarrowText(u"\u0141\u00E9\u20AC"), "\x41\xE9\xAC");
}

TEST(NarrowText, EndsAtAUnitWhoseLowByteIsZero) { EXPECT_EQ(NarrowText(u"ab\u0100cd"), "ab"); }

TEST(NarrowText, NullGivesTheEmptyText) { EXPECT_EQ(NarrowText(nullptr), ""); }

TEST_F(XMLOptionsHandlerTest, NothingIsFoundAtTheStart) {
    EXPECT_FALSE(handler.VersionFound());
    EXPECT_FALSE(handler.RcvrNameFound());
    EXPECT_EQ(Sorted(), "");
}

TEST_F(XMLOptionsHandlerTest, VersionWithoutAttributesIsRefused) {
    const Answer answer = Refusal([&] { Start(u"VERSION"); });
    EXPECT_EQ(answer.error, "VERSION tag in xml file is missing version and copyright attributes.");
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(XMLOptionsHandlerTest, VersionThatIsNoFourNumbersIsRefused) {
    const Answer answer = Refusal([&] { Start(u"VERSION", {{u"Copyright", u"c"}, {u"version", u"1.1.0"}}); });
    EXPECT_EQ(answer.error,
              "Invalid version attribute in VERSION tag of xml file: '1.1.0'.\n"
              "Version attribute format should be <Major>.<Minor>.<BugFix>.<Patch>'\n"
              "Where Major, Minor, BugFix and Patch are unsigned decimal values.");
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(XMLOptionsHandlerTest, EveryVersionAttributeIsLookedAt) {
    // A parser gives no name twice; two that differ above the low byte narrow to one.
    EXPECT_NE(Refusal([&] {
                  Start(u"VERSION", {{u"version", u"1.1.0.0"}, {u"versio\u016E", u"x"}});
              }).error,
              "");
}

TEST_F(XMLOptionsHandlerTest, OtherVersionsAndAttributesAreAccepted) {
    Start(u"VERSION", {{u"version", u"9.9.9.9"}});
    EXPECT_TRUE(handler.VersionFound());
    Start(u"VERSION", {{u"Copyright", u""}});
    Start(u"VERSION", {{u"Version", u"x"}, {u"other", u"y"}});
}

TEST_F(XMLOptionsHandlerTest, TextInsideVersionIsIgnored) {
    Start(u"VERSION", {{u"version", u"1.1.0.0"}});
    Option(u"ENCTYPE", u"UART");
    Text(u"anything");
    End(u"VERSION");
    Option(u"ENCTYPE", u"Other");
    EXPECT_EQ(Options().options.size(), 2u);
    EXPECT_EQ(Sorted(), "ENCTYPE=Other") << "the element inside is an option without text";
}

TEST_F(XMLOptionsHandlerTest, OptionThatCanBeEmptyIsNoneInsideVersion) {
    Start(u"VERSION", {{u"version", u"1.1.0.0"}});
    Option(u"RCVRFWVER", u"fw 1.0.0.8");
    Start(u"COMPORT");
    End(u"COMPORT");
    End(u"VERSION");
    EXPECT_EQ(Sorted(), "");
}

TEST_F(XMLOptionsHandlerTest, VersionInsideOthersHidesTheirText) {
    Start(u"RCVRNAME");
    Start(u"VERSION", {{u"version", u"1.1.0.0"}});
    Text(u"no receiver name");
    End(u"VERSION");
    EXPECT_EQ(Refusal([&] { Text(u"no receiver name"); }).error,
              "Invalid RCVRNAME tag value in xml file: 'no receiver name'.");
    End(u"RCVRNAME");
    Start(u"ENCTYPE");
    Start(u"VERSION", {{u"version", u"1.1.0.0"}});
    Text(u"no encoding");
    End(u"VERSION");
    Text(u"UART");
    End(u"ENCTYPE");
    EXPECT_EQ(Sorted(), "ENCTYPE=UART");
}

TEST_F(XMLOptionsHandlerTest, ReceiverNameInsideAnOptionTakesItsText) {
    Start(u"ENCTYPE");
    Start(u"RCVRNAME");
    Text(u"SWO Trace");
    EXPECT_EQ(Refusal([&] { Text(u"UART"); }).error, "Invalid RCVRNAME tag value in xml file: 'UART'.");
    End(u"RCVRNAME");
    End(u"ENCTYPE");
    EXPECT_EQ(Sorted(), "");
}

TEST_F(XMLOptionsHandlerTest, OptionInsideTheReceiverNameIsHeldToIt) {
    Start(u"RCVRNAME");
    Start(u"ENCTYPE");
    EXPECT_EQ(Refusal([&] { Text(u"UART"); }).error, "Invalid RCVRNAME tag value in xml file: 'UART'.");
    Text(u"SWO Trace");
    End(u"ENCTYPE");
    EXPECT_EQ(Sorted(), "");
}

TEST_F(XMLOptionsHandlerTest, ReceiverNameMustBeTheWholeText) {
    for (const char16_t* text : {u"", u" SWO Trace", u"SWO Trace ", u"SWO Trac", u"SWO Traces", u"\n"}) {
        Start(u"RCVRNAME");
        EXPECT_EQ(Refusal([&] { Text(text); }).error,
                  "Invalid RCVRNAME tag value in xml file: '" + NarrowText(text) + "'.");
        End(u"RCVRNAME");
    }
}

TEST_F(XMLOptionsHandlerTest, OtherReceiverNameIsRefused) {
    Start(u"RCVRNAME");
    const Answer answer = Refusal([&] { Text(u"SWO trace"); });
    EXPECT_EQ(answer.error, "Invalid RCVRNAME tag value in xml file: 'SWO trace'.");
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(XMLOptionsHandlerTest, ReceiverNameIsComparedPieceByPiece) {
    Start(u"RCVRNAME");
    Text(u"SWO Trace");
    Text(u"SWO Trace");
    EXPECT_EQ(Refusal([&] { Text(u"SWO"); }).error, "Invalid RCVRNAME tag value in xml file: 'SWO'.");
}

TEST_F(XMLOptionsHandlerTest, ReceiverNameWithoutTextIsAccepted) {
    Start(u"RCVRNAME");
    End(u"RCVRNAME");
    EXPECT_TRUE(handler.RcvrNameFound());
}

TEST_F(XMLOptionsHandlerTest, NamesAndTextsAreNarrowedBeforeTheyAreCompared) {
    Start(u"RCVRNAM\u0145");
    Text(u"\u0153WO Trace");
    End(u"RCVRNAM\u0145");
    Option(u"\u0145NCTYPE", u"U\u0141");
    EXPECT_TRUE(handler.RcvrNameFound());
    EXPECT_EQ(Sorted(), "ENCTYPE=UA");
}

TEST_F(XMLOptionsHandlerTest, OptionTakesTheRowOfTheTableAndTheTextAsItsValue) {
    Option(u"TSPRESCALAR", u"64");
    const OptionList options = Options().options;
    ASSERT_EQ(options.size(), 1u);
    EXPECT_EQ(options[0].id, kOptionTimestampPrescaler);
    EXPECT_EQ(options[0].label, "Resolution");
    EXPECT_EQ(options[0].group, "Timestamping");
    EXPECT_THAT(options[0].choices, testing::ElementsAre("1", "4", "16", "64"));
    EXPECT_EQ(options[0].value, "64");
}

TEST_F(XMLOptionsHandlerTest, LastPieceOfATextWins) {
    Start(u"CLKFREQVAL");
    Text(u"1000");
    Text(u"000");
    End(u"CLKFREQVAL");
    EXPECT_EQ(Sorted(), "CLKFREQVAL=000");
}

TEST_F(XMLOptionsHandlerTest, EveryPieceOfComPortTextRunsTheDiscovery) {
    Start(u"COMPORT");
    Text(u"1");
    Text(u"2");
    End(u"COMPORT");
    EXPECT_EQ(PortDevicesScript().listings, 2u);
}

TEST_F(XMLOptionsHandlerTest, OptionWithoutTextIsBlankAndGoes) {
    for (const char16_t* name :
         {u"ENCTYPE", u"PRESCALAR", u"PRESCALARVAL", u"CLKFREQ", u"CLKFREQVAL", u"TSPRESCALAR"}) {
        Start(name);
        End(name);
        const OptionList options = Options().options;
        ASSERT_FALSE(options.empty());
        EXPECT_EQ(options.back().id, kOptionNone);
        EXPECT_EQ(options.back().key, "");
    }
    EXPECT_EQ(Options().options.size(), 6u);
    EXPECT_EQ(Sorted(), "");
}

TEST_F(XMLOptionsHandlerTest, OptionsThatCanBeEmptyKeepTheEmptyValue) {
    Start(u"COMPORT");
    End(u"COMPORT");
    Start(u"RCVRFWVER");
    End(u"RCVRFWVER");
    EXPECT_EQ(Sorted(), "RCVRFWVER=;COMPORT=");
    const OptionList options = Options().options;
    EXPECT_EQ(options[0].id, kOptionFirmwareVersion);
    EXPECT_EQ(options[1].id, kOptionComPort);
    EXPECT_EQ(options[1].label, "COM Port Number");
}

TEST_F(XMLOptionsHandlerTest, ComPortWithoutTextRunsNoDiscovery) {
    PortDevicesScript().devices.push_back({"Brantor Serial Port (COM5)"});
    Start(u"COMPORT");
    End(u"COMPORT");
    const OptionList options = Options().options;
    ASSERT_EQ(options.size(), 1u);
    EXPECT_THAT(options[0].choices, testing::ElementsAre(""));
    EXPECT_EQ(options[0].value, "");
    EXPECT_EQ(PortDevicesScript().versionChecks, 0u);
    EXPECT_EQ(PortDevicesScript().listings, 0u);
}

TEST_F(XMLOptionsHandlerTest, OnlyTextOfComPortRunsTheDiscovery) {
    for (const char16_t* name : {u"RCVRFWVER", u"ENCTYPE", u"PRESCALAR", u"PRESCALARVAL", u"CLKFREQ",
                                 u"CLKFREQVAL", u"TSPRESCALAR", u"CHANNEL-SETUP"}) {
        Option(name, u"1");
    }
    EXPECT_EQ(PortDevicesScript().listings, 0u);
    Start(u"COMPORT");
    EXPECT_EQ(PortDevicesScript().listings, 0u);
    Text(u"1");
    EXPECT_EQ(PortDevicesScript().listings, 1u);
    End(u"COMPORT");
    EXPECT_EQ(PortDevicesScript().listings, 1u);
}

TEST_F(XMLOptionsHandlerTest, TextOutsideOptionsIsIgnored) {
    Start(u"CHANNEL-SETUP");
    Text(u"\n\t");
    Option(u"UNKNOWN", u"text");
    Text(u"\n");
    End(u"CHANNEL-SETUP");
    EXPECT_TRUE(Options().options.empty());
}

TEST_F(XMLOptionsHandlerTest, ElementInsideAnOptionEndsIt) {
    Start(u"ENCTYPE");
    Text(u"UART");
    Start(u"UNKNOWN");
    End(u"UNKNOWN");
    Text(u"more");
    End(u"ENCTYPE");
    EXPECT_EQ(Sorted(), "");
}

TEST_F(XMLOptionsHandlerTest, SortingKeepsDuplicatesInFileOrder) {
    Option(u"TSPRESCALAR", u"1");
    Option(u"ENCTYPE", u"b");
    Option(u"TSPRESCALAR", u"16");
    Option(u"ENCTYPE", u"a");
    EXPECT_EQ(Options().Text(), "TSPRESCALAR=1;ENCTYPE=b;TSPRESCALAR=16;ENCTYPE=a");
    EXPECT_EQ(Sorted(), "ENCTYPE=b;ENCTYPE=a;TSPRESCALAR=1;TSPRESCALAR=16");
}

TEST_F(XMLOptionsHandlerTest, ResettingForgetsTheOptionBeingRead) {
    for (const auto reset :
         {&XMLOptionsHandler::ResetCurrentOption, &XMLOptionsHandler::ClearCurrentOption}) {
        Start(u"ENCTYPE");
        (handler.*reset)();
        Text(u"UART");
        End(u"ENCTYPE");
        EXPECT_EQ(Options().options.size(), 0u);
    }
}

TEST_F(XMLOptionsHandlerTest, LibraryMemoryIsGivenBack) {
    xercesc::XMLPlatformUtils::Initialize();
    XMLCh* text = xercesc::XMLString::transcode("text");
    handler.ReleaseLibraryMemory(text);
    handler.ReleaseLibraryMemory(nullptr);
    xercesc::XMLPlatformUtils::Terminate();
}

TEST_F(XMLOptionsHandlerTest, NestingIsBounded) {
    for (uint32_t i = 0; i < XMLOptionsHandler::kMaxDepth; ++i) Start(u"a");
    EXPECT_EQ(Refusal([&] { Start(u"a"); }).error, "Elements in xml file are nested too deeply.");
}

TEST_F(XMLOptionsHandlerTest, ElementsSideBySideDoNotNest) {
    for (uint32_t i = 0; i < 2 * XMLOptionsHandler::kMaxDepth; ++i) {
        Start(u"VERSION", {{u"a", u"b"}});
        End(u"VERSION");
        Option(u"a", u"b");
        Start(u"RCVRNAME");
        End(u"RCVRNAME");
    }
}

TEST_F(XMLOptionsHandlerTest, TextsOfOptionsAreBounded) {
    for (uint32_t i = 0; i < XMLOptionsHandler::kMaxPieces; ++i) Option(u"ENCTYPE", u"UART");
    Start(u"ENCTYPE");
    EXPECT_EQ(Refusal([&] { Text(u"UART"); }).error, "Too many options in xml file.");
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
