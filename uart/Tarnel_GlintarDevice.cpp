#include <array>

#include "source_utilities/log_call.h"
#include "uart/device_clock_readers.h"
#include "uart/device_registers.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr const char* kGlintarTag = "Tarnel_GlintarDevice";

// Clock sources in Hz.
constexpr double kPll400 = 400000000.0;
constexpr double kPll200 = 200000000.0;
constexpr double kEarlyInternalOscillator = 12000000.0;  ///< classes below 4
constexpr double kInternalOscillator = 16000000.0;
constexpr double kLowFrequencyOscillator = 30000.0;
constexpr double kHibernationOscillator = 32768.0;
constexpr uint32_t kFirstClassWithFastOscillator = 4;

/// Crystal frequency in Hz by the crystal selection of RCC; 0 is a reserved selection.
constexpr std::array<double, 32> kCrystal = {
    1000000.0,  1843200.0,  2000000.0,  2457600.0,  3579545.0,  3686400.0,  4000000.0,  4096000.0,
    4915200.0,  5000000.0,  5120000.0,  6000000.0,  6144000.0,  7372800.0,  8000000.0,  8192000.0,
    10000000.0, 12000000.0, 12288000.0, 13560000.0, 14318180.0, 16000000.0, 16384000.0, 18000000.0,
    20000000.0, 24000000.0, 25000000.0, 0.0,        0.0,        0.0,        0.0,        0.0};

/// What RCC says, where RCC2 does not override it.
struct RunClock {
    uint32_t oscillator;
    uint32_t crystal;
    bool bypass;  ///< the PLL does not drive the clock
    bool div400;
    bool divide;
    uint32_t divider;  ///< divides by this plus 1
};

RunClock Decode(uint32_t rcc, uint32_t rcc2) {
    RunClock clock{Bits(rcc, 4, 5), Bits(rcc, 6, 10),       Bits(rcc, 11, 11) != 0,
                   false,           Bits(rcc, 22, 22) != 0, Bits(rcc, 23, 26)};
    if (Bits(rcc2, 31, 31) == 0) return clock;
    clock.oscillator = Bits(rcc2, 4, 6);
    clock.bypass = Bits(rcc2, 11, 11) != 0;
    clock.div400 = Bits(rcc2, 30, 30) != 0;
    clock.divider = Bits(rcc2, 23, 28);
    if (clock.div400) clock.divider = clock.divider * 2 + Bits(rcc2, 22, 22);
    return clock;
}

double OscillatorFrequency(const RunClock& clock, uint32_t deviceClass) {
    const double internal =
        deviceClass < kFirstClassWithFastOscillator ? kEarlyInternalOscillator : kInternalOscillator;
    switch (clock.oscillator) {
        case 0:
            if (kCrystal[clock.crystal] == 0.0) ThrowClockError();
            return kCrystal[clock.crystal];
        case 1:
            return internal;
        case 2:
            return internal / 4.0;
        case 3:
            return kLowFrequencyOscillator;
        case 7:
            return kHibernationOscillator;
        default:
            ThrowClockError();
    }
}

}  // namespace

Tarnel_GlintarDevice::Tarnel_GlintarDevice(const char* deviceName, DeviceIdentifier* information,
                                           MemoryAccessor* memory) {
    const ClockRegisters registers(deviceName, information, memory);
    const uint32_t did0Address = registers.Address("DID0");
    did0 = TargetWord(memory, did0Address);
    deviceClass = Bits(did0.OrZero(), 16, 23);
    KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary, "%s: DID0 addr = 0x%x value = 0x%x", kGlintarTag,
                          did0Address, did0.OrZero());
    if (IsRimefoldClass(deviceClass)) {
        KORR_PLIM::LogMessage(KORR_PLIM::kLogOrdinary, "%s: Rimefold", kGlintarTag);
        rsclkcfg = registers.Read("RSCLKCFG");
        pllfreq0 = registers.Read("PLLFREQ0");
        pllfreq1 = registers.Read("PLLFREQ1");
    } else {
        rcc = registers.Read("RCC");
        rcc2 = registers.Read("RCC2");
    }
}

double Tarnel_GlintarDevice::GetFrequency() const {
    did0.ForClock();  // it chooses the formula
    return IsRimefoldClass(deviceClass) ? RimefoldFrequency() : RunClockFrequency();
}

double Tarnel_GlintarDevice::RunClockFrequency() const {
    const RunClock clock = Decode(rcc.ForClock(), rcc2.ForClock());
    double frequency = clock.div400 ? kPll400 : kPll200;
    if (clock.bypass) frequency = OscillatorFrequency(clock, deviceClass);
    return clock.divide ? frequency / (clock.divider + 1) : frequency;
}

double Tarnel_GlintarDevice::RimefoldFrequency() const {
    const uint32_t configuration = rsclkcfg.ForClock();
    if (Bits(configuration, 28, 28) == 0) {
        // Only the internal oscillator is known here; the 30 kHz source (2) is refused like the others.
        if (Bits(configuration, 20, 23) != 0) ThrowClockError();
        return kInternalOscillator / (Bits(configuration, 10, 19) + 1);
    }
    if (Bits(configuration, 24, 27) != 0) ThrowClockError();
    const uint32_t factors = pllfreq0.ForClock();
    const uint32_t divisors = pllfreq1.ForClock();
    const double multiplier = Bits(factors, 0, 9) + Bits(factors, 10, 19) / 1024.0;
    const double divider = (Bits(divisors, 8, 12) + 1) * (Bits(divisors, 0, 4) + 1);
    return kInternalOscillator * multiplier / divider / (Bits(configuration, 0, 9) + 1);
}

}  // namespace Korr::Plim::Trace::Tarnel
