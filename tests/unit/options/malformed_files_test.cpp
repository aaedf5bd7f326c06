// Damaged, odd and foreign files, each with its answer.
#include <gtest/gtest.h>

#include <xercesc/util/PlatformUtils.hpp>

#include <algorithm>

#include "options/ChannelOptionsHandler.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using namespace std::string_literals;

constexpr const char* kUndefined = kUndefinedException;
constexpr const char* kNoName = kReceiverNameNotFound;
constexpr char kHead[] = "<r><VERSION version='1.1.0.0'/><RCVRNAME>SWO Trace</RCVRNAME>";

/// A file with both obligatory elements around `body`.
std::string Around(const std::string& body) { return kHead + body + "</r>"; }
/// The same behind a document type with an internal subset.
std::string WithSubset(const std::string& subset, const std::string& body) {
    return "<!DOCTYPE r [" + subset + "]>" + Around(body);
}

std::string Utf16(const std::string& text, bool bigEndian, bool mark) {
    std::string units;
    const auto put = [&](unsigned char high, unsigned char low) {
        units += static_cast<char>(bigEndian ? high : low);
        units += static_cast<char>(bigEndian ? low : high);
    };
    if (mark) put(0xFE, 0xFF);
    for (const char c : text) put(0, static_cast<unsigned char>(c));
    return units;
}

struct Case {
    std::string text;
    std::string answer;
};

class MalformedFiles : public testing::Test {
  protected:
    // One more use of the library saves its set-up for every text.
    static void SetUpTestSuite() { xercesc::XMLPlatformUtils::Initialize(); }
    static void TearDownTestSuite() { xercesc::XMLPlatformUtils::Terminate(); }
    void SetUp() override { PortDevicesScript() = {}; }

    static void Expect(const std::vector<Case>& cases) {
        for (const Case& one : cases) EXPECT_EQ(ReadText(one.text).Text(), one.answer) << one.text;
    }

    /// As saved, with a value in every option.
    static std::string SavedFile() {
        OptionList options;
        ChannelOptionsHandler handler;
        handler.GetOptions(options, "", 2);
        options[kOptionFirmwareVersion].value = "fw 1.0.0.8";
        options[kOptionComPort].value = "3";
        TemporaryFile file;
        handler.SaveOptions(options, file.Name());
        std::string text = file.Contents();
        text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
        return text;
    }
};

TEST_F(MalformedFiles, CutOffAtAnyByteIsUndefined) {
    const std::string whole = SavedFile();
    ASSERT_EQ(ReadText(whole).options.size(), 8u);
    for (std::size_t length = 0; length + 1 < whole.size(); ++length) {
        EXPECT_EQ(ReadText(whole.substr(0, length)).Text(), kUndefined) << length;
    }
    EXPECT_EQ(ReadText(whole.substr(0, whole.size() - 1)).Text(), ReadText(whole).Text());
}

TEST_F(MalformedFiles, MissingBeginningIsUndefined) {
    // From the comment on the rest is a file of its own; the declaration's line end may stay.
    const std::string whole = SavedFile();
    const std::size_t comment = whole.find("<!--");
    const std::size_t root = whole.find("<CHANNEL-SETUP>");
    for (std::size_t start = 1; start < whole.size(); ++start) {
        const bool isWhole = start == comment - 1 || start == comment || start == root - 1 || start == root;
        EXPECT_EQ(ReadText(whole.substr(start)).Text(), isWhole ? ReadText(whole).Text() : kUndefined)
            << start;
    }
}

TEST_F(MalformedFiles, ZeroByteBeforeTheEndIsUndefined) {
    // In place of the last line end the parser takes it for the end.
    const std::string whole = SavedFile();
    for (std::size_t at = 0; at + 1 < whole.size(); ++at) {
        std::string text = whole;
        text[at] = '\0';
        EXPECT_EQ(ReadText(text).Text(), kUndefined) << at;
    }
}

TEST_F(MalformedFiles, ByteThatIsNoUtf8BeforeTheEndIsUndefined) {
    const std::string whole = SavedFile();
    for (std::size_t at = 0; at + 1 < whole.size(); ++at) {
        std::string text = whole;
        text[at] = '\xFF';
        EXPECT_EQ(ReadText(text).Text(), kUndefined) << at;
    }
}

