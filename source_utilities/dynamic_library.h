#pragma once

#include <cstdint>

namespace KORR_PLIM::platform {

/// An opaque library handle; kNoLibrary is used by no platform.
using LibraryHandle = std::intptr_t;
inline constexpr LibraryHandle kNoLibrary = 0;

/// File name extension of libraries without the dot: "dll" on Windows, "so" elsewhere.
const char* LibraryExtension();
/// Seam: loads a library by base name or path through the platform's own search. On Linux lib<name>.so and
/// <name>.so are looked for beside this module first, then by the platform. \return kNoLibrary on failure
LibraryHandle LoadDynamicLibrary(const char* name);
/// Seam: address of an exported entry point, null when there is none.
void* FindSymbol(LibraryHandle library, const char* name);
/// Seam: unloads.
void FreeDynamicLibrary(LibraryHandle library);
/// Seam: number of the last failure of this seam on this thread (GetLastError on Windows; 126 for a library
/// and 127 for an entry point that were not found elsewhere).
uint32_t LastLibraryError();

}  // namespace KORR_PLIM::platform
