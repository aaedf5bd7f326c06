#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Korr::Plim::Trace::Simulator {

/// What the command line asked for.
struct Settings {
    enum class Pace { kLine, kFixed, kMax };

    std::string board;  ///< board file, empty: none
    std::string link;
    std::string pattern = "itm";  ///< "itm" or "counter"; not used with a stream
    std::string stream;           ///< file to play once, empty: none
    Pace pace = Pace::kLine;
    double bytesPerSecond = 0;  ///< for kFixed
    uint32_t probeBuffer = 65536;
    std::optional<double> seconds;  ///< of wire time
    std::optional<uint64_t> bytes;
    std::optional<double> clock;  ///< Hz, instead of the board's
    std::optional<uint32_t> prescaler;
    bool enabled = false;
    bool checkBaud = true;
    bool whileInput = false;  ///< ends with standard input
    std::string report;
    std::string record;
    std::string recordTaken;
};

/// Reads the command line; on wrong usage or --help prints what is to be said. \return nothing then, and the
/// exit status in `status`
std::optional<Settings> ReadSettings(int argc, char** argv, int& status);

}  // namespace Korr::Plim::Trace::Simulator
