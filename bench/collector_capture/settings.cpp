#include "bench/collector_capture/settings.h"

#include <CLI/CLI.hpp>
#include <charconv>

namespace {

constexpr const char* kDescription =
    "Captures a serial SWO stream with the receiver's own collector and reports how it went. Prints one JSON "
    "line "
    "when the port is set up and one at the end.";
constexpr const char* kFooter =
    "With neither --seconds nor --bytes the capture goes on until the port is gone, or nothing has come for "
    "as long\n"
    "as the patience lasts, or until Ctrl-C.\n"
    "Exit status: 0 captured; 1 failure; 2 wrong usage; 4 the stream ended before the seconds or bytes were "
    "full.";

void Declare(CLI::App& app, Settings& settings, std::string& prescaler, std::string& pattern) {
    app.footer(kFooter);
    app.add_option("--port", settings.port, "COM port number")->required();
    app.add_option("--clock", settings.clock, "Trace clock in Hz")->required();
    app.add_option("--prescaler", prescaler, "TPIU prescaler, or auto: search it")->required();
    app.add_option("--output", settings.output, "Capture file")->required();
    auto* seconds =
        app.add_option("--seconds", settings.seconds, "Captures so long")->check(CLI::NonNegativeNumber);
    app.add_option("--bytes", settings.bytes, "Captures until so many bytes have come")->excludes(seconds);
    app.add_option("--patience", settings.patience,
                   "Seconds without a byte after which no more is expected (5)")
        ->check(CLI::PositiveNumber);
    app.add_option("--pattern", pattern, "counter: verify the captured file as swosource's numbered pattern")
        ->check(CLI::IsMember({"counter", "none"}));
    auto* after =
        app.add_option("--pause-after", settings.pauseAfter, "The reader stands still after so many bytes,");
    app.add_option("--pause-ms", settings.pauseMilliseconds, "for so many milliseconds")->needs(after);
    app.add_flag("--polling", settings.polling, "Reads at most 100 bytes at once and never waits");
    app.add_option("--priority", settings.priority, "Priority of the capture's thread, -2 to 2 (0)")
        ->check(CLI::Range(-2, 2));
}

void ReadPrescaler(const std::string& text, Settings& settings) {
    settings.autoPrescaler = text == "auto";
    if (settings.autoPrescaler) return;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, settings.prescaler);
    if (result.ec != std::errc() || result.ptr != end) {
        throw CLI::ValidationError("--prescaler", "must be auto or a number from 0 to 4294967295");
    }
}

}  // namespace

std::optional<Settings> ReadSettings(int argc, char** argv, int& status) {
    CLI::App app(kDescription, "collector_capture");
    Settings settings;
    std::string prescaler;
    std::string pattern = "none";
    Declare(app, settings, prescaler, pattern);
    try {
        app.parse(argc, argv);
        ReadPrescaler(prescaler, settings);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? 0 : 2;
        return std::nullopt;
    }
    settings.verifyCounter = pattern == "counter";
    return settings;
}
