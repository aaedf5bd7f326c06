#pragma once

#include <functional>
#include <string>

#include "exports/capture_writer.h"
#include "tracehost/captures.h"
#include "tracehost/packet_filter.h"

namespace Korr::Plim::Trace::Tracehost {

/// What a format is about.
enum class ExportMatter : uint8_t { Packets, Text, Samples };

/// Which packets of which captures are written, and what they are called. Owns nothing that it points to.
struct ExportRequest {
    CaptureRequest capture;
    PacketFilter filter;
    const Symbols::ElfSymbols* symbols = nullptr;
    const Swo::PortFormats* ports = nullptr;
    const char* onlyOne =
        nullptr;            ///< what takes no more than one capture: "a VCD file holds"; null: any number
    bool isSurvey = false;  ///< of the first capture alone; nothing is told
    ExportMatter matter = ExportMatter::Packets;  ///< whose absence is told
};

/// What is done beside the writing.
struct ExportHooks {
    std::function<void()> piece;                 ///< after each piece that was read: throws to end the export
    std::function<void(const Capture&)> finish;  ///< after each capture
};

/// Decodes the captures and hands their packets to a writer; tells on standard error what was lost of each.
/// \return exit status \throws UsageError, HostError, what the hooks throw
int ExportCaptures(const ExportRequest& request, Exports::CaptureWriter& writer, const ExportHooks& hooks);

/// Tells on standard error what was lost of a capture that was decoded to its end. \return exit status
int TellLosses(const Capture& capture, Swo::CaptureAnalysis& analysis, FailOn failOn);

/// Tells on standard error that the part that was asked for is empty. \param bytes of the capture
void TellNothingBetween(const Capture& capture, uint64_t bytes);

/// \throws UsageError when this is not the first capture of what takes one: "a VCD file holds"
void RefuseSecond(const CaptureRequest& request, bool hasOne, const char* onlyOne);

/// \throws UsageError when places in time are wanted and the trace clock is not known
void RequireClock(const PacketFilter& filter, const Capture& capture);

/// \param replace whether the output is replaced when it is there \throws UsageError when the input cannot be
/// read, or would be replaced
void KeepApart(const std::string& input, const std::string& output, bool replace);

}  // namespace Korr::Plim::Trace::Tracehost
