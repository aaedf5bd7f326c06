#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "options/ChannelOptions.h"
#include "tracehost/record_request.h"

namespace Korr::Plim::Trace::Tracehost {

/// The documented defaults; COMPORT holds the first port of a probe that is found.
Tarnel::OptionList DocumentedDefaults();

/// Puts the request's settings into a default option list. Without a port in the request the list's own, the
/// first that was discovered, stays.
void ApplySettings(Tarnel::OptionList& options, const RecordRequest& request);
/// The same. \throws UsageError when no port was given or discovered
void ApplyRequest(Tarnel::OptionList& options, const RecordRequest& request);

/// An option that a recording cannot take as it stands.
struct MissingSetting {
    std::string key;
    std::string wanted;  ///< what is to be written there, and the option that writes it
};

/// What has to be filled in before a recording takes the list. \param boardKnown whether a board file tells
/// of the target: without one neither can its clock be read nor its prescaler be set
std::vector<MissingSetting> MissingSettings(const Tarnel::OptionList& options, bool boardKnown);

/// For a recording without a board file. \throws UsageError when clock or prescaler is left to be found out
void RefuseUnknownTarget(const RecordRequest& request);

/// Writes an options file and reads it back, because the handler does not say when a write failed.
/// \throws cPelkitError when the file cannot be opened, HostError when it does not hold what was written
void SaveWholeOptions(const Tarnel::OptionList& options, const std::string& file);

/// The COM port of an options file; absent when it names none or cannot be read.
std::optional<uint32_t> PortOf(const std::string& optionsFile);

/// What is asked of the line; absent: the plug-in is to find it out, or the options file cannot be read.
struct AskedLine {
    std::optional<double> clock;  ///< Hz
    std::optional<uint32_t> prescaler;
    std::optional<uint32_t> timestampPrescale;  ///< 1, 4, 16 or 64
};
/// By a request, or by the options file that it names.
AskedLine AskedLineOf(const RecordRequest& request);
AskedLine AskedLineOf(const std::string& optionsFile);

/// Writes an options file for a request. \throws as both above
void WriteOptionsFile(const RecordRequest& request, const std::string& file);

}  // namespace Korr::Plim::Trace::Tracehost
