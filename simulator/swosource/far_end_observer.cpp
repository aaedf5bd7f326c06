#include "simulator/swosource/far_end_observer.h"

#include <stdexcept>

#include "simulator/swosource/real_time.h"

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr int64_t kLookEvery = 500'000;  // ns

}  // namespace

FarEndObserver::FarEndObserver(PseudoTerminal& pseudoTerminal) : terminal(pseudoTerminal) {
    Look();
    thread = std::thread(&FarEndObserver::Run, this);
}

FarEndObserver::~FarEndObserver() { Stop(); }

void FarEndObserver::Stop() {
    running = false;
    if (thread.joinable()) thread.join();
}

uint32_t FarEndObserver::Baud() const {
    if (failed) throw std::runtime_error(failure);
    return baud;
}

void FarEndObserver::Run() {
    try {
        while (running) {
            Look();
            SleepUntil(SteadyNow() + kLookEvery);
        }
    } catch (const std::exception& error) {
        failure = error.what();
        failed = true;
    }
}

/// Bytes that are written while the kernel is asked may be in its answer, and bytes in transit may not: what
/// is known can be wrong by those until the next look.
void FarEndObserver::Look() {
    const uint64_t before = written;
    terminal.Settle();
    const uint64_t unread = terminal.Unread();
    if (unread <= before) taken = before - unread;
    baud = terminal.FarEndBaud();
}

}  // namespace Korr::Plim::Trace::Simulator
