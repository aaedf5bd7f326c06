#pragma once

#include "trace/packets.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Exports {

/// A place for bytes, such as a file.
class Output {
  public:
    virtual ~Output() = default;
    /// Takes all of them. What goes wrong is for the owner of the output to tell.
    virtual void Write(const char* bytes, std::size_t count) = 0;
};

/// How ticks become nanoseconds.
struct TimeScale {
    uint64_t clockHz = 0;   ///< trace clock; 0: not known, there are no nanoseconds
    uint32_t prescale = 1;  ///< clock cycles a tick

    /// \param ticks of local timestamps. Call only with a clock.
    uint64_t Nanoseconds(uint64_t ticks) const {
        return Swo::TraceClock(prescale).Nanoseconds(ticks, clockHz);
    }
};

}  // namespace Korr::Plim::Trace::Exports
