#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tracehost/cli_names.h"

#include "trace/port_values.h"

namespace Korr::Plim::Trace::Tracehost {

/// Reads "3=f32:speed" or "3=f32" and adds it. A name may hold any characters but control characters, at most
/// kLongestPortName bytes. \throws UsageError, also when the port is there already
void AddPortFormat(Swo::PortFormats& ports, const std::string& text);
inline constexpr std::size_t kLongestPortName = 64;

/// The type of a name, such as "f32".
std::optional<Swo::PortType> ReadPortType(std::string_view text);

/// Adds "--port-type", which may be given once for each port.
void AddPortTypes(CLI::App& command, Swo::PortFormats& ports);

}  // namespace Korr::Plim::Trace::Tracehost
