#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace second_reading {

/// A device and its memory, as a clock reader can see them.
struct ClockTarget {
    bool hasInformation = true;
    bool hasModule = true;
    std::map<std::string, std::string> addresses;  ///< hexadecimal texts; empty for a name that is not there
    std::map<uint32_t, uint32_t> words;            ///< 0 elsewhere
    std::set<uint32_t> unreadable;                 ///< addresses whose reads fail
};

/// What a clock reader makes of a target, from its construction to the end of GetFrequency.
struct ClockReading {
    std::string error;               ///< text of what was thrown, empty when nothing was
    bool constructed = false;        ///< false: the constructor threw it
    double frequency = 0;            ///< in Hz, without an error
    std::vector<std::string> asked;  ///< "information", "module", register names, "0x..." of reads, in order
    std::vector<std::string> lines;  ///< of the log
};

/// Second readings of the three clock readers, made from what they promise and not from their code.
ClockReading ModelFerrin(const ClockTarget& target);
ClockReading ModelMothwing(const ClockTarget& target);
ClockReading ModelGlintar(const ClockTarget& target);

}  // namespace second_reading
