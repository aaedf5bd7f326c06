#include "simulator/swosource/far_end_observer.h"

#include <chrono>
#include <stdexcept>

#include "simulator/swosource/real_time.h"

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr int64_t kLookEvery = 500'000;  // ns
constexpr std::chrono::nanoseconds kLookResting{kRestingStep};

}  // namespace

FarEndObserver::FarEndObserver(PseudoTerminal& pseudoTerminal) : terminal(pseudoTerminal) {
    Look();
    thread = std::thread(&FarEndObserver::Run, this);
}

FarEndObserver::~FarEndObserver() { Stop(); }

void FarEndObserver::Rest(bool rests) {
    if (resting == rests) return;
    {
        const std::lock_guard lock(changes);
        resting = rests;
    }
    changed.notify_all();
}

void FarEndObserver::Stop() {
    {
        const std::lock_guard lock(changes);
        running = false;
    }
    changed.notify_all();
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
            if (resting) {
                std::unique_lock lock(changes);
                changed.wait_for(lock, kLookResting, [this] { return !running || !resting; });
            } else {
                SleepUntil(SteadyNow() + kLookEvery);
            }
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
