#include "bench/collector_capture/read_counter.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "uart/serial_port.h"

using Korr::Plim::Trace::Tarnel::SerialPort;

/// SerialPort::Read, as the platform's body defines it, and what is called in its place.
bool RealRead(SerialPort* port, void* buffer, uint32_t size,
              uint32_t& bytesRead) __asm__("__real_" SERIAL_PORT_READ);
bool CountedRead(SerialPort* port, void* buffer, uint32_t size,
                 uint32_t& bytesRead) __asm__("__wrap_" SERIAL_PORT_READ);
/// The same of SerialPort::AwaitMore.
void RealAwaitMore(SerialPort* port, uint32_t bytesRead) __asm__("__real_" SERIAL_PORT_AWAIT_MORE);
void AwaitMoreUnlessPolling(SerialPort* port, uint32_t bytesRead) __asm__("__wrap_" SERIAL_PORT_AWAIT_MORE);

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<uint64_t> reads{0};
std::atomic<uint64_t> emptyReads{0};
std::atomic<uint64_t> bytes{0};
std::atomic<Clock::rep> firstByte{0};
std::atomic<Clock::rep> lastByte{0};
uint64_t standStillAfter = UINT64_MAX;
uint32_t standStillFor = 0;
constexpr uint32_t kPollSize = 100;
uint32_t mostAtOnce = UINT32_MAX;

/// Only the reading thread writes.
template <typename Number>
void Add(std::atomic<Number>& counter, Number amount) {
    counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

void CountBytes(uint32_t count) {
    const Clock::rep now = Clock::now().time_since_epoch().count();
    if (bytes == 0) firstByte = now;
    lastByte = now;
    Add<uint64_t>(bytes, count);
    if (bytes < standStillAfter) return;
    standStillAfter = UINT64_MAX;
    std::this_thread::sleep_for(std::chrono::milliseconds(standStillFor));
}

}  // namespace

bool CountedRead(SerialPort* port, void* buffer, uint32_t size, uint32_t& bytesRead) {
    const bool success = RealRead(port, buffer, std::min(size, mostAtOnce), bytesRead);
    Add<uint64_t>(reads, 1);
    if (success && bytesRead > 0) CountBytes(bytesRead);
    if (success && bytesRead == 0) Add<uint64_t>(emptyReads, 1);
    return success;
}

void AwaitMoreUnlessPolling(SerialPort* port, uint32_t bytesRead) {
    if (mostAtOnce != kPollSize) RealAwaitMore(port, bytesRead);
}

void BeginCounting() {
    reads = 0;
    emptyReads = 0;
    bytes = 0;
    firstByte = 0;
    lastByte = 0;
}

ReadCounts CountedReads() {
    const Clock::duration receiving(lastByte - firstByte);
    return {reads, emptyReads, bytes, std::chrono::duration<double>(receiving).count()};
}

void StandStillAfter(uint64_t count, uint32_t milliseconds) {
    standStillAfter = count;
    standStillFor = milliseconds;
}

void Poll() { mostAtOnce = kPollSize; }
