#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "trace/port_values.h"
#include "tracehost/captures.h"
#include "viewer/recording_feed.h"

namespace Korr::Plim::Trace::Tracehost {

/// What the user said about how a recording is shown.
struct ViewRequest {
    std::string elf;         ///< file of the firmware; empty: none
    Swo::PortFormats ports;  ///< types and names of stimulus ports
};

/// Adds "--elf" and "--port-type".
void AddViewOptions(CLI::App& command, ViewRequest& request);

/// How a page tells of a capture: name, times, firmware and the words for what was lost.
/// \throws UsageError, HostError for the firmware's file
Viewer::RecordingSettings SettingsOf(const Capture& capture, const ViewRequest& request);

}  // namespace Korr::Plim::Trace::Tracehost
