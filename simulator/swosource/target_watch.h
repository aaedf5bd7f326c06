#pragma once

#include <cstdint>
#include <string>

#include "simulator/swosource/settings.h"

namespace Korr::Plim::Trace::Simulator {

/// What of the target matters for its SWO pin.
struct Target {
    bool enabled = false;   ///< the pin sends
    double lineBaud = 0;    ///< trace clock / (prescaler + 1); 0 when the clock is not known
    uint32_t byteTime = 0;  ///< ten bits, in trace clocks
};

/// Follows the board file and the simulated TPIU's state while they change; what the command line gives
/// stands.
class TargetWatch {
  public:
    /// \throws std::runtime_error when the board cannot be used
    explicit TargetWatch(const Settings& settings);
    /// Looks again. Both files are small and are replaced in one step, so they are simply read.
    /// \throws std::runtime_error as the constructor
    void Refresh();
    const Target& Current() const { return target; }

  private:
    void ReadBoardFile();

    const Settings& settings;
    double clock = 0;
    std::string tpiuFile;
    Target target;
};

}  // namespace Korr::Plim::Trace::Simulator
