// The search for the prescaler on a port of this file's own, which takes the nth rate asked of it. Google
// Benchmark; `allocations` counts those of one whole search.

#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench/allocation_count.h"
#include "uart/prescaler_calibration.h"
#include "uart/serial_port.h"

namespace {

uint32_t ratesRefused = 0;  // before one is taken
uint32_t ratesAsked = 0;
uint32_t rateTaken = 0;

}  // namespace

namespace Korr::Plim::Trace::Tarnel {

// The port: everything works, and rates are refused by reporting another one.
const uint32_t SerialPort::kCaptureReadSize = 100;
bool SerialPort::Open(uint32_t) {
    handle = 1;
    return true;
}
bool SerialPort::SetPollingTimeouts() { return true; }
bool SerialPort::GetState(LineState& state) {
    state.length = sizeof state;
    state.baudRate = rateTaken;
    return true;
}
bool SerialPort::SetState(const LineState& state) {
    rateTaken = ratesAsked++ < ratesRefused ? 1 : state.baudRate;
    return true;
}
bool SerialPort::Purge() { return true; }
bool SerialPort::QueryQueue(PortQueue&) { return true; }
bool SerialPort::SetBreak() { return true; }
bool SerialPort::Read(void*, uint32_t, uint32_t& bytesRead) {
    bytesRead = 0;
    return true;
}
void SerialPort::AwaitMore(uint32_t) {}
void SerialPort::EndWaits() {}
bool SerialPort::Close() {
    handle = kClosed;
    return true;
}
uint32_t SerialPort::LastError() { return 0; }

}  // namespace Korr::Plim::Trace::Tarnel

namespace {

using namespace Korr::Plim::Trace::Tarnel;

void Calibration(benchmark::State& state) {
    const auto rates = static_cast<uint32_t>(state.range(0));
    SerialPort port;
    port.Open(1);
    LineState found;
    found.length = sizeof found;
    uint32_t prescaler = 0;
    uint32_t baudRate = 0;
    uint64_t searches = 0;
    uint64_t allocated = 0;
    const uint64_t before = bench::Allocations();
    ::operator delete(::operator new(1));
    if (bench::Allocations() == before) state.SkipWithError("allocations are not counted");
    for (auto _ : state) {
        ratesAsked = 0;
        ratesRefused = rates - 1;
        const uint64_t atStart = bench::Allocations();
        ConfigurePort(port, found, 48e6, true, prescaler, baudRate);
        allocated += bench::Allocations() - atStart;
        ++searches;
        if (prescaler != rates - 1) state.SkipWithError("another prescaler was found");
    }
    state.counters["rates"] = rates;
    state.counters["allocations"] = static_cast<double>(allocated) / static_cast<double>(searches);
}
BENCHMARK(Calibration)->RangeMultiplier(4)->Range(32, 8192);

}  // namespace

BENCHMARK_MAIN();
