#include "tracehost/record_options.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>

#include "options/ChannelOptionsHandler.h"
#include "options/options_reader.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr uint32_t kAnyProbe = 2;
constexpr uint32_t kLargestPrescaler = 8191;
constexpr const char* kAuto = "auto";
constexpr const char* kEndOfOptions = "</CHANNEL-SETUP>";

void Set(Tarnel::OptionList& options, uint32_t id, const std::string& value) {
    for (auto& option : options) {
        if (option.id == id) option.value = value;
    }
}

void SetPrescaler(Tarnel::OptionList& options, const std::string& text) {
    Set(options, Tarnel::kOptionPrescaler, text == kAuto ? "Auto" : "Manual");
    if (text == kAuto) return;
    uint32_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failure != std::errc() || end != text.data() + text.size() || value > kLargestPrescaler) {
        throw UsageError("--prescaler \"" + text + "\": give auto or a number from 0 to 8191");
    }
    Set(options, Tarnel::kOptionPrescalerValue, text);
}

void SetClock(Tarnel::OptionList& options, const std::string& text) {
    Set(options, Tarnel::kOptionClock, text == kAuto ? "Auto" : "Manual");
    if (text == kAuto) return;
    char* end = nullptr;
    const double hertz = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(hertz) || hertz <= 0) {
        throw UsageError("--clock \"" + text + "\": give auto or a number of Hz above 0");
    }
    Set(options, Tarnel::kOptionClockValue, text);
}

}  // namespace

void ApplyRequest(Tarnel::OptionList& options, const RecordRequest& request) {
    Set(options, Tarnel::kOptionFirmwareVersion, "firmware " + request.firmware);
    SetPrescaler(options, request.prescaler);
    SetClock(options, request.clock);
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
