#include <array>
#include <bit>
#include <cmath>

#include "source_utilities/log_call.h"
#include "uart/device_clock_readers.h"
#include "uart/device_registers.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr const char* kFerrinTag = "Tarnel_FerrinDevice";

// Sources of the system clock, in Hz.
constexpr double kLowFrequencyCrystal = 32768.0;
constexpr double kVeryLowPowerOscillator = 10240.0;
constexpr double kSlowReference = 32768.0;
constexpr double kFastReference = 131072.0;
constexpr double kModuleOscillator = 25165824.0;

/// Centre frequency of the DCO in MHz by its range selection.
constexpr std::array<double, 8> kDcoCentreMhz = {1.5, 3.0, 6.0, 12.0, 24.0, 48.0, 1.5, 1.5};

// Byte offsets in the device descriptor table of the calibration words for the internal resistor. It is the
// only calibration used: the flag for the external resistor is (CSCTL0 AND 0x10000) >> 22, which is 0 for
// every register content.
constexpr uint32_t kConstantOffset = 100;    ///< K, a single-precision number
constexpr uint32_t kCalibrationOffset = 76;  ///< FCAL, an integer

/// DCO tuning in steps from the centre: a 13-bit two's complement number, bit 12 is the sign.
int32_t DcoTune(uint32_t csctl0) {
    const int32_t raw = static_cast<int32_t>(Bits(csctl0, 0, 12));
    return raw < 0x1000 ? raw : raw - 0x2000;
}

/// The divisor that tuning puts on the centre frequency, in single precision as a whole. Not a number,
/// infinite, zero or negative for calibration words that are none.
float TuneDivisor(int32_t tune, float constant, int32_t calibration) {
    const float distance = static_cast<float>(int64_t{768} - calibration);
    const float scale = 8.0F * (1.0F + constant * distance);
    return 1.0F - constant * static_cast<float>(tune) / scale;
}

}  // namespace

Tarnel_FerrinDevice::Tarnel_FerrinDevice(const char* deviceName, DeviceIdentifier* information,
                                         MemoryAccessor* access)
    : memory(access) {
    const ClockRegisters registers(deviceName, information, access);
    csctl0 = registers.Read("CSCTL0");
    csctl1 = registers.Read("CSCTL1");
    csctl2 = registers.Read("CSCTL2");
    csctl3 = registers.Read("CSCTL3");
    csclken = registers.Read("CSCLKEN");
    tlvbase = registers.Address("TLVBASE");
    KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary,
                          "%s: CSCTL0 = 0x%x, CSCTL1 = 0x%x, CSCTL2 = 0x%x, CSCTL3 = 0x%x, CSCLKEN = 0x%x, "
                          "TLVBASE = 0x%x",
                          kFerrinTag, csctl0.OrZero(), csctl1.OrZero(), csctl2.OrZero(), csctl3.OrZero(),
                          csclken.OrZero(), tlvbase);
}

double Tarnel_FerrinDevice::GetFrequency() const {
    const uint32_t selm = Bits(csctl1.ForClock(), 0, 2);
    const uint32_t divm = Bits(csctl1.ForClock(), 16, 18);
    KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary, "%s: selm = %d, divm = %d", kFerrinTag,
                          static_cast<int>(selm), static_cast<int>(divm));
    const double frequency = SourceFrequency(selm) / static_cast<double>(1U << divm);
    // Calibration words that are none can give an infinite frequency or no number at all; a negative one is
    // returned, and refused as a trace clock by the driver.
    if (frequency == 0.0 || !std::isfinite(frequency)) ThrowClockError();
    return frequency;
}

double Tarnel_FerrinDevice::SourceFrequency(uint32_t selm) const {
    switch (selm) {
        case 0:
            return kLowFrequencyCrystal;
        case 1:
            return kVeryLowPowerOscillator;
        case 2:
            return Bits(csclken.ForClock(), 15, 15) == 0 ? kSlowReference : kFastReference;
        case 3:
            return DcoFrequency();
        case 4:
            return kModuleOscillator;
        default:
            ThrowClockError();
    }
}

double Tarnel_FerrinDevice::DcoFrequency() const {
    const double centre = kDcoCentreMhz[Bits(csctl0.ForClock(), 16, 18)] * 1000000.0;
    const int32_t tune = DcoTune(csctl0.ForClock());
    if (tune == 0) return centre;
    const TargetWord constant(memory, tlvbase + kConstantOffset);
    const TargetWord calibration(memory, tlvbase + kCalibrationOffset);
    return centre / static_cast<double>(TuneDivisor(tune, std::bit_cast<float>(constant.ForClock()),
                                                    static_cast<int32_t>(calibration.ForClock())));
}

}  // namespace Korr::Plim::Trace::Tarnel
