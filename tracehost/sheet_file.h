#pragma once

#include <optional>
#include <string>

#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

/// Where the sheet of a raw file lies: "FILE.sheet.json".
std::string SheetFileOf(const std::string& rawFile);
/// Whether something is there under that name with anything in it but a recording sheet.
bool HoldsNoSheet(const std::string& sheetFile);

/// Reads the sheet of a recording.
/// \param file the recording, raw or TDF
/// \param section number of the section "BinTraceData", from 1; 0: a raw file. A TDF file's sheet is the
/// section "RecordingSheet" that follows it before the next "BinTraceData" \return absent when there is none
std::optional<SheetReading> ReadSheetOf(const std::string& file, uint32_t section);

/// Writes the sheet of a recording that was just saved: beside a raw file, in the place of an older one, or
/// to the end of a TDF file. \throws HostError when it cannot be written whole
void WriteSheetOf(const std::string& file, bool raw, const RecordingSheet& sheet);

}  // namespace Korr::Plim::Trace::Tracehost
