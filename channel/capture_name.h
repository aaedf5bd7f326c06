#pragma once

#include <string>

/// \file
/// Names of capture files. A CPU name comes from the host as it is: it may be empty, hold separators, or be
/// longer than the platform takes.

namespace Korr::Plim::Trace::Tarnel {

/// The second of exactly two parts of a CPU name ("board/cpu" gives "cpu"), otherwise the whole name.
std::string ShortCpuName(const std::string& cpuName);

/// Whether the file "swotrace_" + short name + ".bin" is one of the data folder or of a folder below it.
/// False when a part of the path leads upwards (two or more full stops, with or without blanks among them,
/// and nothing else) or names a device instead of a file (see IsDeviceName).
bool StaysInDataFolder(const std::string& shortName);

/// Full path of the capture file: the folder "data" in the logging folder, "swotrace_", the short name,
/// ".bin". Separators in the short name count: "a/b/c" is the file "c.bin" in the folder "swotrace_a/b",
/// which nobody makes. Empty, which no platform opens, when the file would not stay in the data folder.
std::string CaptureFileName(const std::string& loggingFolder, const std::string& shortName);

}  // namespace Korr::Plim::Trace::Tarnel