TEST_F(MalformedFiles, AnyByteLeftOutOrDoubledGivesADocumentedAnswer) {
    const std::string whole = SavedFile();
    for (std::size_t at = 0; at < 2 * whole.size(); ++at) {
        std::string text = whole;
        at < whole.size() ? text.erase(at, 1) : text.insert(at - whole.size(), 1, text[at - whole.size()]);
        const Answer answer = ReadText(text);
        const bool isDocumented = answer.error.empty()
                                      ? answer.options.size() <= 8
                                      : answer.error == kUndefined || answer.error == kNoName;
        EXPECT_TRUE(isDocumented) << at << ": " << answer.Text();
    }
}

TEST_F(MalformedFiles, NotXmlAtAll) {
    Expect({
        {"", kUndefined},
        {" ", kUndefined},
        {"\n\n", kUndefined},
        {"ENCTYPE=UART", kUndefined},
        {"\xEF\xBB\xBF", kUndefined},
        {"{\"ENCTYPE\": \"UART\"}", kUndefined},
        {"<", kUndefined},
        {"<>", kUndefined},
        {"</r>", kUndefined},
        {"<?xml?>", kUndefined},
        {"<?xml version='1.0'?>", kUndefined},
        {"<!-- -->", kUndefined},
        {"\0"s, kUndefined},
        {std::string(1000, '\0'), kUndefined},
        {std::string(1000, '\xFF'), kUndefined},
        {"MZ\x90\0\x03"s, kUndefined},
        {"<html><body>404</body></html>", kNoName},
        {"<html><body>404<br></body></html>", kUndefined},
    });
}

TEST_F(MalformedFiles, WrongNesting) {
    Expect({
        {Around("<ENCTYPE>UART"), kUndefined},
        {Around("<ENCTYPE>UART</enctype>"), kUndefined},
        {Around("<ENCTYPE>UART</PRESCALAR>"), kUndefined},
        {Around("</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE><PRESCALAR></ENCTYPE></PRESCALAR>"), kUndefined},
        {Around("") + "</r>", kUndefined},
        {Around("") + "<r/>", kUndefined},
        {Around("") + "text", kUndefined},
        {"text" + Around(""), kUndefined},
        {"<r/>" + Around(""), kUndefined},
        {Around("") + "<!-- end --> \n<?instruction?>", ""},
        {Around("<ENCTYPE>UART<PRESCALAR>Auto</PRESCALAR></ENCTYPE>"), "PRESCALAR=Auto"},
        {Around("<X><ENCTYPE>UART</ENCTYPE></X>"), "ENCTYPE=UART"},
        {Around("<ENCTYPE><X/>UART</ENCTYPE>"), ""},
        {Around("<ENCTYPE>UART<X/></ENCTYPE>"), ""},
        {"<VERSION version='1.1.0.0'><RCVRNAME/><ENCTYPE>UART</ENCTYPE></VERSION>", ""},
        {"<ENCTYPE><VERSION version='1.1.0.0'/><RCVRNAME/>UART</ENCTYPE>", "ENCTYPE=UART"},
        {"<RCVRNAME><VERSION version='1.1.0.0'/></RCVRNAME>", ""},
        {"<RCVRNAME><VERSION version='1.1.0.0'/><ENCTYPE>UART</ENCTYPE></RCVRNAME>", kUndefined},
        {"<RCVRNAME><VERSION version='1.1.0.0'/><ENCTYPE>SWO Trace</ENCTYPE></RCVRNAME>", ""},
        {"<RCVRNAME>\n<VERSION version='1.1.0.0'/></RCVRNAME>", kUndefined},
    });
}

TEST_F(MalformedFiles, WrongTags) {
    Expect({
        {Around("<1ENCTYPE>UART</1ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE UART</ENCTYPE>"), kUndefined},
        {Around("< ENCTYPE>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>UART</ ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE >UART</ENCTYPE >"), "ENCTYPE=UART"},
        {Around("<ENCTYPE\n>UART</ENCTYPE\t>"), "ENCTYPE=UART"},
        {Around("<ENCTYPE//>"), kUndefined},
        {Around("<ENCTYPE/ >"), kUndefined},
        {Around("<ENCTYPE a>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a=b>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a='b'c='d'>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a='b>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a='<'>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a='&'>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a='b' a='c'>UART</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE a='b' c=\"d\">UART</ENCTYPE>"), "ENCTYPE=UART"},
        {Around("<x:ENCTYPE>UART</x:ENCTYPE>"), ""},
        {Around("<ENCTYPE xmlns='urn:x'>UART</ENCTYPE>"), "ENCTYPE=UART"},
        {Around("<x:y:z>UART</x:y:z>"), ""},
        {Around("<!-- a -- b -->"), kUndefined},
        {Around("<!-- a --->"), kUndefined},
        {Around("<!-- <ENCTYPE>UART</ENCTYPE> -->"), ""},
        {Around("<![CDATA[<ENCTYPE>UART</ENCTYPE>]]>"), ""},
        {Around("<![CDATA[open"), kUndefined},
        {Around("<?xml version='1.0'?>"), kUndefined},
        {Around("<?other"), kUndefined},
        {Around("<!ENTITY a 'b'>"), kUndefined},
    });
}

