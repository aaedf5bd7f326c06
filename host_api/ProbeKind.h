#pragma once

#include <cstdint>

namespace Korr::Plim::Trace {

/// Families of debug probes. The kind selects the probe's COM ports and the rules for its firmware.
enum ProbeKind : uint32_t {
    kBrantorProbe = 0,      ///< the larger family
    kQuillerProbe = 1,      ///< the small probe
    kUnsupportedProbe = 2,  ///< any other, or none
};

}  // namespace Korr::Plim::Trace
