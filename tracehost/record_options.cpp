#include "tracehost/record_options.h"

#include <fstream>

#include "options/ChannelOptionsHandler.h"
#include "options/options_reader.h"
#include "tracehost/errors.h"
#include "tracehost/number_option.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kAnyProbe = 2;
constexpr const char* kEndOfOptions = "</CHANNEL-SETUP>";

void Set(Tarnel::OptionList& options, uint32_t id, const std::string& value) {
    for (auto& option : options) {
        if (option.id == id) option.value = value;
    }
}

void SetAutoOr(Tarnel::OptionList& options, uint32_t mode, uint32_t valueId,
               const std::optional<double>& value) {
    Set(options, mode, value ? "Manual" : "Auto");
    if (value) Set(options, valueId, FormatExact(*value));
}

}  // namespace

void ApplyRequest(Tarnel::OptionList& options, const RecordRequest& request) {
    Set(options, Tarnel::kOptionFirmwareVersion, "firmware " + request.firmware);
    SetAutoOr(options, Tarnel::kOptionPrescaler, Tarnel::kOptionPrescalerValue, request.prescaler);
    SetAutoOr(options, Tarnel::kOptionClock, Tarnel::kOptionClockValue, request.clock);
    Set(options, Tarnel::kOptionTimestampPrescaler, std::to_string(request.timestampPrescale));
    if (request.port) Set(options, Tarnel::kOptionComPort, std::to_string(*request.port));
    for (const auto& option : options) {
        if (option.id == Tarnel::kOptionComPort && option.value.empty()) {
            throw UsageError(
                "no COM port of a probe was found: connect the probe, or give --port N "
                "(\"tracehost ports\" lists what is there)");
        }
    }
}

void SaveWholeOptions(const Tarnel::OptionList& options, const std::string& file) {
    Tarnel::ChannelOptionsHandler().SaveOptions(options, file);
    std::string text(Tarnel::kMaxOptionsFileBytes, '\0');  // a device may have no end
    std::ifstream(file, std::ios::binary).read(text.data(), static_cast<std::streamsize>(text.size()));
    if (text.find(kEndOfOptions) != std::string::npos) return;
    throw HostError("\"" + file + "\" could not be written whole: is the disk full?");
}

void WriteOptionsFile(const RecordRequest& request, const std::string& file) {
    Tarnel::ChannelOptionsHandler handler;
    Tarnel::OptionList options;
    handler.GetOptions(options, "", kAnyProbe);
    ApplyRequest(options, request);
    SaveWholeOptions(options, file);
}

}  // namespace Korr::Plim::Trace::Tracehost
