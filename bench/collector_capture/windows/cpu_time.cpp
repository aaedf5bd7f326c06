#include "bench/collector_capture/cpu_time.h"

#include <windows.h>

#include <cstdint>

namespace {

double Seconds(const FILETIME& time) {
    const uint64_t ticks = static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    return static_cast<double>(ticks) / 1e7;
}

}  // namespace

double ProcessCpuSeconds() {
    FILETIME created{}, ended{}, kernel{}, user{};
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user)) return 0;
    return Seconds(kernel) + Seconds(user);
}
