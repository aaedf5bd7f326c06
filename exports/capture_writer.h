#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "exports/output.h"
#include "symbols/elf_symbols.h"
#include "trace/ledger.h"
#include "trace/packets.h"
#include "trace/port_values.h"
#include "trace/trace_clock.h"

namespace Korr::Plim::Trace::Exports {

/// What is known about a capture beside its packets. Owns nothing that it points to.
struct CaptureFacts {
    std::string name;  ///< as a report shows it, any text
    TimeScale scale;
    const Symbols::ElfSymbols* symbols = nullptr;  ///< null: no firmware was given
    const Swo::PortFormats* ports = nullptr;       ///< null: all ports have text

    /// When the byte at an offset came, in nanoseconds, for a capture without timestamps; empty: not known.
    std::function<uint64_t(uint64_t offset)> placeTime;
    bool arrival = false;        ///< it is when the host saw the byte; else the earliest time on the line
    std::string placeExplained;  ///< the same in words
    uint64_t base = 0;           ///< bytes of the captures before it, which offsets count on from
};

/// Writes the packets of captures, one capture after another. What cannot be written is for the owner of the
/// output to notice.
class CaptureWriter {
  public:
    virtual ~CaptureWriter() = default;
    /// \param facts must outlive the capture
    virtual void Begin(const CaptureFacts& facts) = 0;
    /// A packet that is wanted; its offset counts on from the captures before.
    virtual void OnPacket(const Swo::Packet& packet, const Swo::PacketTime& time) = 0;
    /// A packet before or behind what is wanted.
    virtual void Pass(const Swo::Packet&) {}
    /// The capture has ended. \param losses of the whole capture
    virtual void End(const Swo::Ledger& losses) = 0;
    /// No more captures come.
    virtual void Finish() = 0;
};

}  // namespace Korr::Plim::Trace::Exports
