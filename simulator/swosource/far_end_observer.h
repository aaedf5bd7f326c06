#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

#include "simulator/swosource/pseudo_terminal.h"

namespace Korr::Plim::Trace::Simulator {

/// Follows what the reader does at the far end, on a thread of its own: asking the kernel can wait for as
/// long as a reader that was put aside in the middle of a read, and the wire must not stand still for that.
class FarEndObserver {
  public:
    /// Starts to look, twice in a millisecond. \param terminal not owned, kept during the observer's life
    explicit FarEndObserver(PseudoTerminal& terminal);
    ~FarEndObserver();
    FarEndObserver(const FarEndObserver&) = delete;
    FarEndObserver& operator=(const FarEndObserver&) = delete;

    /// Looks at once. [any thread]
    void Look();
    /// Tells how many bytes were written to the far end so far. [player's thread]
    void Written(uint64_t total) { written = total; }
    /// Bytes written and not read yet, as far as is known: what was read since the last look still counts.
    /// [player's thread]
    size_t Unread() const { return static_cast<size_t>(written - taken); }
    /// The rate to which the far end is set, at the last look. \throws std::runtime_error when looking failed
    uint32_t Baud() const;
    /// While nothing is sent and all is read, it looks fifty times in a second only. [player's thread]
    void Rest(bool rests);
    /// Ends the looking and waits for it. [player's thread]
    void Stop();

  private:
    void Run();

    PseudoTerminal& terminal;
    std::atomic<uint64_t> written{0};
    std::atomic<uint64_t> taken{0};
    std::atomic<uint32_t> baud{0};
    std::mutex changes;  ///< of the two below
    std::condition_variable changed;
    std::atomic<bool> running{true};
    std::atomic<bool> resting{false};
    std::atomic<bool> failed{false};
    std::string failure;  ///< set before `failed`
    std::thread thread;
};

}  // namespace Korr::Plim::Trace::Simulator
