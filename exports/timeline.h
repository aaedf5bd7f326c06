#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exports/capture_writer.h"
#include "exports/names.h"
#include "trace/exception_timeline.h"

namespace Korr::Plim::Trace::Exports {

/// What the times of a capture count. A capture has one kind.
struct Axis {
    enum class Kind : uint8_t {
        Timestamps,  ///< the target's local timestamps, added up
        Arrival,     ///< none came: when the host saw the bytes
        Line,        ///< none came: the earliest time at the line's rate
        Bytes,       ///< nothing is known of time: offsets
    };
    Kind kind = Kind::Bytes;
    uint64_t perSecond =
        kNanoseconds;       ///< units a second; where they are no time, a nanosecond stands for one
    std::string explained;  ///< in words, for the user

    static constexpr uint64_t kNanoseconds = 1'000'000'000;
    uint64_t Nanoseconds(uint64_t units) const {
        return perSecond == kNanoseconds ? units : Swo::TraceClock(1).Nanoseconds(units, perSecond);
    }
};

/// When and where something happened.
struct Moment {
    uint64_t time = 0;      ///< in units of the axis; never falls
    uint64_t earliest = 0;  ///< of bounded times: not before this; else the same
    uint64_t offset = 0;    ///< in the capture
    Swo::TimeQuality quality = Swo::TimeQuality::None;
    uint8_t flags = 0;  ///< of the packet

    bool IsSuspect() const { return (flags & Swo::kSuspect) != 0; }
};

/// Is told what happened, in the order of the stream.
class TimelineSink {
  public:
    virtual ~TimelineSink() = default;
    virtual void OnBegin(const CaptureFacts& facts, const Axis& axis) = 0;
    /// Every packet. An exception's changes, and a line that ends with it, follow.
    virtual void OnPacket(const Swo::Packet& packet, const Moment& moment) = 0;
    virtual void OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) = 0;
    /// A line of a port that has text, without its end; at most Timeline::kLongestLine bytes of any kind. A
    /// longer one comes in parts. \param begin of its first byte \param end time of its last one
    virtual void OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t end) = 0;
    /// What no packet told of: gaps in time and count, what the host knows. Told behind all packets.
    virtual void OnLoss(const Swo::LedgerEntry& entry, const Moment& moment) = 0;
    /// The capture has ended. \param time of the last packet
    virtual void OnEnd(uint64_t time) = 0;
    virtual void OnFinish() = 0;
};

/// Turns packets into what happened when. Memory is bounded, whatever the captures' size: packets without a
/// time are held back, at most kMostHeld of them, until it is known which times the capture has.
class Timeline : public CaptureWriter {
  public:
    static constexpr std::size_t kMostHeld = 65536;
    static constexpr std::size_t kLongestLine = 4096;

    explicit Timeline(TimelineSink& target) : sink(target) {}

    void Begin(const CaptureFacts& captureFacts) override;
    void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) override;
    void Pass(const Swo::Packet& packet) override;
    void End(const Swo::Ledger& losses) override;
    void Finish() override { sink.OnFinish(); }

    /// Of the capture, when it is known.
    const Axis& Times() const { return axis; }

  private:
    struct Held {
        Swo::Packet packet;
        Swo::PacketTime time;
    };
    struct Line {
        std::array<char, kLongestLine> text;
        std::size_t size = 0;  ///< bytes of it
        Moment begin;
    };

    /// Where the capture was at some time: for losses that have none of their own.
    struct Place {
        uint64_t offset;
        uint64_t time;
    };
    static constexpr std::size_t kMostPlaces = 4096;

    void Decide(bool timed);
    void Show(const Swo::Packet& packet, const Swo::PacketTime& time);
    void ShowText(const Swo::Packet& packet, const Moment& moment);
    void EndLine(uint8_t port, Line& line);
    void ShowException(const Swo::Packet& packet, const Moment& moment);
    void ShowRunning(const Moment& moment);
    void ShowLosses(const Swo::Ledger& losses);
    Moment At(uint64_t offset, const Swo::PacketTime& time, uint8_t flags);
    uint64_t Units(uint64_t offset, uint64_t ticks) const;
    void KeepPlace(uint64_t offset);
    uint64_t TimeAt(uint64_t offset) const;
    bool IsShown(uint64_t offset) const;

    TimelineSink& sink;
    const CaptureFacts* facts = nullptr;
    Axis axis;
    std::vector<Held> held;
    bool decided = false;
    bool begun = false;      ///< a packet was shown
    bool cutBefore = false;  ///< packets were passed over before it
    bool cutBehind = false;  ///< and behind the last one
    uint64_t firstOffset = 0;
    uint64_t lastOffset = 0;
    uint64_t last = 0;  ///< time
    std::vector<Place> places;
    uint64_t placeStride = 0;
    std::array<bool, 256> isText{};
    std::array<std::unique_ptr<Line>, 256> lines;
    Swo::ExceptionTimeline exceptions;
};

}  // namespace Korr::Plim::Trace::Exports
