#include "options/options_reader.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/sax/SAXParseException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>

#include <cstdio>

#include "options/XMLOptionsHandler.h"
#include "options/guarded_parser.h"
#include "options/module_log.h"
#include "options/parser_memory.h"
#include "source_utilities/file_stream.h"
#include "source_utilities/log_call.h"
#include "source_utilities/visible_text.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr char kUndefinedException[] = "Undefined exception occurred while parsing emulation setup file";
constexpr char kNoReceiverName[] =
    "RCVRNAME xml tag not found in this xml file.\n"
    "If this file was created with Trace V1.0, then please recreate\n"
    "the file using Trace V1.1 software by setting the same options\n"
    "and saving to the same file name.\n"
    "It is also possible this file is corrupted. Saving the file again\n"
    "as desribed above will resolve this problem.";

/// Keeps the XML library initialised. Everything that the library allocated, its exceptions included, must be
/// gone before the destructor.
class XmlLibrary {
  public:
    /// \throws cPelkitError
    XmlLibrary() {
        try {
            xercesc::XMLPlatformUtils::Initialize();
        } catch (const xercesc::XMLException& error) {
            RefuseOptions({"error during XML initialization", NarrowText(error.getMessage())});
        }
    }
    ~XmlLibrary() { xercesc::XMLPlatformUtils::Terminate(); }
    XmlLibrary(const XmlLibrary&) = delete;
    XmlLibrary& operator=(const XmlLibrary&) = delete;
};

enum class ParseEnd { kComplete, kXmlException, kOtherException };

struct ParseResult {
    ParseEnd end = ParseEnd::kComplete;
    std::string message;  ///< of an XMLException
    int errorCount = 0;   ///< errors that the parser got over
};

/// Parses with the library initialised. The parser and its exceptions are gone on return.
ParseResult Parse(const std::string& text, XMLOptionsHandler& handler) {
    ParserMemory memory;
    ParseResult result;
    try {
        GuardedParser parser(handler, memory);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                                "options");
        parser.xercesc::SAXParser::parse(source);
        result.errorCount = parser.getErrorCount();
    } catch (const xercesc::XMLException& error) {
        result.end = ParseEnd::kXmlException;
        result.message = NarrowText(error.getMessage());
    } catch (const xercesc::SAXParseException& error) {
        KORR_PLIM::LogError("%s: line %llu: %.500s", kOptionsModuleTag,
                            static_cast<unsigned long long>(error.getLineNumber()),
                            KORR_PLIM::Visible(NarrowText(error.getMessage())).Text());
        result.end = ParseEnd::kOtherException;
    } catch (...) {
        result.end = ParseEnd::kOtherException;
    }
    return result;
}

ParseResult ParseWithLibrary(const std::string& text, XMLOptionsHandler& handler) {
    const XmlLibrary library;
    return Parse(text, handler);
}

/// Throws for every result but a complete one.
void CheckResult(const ParseResult& result, const std::string& fileName) {
    if (result.end == ParseEnd::kXmlException) {
        RefuseOptions({"eerror during XML parsing", result.message});
    }
    if (result.end == ParseEnd::kOtherException) RefuseOptions(kUndefinedException);
    if (result.errorCount != 0) {
        RefuseOptions({"Recoverable errors were detected while parsing ", fileName},
                      cPelkitErrorIF::eSEVERITY_WARNING);
    }
}

bool Load(const std::string& fileName, std::string& text) {
    const KORR_PLIM::FileStream stream = KORR_PLIM::OpenStream(fileName.c_str(), "rb");
    if (stream == nullptr) return false;
    text.resize(kMaxOptionsFileBytes + 1);
    text.resize(std::fread(text.data(), 1, text.size(), stream.get()));
    return std::ferror(stream.get()) == 0 && text.size() <= kMaxOptionsFileBytes;
}

}  // namespace

OptionList ReadOptionsText(const std::string& text, const std::string& fileName) {
    XMLOptionsHandler handler;
    CheckResult(ParseWithLibrary(text, handler), fileName);
    if (!handler.VersionFound() || !handler.RcvrNameFound()) RefuseOptions(kNoReceiverName);
    KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary, "%s: returning parsed otions.", kOptionsModuleTag);
    handler.SortOptions();
    OptionList options;
    handler.GetParsedOptions(options);
    return options;
}

std::optional<std::string> LoadOptionsFile(const std::string& fileName) {
    std::string text;
    if (Load(fileName, text)) return text;
    KORR_PLIM::LogError("%s: %.500s cannot be read or is too long.", kOptionsModuleTag,
                        KORR_PLIM::Visible(fileName).Text());
    return std::nullopt;
}

void RefuseUnreadableOptions() {
    { const XmlLibrary library; }  // whose own failure comes first
    RefuseOptions(kUndefinedException);
}

}  // namespace Korr::Plim::Trace::Tarnel
