#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost::Validation {

class Stage;

/// One named check of a plug-in.
struct Check {
    const char* name;     ///< stable: scripts name it
    const char* asks;     ///< what must hold, one sentence without a full stop
    const char* why;      ///< what a host loses when it does not hold, the same
    uint32_t ports;       ///< COM ports with a far end that it needs; 0, 1 or 2
    void (*run)(Stage&);  ///< returns when all holds, else ends the process (verdict.h)
};

/// The checks of one subject.
struct Subject {
    const char* name;
    const std::vector<Check>& (*checks)();
};

/// All subjects, in the order in which they are run and shown.
const std::vector<Subject>& Subjects();
/// The check of a name; null when there is none.
const Check* FindCheck(const std::string& name);

}  // namespace Korr::Plim::Trace::Tracehost::Validation
