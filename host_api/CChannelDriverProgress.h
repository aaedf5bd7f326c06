#pragma once

#include <cstdint>

namespace Korr::Plim::Trace {

/// Progress of a channel driver. The host reaches it by a run-time cast of the CChannelDriver; not owned
/// through it.
class CChannelDriverProgress {
  public:
    /// Writes the current step and the number of steps; this receiver always gives 1 of 100. [any host
    /// thread]
    virtual void GetProgress(uint32_t& current, uint32_t& total) = 0;

  protected:
    ~CChannelDriverProgress() = default;
};

}  // namespace Korr::Plim::Trace
