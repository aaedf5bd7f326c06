#pragma once

#include "host_api/cPelkitError.h"

/// \file
/// How a host of the simulated error library reads an error; the plug-in never does.

namespace pelkit {

/// The message, valid while the error lives; never null. \param error made by the simulated library
PELKIT_API const char* TextOf(const cPelkitErrorIF& error);
/// The severity given at construction. \param error made by the simulated library
PELKIT_API cPelkitErrorIF::Severity_Type SeverityOf(const cPelkitErrorIF& error);

}  // namespace pelkit
