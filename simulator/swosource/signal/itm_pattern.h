#pragma once

#include <deque>
#include <map>
#include <string>

#include "simulator/swosource/signal/byte_source.h"

namespace Korr::Plim::Trace::Simulator {

/// The trace of a small made-up firmware, as its ITM and DWT would send it, without end: synchronisation,
/// lines of text on stimulus port 0, a 32-bit counter on port 1, a 16-bit value on port 31, local timestamps,
/// exception trace (entry, exit, return of the tick interrupt), periodic PC samples, and
/// now and then an overflow packet. The stream begins with a synchronisation packet.
class ItmPattern : public ByteSource {
  public:
    size_t Read(uint8_t* buffer, size_t count) override;
    /// Local timestamps tell the time that the bytes take on the wire.
    void SetByteTime(uint32_t traceClocks) override { byteTime = traceClocks; }
    /// Packets by kind, counted when their last byte was given out, and the text of port 0.
    nlohmann::ordered_json Content() const override;

  private:
    enum class Kind { kSync, kText, kCounter, kPort31, kTimestamp, kException, kPcSample, kOverflow };
    struct Packet {
        Kind kind;
        std::string bytes;
    };

    void RunFirmwareOnce();
    void Send(Kind kind, std::string bytes);
    void SendValue(Kind kind, uint8_t header, uint32_t value, int size);
    void SendText(const std::string& line);
    void SendTimestamp(uint32_t ticks);
    void SendException(uint8_t function, uint16_t number);
    void Count(const Packet& packet);
    uint32_t TicksOnTheWire() const;
    static const char* Name(Kind kind);

    uint32_t round = 0;
    uint32_t byteTime = 120;     ///< trace clocks, with a prescaler of 11
    uint64_t clocksMade = 0;     ///< that the bytes so far last
    uint64_t ticksTold = 0;      ///< by timestamps so far
    std::deque<Packet> pending;  ///< the front packet may have been given out in part
    size_t sentOfFront = 0;
    std::map<Kind, uint64_t> packets;
    std::string line;      ///< of port 0, the part that has been sent
    std::string lastLine;  ///< of port 0, whole
    uint64_t textBytes = 0;
    uint64_t lines = 0;
};

}  // namespace Korr::Plim::Trace::Simulator