TEST_F(MalformedFiles, Declarations) {
    Expect({
        {" <?xml version='1.0'?>" + Around(""), kUndefined},
        {"<?xml version='1.0'?>" + Around(""), ""},
        {"<?xml version='1.1'?>" + Around(""), ""},
        {"<?xml version='2.0'?>" + Around(""), kUndefined},
        {"<?xml version='x'?>" + Around(""), kUndefined},
        {"<?xml encoding='UTF-8'?>" + Around(""), kUndefined},
        {"<?xml version='1.0' standalone='yes'?>" + Around(""), ""},
        {"<?xml version='1.0' standalone='maybe'?>" + Around(""), kUndefined},
        {"<?xml version='1.0' encoding=''?>" + Around(""), kUndefined},
        {"<?xml version='1.0' encoding='no such encoding'?>" + Around(""), kUndefined},
        {"<?xml version='1.0' encoding='no-such-encoding'?>" + Around(""), kUndefined},
        {"<?xml version='1.0' unknown='x'?>" + Around(""), kUndefined},
        {"<?xml version='1.0'>" + Around(""), kUndefined},
        {"<?XML version='1.0'?>" + Around(""), kUndefined},
    });
}

TEST_F(MalformedFiles, Versions) {
    const auto version = [](const std::string& attributes) {
        return "<r><RCVRNAME/><VERSION" + attributes + "/><ENCTYPE>UART</ENCTYPE></r>";
    };
    Expect({
        {version(""), kUndefined},
        {version(" "), kUndefined},
        {version(" version=''"), kUndefined},
        {version(" version='1'"), kUndefined},
        {version(" version='1.1'"), kUndefined},
        {version(" version='1.1.0'"), kUndefined},
        {version(" version='1.1.0.'"), kUndefined},
        {version(" version='1.1.0.0'"), "ENCTYPE=UART"},
        {version(" version='9.9.9.9'"), "ENCTYPE=UART"},
        {version(" version='0.0.0.0'"), "ENCTYPE=UART"},
        {version(" version='1.1.0.0.0'"), "ENCTYPE=UART"},
        {version(" version='1.1.0.0rest'"), "ENCTYPE=UART"},
        {version(" version='v1.1.0.0'"), kUndefined},
        {version(" version=' 1. 1.\n0.\t0 '"), "ENCTYPE=UART"},
        {version(" version='-1.-1.-1.-1'"), "ENCTYPE=UART"},
        {version(" version='1,1,0,0'"), kUndefined},
        {version(" version='99999999999.99999999999999999999999.4294967296.0'"), "ENCTYPE=UART"},
        {version(" version='1.1.0.0' version='1.1.0.0'"), kUndefined},
        {version(" Copyright=''"), "ENCTYPE=UART"},
        {version(" Version='x'"), "ENCTYPE=UART"},
        {version(" a='b' version='1.1.0.0' Copyright='c'"), "ENCTYPE=UART"},
        {version(" a='b' Copyright='c' version='x'"), kUndefined},
        {version(" version='1&#46;1.0.0'"), "ENCTYPE=UART"},
        {version(" version='1.1.0.0'") + "<VERSION/>", kUndefined},
    });
}

