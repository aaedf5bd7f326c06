#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// What stands in the way of using a COM port.
struct PortAccess {
    std::string device;   ///< "/dev/ttyACM5", "\\.\COM5"
    std::string problem;  ///< in the platform's words, or "in use by another program"; empty: it can be used
    std::string
        holder;  ///< who has it open or locked, as far as that can be told: "cat (process 77)"; may be empty
    std::string advice;    ///< what to do; empty when nothing stands in the way
    bool lookedAt = true;  ///< false: the platform tells nothing of a port that is not opened
};

enum class PortCheck {
    FromOutside,  ///< without opening: what a device does when it is opened is its own affair
    ByOpening,    ///< opened for a moment, when nobody else was found to have it; its settings and bytes stay
};

/// Seam: looks at a port.
PortAccess CheckPort(uint32_t number, PortCheck check);

/// Seam: the ports that the environment names (KORR_TRACE_COM<N>), ascending; none on Windows.
std::vector<uint32_t> PortsOfEnvironment();

/// Seam: the port number under which the plug-in opens a device path; the environment of the process is made
/// to name it when no number means it yet. Absent where ports have numbers alone, and for what is no path.
std::optional<uint32_t> PortOfDevice(const std::string& path);

}  // namespace Korr::Plim::Trace::Tracehost
