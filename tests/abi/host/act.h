#pragma once

#include <exception>

#include "tests/abi/host/pelkit.h"
#include "tests/abi/host/script.h"

/// A standard exception of the host's own.
class HostException : public std::exception {
  public:
    using std::exception::exception;
};

/// Counts a call, and throws what the script says.
inline void Act(Place place) {
    Script& script = *HostScript();
    ++script.calls[static_cast<uint32_t>(place)];
    if (script.throwAt != place) return;
    if (script.thrown == Thrown::HostsError) {
        throw cPelkitError(kThrownText, cPelkitErrorIF::eSEVERITY_WARNING);
    }
    if (script.thrown == Thrown::Integer) throw kThrownInteger;
    if (script.thrown == Thrown::StandardException) throw HostException(kThrownText);
}
