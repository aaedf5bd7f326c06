#pragma once

#include <string>

#include "host_api/cPelkitError.h"

namespace Korr::Plim::Trace::Tarnel {

inline constexpr char kOptionsModuleTag[] = "Tarnel_XmlOptions";

/// A message around a value that comes from a file, a name or the XML library. The log shows the value's
/// control characters; what is thrown holds the value as it is.
struct OptionsRefusal {
    std::string before;
    std::string value{};
    std::string after{};
};

/// Logs a refusal (its first 500 bytes) and throws it.
/// \throws cPelkitError always
[[noreturn]] void RefuseOptions(const OptionsRefusal& refusal,
                                cPelkitErrorIF::Severity_Type severity = cPelkitErrorIF::eSEVERITY_ERROR);
[[noreturn]] void RefuseOptions(const char* message);

}  // namespace Korr::Plim::Trace::Tarnel
