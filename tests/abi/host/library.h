#pragma once

#include <cstdint>
#include <new>
#include <string>

#include "host_api/entry_points.h"
#include "tests/abi/host/act.h"
#include "tests/abi/host/system.h"

/// \file
/// What the host's libraries share. Each of their objects comes in two forms: of a class of the interface
/// headers, and with a table made by hand, slot by slot.

#define EXPORT extern "C" __declspec(dllexport)
#define SLOT(function) reinterpret_cast<const void*>(&function)
#define RESERVED reinterpret_cast<const void*>(&Reserved)

using namespace Korr::Plim::Trace;

/// An object that is nothing but its table.
struct Raw {
    const void* const* table;
};

/// A slot that the plug-in must not call.
[[noreturn]] inline void Reserved() { host::Fail("a reserved slot was called"); }

inline std::string StringOf(const Text& text) { return std::string(text.bytes, text.length); }

/// Notes a name that is not the expected one.
inline void ExpectName(const char* name, size_t length, const Text& expected) {
    if (length != expected.length || memcmp(name, expected.bytes, length) != 0) ++HostScript()->wrongNames;
}
inline void ExpectName(const char* name, const char* expected) {
    ExpectName(name, strlen(name), {expected, strlen(expected)});
}
