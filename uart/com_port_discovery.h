#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tarnel {

/// Numbers of the COM ports, in decimal and ascending, whose friendly names belong to a probe kind (0:
/// `Brantor` family, 1: `Quiller`, 2: any of them, others: none). Duplicates are kept. Prints what it found
/// to standard output. Never throws.
std::vector<std::string> EnumerateProbeComPorts(uint32_t probeKind);

}  // namespace Korr::Plim::Trace::Tarnel
