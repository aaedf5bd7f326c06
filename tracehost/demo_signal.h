#pragma once

#include <cstdint>
#include <string>

namespace Korr::Plim::Trace::Tracehost {

/// Seam: the signal of "record --demo": plays the SWO pin of a board's simulated target into a COM port while
/// the object lives, and never longer than this process lives, however it ends.
class DemoSignal {
  public:
    /// Starts the signal and waits until its port is there.
    /// \param board board file \param folder existing folder for the port and the signal's report
    /// \throws UsageError where the platform cannot play a signal, with what to do instead; HostError when it
    /// does not start
    DemoSignal(const std::string& board, const std::string& folder);
    ~DemoSignal();
    DemoSignal(const DemoSignal&) = delete;
    DemoSignal& operator=(const DemoSignal&) = delete;

    /// The COM port number under which the signal is received.
    uint32_t PortNumber() const;
    /// Ends the signal. \return the bytes that the simulated probe had to drop because its port was not read
    /// in time
    uint64_t End();

  private:
    // Of the body that plays one.
    std::string reportFile;
    [[maybe_unused]] std::intptr_t process = 0;  ///< 0: ended
    [[maybe_unused]] std::intptr_t leash = -1;   ///< as long as this end of the pipe is open the signal plays
};

}  // namespace Korr::Plim::Trace::Tracehost
