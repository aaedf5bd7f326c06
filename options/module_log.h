#pragma once

#include <string>

#include "host_api/cPelkitError.h"

namespace Korr::Plim::Trace::Tarnel {

inline constexpr char kOptionsModuleTag[] = "Tarnel_XmlOptions";

/// Logs a refusal (its first 500 bytes) and throws it.
/// \throws cPelkitError always
[[noreturn]] void RefuseOptions(const std::string& message,
                                cPelkitErrorIF::Severity_Type severity = cPelkitErrorIF::eSEVERITY_ERROR);

}  // namespace Korr::Plim::Trace::Tarnel