TEST_F(MalformedFiles, ReceiverNames) {
    const auto name = [](const std::string& text) {
        return "<r><VERSION a='b'/><RCVRNAME>" + text + "</RCVRNAME></r>";
    };
    Expect({
        {name(""), ""},
        {name("SWO Trace"), ""},
        {name("SWO trace"), kUndefined},
        {name(" SWO Trace"), kUndefined},
        {name("SWO Trace "), kUndefined},
        {name("\nSWO Trace\n"), kUndefined},
        {name("SWO  Trace"), kUndefined},
        {name("SWO"), kUndefined},
        {name("<!-- c -->SWO Trace"), ""},
        {name("SWO <!-- c -->Trace"), kUndefined},
        {name("<![CDATA[SWO Trace]]>"), ""},
        {name("SWO Trace<![CDATA[SWO Trace]]>"), ""},
        {name("SWO Tr&amp;ce"), kUndefined},
        {name("<X>SWO Trace</X>"), ""},
        {name("<X>other</X>"), kUndefined},
        {"<r><VERSION a='b'/><RCVRNAME/><RCVRNAME>other</RCVRNAME></r>", kUndefined},
        {"<r><VERSION a='b'/><rcvrname>SWO Trace</rcvrname></r>", kNoName},
        {"<r><version a='b'/><RCVRNAME/></r>", kNoName},
        {"<r/>", kNoName},
        {"<CHANNEL-SETUP></CHANNEL-SETUP>", kNoName},
    });
}

TEST_F(MalformedFiles, DuplicatesAndUnknownElements) {
    Expect({
        {Around("<ENCTYPE>a</ENCTYPE><ENCTYPE>b</ENCTYPE>"), "ENCTYPE=a;ENCTYPE=b"},
        {Around("<CLKFREQ>x</CLKFREQ><ENCTYPE>a</ENCTYPE><CLKFREQ>y</CLKFREQ>"),
         "ENCTYPE=a;CLKFREQ=x;CLKFREQ=y"},
        {Around("<VERSION a='b'/><RCVRNAME/>"), ""},
        {Around("<OTHER>x</OTHER>"), ""},
        {Around("<enctype>x</enctype>"), ""},
        {Around("<ENCTYPES>x</ENCTYPES>"), ""},
        {Around("<CHANNEL-SETUP>x</CHANNEL-SETUP>"), ""},
        {Around("<ENCTYPE/>"), ""},
        {Around("<COMPORT/><RCVRFWVER/>"), "RCVRFWVER=;COMPORT="},
        {Around("<X><COMPORT/><ENCTYPE/></X>"), "COMPORT="},
        {Around("<ENCTYPE></ENCTYPE>"), ""},
        {Around("<COMPORT></COMPORT>"), "COMPORT="},
        {Around("<ENCTYPE> </ENCTYPE>"), "ENCTYPE= "},
        {Around("<ENCTYPE>\n</ENCTYPE>"), "ENCTYPE=\n"},
        {Around("<ENCTYPE>\r\n</ENCTYPE>"), "ENCTYPE=\n"},
        {Around("<ENCTYPE/><ENCTYPE>UART</ENCTYPE>"), "ENCTYPE=UART"},
    });
}

TEST_F(MalformedFiles, CharactersAndReferences) {
    Expect({
        {Around("<ENCTYPE><&></ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>a&b</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>a]]>b</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>a>b\"'</ENCTYPE>"), "ENCTYPE=a>b\"'"},
        {Around("<ENCTYPE>&unknown;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&amp</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#0;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#1;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#xFFFF;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#xD800;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#x110000;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#99999999999999999999;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#x;</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>&#65;</ENCTYPE>"), "ENCTYPE=A"},
        {Around("<ENCTYPE>&#x100;</ENCTYPE>"), "ENCTYPE="},
        {Around("<ENCTYPE>\x01</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>\x1B</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>\x7F</ENCTYPE>"), "ENCTYPE=\x7F"},
        {Around("<ENCTYPE>\xC3\xA9</ENCTYPE>"), "ENCTYPE=\xE9"},
        {Around("<ENCTYPE>\xC5\x81</ENCTYPE>"), "ENCTYPE=A"},
        {Around("<ENCTYPE>\xF0\x9F\x98\x80</ENCTYPE>"), "ENCTYPE==" + std::string()},
        {Around("<ENCTYPE>\xC0\x80</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>\xC3</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>\xED\xA0\x80</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>\xEF\xBF\xBF</ENCTYPE>"), kUndefined},
        {Around("<ENCTYPE>\x80</ENCTYPE>"), kUndefined},
    });
}

