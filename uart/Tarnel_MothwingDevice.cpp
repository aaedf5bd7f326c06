#include "source_utilities/log_call.h"
#include "uart/device_clock_readers.h"
#include "uart/device_registers.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr const char* kMothwingTag = "Tarnel_MothwingDevice";
constexpr double kUndividedClock = 48000000.0;  ///< Hz

}  // namespace

Tarnel_MothwingDevice::Tarnel_MothwingDevice(const char* deviceName, DeviceIdentifier* information,
                                             MemoryAccessor* memory) {
    const TargetWord divider = ClockRegisters(deviceName, information, memory).Read("CPUCLKDIV");
    KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary, "%s: CPUCLKDIV = 0x%x", kMothwingTag, divider.OrZero());
    cpuclkdiv = divider.ForClock();
}

double Tarnel_MothwingDevice::GetFrequency() const { return kUndividedClock / (Bits(cpuclkdiv, 0, 0) + 1); }

}  // namespace Korr::Plim::Trace::Tarnel
