#pragma once

#include <cstdint>

/// \file
/// Adds sections to a TDF file, the host's container of saved trace. A section starts at offset S, where the
/// file ended when it was begun; numbers are unsigned, 32 bits wide, low byte first:
///
///   S          length of the section in bytes, this field included
///   S + 4      version of the section
///   S + 8      length N of the name in bytes
///   S + 12     the name, without terminator
///   S + 12 + N the data, piece after piece
///
/// The file's own header, at least 4 bytes, is written by the host. All positions have 32 bits: what would
/// make the file longer than 4,294,967,295 bytes is refused before a byte is written, and the file stays as
/// it was. After any other failure the file is left as far as it was written. Nothing is logged.

namespace Korr::Plim::Trace::Tarnel {

/// Appends the header of a new section without data.
/// \param fileName an existing file
/// \param sectionName copied; null gives an empty name
/// \param sectionOffset out: S, to be passed to AppendSectionData; 0 on failure before it was known
/// \throws cPelkitError (severity 2):
///   "File name passed to save file is not valid." null, empty, or no readable file;
///   "Could not open TDF file as specified." not writable;
///   "Write error -  TDF section header size." the length field was not written, the end of the file was not
///   found, or the header would pass the largest file;
///   "Write error -  TDF section name and version." version or name were not written;
///   "Write error - size of TDF header." the length was not written
void BeginSection(const char* fileName, const char* sectionName, uint32_t version, uint32_t& sectionOffset);

/// Appends `count` elements to the data of a section; the section must be the last of its file.
/// \param sectionName not used; sections are found by their offset
/// \param sectionOffset what BeginSection gave, at least 4
/// \param data not null
/// \param elementSize in bytes
/// \param sectionLength out: the section's new length, also when it could not be written; 0 on failure before
/// it was known
/// \throws cPelkitError (severity 2):
///   "File name passed to save file is not valid.", "Could not open TDF file as specified." as above;
///   "Section header offset to save data is not valid." below 4;
///   "No data to write TDF." null data;
///   "Write I/O error - unable to determine section length." the length was not read;
///   "Write I/O error - unable to write section data." not all elements were written, or they would pass the
///   largest file;
///   "Write error - section data corrupted." the stream is in error though all was written;
///   "Write error - size of TDF header." the length was not written
void AppendSectionData(const char* fileName, const char* sectionName, uint32_t sectionOffset,
                       const void* data, uint32_t elementSize, uint32_t count, uint32_t& sectionLength);

}  // namespace Korr::Plim::Trace::Tarnel
