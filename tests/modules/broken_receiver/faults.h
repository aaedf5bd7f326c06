#pragma once

#include <cstdlib>
#include <string>

/// Whether this copy of the plug-in has a fault: the variable TARNEL_TEST_FAULTS holds the names of those it
/// has, with commas between them. A fault has the name of the check that must find it.
inline bool Has(const std::string& fault) {
    static const std::string faults = [] {
        const char* const names = std::getenv("TARNEL_TEST_FAULTS");
        return "," + std::string(names != nullptr ? names : "") + ",";
    }();
    return faults.find("," + fault + ",") != std::string::npos;
}
