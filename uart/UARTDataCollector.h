#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "source_utilities/uRunnable.h"
#include "uart/capture_file.h"
#include "uart/serial_port.h"

namespace Korr::Plim::Trace::Tarnel {

/// Receives the SWO byte stream of one CPU: opens the probe's COM port, sets its line, and, run by a capture
/// thread, copies every byte into the capture file. One capture per object.
///
/// Calling order: construct; start a uThread on it; Stop; poll IsFinished, yielding; destroy thread and
/// collector. Two threads touch it: the owner's, and the capture thread, which runs Run only. They share
/// `running` and `finished`, and of the port what ends its waits (SerialPort::EndWaits).
class UARTDataCollector : public KORR_PLIM::uRunnable {
  public:
    /// Opens and configures the port and makes the capture file.
    /// \param traceClock in Hz
    /// \param prescaler in and out: on return the prescaler in force
    /// \param captureFileName emptied or made
    /// \param sendBreakOnStop send a break and drain the port after Stop
    /// \throws cPelkitError; nothing of the collector survives then, except that a search for the prescaler
    /// that found none leaves the port open until the process ends, so that the next attempt on it may fail
    UARTDataCollector(uint32_t comPort, double traceClock, bool autoPrescaler, uint32_t& prescaler,
                      const std::string& captureFileName, bool sendBreakOnStop);
    /// Restores the line settings and closes port and file. The owner must have seen IsFinished if Run was
    /// started.
    ~UARTDataCollector() override;
    UARTDataCollector(const UARTDataCollector&) = delete;
    UARTDataCollector& operator=(const UARTDataCollector&) = delete;

    /// The capture loop, on the capture thread. How much it reads at once, and whether it waits for data or
    /// polls without a pause and so keeps a processor busy, is the port's matter (SerialPort::AwaitMore).
    /// Returns after Stop or on an I/O error, which is logged; break and drain, when asked for, follow both.
    /// Never throws.
    void Run() override;
    /// Tells Run to end; does not wait.
    void Stop();
    /// True once Run has ended.
    bool IsFinished() const;

  private:
    void OpenPort();
    void DiscardPendingBytes();
    void ReportConfiguration(double traceClock, uint32_t prescaler);
    void MakeCaptureFile(const std::string& captureFileName);
    void CaptureUntilStopped();
    void BreakAndDrain();
    void ReleasePort();

    uint32_t portNumber;
    uint32_t baudRate = 0;  ///< last asked of the port
    std::atomic<bool> running{false};
    SerialPort portHandle;
    CaptureFile fileHandle;
    LineState savedPortState;
    std::atomic<bool> finished{false};
    bool sendBreakOnStop;
    std::vector<uint8_t> buffer;  ///< of one read; the capture thread's
};

}  // namespace Korr::Plim::Trace::Tarnel
