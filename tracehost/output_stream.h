#pragma once

#include <cstdio>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: whether a name means standard output: "-", and what the platform calls it ("/dev/stdout").
bool IsStandardOutputName(const std::string& name);
/// Seam: whether a name always means a device ("NUL" on Windows). Whatever the file system tells to be one is
/// not asked here.
bool IsDeviceName(const std::string& name);
/// Seam: opens a device or a FIFO to write bytes into. Never waits for a FIFO's reader: without one it fails.
/// \return null on failure, errno says why
std::FILE* OpenStream(const std::string& name);
/// Seam: whether an error number of a failed write says that the pipe's reader has closed it.
bool IsClosedPipe(int error);

}  // namespace Korr::Plim::Trace::Tracehost
