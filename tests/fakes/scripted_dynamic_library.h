#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/fakes/call_script.h"

/// \file
/// Controls of the scripted dynamic libraries: libraries are tables of named entry points. Calls that can
/// fail: LoadDynamicLibrary, FindSymbol.

namespace fakes::dynamic_library {

using EntryPoints = std::map<std::string, void*>;

/// An entry point of a table: the address of a function.
template <typename Function>
void* Entry(Function* function) {
    return reinterpret_cast<void*>(function);
}

/// Forgets libraries, logs and failures.
void Reset();
/// Makes a library loadable by this base name; a second registration of a name replaces the first.
void RegisterLibrary(const std::string& name, EntryPoints entries);
/// Failures on demand, and counts.
CallScript& Script();
/// Number that a failing call leaves as the last error, instead of 126 and 127.
void SetFailureCode(uint32_t code);
/// Lets every load and every look-up throw std::bad_alloc.
void ThrowFromCalls(bool throws);
/// The platform's library extension; "dll" unless told otherwise.
void SetExtension(const std::string& extension);

/// Names as given to each load, failed ones included.
std::vector<std::string> LoadLog();
/// Names of the libraries unloaded, in order.
std::vector<std::string> UnloadLog();
/// Loads of this name not yet given back.
int LoadedCount(const std::string& name);

}  // namespace fakes::dynamic_library
