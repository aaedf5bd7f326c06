#pragma once

#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// The version that a module's file carries, "1.1.0 (38a3801)"; empty when it carries none or cannot be read.
std::string VersionIn(const std::string& file);

/// What --version prints: version and commit of tracehost, then the plug-in that is loaded, its file and
/// version, or why there is none.
std::string VersionReport(const std::string& plugin);

}  // namespace Korr::Plim::Trace::Tracehost
