#include "options/XMLOptionsHandler.h"

#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/sax/AttributeList.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "options/module_log.h"
#include "options/version_attribute.h"
#include "source_utilities/log_call.h"

namespace Korr::Plim::Trace::Tarnel {

std::string NarrowText(const XMLCh* text) {
    std::string narrow;
    for (; text != nullptr; ++text) {
        const char low = static_cast<char>(static_cast<unsigned char>(*text & 0xFF));
        if (low == '\0') break;
        narrow += low;
    }
    return narrow;
}

void XMLOptionsHandler::ResetCurrentOption() { currentId = kOptionNone; }

void XMLOptionsHandler::ClearCurrentOption() { currentId = kOptionNone; }

void XMLOptionsHandler::ReleaseLibraryMemory(void* memory) {
    if (memory != nullptr) xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(memory);
}

OptionList& XMLOptionsHandler::GetParsedOptions(OptionList& out) {
    out = options;
    return out;
}

void XMLOptionsHandler::SortOptions() {
    OptionList sorted;
    for (uint32_t id = 0; id < kOptionNone; ++id) {
        for (const ChannelOptions& option : options) {
            if (option.id == id) sorted.push_back(option);
        }
    }
    options = std::move(sorted);
}

void XMLOptionsHandler::startElement(const XMLCh* elementName, xercesc::AttributeList& attributes) {
    if (++depth > kMaxDepth) RefuseOptions("Elements in xml file are nested too deeply.");
    const std::string name = NarrowText(elementName);
    if (name == "VERSION") {
        StartVersion(attributes);
    } else if (name == "RCVRNAME") {
        inRcvrName = true;
        rcvrNameFound = true;
    } else {
        currentId = FindOptionId(name);
        current = ChannelOptions();
    }
}

void XMLOptionsHandler::StartVersion(xercesc::AttributeList& attributes) {
    inVersion = true;
    versionFound = true;
    if (attributes.getLength() == 0) {
        RefuseOptions("VERSION tag in xml file is missing version and copyright attributes.");
    }
    // The copyright and any other attribute are not looked at.
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
        if (NarrowText(attributes.getName(i)) == "version") ReadVersion(NarrowText(attributes.getValue(i)));
    }
}

void XMLOptionsHandler::ReadVersion(const std::string& text) {
    const auto numbers = ReadVersionAttribute(text);
    if (!numbers) {
        RefuseOptions({"Invalid version attribute in VERSION tag of xml file: '", text,
                       "'.\nVersion attribute format should be <Major>.<Minor>.<BugFix>.<Patch>"
                       "'\nWhere Major, Minor, BugFix and Patch are unsigned decimal values."});
    }
    versionMajor = (*numbers)[0];
    versionMinor = (*numbers)[1];
    versionBugFix = (*numbers)[2];
    versionPatch = (*numbers)[3];
}

void XMLOptionsHandler::characters(const XMLCh* text, XMLSize_t) {
    if (inVersion) return;
    if (inRcvrName) {
        const std::string receiver = NarrowText(text);
        if (receiver != "SWO Trace") {
            RefuseOptions({"Invalid RCVRNAME tag value in xml file: '", receiver, "'."});
        }
    } else if (currentId < kOptionNone) {
        ReadOptionText(NarrowText(text));
    }
}

void XMLOptionsHandler::CountPiece() {
    if (++pieces > kMaxPieces) RefuseOptions("Too many options in xml file.");
}

// A blank option has no ID and goes when the options are sorted. Only of the two options whose default value
// can be empty is an element without text one with that value, because SaveOptions writes them so.
void XMLOptionsHandler::TakeOptionWithoutText() {
    CountPiece();
    const bool canBeEmpty = currentId == kOptionFirmwareVersion || currentId == kOptionComPort;
    if (canBeEmpty && !inVersion) current = ChannelOptions::WithEmptyValue(OptionTable()[currentId]);
}

void XMLOptionsHandler::ReadOptionText(const std::string& text) {
    CountPiece();
    // The last piece of an element's text wins: each one starts from the table's row again.
    current = ChannelOptions(OptionTable()[currentId]);
    current.value = text;
}

void XMLOptionsHandler::endElement(const XMLCh* elementName) {
    --depth;
    const std::string name = NarrowText(elementName);
    if (name == "VERSION") {
        inVersion = false;
    } else if (name == "RCVRNAME") {
        inRcvrName = false;
    } else {
        if (currentId < kOptionNone) {
            if (current.id == kOptionNone) TakeOptionWithoutText();
            KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary, "%s: adding option to list %s.", kOptionsModuleTag,
                                  current.label.c_str());
            options.push_back(current);
        }
        ResetCurrentOption();
    }
}

}  // namespace Korr::Plim::Trace::Tarnel
