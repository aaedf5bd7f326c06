#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "uart/serial_port.h"

namespace second_reading {

using Korr::Plim::Trace::Tarnel::LineState;

/// What one case does to a collector: which calls of the port and of the capture file fail and how the device
/// behind the port behaves. Calls are named as the scripted bodies name them ("port.SetState", "file.Write").
struct World {
    /// Error number of the nth call (from 1) of a name.
    std::map<std::pair<std::string, std::size_t>, uint32_t> failures;
    /// Readings of the settings (from 1) that give a state of length 0.
    std::map<std::size_t, bool> invalidStates;
    /// The rate that the port takes for one that was asked.
    std::function<uint32_t(uint32_t)> rateTaken;
    /// Stop bits that the port reports after every request, whatever was asked; negative: those asked for.
    int stopBitsTaken = -1;
    LineState found;         ///< settings before the collector
    uint32_t lastError = 0;  ///< the thread's error number before the first call
    std::string pending;     ///< waits in the driver before the collector
    std::string afterPurge;  ///< arrives between the purge and the query
    /// What reads find in turn once the pending bytes are read: bytes, of which a read takes as many as it
    /// has room for, or nothing, told to stop or not.
    struct Step {
        std::string bytes;
        bool stops = false;
    };
    std::deque<Step> steps;
    /// Writes (from 1) during which the owner says stop.
    std::map<std::size_t, bool> stopsInWrite;
};

/// What was seen of a case.
struct Seen {
    std::string error;               ///< text of what the constructor threw
    std::vector<std::string> calls;  ///< "name(argument)", in order
    std::vector<std::string> lines;  ///< of the log
    std::vector<LineState> asked;    ///< settings that the port took
    uint32_t prescaler = 0;
    uint32_t baudRate = 0;  ///< of calibrations only
    bool portOpen = false;
    bool finished = false;
    std::string content;  ///< of the capture file
};

bool Same(const LineState& one, const LineState& other);
/// The settings member by member, for people.
std::string Describe(const LineState& line);

/// A second reading of the scripted port: what it answers, in a world.
class ModelPort {
  public:
    ModelPort(const World& portWorld, Seen& portSeen)
        : world(portWorld),
          seen(portSeen),
          line(portWorld.found),
          error(portWorld.lastError),
          pending(portWorld.pending),
          steps(portWorld.steps) {}

    /// Notes a call. False, with the error number set, when it fails.
    bool Call(const std::string& name, const std::string& argument = std::string());
    bool GetState(LineState& state);
    bool SetState(const LineState& state);
    void Purge();
    std::size_t Waiting() const { return pending.size(); }
    /// What a successful read of that size gives. \param stops set when the owner says stop meanwhile
    std::string Take(std::size_t size, bool& stops);
    std::size_t Count(const std::string& name) const;
    uint32_t LastError() const { return error; }
    void Line(const std::string& maskAndText) {
        seen.lines.push_back(maskAndText.substr(0, 2) + "Tarnel_UARTCollector: " + maskAndText.substr(2));
    }
    /// Closes, logs the error number of after the close, and throws.
    [[noreturn]] void CloseAndThrow(const std::string& line, const char* text);

  private:
    const World& world;
    Seen& seen;
    LineState line;
    uint32_t error;
    std::string pending;
    std::deque<World::Step> steps;
    std::map<std::string, std::size_t> counts;
    std::size_t statesGiven = 0;
};

/// What the model's constructor throws.
struct Refusal {
    std::string text;
};

/// Programs the line and searches the prescaler. \param prescaler in and out \throws Refusal
void ModelCalibration(ModelPort& port, const LineState& saved, double traceClock, bool automatic,
                      uint32_t& prescaler, uint32_t& baudRate);

}  // namespace second_reading
