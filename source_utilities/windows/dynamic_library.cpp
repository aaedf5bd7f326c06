#include "source_utilities/dynamic_library.h"

#include <windows.h>

namespace KORR_PLIM::platform {

const char* LibraryExtension() { return "dll"; }

LibraryHandle LoadDynamicLibrary(const char* name) {
    return reinterpret_cast<LibraryHandle>(LoadLibraryA(name));
}

void* FindSymbol(LibraryHandle library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(library), name));
}

void FreeDynamicLibrary(LibraryHandle library) { FreeLibrary(reinterpret_cast<HMODULE>(library)); }

uint32_t LastLibraryError() { return GetLastError(); }

}  // namespace KORR_PLIM::platform
