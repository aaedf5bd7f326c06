#pragma once

#include <string>
#include <vector>

#include "trace/port_values.h"
#include "tracehost/captures.h"

namespace Korr::Plim::Trace::Tracehost {

/// What the user wants to be exported, as it was given; what is empty was not.
struct ExportOptions {
    CaptureRequest capture;
    std::string ports;
    std::string from;
    std::string to;
    std::string format;
    std::string output;
    std::string elf;
    Swo::PortFormats portTypes;
    bool force = false;
};

/// The formats there are.
std::vector<std::string> ExportFormats();

/// Exports the captures. \return exit status \throws UsageError, HostError
int Export(const ExportOptions& options);

}  // namespace Korr::Plim::Trace::Tracehost
