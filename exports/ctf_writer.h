#pragma once

#include <optional>
#include <string_view>

#include "exports/byte_buffer.h"
#include "exports/ctf_metadata.h"
#include "exports/timeline.h"

namespace Korr::Plim::Trace::Exports {

/// Writes one capture in the Common Trace Format 1.8, as babeltrace2 and Trace Compass read it: a description
/// and a stream of packets of at most kMostBytes. Where something was lost a packet ends, and the count of
/// discarded events rises: by one for each overflow and each damaged stretch, for how many they were nobody
/// knows.
class CtfWriter : public TimelineSink {
  public:
    static constexpr std::size_t kMostBytes = 65536;

    CtfWriter(Output& description, Output& packetStream) : metadata(description), stream(packetStream) {}

    void OnBegin(const CaptureFacts& facts, const Axis& axis) override;
    void OnPacket(const Swo::Packet& packet, const Moment& moment) override;
    void OnException(const Swo::ExceptionTimeline::Event&, const Moment&) override {}  // the packets tell
    void OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t end) override;
    void OnLoss(const Swo::LedgerEntry&, const Moment&) override {}  // their times lie behind what is written
    void OnEnd(uint64_t) override { EndPacket(); }
    void OnFinish() override {}

  private:
    void BeginEvent(CtfEvent id, const Moment& moment, uint64_t time);
    void EndEvent();
    void EndPacket();
    void AddPort(const Swo::Packet& packet, const Moment& moment);
    void AddWatch(const Swo::Packet& packet, const Moment& moment);
    void AddLoss(const Swo::Packet& packet, const Moment& moment);
    void AddText(std::string_view text);
    void AddName(std::string_view name);
    void Add(uint64_t number, std::size_t bytes) { events.AddNumber(number, bytes); }

    Output& metadata;
    Output& stream;
    std::optional<Names> names;
    ByteBuffer events;      ///< of the packet; the last one may not be whole
    std::size_t whole = 0;  ///< bytes of those that are
    ByteBuffer head;
    uint64_t eventTime = 0;
    uint64_t first = 0;  ///< time of the packet's first event
    uint64_t last = 0;
    uint64_t packets = 0;
    uint64_t discarded = 0;
};

}  // namespace Korr::Plim::Trace::Exports
