#pragma once

#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: why a file cannot be read, in the platform's words; empty when it can. A folder cannot. Nothing is
/// waited for, and a named pipe of POSIX is not opened: that is for who reads it, once.
std::string WhyNotReadable(const std::string& path);
/// Seam: why a file cannot be written, or made where it is not there yet, in the platform's words; empty when
/// it can. A folder cannot. What is there stays as it is.
std::string WhyNotWritable(const std::string& path);
/// Seam: what stands for the file at a path at this moment. Empty: there is none, or the system tells nothing
/// about it. Two texts that differ: another file has come in its place, as long as the first is held open.
std::string FileIdentity(const std::string& path);
/// Why files cannot be made in a folder, or in one that would have to be made first; empty when they can.
std::string WhyNoFolder(const std::string& path);

}  // namespace Korr::Plim::Trace::Tracehost
