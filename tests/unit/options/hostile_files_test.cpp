// Files made to open other files, to grow in memory or to take for ever. The XML library runs with a memory
// manager that measures, and with a file manager and a network accessor that tell what the library wants to
// open.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLFileMgr.hpp>
#include <xercesc/util/XMLNetAccessor.hpp>
#include <xercesc/util/XMLURL.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>

#include "options/XMLOptionsHandler.h"
#include "options/options_reader.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace Korr::Plim::Trace::Tarnel {
namespace {

using testing::IsEmpty;
using xercesc::MemoryManager;

/// Keeps the greatest sum of live bytes.
class MeasuringMemory : public MemoryManager {
  public:
    MemoryManager* getExceptionMemoryManager() override { return this; }
    void* allocate(XMLSize_t size) override {
        void* memory = std::malloc(size);
        sizes[memory] = size;
        live += size;
        peak = std::max(peak, live);
        return memory;
    }
    void deallocate(void* memory) override {
        const auto found = sizes.find(memory);
        if (found == sizes.end()) return;
        live -= found->second;
        sizes.erase(found);
        std::free(memory);
    }

    std::map<void*, std::size_t> sizes;
    std::size_t live = 0;
    std::size_t peak = 0;
};

std::vector<std::string> opened;

/// Opens nothing and remembers what it was asked for.
class RefusingFiles : public xercesc::XMLFileMgr {
  public:
    xercesc::FileHandle fileOpen(const XMLCh* path, bool, MemoryManager* const) override {
        return Remember(NarrowText(path));
    }
    xercesc::FileHandle fileOpen(const char* path, bool, MemoryManager* const) override {
        return Remember(path);
    }
    xercesc::FileHandle openStdIn(MemoryManager* const) override { return Remember("standard input"); }
    void fileClose(xercesc::FileHandle, MemoryManager* const) override {}
    void fileReset(xercesc::FileHandle, MemoryManager* const) override {}
    XMLFilePos curPos(xercesc::FileHandle, MemoryManager* const) override { return 0; }
    XMLFilePos fileSize(xercesc::FileHandle, MemoryManager* const) override { return 0; }
    XMLSize_t fileRead(xercesc::FileHandle, XMLSize_t, XMLByte*, MemoryManager* const) override { return 0; }
    void fileWrite(xercesc::FileHandle, XMLSize_t, const XMLByte*, MemoryManager* const) override {}
    XMLCh* getFullPath(const XMLCh* const path, MemoryManager* const manager) override {
        return xercesc::XMLString::replicate(path, manager);
    }
    XMLCh* getCurrentDirectory(MemoryManager* const manager) override {
        return xercesc::XMLString::replicate(u"/", manager);
    }
    bool isRelative(const XMLCh* const, MemoryManager* const) override { return false; }

  private:
    static xercesc::FileHandle Remember(const std::string& name) {
        opened.push_back(name);
        return nullptr;
    }
};

class RefusingNetwork : public xercesc::XMLNetAccessor {
  public:
    const XMLCh* getId() const override { return u"refusing"; }
    xercesc::BinInputStream* makeNew(const xercesc::XMLURL& address,
                                     const xercesc::XMLNetHTTPInfo*) override {
        opened.push_back(NarrowText(address.getURLText()));
        return nullptr;
    }
};

class HostileFiles : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        xercesc::XMLPlatformUtils::Initialize(xercesc::XMLUni::fgXercescDefaultLocale, nullptr, nullptr,
                                              &memory);
        delete xercesc::XMLPlatformUtils::fgFileMgr;
        xercesc::XMLPlatformUtils::fgFileMgr = new RefusingFiles;
        delete xercesc::XMLPlatformUtils::fgNetAccessor;
        xercesc::XMLPlatformUtils::fgNetAccessor = new RefusingNetwork;
    }
    static void TearDownTestSuite() { xercesc::XMLPlatformUtils::Terminate(); }

    void SetUp() override {
        PortDevicesScript() = {};
        opened.clear();
        memory.peak = memory.live;
        start = std::chrono::steady_clock::now();
    }
    void TearDown() override {
        EXPECT_THAT(opened, IsEmpty());
        // Generous: the slowest takes a second on an idle machine without sanitizers.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
        EXPECT_LT(memory.peak, kMostBytes);
    }

    static constexpr std::size_t kMostBytes = std::size_t{128} * 1024 * 1024;
    static MeasuringMemory memory;
    std::chrono::steady_clock::time_point start;
};
MeasuringMemory HostileFiles::memory;

