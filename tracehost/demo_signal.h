#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: the signal of "record --demo": plays the SWO pin of a board's simulated target into a COM port while
/// the object lives.
class DemoSignal {
  public:
    /// Starts the signal and waits until its port is there.
    /// \param board board file \param link path of its own for the port, in an existing folder
    /// \throws UsageError where the platform cannot play a signal, with what to do instead; HostError when it
    /// does not start
    DemoSignal(const std::string& board, const std::string& link);
    ~DemoSignal();
    DemoSignal(const DemoSignal&) = delete;
    DemoSignal& operator=(const DemoSignal&) = delete;

    /// The COM port number under which the signal is received.
    uint32_t PortNumber() const;

  private:
    [[maybe_unused]] std::intptr_t process = 0;  ///< of the body that plays one
};

}  // namespace Korr::Plim::Trace::Tracehost
