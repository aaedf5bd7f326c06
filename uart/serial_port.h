#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace Korr::Plim::Trace::Tarnel {

/// Values of LineState.
inline constexpr uint8_t kNoParity = 0;
inline constexpr uint8_t kOneStopBit = 0;
inline constexpr uint8_t kLineDisabled = 0;

/// Line settings of a serial port. Named members are the ones that this program sets or looks at; everything
/// else that the platform keeps (XON/XOFF limits and characters, error and end-of-file characters) travels
/// untouched in `native`, so that settings read and written back leave the port as it was found.
struct LineState {
    uint32_t length = 0;  ///< 0: the state is invalid
    uint32_t baudRate = 0;
    uint8_t dataBits = 0;
    uint8_t parity = kNoParity;      ///< others as the platform of Windows counts them
    uint8_t stopBits = kOneStopBit;  ///< 2: two stop bits
    bool binary = false;
    bool checkParity = false;
    bool ctsFlow = false;
    bool dsrFlow = false;
    uint8_t dtrControl = kLineDisabled;
    bool dsrSensitivity = false;
    bool xoffOutput = false;
    bool xoffInput = false;
    bool discardNull = false;
    uint8_t rtsControl = kLineDisabled;
    bool abortOnError = false;
    alignas(8) std::array<std::byte, 64> native{};  ///< the platform's own record
};

/// What the port's driver holds.
struct PortQueue {
    uint32_t errors = 0;        ///< the platform's mask of line errors, cleared by the query; 0 on Linux
    uint32_t bytesWaiting = 0;  ///< received bytes that were not read yet
};

/// Seam: one serial port, synchronous. On Windows port N is \\.\COM<N>. On Linux it is the terminal that the
/// environment variable KORR_TRACE_COM<N> names, else /dev/ttyACM<N>; any rate but 0 can be asked for, and
/// the members dsrFlow, dsrSensitivity, discardNull and abortOnError have no counterpart: they read as false
/// and are ignored. Operations that can fail give false then; LastError says why. The object does not close
/// itself: the owner calls Close.
class SerialPort {
  public:
    /// Bytes that a capture asks for in one read. Windows: 100, what its users expect of it. Linux: 4,096,
    /// all that a terminal's line discipline holds at a time; larger reads were measured and gain nothing.
    static const uint32_t kCaptureReadSize;

    SerialPort() = default;
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// Opens COM port `portNumber` for reading. One that somebody else holds is refused before anything of it
    /// is touched: on Windows any that is open, on Linux one that is open here, or that is locked or held
    /// exclusively elsewhere (LastError EBUSY). From then on it belongs to this object in the same way, until
    /// Close.
    bool Open(uint32_t portNumber);
    bool IsOpen() const { return handle != kClosed; }
    /// Makes every read return at once with whatever the driver holds, possibly nothing.
    bool SetPollingTimeouts();
    bool GetState(LineState& state);
    bool SetState(const LineState& state);
    /// Discards what waits in both directions.
    bool Purge();
    bool QueryQueue(PortQueue& queue);
    /// Sets the line to break until the port is closed or set up anew. A pseudo-terminal takes it and
    /// sends nothing.
    bool SetBreak();
    /// Reads at most `size` bytes. Having none is a success with `bytesRead` 0; a port that is gone is a
    /// failure.
    bool Read(void* buffer, uint32_t size, uint32_t& bytesRead);
    /// What a capture does between a read that brought `bytesRead` and the next. Windows: nothing, the
    /// capture polls. Linux: when little came it waits in the kernel, until there is more to read or the port
    /// is gone, and for 1 ms at most, so that a stop takes effect at once; on a port that has been silent for
    /// some 50 ms, until EndWaits or for 100 ms at most, which costs next to nothing. A wait that fails or
    /// that a signal ends is simply over: the next read tells what is the matter.
    void AwaitMore(uint32_t bytesRead);
    /// Ends a long wait that is going on; from then on, until the port is opened again, none is long. Waits
    /// of 1 ms run out by themselves. From any thread, while the port is open.
    void EndWaits();
    /// Closes. The object counts as closed whatever the platform answered. On Linux the line gets back the
    /// settings that it was found with, where the owner has not restored them.
    bool Close();
    /// The platform's number of the calling thread's last failure (GetLastError on Windows, errno elsewhere).
    /// Not reset by a success.
    static uint32_t LastError();

  private:
    static constexpr std::intptr_t kClosed = -1;
    std::intptr_t handle = kClosed;
    // Used on Linux alone.
    std::optional<LineState> foundState;        ///< the first state that was read
    [[maybe_unused]] bool changed = false;      ///< whether the line's settings differ from it now
    [[maybe_unused]] int waker = -1;            ///< event that ends long waits; -1: there are none
    [[maybe_unused]] uint32_t silentWaits = 0;  ///< in vain, since the last byte; counted up to a limit
};

}  // namespace Korr::Plim::Trace::Tarnel
