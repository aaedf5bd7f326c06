#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/fakes/call_script.h"

/// \file
/// Controls of the scripted file system. It works on real files and folders, with the paths' rules of Windows
/// or of Linux, and fails on demand. Calls that can fail: MakeFolder, MakeTreeFolder, FreeSpace,
/// WorkingFolder, OpenShared, StreamLength, SeekStream, StreamPosition; "Write" lets the streams opened from
/// then on refuse every write.

namespace fakes::file_system {

/// The platform's own separators, plenty of free space, folders made for real.
void Reset();
CallScript& Script();
/// Separators as on Windows ('\\', '/' replaced) or as on Linux ('/', nothing replaced).
void UseWindowsPaths();
void UsePosixPaths();
void SetFreeSpace(uint64_t bytes);
/// A working folder instead of the process's; nullopt for the process's.
void SetWorkingFolder(const std::optional<std::string>& folder);
/// Folders are noted, not made; each counts as made.
void MakeNoFolders();
/// Calls that made or tried to make a folder, as "MakeFolder path" and "MakeTreeFolder path", in order.
std::vector<std::string> FolderLog();
/// Folders whose free space was asked for.
std::vector<std::string> FreeSpaceLog();
/// Opened streams as "mode path".
std::vector<std::string> OpenLog();

}  // namespace fakes::file_system
