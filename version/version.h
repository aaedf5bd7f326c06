#pragma once

namespace Korr::Plim::Trace {

/// Version and commit of the module that this is linked into: "1.1.0 (38a3801)", or "1.1.0 (38a3801-dirty)"
/// when the sources were others than that commit's; the commit is "unknown" in a build from something else
/// than a git repository.
const char* VersionText();

/// Stands before the version text in every module's file, so that the version of one can be read without
/// loading it.
inline constexpr char kVersionMark[] = {'@', '(', '#', ')', 'T', 'a', 'r', 'n', 'e', 'l', ' ', '\0'};

}  // namespace Korr::Plim::Trace
