#include "tracehost/record_options.h"

#include <cstdlib>
#include <fstream>

#include "host_api/cPelkitError.h"
#include "options/ChannelOptionsHandler.h"
#include "options/options_reader.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kAnyProbe = 2;
constexpr const char* kAutomatic = "Auto";
constexpr const char* kEndOfOptions = "</CHANNEL-SETUP>";

void Set(Tarnel::OptionList& options, uint32_t id, const std::string& value) {
    for (auto& option : options) {
        if (option.id == id) option.value = value;
    }
}

void SetAutoOr(Tarnel::OptionList& options, uint32_t mode, uint32_t valueId,
               const std::optional<double>& value) {
    Set(options, mode, value ? "Manual" : kAutomatic);
    if (value) Set(options, valueId, FormatExact(*value));
}

std::string ValueOf(const Tarnel::OptionList& options, uint32_t id) {
    for (const auto& option : options) {
        if (option.id == id) return option.value;
    }
    return {};
}

/// The options of a file; none when the plug-in will refuse it.
Tarnel::OptionList ReadOptions(const std::string& file) {
    if (file.empty()) return {};
    try {
        Tarnel::OptionList options;
        return Tarnel::ChannelOptionsHandler().GetOptions(options, file, kAnyProbe);
    } catch (const cPelkitErrorIF&) {
        return {};
    }
}

}  // namespace

void ApplySettings(Tarnel::OptionList& options, const RecordRequest& request) {
    Set(options, Tarnel::kOptionFirmwareVersion, "firmware " + request.firmware);
    SetAutoOr(options, Tarnel::kOptionPrescaler, Tarnel::kOptionPrescalerValue, request.prescaler);
    SetAutoOr(options, Tarnel::kOptionClock, Tarnel::kOptionClockValue, request.clock);
    Set(options, Tarnel::kOptionTimestampPrescaler, std::to_string(request.timestampPrescale));
    if (request.port) Set(options, Tarnel::kOptionComPort, std::to_string(*request.port));
}

void ApplyRequest(Tarnel::OptionList& options, const RecordRequest& request) {
    ApplySettings(options, request);
    if (!ValueOf(options, Tarnel::kOptionComPort).empty()) return;
    throw UsageError(
        "no COM port of a probe was found: connect the probe, or give --port N "
        "(\"tracehost ports\" lists what is there)");
}

std::vector<MissingSetting> MissingSettings(const Tarnel::OptionList& options, bool boardKnown) {
    std::vector<MissingSetting> missing;
    if (ValueOf(options, Tarnel::kOptionFirmwareVersion).empty()) {
        missing.push_back(
            {"RCVRFWVER", "a word and the probe's firmware version, such as firmware 1.0.0.8 (--firmware)"});
    }
    if (!boardKnown && ValueOf(options, Tarnel::kOptionPrescaler) == kAutomatic) {
        missing.push_back({"PRESCALAR",
                           "Manual, and in PRESCALARVAL the prescaler that the firmware sets (--prescaler); "
                           "Auto needs a board file"});
    }
    if (!boardKnown && ValueOf(options, Tarnel::kOptionClock) == kAutomatic) {
        missing.push_back(
            {"CLKFREQ",
             "Manual, and in CLKFREQVAL the trace clock in Hz (--clock); Auto needs a board file"});
    }
    if (ValueOf(options, Tarnel::kOptionComPort).empty()) {
        missing.push_back(
            {"COMPORT", "the number of the probe's COM port (--port); \"tracehost ports\" lists them"});
    }
    return missing;
}

void RefuseUnknownTarget(const RecordRequest& request) {
    if (request.options.empty()) {
        if (request.clock && request.prescaler) return;
        throw UsageError(
            "--clock and --prescaler are needed, both: without a board file nothing is known of the target's "
            "clock, and "
            "its firmware sets the prescaler; give them as the firmware has them (--demo records without "
            "hardware)");
    }
    for (const MissingSetting& missing : MissingSettings(ReadOptions(request.options), false)) {
        if (missing.key != "PRESCALAR" && missing.key != "CLKFREQ") continue;
        throw UsageError("\"" + request.options + "\": " + missing.key + " must be " + missing.wanted);
    }
}

void SaveWholeOptions(const Tarnel::OptionList& options, const std::string& file) {
    Tarnel::ChannelOptionsHandler().SaveOptions(options, file);
    std::string text(Tarnel::kMaxOptionsFileBytes, '\0');  // a device may have no end
    std::ifstream(file, std::ios::binary).read(text.data(), static_cast<std::streamsize>(text.size()));
    if (text.find(kEndOfOptions) != std::string::npos) return;
    throw HostError("\"" + file + "\" could not be written whole: is the disk full?");
}

std::optional<uint32_t> PortOf(const std::string& optionsFile) {
    const std::string text = ValueOf(ReadOptions(optionsFile), Tarnel::kOptionComPort);
    if (text.empty()) return std::nullopt;
    return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));  // as the plug-in does
}

AskedLine AskedLineOf(const std::string& optionsFile) {
    const Tarnel::OptionList options = ReadOptions(optionsFile);
    AskedLine line;
    if (!options.empty() && ValueOf(options, Tarnel::kOptionClock) != kAutomatic) {
        line.clock = std::strtod(ValueOf(options, Tarnel::kOptionClockValue).c_str(), nullptr);
    }
    if (!options.empty() && ValueOf(options, Tarnel::kOptionPrescaler) != kAutomatic) {
        const std::string number = ValueOf(options, Tarnel::kOptionPrescalerValue);
        line.prescaler = static_cast<uint32_t>(std::strtoul(number.c_str(), nullptr, 10));
    }
    for (const uint32_t prescale : {1U, 4U, 16U, 64U}) {
        if (ValueOf(options, Tarnel::kOptionTimestampPrescaler) != std::to_string(prescale)) continue;
        line.timestampPrescale = prescale;
    }
    return line;
}

AskedLine AskedLineOf(const RecordRequest& request) {
    if (!request.options.empty()) return AskedLineOf(request.options);
    return {request.clock, request.prescaler, request.timestampPrescale};
}

Tarnel::OptionList DocumentedDefaults() {
    Tarnel::OptionList options;
    return Tarnel::ChannelOptionsHandler().GetOptions(options, "", kAnyProbe);
}

void WriteOptionsFile(const RecordRequest& request, const std::string& file) {
    Tarnel::OptionList options = DocumentedDefaults();
    ApplyRequest(options, request);
    SaveWholeOptions(options, file);
}

}  // namespace Korr::Plim::Trace::Tracehost
