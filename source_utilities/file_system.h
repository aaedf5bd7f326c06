#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace KORR_PLIM::platform {

/// The character between the components of a path: '\\' on Windows, '/' elsewhere.
char PathSeparator();
/// A character that the platform also takes as a separator and that path joining replaces ('/' on Windows); 0
/// for none.
char AlternativePathSeparator();

/// Whether one part of a path stands for a device in whatever folder it is named: on Windows CON, PRN, AUX,
/// NUL, CONIN$, CONOUT$, COM0 to COM9, LPT0 to LPT9, in any case, also with an extension or blanks behind;
/// nothing elsewhere.
bool IsDeviceName(const std::string& part);

/// Seam: makes one folder (CreateDirectoryA). An existing one, and any failure, give false.
bool MakeFolder(const char* path);
/// Seam: makes one folder of a folder tree (_mkdir). \return true when it was made or the name exists
bool MakeTreeFolder(const char* path);
/// Seam: bytes free to the caller on the volume of a folder. \return false when the query failed
bool FreeSpace(const char* folder, uint64_t& bytes);
/// Seam: the current working folder. \return false when it is unknown or does not fit into 260 bytes
bool WorkingFolder(std::string& folder);

/// Seam: opens a stream, shared with other readers and writers. A folder is never opened to read; on Linux
/// nothing else but a file is either (EISDIR for a folder, EINVAL), and opening to read never waits.
/// \return null on failure, errno says why
std::FILE* OpenShared(const char* name, const char* mode);
/// Seam: length in bytes of an open stream's file, -1 on failure.
int64_t StreamLength(std::FILE* stream);
/// Seam: moves to a byte offset from the start, 64-bit on every platform. \return false on failure
bool SeekStream(std::FILE* stream, int64_t offset);
/// Seam: current byte offset from the start, -1 on failure.
int64_t StreamPosition(std::FILE* stream);

}  // namespace KORR_PLIM::platform
