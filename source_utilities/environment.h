#pragma once

namespace KORR_PLIM {

/// Value of an environment variable, empty when unset. The text stays valid until the same thread's next
/// call. Any thread. \throws source_utilities_error for a null name
const char* GetEnvironment(const char* name);
/// Sets an environment variable of the process. \throws source_utilities_error for a null name or value, and
/// when the platform refuses
void SetEnvironment(const char* name, const char* value);

}  // namespace KORR_PLIM
