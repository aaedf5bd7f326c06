#pragma once

#include <cstdint>

namespace Korr::Plim::Trace {

/// What the host tells a receiver about its targets. No operation lets an exception out.
class CTargetStateNotification {
  public:
    /// The target of a CPU changed its state. [host thread]
    /// \param cpuName null is ignored
    /// \param state the host's state code; 3 and 4: no connection, 5 and 6: running, 7 and 8: halted
    virtual void TargetStateChanged(const char* cpuName, uint32_t state) = 0;
    /// An event of a CPU. [host thread]
    /// \param cpuName null is ignored
    /// \param event 0: the job state changed; other codes are ignored
    virtual void TargetEvent(const char* cpuName, uint32_t event) = 0;
    /// Ignored, whatever the arguments are. [host thread]
    virtual void TargetNotice(const char* cpuName, uint32_t notice, uint32_t value) = 0;

    virtual ~CTargetStateNotification() = default;
};

}  // namespace Korr::Plim::Trace
