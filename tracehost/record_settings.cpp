#include "tracehost/record_settings.h"

#include <algorithm>

#include "tracehost/errors.h"
#include "tracehost/number_option.h"
#include "tracehost/port_access.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr NumberOption kPort{"--port", Measure::Count, 0, 65535, true};
constexpr uint32_t kFirmwareNumbers = 4;
constexpr uint32_t kLargestFirmwareNumber = 255;

std::string WithoutPrefix(const std::string& text) {
    const auto upper = [](char character) {
        return character >= 'a' ? static_cast<char>(character - 32) : character;
    };
    std::string start = text.substr(0, 3);
    std::transform(start.begin(), start.end(), start.begin(), upper);
    return start == "COM" ? text.substr(3) : text;
}

/// Four numbers with dots: the plug-in takes anything else for an ancient version.
void CheckFirmware(const std::string& text) {
    uint32_t numbers = 0;
    uint32_t number = 0;
    uint32_t digits = 0;
    bool wrong = false;
    for (const char character : text + ".") {
        if (character >= '0' && character <= '9' && digits < 3) {
            number = number * 10 + static_cast<uint32_t>(character - '0');
            ++digits;
            continue;
        }
        wrong = wrong || character != '.' || digits == 0 || number > kLargestFirmwareNumber;
        ++numbers;
        number = digits = 0;
    }
    if (!wrong && numbers == kFirmwareNumbers) return;
    throw UsageError("--firmware \"" + text +
                     "\": give four numbers from 0 to 255 with dots, such as 1.0.0.8");
}

}  // namespace

uint32_t ParsePort(const std::string& text) {
    if (const auto number = PortOfDevice(text)) return *number;
    try {
        return static_cast<uint32_t>(ParseNumber(kPort, WithoutPrefix(text)));
    } catch (const UsageError&) {
        throw UsageError("--port \"" + text + "\": " + NumberForm(kPort) +
                         ", COM5 or, on Linux, a device such as /dev/ttyACM5");
    }
}

std::vector<CLI::Option*> AddSettings(CLI::App& command, RecordRequest& request) {
    const auto takePort = [&request](const std::string& text) { request.port = ParsePort(text); };
    const auto takeFirmware = [&request](const std::string& text) {
        CheckFirmware(text);
        request.firmware = text;
    };
    return {command
                .add_option_function<std::string>(
                    "--port", takePort,
                    "COM port: 5, COM5 or, on Linux, a device (default: the first probe port found)")
                ->type_name("PORT"),
            AddNumber(command, kClockOption, "Trace clock; auto, the default: read from the device",
                      [&request](auto hertz) { request.clock = hertz; }),
            AddNumber(command, kPrescalerOption, "TPIU prescaler; auto, the default: found by trying",
                      [&request](auto number) { request.prescaler = number; }),
            AddChoice(command, "--timestamp-prescale", "ITM timestamp prescale (default: 4)",
                      {"1", "4", "16", "64"},
                      [&request](const auto& text) {
                          request.timestampPrescale = static_cast<uint32_t>(std::stoul(text));
                      }),
            command
                .add_option_function<std::string>("--firmware", takeFirmware,
                                                  "Firmware version of the probe (default: 1.0.0.8)")
                ->type_name("A.B.C.D")};
}

bool AnyGiven(const std::vector<CLI::Option*>& settings) {
    return std::any_of(settings.begin(), settings.end(),
                       [](const CLI::Option* option) { return option->count() > 0; });
}

}  // namespace Korr::Plim::Trace::Tracehost
