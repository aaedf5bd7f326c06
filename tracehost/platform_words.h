#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: the platform's words for an error number (errno; GetLastError on Windows), without a full stop.
std::string ErrorWords(uint32_t number);

/// Seam: why the platform does not load a library, in its loader's words.
/// \param name base name or path without the platform's extension
/// \param folder looked in first when the name is a base name, as the plug-in looks beside itself; may be
/// empty \return empty when it loads now
std::string LoaderWords(const std::string& name, const std::string& folder);

/// Seam: the file of the loaded library or program in which an address lies; empty when unknown.
std::string ModuleFile(const void* address);

/// Seam: the file of the running program; empty when unknown.
std::string ProgramFile();

/// Seam: the folder of the running program, without a separator at its end; empty when unknown.
std::string ProgramFolder();

}  // namespace Korr::Plim::Trace::Tracehost
