#pragma once

#include <string>
#include <vector>

/// \file
/// Controls of the scripted debugger output, which keeps what it is given. It cannot fail.

namespace fakes::debugger_output {

void Reset();
std::vector<std::string> Texts();

}  // namespace fakes::debugger_output
