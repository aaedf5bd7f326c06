#pragma once

#include <cstdint>

/// \file
/// The table of checks that the host prints.

namespace host {

/// Starts a group of checks. \param name kept, not copied
void Group(const char* name);
/// One check: prints its line and counts it in the group.
void Check(bool holds, const char* format, ...);
/// Prints the groups with their numbers. \return whether there were checks and all of them held
bool PrintGroups();

}  // namespace host
