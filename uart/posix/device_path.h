#pragma once

#include <cstdint>
#include <string>

#include "source_utilities/environment_variables.h"

namespace Korr::Plim::Trace::Tarnel {

/// The device of a COM port: what the environment variable KORR_TRACE_COM<N> names, else /dev/ttyACM<N>.
inline std::string DevicePath(uint32_t portNumber) {
    const std::string number = std::to_string(portNumber);
    const std::string named = KORR_PLIM::platform::GetVariable(("KORR_TRACE_COM" + number).c_str());
    return !named.empty() ? named : "/dev/ttyACM" + number;
}

}  // namespace Korr::Plim::Trace::Tarnel
