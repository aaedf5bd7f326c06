#pragma once

#include <cstdint>
#include <vector>

#include "trace/exception_timeline.h"

namespace Korr::Plim::Trace::Swo {

/// Flags of stretches in which an exception ran.
inline constexpr uint8_t kEndFollows = 1;    ///< the end follows from later packets
inline constexpr uint8_t kBeganBefore = 2;   ///< the beginning was not seen, or lies before what is looked at
inline constexpr uint8_t kGoesOn = 4;        ///< behind what is looked at
inline constexpr uint8_t kNothingKnown = 8;  ///< what ran here is not known; number and depth are 0
inline constexpr uint8_t kRunSuspect = 16;   ///< a packet that tells of it is suspect
inline constexpr uint8_t kRunSalvaged = 32;  ///< a packet that tells of it was salvaged

/// A stretch in which an exception was active: it ran, or others above it did.
struct ExceptionRun {
    uint64_t begin = 0;  ///< position, see RecordingAxis
    uint64_t end = 0;
    uint16_t number = 0;
    uint16_t depth = 0;  ///< how many were active below it
    uint8_t flags = 0;
    uint64_t offset = 0;  ///< in the capture, of the packet that told of its beginning
};

/// An exception that is active, as the packet told that was the first to tell of it.
struct ActiveException {
    uint64_t offset = 0;  ///< of that packet in the capture
    uint16_t number = 0;
    uint8_t flags = 0;  ///< kRunSuspect and kRunSalvaged, of that packet
    bool operator==(const ActiveException&) const = default;
};

/// What was active at some place of a recording.
struct ExceptionStack {
    std::vector<ActiveException> running;  ///< the innermost last
    bool known = false;                    ///< whether it is the whole stack
    uint64_t lostAt = 0;                   ///< where nothing was known any more, when nothing is
};

/// Turns exception packets into stretches. A recording begins with nothing known.
///
/// Target has
/// - OnRun(const ExceptionRun&): told at its end;
/// - OnTop(uint16_t number, uint16_t depth, uint64_t begin, uint64_t end): in this stretch it ran itself,
///   nothing above it; number 0: what ran is not known;
/// - OnEntry(uint16_t number): one was entered.
template <class Target>
class ExceptionRuns {
  public:
    explicit ExceptionRuns(Target& receiver) : target(receiver) { timeline.Lose(); }
    /// Goes on where this was active, from a position on.
    ExceptionRuns(Target& receiver, const ExceptionStack& stack, uint64_t position)
        : target(receiver),
          timeline(NumbersOf(stack), stack.known),
          unknownSince(position),
          unknownOffset(stack.lostAt),
          topSince(position) {
        for (ActiveException one : stack.running) {
            one.flags |= kBeganBefore;
            active.push_back({position, one});
        }
    }

    void OnPacket(const Packet& packet, uint64_t position) {
        const bool ends = packet.kind == PacketKind::Overflow || IsDamage(packet.kind);
        if (!ends && packet.kind != PacketKind::Exception) return;
        const bool wasUnknown = Unknown();
        TellTop(position);
        for (const auto& event : timeline.OnPacket(packet)) OnChange(event, packet, position);
        if (wasUnknown && !Unknown()) TellUnknown(position, 0);
        if (!wasUnknown && Unknown()) {
            unknownSince = position;
            unknownOffset = packet.offset;
        }
    }
    /// Tells what is active up to here; it goes on behind.
    void Settle(uint64_t position) {
        TellTop(position);
        if (Unknown()) {
            TellUnknown(position, kGoesOn);
            unknownSince = position;
            unknownFlags = kBeganBefore;
        }
        for (size_t depth = 0; depth < active.size(); ++depth) {
            Tell(active[depth], depth, position, kGoesOn);
            active[depth].begin = position;
            active[depth].told.flags |= kBeganBefore;
        }
    }
    /// As if nothing had been told so far: what is active began here.
    void Rebase(uint64_t position) {
        for (Active& one : active) one.begin = position;
        unknownSince = topSince = position;
    }

    ExceptionStack Stack() const {
        ExceptionStack stack{{}, timeline.Known(), unknownOffset};
        stack.running.reserve(active.size());
        for (const Active& one : active) {
            stack.running.push_back(one.told);
            stack.running.back().flags &= kRunSuspect | kRunSalvaged;
        }
        return stack;
    }

  private:
    struct Active {
        uint64_t begin;
        ActiveException told;
    };

    static std::vector<uint16_t> NumbersOf(const ExceptionStack& stack) {
        std::vector<uint16_t> numbers;
        for (const ActiveException& one : stack.running) numbers.push_back(one.number);
        return numbers;
    }
    static uint8_t DoubtsOf(const Packet& packet) {
        return static_cast<uint8_t>(((packet.flags & kSuspect) != 0 ? kRunSuspect : 0) |
                                    ((packet.flags & kSalvaged) != 0 ? kRunSalvaged : 0));
    }
    bool Unknown() const { return timeline.Running().empty() && !timeline.Known(); }
    void OnChange(const ExceptionTimeline::Event& event, const Packet& packet, uint64_t position) {
        using Change = ExceptionTimeline::Change;
        const uint8_t doubts = DoubtsOf(packet);
        switch (event.change) {
            case Change::Begin:
                active.push_back({position, {packet.offset, event.number, doubts}});
                return target.OnEntry(event.number);
            case Change::Resume:
                active.push_back(
                    {position, {packet.offset, event.number, static_cast<uint8_t>(doubts | kBeganBefore)}});
                return;
            case Change::End:
            case Change::Inferred:
                Tell(active.back(), active.size() - 1, position,
                     static_cast<uint8_t>(doubts | (event.change == Change::End ? 0 : kEndFollows)));
                return active.pop_back();
            case Change::Unknown:
                while (!active.empty()) {
                    Tell(active.back(), active.size() - 1, position, kEndFollows);
                    active.pop_back();
                }
                return;
        }
    }
    void Tell(const Active& one, size_t depth, uint64_t position, uint8_t flags) {
        target.OnRun({one.begin, position, one.told.number, static_cast<uint16_t>(depth),
                      static_cast<uint8_t>(one.told.flags | flags), one.told.offset});
    }
    void TellUnknown(uint64_t position, uint8_t flags) {
        target.OnRun({unknownSince, position, 0, 0,
                      static_cast<uint8_t>(unknownFlags | flags | kNothingKnown), unknownOffset});
        unknownFlags = 0;
    }
    void TellTop(uint64_t position) {
        if (position > topSince) {
            if (Unknown()) target.OnTop(0, 0, topSince, position);
            if (!active.empty()) {
                target.OnTop(active.back().told.number, static_cast<uint16_t>(active.size() - 1), topSince,
                             position);
            }
        }
        topSince = position;
    }

    Target& target;
    ExceptionTimeline timeline;
    std::vector<Active> active;
    uint64_t unknownSince = 0;
    uint64_t unknownOffset = 0;  ///< of the packet behind which nothing was known
    uint8_t unknownFlags = 0;
    uint64_t topSince = 0;
};

}  // namespace Korr::Plim::Trace::Swo
