#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tarnel {

/// Number of ITM stimulus ports.
inline constexpr uint32_t kItmChannels = 32;
/// Entry of a port that nothing set.
inline constexpr int32_t kItmTypeNotSet = -1;
/// Name of the set-up file in the settings folder.
inline constexpr char kItmSetupFile[] = "TraceCntrl-itm.ini";
/// Exception map of a device without one of its own.
inline constexpr char kDefaultExceptionMap[] = "MOD_EXCEPTIONMAP";

/// How the host decodes each stimulus port; 1 is the type that it is told of.
using ItmTypes = std::array<int32_t, kItmChannels>;

/// One line of the set-up file, "text_<channel>=<type>". Numbers are read as by ParseInteger.
struct ItmLine {
    int32_t channel;  ///< after the first "_" before the first "="; the whole key without a "_"
    int32_t type;     ///< after the first "="; the whole line without one
};
ItmLine ParseItmLine(const std::string& line);

/// Reads the set-up file. Its lines list the channels from 0 upwards without a gap; a line out of this order
/// is logged and skipped, lines for channels 32 and above set nothing. Of a line the first 1,048,576
/// bytes count; it may hold any bytes. Without a readable file the legacy mapping holds: channel 0 has type
/// 1, all others 0. Logs what it did; throws nothing of its own.
ItmTypes ReadItmTypes(const std::string& fileName);

/// Exception map of a `Glintar` device, by the class field of its DID0.
const char* GlintarExceptionMap(uint32_t deviceClass);

}  // namespace Korr::Plim::Trace::Tarnel
