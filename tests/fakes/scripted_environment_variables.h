#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/fakes/call_script.h"

/// \file
/// Controls of the scripted environment: variables of its own, none of the process's. Calls that can fail:
/// GetVariable (gives the empty text), SetVariable.

namespace fakes::environment_variables {

/// Empties the environment.
void Reset();
CallScript& Script();
/// Sets or, without a value, removes a variable, uncounted.
void Put(const std::string& name, const std::optional<std::string>& value);
/// Value of a variable, uncounted.
std::optional<std::string> Peek(const std::string& name);
/// Each successful SetVariable as "NAME=value", in order.
std::vector<std::string> SetLog();
/// Name of the variable that stands in for USERPROFILE; null, as at first, for none.
void SetHomeFallback(const char* name);

}  // namespace fakes::environment_variables
