#pragma once

#include <windows.h>

/// An export of the plug-in, which stays loaded until the process ends; null when there is none.
template <typename Function>
Function FindExport(const char* plugin, const char* name) {
    const HMODULE library = LoadLibraryA(plugin);
    return library != nullptr ? reinterpret_cast<Function>(GetProcAddress(library, name)) : nullptr;
}
