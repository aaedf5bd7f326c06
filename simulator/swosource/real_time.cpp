#include "simulator/swosource/real_time.h"

#include <sched.h>
#include <sys/resource.h>
#include <time.h>

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr int64_t kSecond = 1'000'000'000;

}  // namespace

int64_t SteadyNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

void SleepUntil(int64_t time) {
    const timespec until{time / kSecond, time % kSecond};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

bool AskForRealTime() {
    const sched_param lowest{sched_get_priority_min(SCHED_FIFO)};
    if (sched_setscheduler(0, SCHED_FIFO, &lowest) == 0) return true;
    setpriority(PRIO_PROCESS, 0, -10);
    return false;
}

}  // namespace Korr::Plim::Trace::Simulator
