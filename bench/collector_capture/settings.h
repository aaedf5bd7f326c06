#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct Settings {
    uint32_t port = 0;
    double clock = 0;  ///< Hz
    bool autoPrescaler = false;
    uint32_t prescaler = 0;
    std::string output;
    std::optional<double> seconds;
    std::optional<uint64_t> bytes;
    double patience = 5;  ///< seconds
    bool verifyCounter = false;
    std::optional<uint64_t> pauseAfter;
    uint32_t pauseMilliseconds = 0;
    bool polling = false;
    int32_t priority = 0;  ///< of the capture's thread, as uThread takes it
};

/// Reads the command line; on wrong usage or --help prints what is to be said. \return nothing then, and the
/// exit status in `status`
std::optional<Settings> ReadSettings(int argc, char** argv, int& status);
