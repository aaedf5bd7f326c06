#include "options/ChannelOptionsHandler.h"

#include "host_api/cPelkitError.h"
#include "options/module_log.h"
#include "options/options_reader.h"
#include "source_utilities/uFile.h"
#include "source_utilities/uMutex.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr char kFileHead[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!-- This file defines how SWO Trace Control is available for a given configuration. -->\n"
    "<CHANNEL-SETUP>\n"
    "\t<VERSION version=\"1.1.0.0\" Copyright=\"Copyright the Tarnel authors\"></VERSION>\n"
    "\t<RCVRNAME>SWO Trace</RCVRNAME>\n";
constexpr char kFileTail[] = "</CHANNEL-SETUP>\n";

std::string FileText(const OptionList& options) {
    std::string text = kFileHead;
    for (const ChannelOptions& option : options) {
        text += "\t<" + option.key + ">" + option.value + "</" + option.key + ">\n";
    }
    return text + kFileTail;
}

/// Held while the process-wide table and the XML library are in use: handlers of several CPUs take turns.
KORR_PLIM::uMutex& ProcessMutex() {
    static KORR_PLIM::uMutex mutex;
    return mutex;
}

}  // namespace

ChannelOptionsHandler::~ChannelOptionsHandler() = default;

OptionList& ChannelOptionsHandler::GetOptions(OptionList& out, const std::string& fileName, uint32_t kind) {
    probeKind = kind;
    if (!fileName.empty()) {
        out = ReadFile(fileName);
        return out;
    }
    const KORR_PLIM::uMutexLock hold(ProcessMutex());
    StoreProbeKind();
    if (defaults.empty()) {
        OptionList fresh;
        for (const OptionDescriptor* row = OptionTable(); row->id != kOptionNone; ++row) {
            fresh.emplace_back(*row);
        }
        defaults = std::move(fresh);
    }
    out = defaults;
    return out;
}

// A file that hangs holds up its own caller alone.
OptionList ChannelOptionsHandler::ReadFile(const std::string& fileName) const {
    const std::optional<std::string> text = LoadOptionsFile(fileName);
    const KORR_PLIM::uMutexLock hold(ProcessMutex());
    StoreProbeKind();
    if (!text) RefuseUnreadableOptions();
    return ReadOptionsText(*text, fileName);
}

void ChannelOptionsHandler::StoreProbeKind() const {
    for (uint32_t row = 0; row < kOptionRows; ++row) OptionTable()[row].probeKind = probeKind;
}

void ChannelOptionsHandler::SaveOptions(const OptionList& options, const std::string& fileName) {
    if (options.empty()) RefuseOptions("Invalid options to save.");
    if (fileName.empty()) RefuseOptions("No XML file specified to save options.");
    KORR_PLIM::uFile file;
    if (!file.Open(fileName.c_str(), "w")) RefuseOptions("Cannot open file for writing.");
    // The results are deliberately not looked at: see the header.
    file.WriteString(FileText(options).c_str());
    file.Close();
}

}  // namespace Korr::Plim::Trace::Tarnel
