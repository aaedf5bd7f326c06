#pragma once

#include <functional>
#include <string>
#include <vector>

/// \file
/// Controls of the scripted debugger output, which keeps what it is given. It cannot fail.

namespace fakes::debugger_output {

void Reset();
std::vector<std::string> Texts();
/// Called with every text, before it is kept; forgotten by Reset.
void WhileWriting(std::function<void()> action);

}  // namespace fakes::debugger_output
