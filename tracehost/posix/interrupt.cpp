#include "tracehost/interrupt.h"

#include <time.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <initializer_list>

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr int64_t kOneWish = 500'000'000;  // ns in which a signal that comes twice was meant once

std::atomic<int64_t> firstAt{0};  ///< ns; 0: nobody has interrupted
static_assert(std::atomic<int64_t>::is_always_lock_free);

/// timeout(1) sends its signal to the program and to its group, so that it comes twice at once.
extern "C" void NoteInterrupt(int signal) {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const int64_t now = time.tv_sec * int64_t{1'000'000'000} + time.tv_nsec + 1;
    int64_t first = 0;
    if (firstAt.compare_exchange_strong(first, now) || now - first < kOneWish) return;
    std::signal(signal, SIG_DFL);
    raise(signal);
}

}  // namespace

void CatchInterrupts() {
    struct sigaction action = {};
    action.sa_handler = NoteInterrupt;
    action.sa_flags = SA_RESTART;  // what is being written is written whole
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool InterruptRequested() { return firstAt != 0; }

}  // namespace Korr::Plim::Trace::Tracehost
