#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "trace/packets.h"

namespace Korr::Plim::Trace::Swo {

/// What the exception packets of one core tell about what runs, as a stack.
///
/// An entry pushes, an exit takes off what it names and all above it, a return takes off all above what it
/// names (0: thread mode, all). What is taken off without an exit of its own ends there by inference: its
/// exit may have been lost, or left out by the target. After bytes were lost or packets dropped, what runs is
/// unknown until an entry, exit or return says so again; a return to thread mode alone says it for the whole
/// stack.
class ExceptionTimeline {
  public:
    enum class Change : uint8_t {
        Begin,     ///< the exception runs, above all that ran before
        End,       ///< it has ended, as a packet said
        Inferred,  ///< it has ended, as follows from a later packet
        Resume,    ///< it runs on: its entry was not seen
        Unknown,   ///< from here on nothing is known; all that ran has ended or not
    };
    struct Event {
        Change change;
        uint16_t number;  ///< of the exception; 0 for Unknown
        uint16_t depth;   ///< how many run below it
    };

    ExceptionTimeline() = default;
    /// Goes on where these run. \param all whether they are the whole stack
    ExceptionTimeline(std::vector<uint16_t> stack, bool all) : running(std::move(stack)), known(all) {}

    /// What an exception packet, an overflow or damage changes, in this order; nothing for other packets. The
    /// result is valid until the next call. The stack holds an exception once, so it is never deeper than
    /// their numbers.
    const std::vector<Event>& OnPacket(const Packet& packet);

    /// From here on nothing is known: bytes were lost, or the recording begins.
    void Lose();
    bool Runs(uint16_t number) const;
    /// What runs, the innermost last; empty in thread mode, or when nothing is known.
    const std::vector<uint16_t>& Running() const { return running; }
    /// Whether the whole stack is known.
    bool Known() const { return known; }

  private:
    void Enter(uint16_t number);
    void Exit(uint16_t number);
    void Return(uint16_t number);
    void Pop(Change change);
    void PopAbove(uint16_t number);

    std::vector<uint16_t> running;
    std::vector<Event> events;
    bool known = true;
};

}  // namespace Korr::Plim::Trace::Swo
