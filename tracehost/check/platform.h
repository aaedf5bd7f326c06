#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// \file
/// Seam: what the checks ask the platform for.

namespace Korr::Plim::Trace::Tracehost::Validation {

/// The name under which a plug-in exports cPelkitError::Delete on this platform.
const char* ErrorDeleteExport();

/// Handles (file descriptors on Linux) that this process has open; absent or 0 when the system does not tell.
std::optional<uint64_t> CountHandles();
/// Bytes of this process's heap that are in use; absent when its heap cannot be asked.
std::optional<uint64_t> CountHeapBytes();

/// A pair of COM ports joined by a null modem: the plug-in's and tracehost's own.
struct PortPair {
    uint32_t plugin;
    uint32_t own;
};

/// The far end of the port that the plug-in records from.
class FarEnd {
  public:
    virtual ~FarEnd() = default;
    FarEnd(const FarEnd&) = delete;
    FarEnd& operator=(const FarEnd&) = delete;

    /// The COM port number for the plug-in.
    virtual uint32_t Port() const = 0;
    /// Sends bytes and waits until the port has taken them, `seconds` at most. \return how many it took
    virtual std::size_t Send(const std::string& bytes, uint32_t seconds) = 0;

  protected:
    FarEnd() = default;
};

/// Whether OpenFarEnd needs no pair of ports: the platform has pseudo-terminals.
bool HasOwnPorts();
/// Opens the far end of a pair, at 115200 baud, 8 data bits, no parity, one stop bit; without a pair a
/// pseudo-terminal, which is made the plug-in's COM port number 201 + index. \param index 0 or 1 \throws
/// HostError
std::unique_ptr<FarEnd> OpenFarEnd(const std::optional<PortPair>& pair, uint32_t index);

}  // namespace Korr::Plim::Trace::Tracehost::Validation
