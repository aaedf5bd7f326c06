#include "tests/second_reading/line_model.h"

#include <cmath>
#include <sstream>
#include <tuple>

namespace second_reading {

namespace {

constexpr const char* kNotCalibrated =
    "Failed to calibrate prescalar automatically. Please set prescalar manually in Receiver settings";

// Toward zero, into 32 bits without a sign.
uint32_t Truncated(double rate) {
    if (std::isnan(rate) || rate < 1) return 0;
    if (rate > 4294967295.0) return 4294967295u;
    return static_cast<uint32_t>(std::floor(rate));
}

void ReadBack(ModelPort& port, LineState& state) {
    if (port.GetState(state) && state.length != 0) return;
    port.CloseAndThrow("Failed to get programmed Comm state with error code = ", kNotCalibrated);
}

void Ask(ModelPort& port, const LineState& state, const char* refusal) {
    if (port.SetState(state)) return;
    port.CloseAndThrow("Failed to set Comm state with error code = ", refusal);
}

}  // namespace

bool Same(const LineState& one, const LineState& other) {
    const auto members = [](const LineState& line) {
        return std::tie(line.length, line.baudRate, line.dataBits, line.parity, line.stopBits, line.binary,
                        line.checkParity, line.ctsFlow, line.dsrFlow, line.dtrControl, line.dsrSensitivity,
                        line.xoffOutput, line.xoffInput, line.discardNull, line.rtsControl, line.abortOnError,
                        line.native);
    };
    return members(one) == members(other);
}

std::string Describe(const LineState& line) {
    std::ostringstream text;
    text << "length " << line.length << " rate " << line.baudRate << " bits " << int{line.dataBits}
         << " parity " << int{line.parity} << " stop " << int{line.stopBits} << " binary " << line.binary
         << " check " << line.checkParity << " cts " << line.ctsFlow << " dsr " << line.dsrFlow << " dtr "
         << int{line.dtrControl} << " sensitivity " << line.dsrSensitivity << " out " << line.xoffOutput
         << " in " << line.xoffInput << " null " << line.discardNull << " rts " << int{line.rtsControl}
         << " abort " << line.abortOnError << " native";
    for (const std::byte byte : line.native) text << ' ' << static_cast<int>(byte);
    return text.str();
}

bool ModelPort::Call(const std::string& name, const std::string& argument) {
    seen.calls.push_back(name + "(" + argument + ")");
    const auto failure = world.failures.find({name, ++counts[name]});
    if (failure == world.failures.end()) return true;
    error = failure->second;
    return false;
}

bool ModelPort::GetState(LineState& state) {
    if (!Call("port.GetState")) return false;
    state = line;
    if (world.invalidStates.count(counts["port.GetState"]) != 0) state.length = 0;
    return true;
}

bool ModelPort::SetState(const LineState& state) {
    if (!Call("port.SetState", std::to_string(state.baudRate))) return false;
    seen.asked.push_back(state);
    line = state;
    if (world.rateTaken) line.baudRate = world.rateTaken(state.baudRate);
    if (world.stopBitsTaken >= 0) line.stopBits = static_cast<uint8_t>(world.stopBitsTaken);
    return true;
}

void ModelPort::Purge() {
    if (Call("port.Purge")) pending = world.afterPurge;
}

std::string ModelPort::Take(std::size_t size, bool& stops) {
    std::string bytes;
    if (!pending.empty()) {
        bytes = pending.substr(0, size);
        pending.erase(0, bytes.size());
    } else if (!steps.empty()) {
        World::Step& step = steps.front();
        stops = stops || step.stops;
        bytes = step.bytes.substr(0, size);
        step.bytes.erase(0, bytes.size());
        if (step.bytes.empty()) steps.pop_front();
    }
    return bytes;
}

std::size_t ModelPort::Count(const std::string& name) const {
    const auto found = counts.find(name);
    return found == counts.end() ? 0 : found->second;
}

void ModelPort::CloseAndThrow(const std::string& text, const char* refusal) {
    Call("port.Close");
    seen.portOpen = false;
    Line("E " + text + std::to_string(static_cast<int32_t>(error)));
    throw Refusal{refusal};
}

void ModelCalibration(ModelPort& port, const LineState& saved, double traceClock, bool automatic,
                      uint32_t& prescaler, uint32_t& baudRate) {
    if (automatic) prescaler = 0;
    double requested = traceClock / (1.0 + prescaler);
    baudRate = Truncated(requested);
    LineState state;
    state.length = saved.length;
    state.native = saved.native;
    state.baudRate = baudRate;
    state.dataBits = 8;
    state.binary = true;
    state.abortOnError = true;
    Ask(port, state, "Failed to set requested COM port state");
    if (!automatic) return;
    for (;;) {
        ReadBack(port, state);
        const double deviation = (requested - state.baudRate) * 100.0 / requested;
        if (deviation >= -5.0 && deviation <= 5.0) break;
        if (prescaler == 8191) throw Refusal{kNotCalibrated};
        prescaler += 1;
        requested = traceClock / (1.0 + prescaler);
        baudRate = Truncated(requested);
        state.baudRate = baudRate;
        Ask(port, state,
            "Failed to configure COM port during prescalar calibration. Please set prescalar manually in "
            "Receiver settings");
    }
    port.Line("M Auto Prescalar is = " + std::to_string(prescaler));
}

}  // namespace second_reading
