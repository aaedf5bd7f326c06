#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tracehost/port_access.h"

namespace Korr::Plim::Trace::Tracehost {

/// A COM port that the system lists or the environment names.
struct ListedPort {
    std::optional<uint32_t> number;  ///< absent: its name tells none, so that it cannot be recorded from
    std::string name;   ///< the system's friendly name; empty for a port of the environment alone
    std::string probe;  ///< "Brantor", "Quiller", or empty: the name is not that of a probe's data port
    bool byEnvironment = false;  ///< KORR_TRACE_COM<N> names its device
    bool isDefault = false;      ///< the one that a recording takes when none is given
    PortAccess access;
};

/// All of them, by number; those without one at the end. Prints what discovery prints to standard output.
std::vector<ListedPort> ListPorts();

/// The system's friendly name of a COM port's device; empty when it has none, as a port of the environment.
std::string PortDeviceName(uint32_t number);

/// Why a recording takes the port or does not, in one sentence.
std::string WhyTaken(const ListedPort& port);

}  // namespace Korr::Plim::Trace::Tracehost
