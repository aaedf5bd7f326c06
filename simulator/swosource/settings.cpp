#include "simulator/swosource/settings.h"

#include <CLI/CLI.hpp>
#include <iostream>

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr const char* kDescription =
    "Plays a target's SWO pin, as a debug probe would receive it, on a pseudo-terminal.";
constexpr const char* kFooter =
    "Exit status: 0 all that was played was taken; 1 failure; 2 wrong usage; 3 bytes were dropped because "
    "the far\n"
    "end had not taken those before them, or left them behind. Bytes dropped while nobody had the far end "
    "open are\n"
    "reported, but are no failure.";

void Declare(CLI::App& app, Settings& settings, std::string& rate, std::string& baudCheck) {
    app.footer(kFooter);
    app.add_option("--board", settings.board, "Board file: trace clock and simulated TPIU")
        ->check(CLI::ExistingFile);
    app.add_option("--link", settings.link, "Where the link to the far end is made")->required();
    auto* pattern = app.add_option("--pattern", settings.pattern,
                                   "itm (default): a valid ITM stream; counter: "
                                   "a numbered pattern in which every fault shows")
                        ->check(CLI::IsMember({"itm", "counter"}));
    app.add_option("--stream", settings.stream, "Plays this file once")
        ->check(CLI::ExistingFile)
        ->excludes(pattern);
    app.add_option("--rate", rate,
                   "line (default): trace clock / (prescaler + 1) / 10; a number of bytes per second; "
                   "max: as fast as the far end takes them");
    app.add_option("--probe-buffer", settings.probeBuffer, "Bytes that wait for the far end (65536)")
        ->check(CLI::Range(1, 1 << 30));
    app.add_option("--seconds", settings.seconds, "Ends after this much time on the wire")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--bytes", settings.bytes, "Ends after this many bytes");
    app.add_option("--clock", settings.clock, "Trace clock in Hz, instead of the board's")
        ->check(CLI::PositiveNumber);
    app.add_option("--prescaler", settings.prescaler, "TPIU prescaler, instead of the board's");
    app.add_flag("--enabled", settings.enabled, "The TPIU is enabled, whatever the board says");
    app.add_option("--baud-check", baudCheck,
                   "off: the far end's baud rate does not matter. For programs under Wine, "
                   "which cannot set rates outside its list and leaves the port at 38400 then")
        ->check(CLI::IsMember({"on", "off"}));
    app.add_flag("--while-input", settings.whileInput,
                 "Ends when standard input does: with whoever holds the other end of its pipe");
    app.add_option("--report", settings.report,
                   "Writes a report (JSON) here at the end; - is standard output");
    app.add_option("--record", settings.record, "Writes the bytes sent on the wire here");
    app.add_option("--record-taken", settings.recordTaken, "Writes the bytes handed to the far end here");
}

void ReadRate(const std::string& rate, Settings& settings) {
    if (rate == "line") return;
    if (rate == "max") {
        settings.pace = Settings::Pace::kMax;
        return;
    }
    settings.pace = Settings::Pace::kFixed;
    if (!CLI::detail::lexical_cast(rate, settings.bytesPerSecond) || !(settings.bytesPerSecond > 0) ||
        settings.bytesPerSecond > 1e9) {
        throw CLI::ValidationError("--rate", "must be line, max or a number of bytes per second up to 1e9");
    }
}

void CheckSources(const Settings& settings) {
    if (!settings.board.empty()) return;
    if (!settings.enabled) {
        throw CLI::ValidationError("--enabled", "or a board is needed, else nothing would be played");
    }
    if (settings.pace == Settings::Pace::kLine && !settings.clock) {
        throw CLI::ValidationError("--clock", "or a board is needed to play at the line rate");
    }
}

}  // namespace

std::optional<Settings> ReadSettings(int argc, char** argv, int& status) {
    CLI::App app(kDescription, "swosource");
    Settings settings;
    std::string rate = "line";
    std::string baudCheck = "on";
    Declare(app, settings, rate, baudCheck);
    try {
        app.parse(argc, argv);
        ReadRate(rate, settings);
        CheckSources(settings);
    } catch (const CLI::ParseError& error) {
        status = app.exit(error) == 0 ? 0 : 2;
        return std::nullopt;
    }
    settings.checkBaud = baudCheck == "on";
    return settings;
}

}  // namespace Korr::Plim::Trace::Simulator
