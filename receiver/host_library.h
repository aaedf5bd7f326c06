#pragma once

#include <memory>

#include "host_api/throw_error.h"
#include "source_utilities/uDll.h"

namespace Korr::Plim::Trace::Tarnel {

/// Module tag of the receiver's log lines.
inline constexpr const char* kReceiverTag = "Tarnel_Receiver";

/// Loads a library of the host by its base name. \return never null; unloads the library when it dies
/// \throws cPelkitError when the library cannot be loaded or there is no memory
std::unique_ptr<KORR_PLIM::uDll> LoadHostLibrary(const char* baseName);

/// Address of an exported function as that function's type; null when the library does not export it.
template <typename Function>
Function FindEntry(KORR_PLIM::uDll& library, const char* name) {
    return reinterpret_cast<Function>(library.GetSymbol(name));
}

}  // namespace Korr::Plim::Trace::Tarnel
