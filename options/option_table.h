#pragma once

#include <cstdint>
#include <string>

#include "options/option_ids.h"

namespace Korr::Plim::Trace::Tarnel {

/// One row of the option table.
struct OptionDescriptor {
    uint32_t id;
    int32_t hostFlag;   ///< handed to the host; nothing here tests it
    uint32_t parentId;  ///< the option that governs this one, kOptionNone for none
    const char* key;    ///< also the XML element name
    const char* label;
    const char* group;
    const char* choices;  ///< separated by commas
    bool extraFlag1;
    uint32_t kind;  ///< 1: choose one, 5: free value with a prompt, 6: hidden
    bool extraFlag2;
    uint32_t probeKind;  ///< filter of the COM port discovery; written by ChannelOptionsHandler::GetOptions
};

/// The process-wide table: rows 0 to 7 and the terminator, row 8. Has no lock of its own: see
/// ChannelOptionsHandler.
OptionDescriptor* OptionTable();
inline constexpr uint32_t kOptionRows = 9;

/// ID of a key, exact comparison; kOptionNone for any other text.
uint32_t FindOptionId(const std::string& key);

/// The text that an option holds while nothing was given: "Prescalar value", "Frequency in Hz", empty for
/// others.
const char* OptionPlaceholder(uint32_t id);

}  // namespace Korr::Plim::Trace::Tarnel
