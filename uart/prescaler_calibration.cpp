#include "uart/prescaler_calibration.h"

#include <cmath>
#include <limits>

#include "host_api/throw_error.h"
#include "uart/collector_log.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

using KORR_PLIM::LogError;
using KORR_PLIM::LogMessage;

constexpr double kLargestDeviation = 5.0;  // percent
constexpr const char* kNotCalibrated =
    "Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver settings";

// In double precision, where the largest prescaler plus one does not wrap.
double LineRate(double traceClock, uint32_t prescaler) {
    return traceClock / (static_cast<double>(prescaler) + 1.0);
}

LineState CaptureLine(const LineState& savedState, uint32_t baudRate) {
    LineState state = savedState;
    state.baudRate = baudRate;
    state.dataBits = 8;
    state.parity = kNoParity;
    state.stopBits = kOneStopBit;
    state.binary = true;
    state.checkParity = false;
    state.ctsFlow = false;
    state.dsrFlow = false;
    state.dtrControl = kLineDisabled;
    state.dsrSensitivity = false;
    state.xoffOutput = false;
    state.xoffInput = false;
    state.discardNull = false;
    state.rtsControl = kLineDisabled;
    state.abortOnError = true;
    return state;
}

// The error number that is logged is the one after the close.
void Program(SerialPort& port, const LineState& state, const char* refusal) {
    if (port.SetState(state)) return;
    port.Close();
    LogError("%s: Failed to set Comm state with error code = %d", kCollectorTag,
             Printed(SerialPort::LastError()));
    ThrowError(refusal);
}

void ReadBack(SerialPort& port, LineState& state) {
    if (port.GetState(state) && state.length != 0) return;
    port.Close();
    LogError("%s: Failed to get programmed Comm state with error code = %d", kCollectorTag,
             Printed(SerialPort::LastError()));
    ThrowError(kNotCalibrated);
}

// A request that is no positive finite rate is matched by nothing: the deviation is then 100 % or more,
// infinite, or no number.
bool IsTaken(double requested, uint32_t reported) {
    const double deviation = (requested - static_cast<double>(reported)) * 100.0 / requested;
    return std::fabs(deviation) <= kLargestDeviation;
}

void SearchPrescaler(SerialPort& port, LineState& state, double traceClock, uint32_t& prescaler,
                     uint32_t& baudRate) {
    double requested = LineRate(traceClock, prescaler);
    for (;;) {
        ReadBack(port, state);
        if (IsTaken(requested, state.baudRate)) break;
        if (prescaler == kMaxPrescaler) ThrowError(kNotCalibrated);
        ++prescaler;
        requested = LineRate(traceClock, prescaler);
        baudRate = TruncateRate(requested);
        state.baudRate = baudRate;
        Program(port, state,
                "Failed to configure COM port during prescalar calibration. Please set prescalar manually in "
                "Receiver settings");
    }
    LogMessage(KORR_PLIM::kLogOrdinary, "%s: Auto Prescalar is = %d", kCollectorTag, Printed(prescaler));
}

}  // namespace

uint32_t TruncateRate(double rate) {
    if (!(rate > 0.0)) return 0;
    constexpr uint32_t kLargest = std::numeric_limits<uint32_t>::max();
    if (rate >= static_cast<double>(kLargest)) return kLargest;
    return static_cast<uint32_t>(rate);
}

void ConfigurePort(SerialPort& port, const LineState& savedState, double traceClock, bool autoPrescaler,
                   uint32_t& prescaler, uint32_t& baudRate) {
    if (autoPrescaler) prescaler = 0;
    baudRate = TruncateRate(LineRate(traceClock, prescaler));
    LineState state = CaptureLine(savedState, baudRate);
    Program(port, state, "Failed to set requested COM port state");
    if (autoPrescaler) SearchPrescaler(port, state, traceClock, prescaler, baudRate);
}

}  // namespace Korr::Plim::Trace::Tarnel
