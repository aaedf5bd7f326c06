#pragma once

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"

#include <cstdlib>
#include <string>

/// Whether this copy of the plug-in has a fault: the variable TARNEL_TEST_FAULTS holds the names of those it
/// has, with commas between them. A fault has the name of the check that must find it; one that several find
/// has the names of the two operations that stand in each other's place, with "/" between them, and one that
/// a single step finds has the check's name and a word for the step behind ":".
inline bool Has(const std::string& fault) {
    static const std::string faults = [] {
        const char* const names = std::getenv("TARNEL_TEST_FAULTS");
        return "," + std::string(names != nullptr ? names : "") + ",";
    }();
    return faults.find("," + fault + ",") != std::string::npos;
}

/// Whether an error has this text.
inline bool Tells(const cPelkitErrorIF& error, const std::string& text) {
    return text == pelkit::TextOf(error);
}

/// Carries a call out; what it refuses with `text` is refused as a warning when the plug-in has the fault.
template <typename Call>
auto Softened(const char* fault, const char* text, Call call) {
    try {
        return call();
    } catch (const cPelkitErrorIF& error) {
        if (!Has(fault) || !Tells(error, text)) throw;
        throw cPelkitError(text, cPelkitErrorIF::eSEVERITY_WARNING);
    }
}

/// Leaves a handle of the platform's open, or several, and nothing in the heap.
void LeakHandle();
