#pragma once

#include <sys/stat.h>

#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// The first other process found that has a device open: "cat (process 77)"; empty when none is found.
/// Without root's rights only the user's own processes are seen.
std::string OpenIn(const struct stat& device);
/// The process that holds a whole-file lock on a file; empty when none does. Processes of other users are
/// seen, too.
std::string LockedBy(const struct stat& file);

}  // namespace Korr::Plim::Trace::Tracehost
