#pragma once

#include <string>

namespace KORR_PLIM::platform {

/// Seam: value of a variable of this process; empty when unset or longer than 32,767 bytes.
std::string GetVariable(const char* name);
/// Seam: sets a variable of this process. \return false when the platform refused
bool SetVariable(const char* name, const char* value);
/// The variable that names the user's home when USERPROFILE is empty; null where there is none.
const char* HomeFallbackVariable();

}  // namespace KORR_PLIM::platform
