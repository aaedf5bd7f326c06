#pragma once

#include <cstdint>

namespace Korr::Plim::Trace {

/// The host's target adapter, one per CPU, passed to AllocateChannelDriver and never owned by the plug-in.
/// Every operation takes the host's CPU id first and returns 0 for success, any other number for failure. All
/// are called [plug-in].
class TargetAdapter {
  public:
    /// Gives the trace resources back.
    virtual uint32_t TraceRelease(uint32_t cpuId) = 0;
    /// Writes the settings given before into the target's TPIU.
    virtual uint32_t ProgramTpiu(uint32_t cpuId) = 0;
    /// Switches the TPIU's output on.
    virtual uint32_t EnableTpiu(uint32_t cpuId) = 0;
    /// Trace export of the probe, first operation; its effect is the host's.
    virtual uint32_t TraceExportOpA(uint32_t cpuId) = 0;
    /// Trace export of the probe, second operation; its effect is the host's.
    virtual uint32_t TraceExportOpB(uint32_t cpuId) = 0;
    /// The SWO bit rate becomes trace clock / (prescaler + 1).
    virtual uint32_t SetTpiuPrescaler(uint32_t cpuId, uint32_t prescaler) = 0;
    /// Writes the export status; 0 means nothing to report.
    virtual uint32_t GetExportStatus(uint32_t cpuId, uint32_t& status) = 0;
    /// Clears the bits of `status`.
    virtual uint32_t ClearExportStatus(uint32_t cpuId, uint32_t status) = 0;
    /// TPIU selected pin protocol; 2 is SWO in UART (NRZ) encoding.
    virtual uint32_t SetTpiuPinProtocol(uint32_t cpuId, uint32_t protocol) = 0;
    /// ITM timestamp prescale: 1, 4, 16 or 64.
    virtual uint32_t SetTimestampPrescale(uint32_t cpuId, uint32_t prescale) = 0;

  protected:
    ~TargetAdapter() = default;
};

}  // namespace Korr::Plim::Trace