TEST_F(MalformedFiles, Encodings) {
    const auto declared = [](const std::string& encoding, const std::string& value) {
        return "<?xml version='1.0' encoding='" + encoding + "'?>" +
               Around("<ENCTYPE>" + value + "</ENCTYPE>");
    };
    const std::string utf16 = declared("UTF-16", "UART");
    Expect({
        {"\xEF\xBB\xBF" + declared("UTF-8", "UART"), "ENCTYPE=UART"},
        {declared("utf-8", "UART"), "ENCTYPE=UART"},
        {declared("US-ASCII", "UART"), "ENCTYPE=UART"},
        {declared("US-ASCII", "\xE9"), kUndefined},
        {declared("ISO-8859-1", "\xE9"), "ENCTYPE=\xE9"},
        {declared("windows-1252", "\x80"), "ENCTYPE=\xAC"},
        {declared("UTF-8", "\xE9"), kUndefined},
        {declared("UTF-16", "UART"), "ENCTYPE=UART"},
        {Utf16(utf16, false, true), "ENCTYPE=UART"},
        {Utf16(utf16, true, true), "ENCTYPE=UART"},
        {Utf16(declared("UTF-16LE", "UART"), false, false), "ENCTYPE=UART"},
        {Utf16(declared("UTF-16BE", "UART"), true, false), "ENCTYPE=UART"},
        {Utf16(declared("UTF-8", "UART"), false, true), kUndefined},
        {Utf16(utf16, false, true) + "x", "ENCTYPE=UART"},
        {Utf16(utf16, false, true).substr(0, 101), kUndefined},
    });
}

TEST_F(MalformedFiles, DocumentTypes) {
    Expect({
        {"<!DOCTYPE r>" + Around("<ENCTYPE>UART</ENCTYPE>"), "ENCTYPE=UART"},
        {"<!DOCTYPE other>" + Around("<ENCTYPE>UART</ENCTYPE>"), "ENCTYPE=UART"},
        {"<!DOCTYPE>" + Around(""), kUndefined},
        {"<!DOCTYPE r [" + Around(""), kUndefined},
        {"<!DOCTYPE r><!DOCTYPE r>" + Around(""), kUndefined},
        {WithSubset("", "<ENCTYPE>UART</ENCTYPE>"), "ENCTYPE=UART"},
        {WithSubset("<!ENTITY u 'UART'>", "<ENCTYPE>&u;</ENCTYPE>"), "ENCTYPE=UART"},
        {WithSubset("<!ENTITY u 'UART'>", "<ENCTYPE>a&u;b</ENCTYPE>"), "ENCTYPE=b"},
        {WithSubset("<!ENTITY u 'UA&v;'><!ENTITY v 'RT'>", "<ENCTYPE>&u;</ENCTYPE>"), "ENCTYPE=RT"},
        {WithSubset("<!ENTITY u '<X/>'>", "&u;"), ""},
        {WithSubset("<!ENTITY u '<X>'>", "&u;"), kUndefined},
        {WithSubset("<!ENTITY u 'x'>", "<VERSION version='&u;'/>"), kUndefined},
        {WithSubset("<!ENTITY u '1.1'>", "<VERSION version='&u;.0.0'/>"), ""},
        {WithSubset("<!ENTITY u '&u;'>", "&u;"), kUndefined},
        {WithSubset("<!ENTITY u '&v;'><!ENTITY v '&u;'>", "&u;"), kUndefined},
        {WithSubset("<!ENTITY u 'x'", ""), kUndefined},
        {WithSubset("<!ELEMENT r ANY><!ELEMENT ENCTYPE (#PCDATA)>", "<ENCTYPE>UART</ENCTYPE>"),
         "ENCTYPE=UART"},
        {WithSubset("<!ELEMENT r (ENCTYPE)>", "<CLKFREQ>x</CLKFREQ>"), "CLKFREQ=x"},
        {WithSubset("<!ATTLIST VERSION version CDATA '1.1.0.0'>", "<VERSION/>"), ""},
        {WithSubset("<!ATTLIST VERSION version CDATA 'x'>", "<VERSION/>"), kUndefined},
        {WithSubset("<!ATTLIST r a CDATA 'x'><!ENTITY u 'UART'>", "<ENCTYPE>&u;</ENCTYPE>"), "ENCTYPE=UART"},
        {WithSubset("<!ENTITY u 'UART'><!ATTLIST r a CDATA 'x'>", "<ENCTYPE>&u;</ENCTYPE>"), kUndefined},
        {WithSubset("<!ENTITY % p ''>", ""), kUndefined},
        {WithSubset("<!NOTATION n SYSTEM 'x'>", ""), ""},
        {WithSubset("<!WRONG>", ""), kUndefined},
        {WithSubset("<![INCLUDE[]]>", ""), kUndefined},
    });
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