std::string Times(std::size_t count, const std::string& text) {
    std::string all;
    all.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

std::string WithSubset(const std::string& subset, const std::string& body) {
    return "<!DOCTYPE r [" + subset + "]><r><VERSION version='1.1.0.0'/><RCVRNAME/>" + body + "</r>";
}

/// As often as it fits into the greatest file, beside `besides` other bytes.
std::string Filling(const std::string& text, std::size_t besides) {
    return Times((kMaxOptionsFileBytes - besides) / text.size(), text);
}

void ExpectUndefined(const Answer& answer) {
    EXPECT_EQ(answer.error, kUndefinedException);
    EXPECT_EQ(answer.severity, 2);
}

// Nothing else is opened.

TEST_F(HostileFiles, RecordingManagersSeeWhatTheLibraryOpens) {
    // So that the empty lists of the other tests prove something.
    xercesc::XMLPlatformUtils::openFile("some file", &memory);
    EXPECT_THAT(opened, testing::ElementsAre("some file"));
    opened.clear();
}

TEST_F(HostileFiles, ExternalDocumentTypeIsRefused) {
    const std::string body = "<r><VERSION a='b'/><RCVRNAME/></r>";
    for (const char* id : {"SYSTEM 'x.dtd'", "SYSTEM 'file:///etc/hostname'",
                           "SYSTEM 'http://localhost/x.dtd'", "PUBLIC '-//x//y' 'http://localhost/x.dtd'",
                           "SYSTEM '//localhost/share/x.dtd'", "SYSTEM 'x.dtd' [<!ENTITY u 'v'>]"}) {
        SCOPED_TRACE(id);
        ExpectUndefined(ReadText("<!DOCTYPE r " + std::string(id) + ">" + body));
        ExpectUndefined(
            ReadText("<?xml version='1.0' standalone='yes'?><!DOCTYPE r " + std::string(id) + ">" + body));
    }
}

TEST_F(HostileFiles, ExternalEntityIsRefusedWhenItIsReferred) {
    for (const char* id : {"'x.ent'", "'/etc/hostname'", "'file:///etc/hostname'", "'http://localhost/x'",
                           "'ftp://localhost/x'", "'C:\\windows\\win.ini'", "'\\\\localhost\\share\\x'"}) {
        SCOPED_TRACE(id);
        ExpectUndefined(
            ReadText(WithSubset("<!ENTITY e SYSTEM " + std::string(id) + ">", "<ENCTYPE>&e;</ENCTYPE>")));
    }
}

TEST_F(HostileFiles, ExternalEntityThatIsNotReferredIsNotOpened) {
    EXPECT_EQ(ReadText(WithSubset("<!ENTITY e SYSTEM 'x.ent'>", "<ENCTYPE>UART</ENCTYPE>")).Text(),
              "ENCTYPE=UART");
}

TEST_F(HostileFiles, ExternalParameterEntityIsRefused) {
    ExpectUndefined(ReadText(WithSubset("<!ENTITY % p SYSTEM 'x.ent'> %p;", "")));
    ExpectUndefined(ReadText(WithSubset("<!ENTITY % p PUBLIC 'a' 'http://localhost/x'>", "")));
}

TEST_F(HostileFiles, SchemasAndInclusionsAndStyleSheetsAreNotOpened) {
    EXPECT_EQ(
        ReadText("<?xml-stylesheet href='x.xsl' type='text/xsl'?>"
                 "<r xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:noNamespaceSchemaLocation='x.xsd' "
                 "i:schemaLocation='urn:x http://localhost/x.xsd'><VERSION a='b'/><RCVRNAME/>"
                 "<x:include xmlns:x='http://www.w3.org/2001/XInclude' href='x.xml'/>"
                 "<ENCTYPE xml:base='http://localhost/'>UART</ENCTYPE></r>")
            .Text(),
        "ENCTYPE=UART");
}

// Entities that multiply.

TEST_F(HostileFiles, EntityReferencesAreCounted) {
    const std::string subset = "<!ENTITY e '<X/>'>";
    EXPECT_EQ(
        ReadText(WithSubset(subset, Times(kMaxEntityExpansions, "&e;") + "<ENCTYPE>a</ENCTYPE>")).Text(),
        "ENCTYPE=a");
    ExpectUndefined(ReadText(WithSubset(subset, Times(kMaxEntityExpansions + 1, "&e;"))));
}

TEST_F(HostileFiles, PredefinedEntitiesAreNotCounted) {
    EXPECT_EQ(ReadText("<r><VERSION a='b'/><RCVRNAME/>" + Times(1000, "&amp;&#65;") + "</r>").Text(), "");
}

TEST_F(HostileFiles, EntitiesOfEntitiesAreRefused) {
    std::string subset = "<!ENTITY e0 'ha'>";
    for (int i = 1; i < 40; ++i) {
        const std::string inner = "&e" + std::to_string(i - 1) + ";";
        subset += "<!ENTITY e" + std::to_string(i) + " '" + Times(10, inner) + "'>";
    }
    ExpectUndefined(ReadText(WithSubset(subset, "<ENCTYPE>&e39;</ENCTYPE>")));
    ExpectUndefined(ReadText(WithSubset(subset, "<VERSION Copyright='&e39;'/>")));
    ExpectUndefined(ReadText(WithSubset(subset + "<!ATTLIST VERSION c CDATA '&e39;'>", "<VERSION a='b'/>")));
}

TEST_F(HostileFiles, LongEntityCanOnlyBeRepeatedSomeTimes) {
    const std::string subset = "<!ENTITY e '" + std::string(kMaxOptionsFileBytes / 2, 'x') + "'>";
    EXPECT_EQ(ReadText(WithSubset(subset, Times(kMaxEntityExpansions, "&e;"))).Text(), "");
    EXPECT_EQ(
        ReadText(WithSubset(subset, "<VERSION c='" + Times(kMaxEntityExpansions, "&e;") + "'/>")).Text(), "");
    ExpectUndefined(ReadText(WithSubset(subset, Filling("&e;", subset.size() + 100))));
    ExpectUndefined(
        ReadText(WithSubset(subset, "<VERSION c='" + Filling("&e;", subset.size() + 200) + "'/>")));
}

TEST_F(HostileFiles, ParameterEntitiesThatMultiplyAreRefused) {
    std::string subset = "<!ENTITY % p0 ' '>";
    for (int i = 1; i < 40; ++i) {
        const std::string inner = "&#37;p" + std::to_string(i - 1) + ";";
        subset += "<!ENTITY % p" + std::to_string(i) + " '" + inner + inner + "'>";
    }
    ExpectUndefined(ReadText(WithSubset(subset + "%p39;", "")));
}

TEST_F(HostileFiles, ManyEntityDeclarationsAreRead) {
    std::string subset;
    while (subset.size() < kMaxOptionsFileBytes / 2) {
        subset += "<!ENTITY e" + std::to_string(subset.size()) + " 'x'>";
    }
    EXPECT_EQ(ReadText(WithSubset(subset, "<ENCTYPE>UART</ENCTYPE>")).Text(), "ENCTYPE=UART");
}

// Sizes

TEST_F(HostileFiles, FileOfHundredMegabytesIsRefused) {
    const TemporaryFile file(FileWith(""));
    std::filesystem::resize_file(file.Name(), 100'000'000);
    ExpectUndefined(ReadFile(file.Name()));
}

TEST_F(HostileFiles, NestingToTheLimitIsReadAndDeeperRefused) {
    const auto nested = [](std::size_t depth) {
        return "<r><VERSION a='b'/><RCVRNAME/>" + Times(depth - 1, "<X>") + Times(depth - 1, "</X>") + "</r>";
    };
    EXPECT_EQ(ReadText(nested(XMLOptionsHandler::kMaxDepth)).Text(), "");
    ExpectUndefined(ReadText(nested(XMLOptionsHandler::kMaxDepth + 1)));
}

TEST_F(HostileFiles, MillionOpenElementsAreRefused) {
    const std::string text = Times(1'000'000, "<X>");
    ExpectUndefined(ReadText(text));
    const TemporaryFile file(text);
    ExpectUndefined(ReadFile(file.Name()));
}

TEST_F(HostileFiles, HugeAttributesAreRead) {
    const std::string digits(kMaxOptionsFileBytes / 2, '9');
    EXPECT_EQ(ReadText("<r><RCVRNAME/><VERSION version='" + digits + ".1.1.1'/></r>").Text(), "");
    EXPECT_EQ(ReadText("<r><RCVRNAME/><VERSION Copyright='" + digits + "'/></r>").Text(), "");
    ExpectUndefined(ReadText("<r><RCVRNAME/><VERSION version='" + digits + "'/></r>"));
}

TEST_F(HostileFiles, ManyAttributesAreRead) {
    std::string attributes;
    for (int i = 0; i < 20'000; ++i) attributes += " a" + std::to_string(i) + "='b'";
    EXPECT_EQ(ReadText("<r><RCVRNAME/><VERSION" + attributes + "/></r>").Text(), "");
}

TEST_F(HostileFiles, HugeNamesAreRead) {
    const std::string name(kMaxOptionsFileBytes / 4, 'n');
    EXPECT_EQ(ReadText(FileWith("<" + name + "></" + name + ">")).Text(), "");
}

TEST_F(HostileFiles, HugeReceiverNameIsRefused) {
    ExpectUndefined(
        ReadText("<r><VERSION a='b'/><RCVRNAME>" + std::string(900'000, 'x') + "</RCVRNAME></r>"));
}

TEST_F(HostileFiles, HugeValueComesAsItsLastPiece) {
    const Answer answer = ReadText(FileWith("<ENCTYPE>" + std::string(900'000, 'x') + "</ENCTYPE>"));
    ASSERT_EQ(answer.options.size(), 1u);
    EXPECT_EQ(answer.options[0].value.find_first_not_of('x'), std::string::npos);
    EXPECT_GT(answer.options[0].value.size(), 0u);
}

TEST_F(HostileFiles, ManyUnknownElementsAreRead) {
    EXPECT_EQ(ReadText(FileWith(Filling("<X/>", 1000))).Text(), "");
}

TEST_F(HostileFiles, ManyOptionsWithTextAreRefused) {
    const uint32_t most = XMLOptionsHandler::kMaxPieces;
    EXPECT_EQ(ReadText(FileWith(Times(most, "<COMPORT>1</COMPORT>"))).options.size(), most);
    EXPECT_EQ(PortDevicesScript().listings, most);
    ExpectUndefined(ReadText(FileWith(Times(most + 1, "<COMPORT>1</COMPORT>"))));
    ExpectUndefined(ReadText(FileWith("<COMPORT>" + Filling("<![CDATA[1]]>", 1000) + "</COMPORT>")));
}

TEST_F(HostileFiles, ManyOptionsWithoutTextAreRefused) {
    const uint32_t most = XMLOptionsHandler::kMaxPieces;
    EXPECT_EQ(ReadText(FileWith(Times(most, "<COMPORT/>"))).options.size(), most);
    EXPECT_EQ(PortDevicesScript().listings, 0u);
    ExpectUndefined(ReadText(FileWith(Times(most + 1, "<COMPORT/>"))));
    EXPECT_EQ(ReadText(FileWith(Times(most, "<ENCTYPE/>"))).Text(), "");
    ExpectUndefined(ReadText(FileWith(Times(most + 1, "<ENCTYPE/>"))));
}

TEST_F(HostileFiles, WideAndDeepContentModelsEnd) {
    const std::string body = "<ENCTYPE>UART</ENCTYPE>";
    for (const char* separator : {",", "|"}) {
        std::string model = "<!ELEMENT r (a";
        while (model.size() < kMaxOptionsFileBytes / 2) {
            model += separator + ("a" + std::to_string(model.size()));
        }
        EXPECT_EQ(ReadText(WithSubset(model + ")>", body)).Text(), "ENCTYPE=UART") << separator;
    }
    for (const std::size_t depth : std::initializer_list<std::size_t>{500, 100'000}) {
        const std::string model = Times(depth, "(") + "a" + Times(depth, ")");
        EXPECT_EQ(ReadText(WithSubset("<!ELEMENT r " + model + ">", body)).Text(), "ENCTYPE=UART") << depth;
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
