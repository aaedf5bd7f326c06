#pragma once

#include <dlfcn.h>

/// An export of the plug-in, which stays loaded until the process ends; null when there is none.
template <typename Function>
Function FindExport(const char* plugin, const char* name) {
    void* const library = dlopen(plugin, RTLD_NOW);
    return library != nullptr ? reinterpret_cast<Function>(dlsym(library, name)) : nullptr;
}
