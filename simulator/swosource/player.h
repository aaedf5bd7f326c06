#pragma once

#include <atomic>
#include <cstdint>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "simulator/swosource/far_end_observer.h"
#include "simulator/swosource/pseudo_terminal.h"
#include "simulator/swosource/settings.h"
#include "simulator/swosource/signal/byte_source.h"
#include "simulator/swosource/signal/probe_buffer.h"
#include "simulator/swosource/signal/uart_receiver.h"
#include "simulator/swosource/signal/wire_clock.h"
#include "simulator/swosource/target_watch.h"

namespace Korr::Plim::Trace::Simulator {

/// Plays one session: target → wire → probe's UART → probe buffer → far end, in steps of half a millisecond.
class Player {
  public:
    /// \param source not owned
    Player(const Settings& settings, ByteSource& source);
    /// Plays until the end asked for, the source's end, or until `stop` is set; then gives the far end time
    /// to take what waits. \throws std::runtime_error
    void Play(const std::atomic<bool>& stop);
    /// What happened; complete after Play. sent = taken + dropped.
    nlohmann::ordered_json Report() const;
    /// Bytes dropped although somebody had the far end open.
    uint64_t LostBytes() const { return probe.Dropped() - probe.Unattended(); }

  private:
    bool IsSilent() const;
    void Step(int64_t now);
    void LookAround(int64_t now);
    uint64_t Due(int64_t now);
    void SendOnWire(uint64_t count);
    void ReceiveFromWire(const std::vector<uint8_t>& bytes);
    void HandOver();
    void Drain(const std::atomic<bool>& stop);
    void CompareRates();
    bool Done() const;

    const Settings& settings;
    ByteSource& source;
    TargetWatch target;
    std::ofstream record;
    std::ofstream recordTaken;
    PseudoTerminal terminal;
    FarEndObserver farEnd;
    ProbeBuffer probe;
    WireClock clock;
    std::unique_ptr<UartReceiver> garbler;  ///< while the far end is set to another rate
    double garblerBaud = 0;                 ///< line and far end for which it was made
    double garblerFarEnd = 0;
    int64_t nextLook = 0;
    int64_t lastStep = 0;
    uint32_t farEndBaud = 0;  ///< as last seen while playing
    double lineBaud = 0;      ///< likewise
    size_t unread = 0;        ///< bytes in the far end's kernel buffer
    uint64_t played = 0;      ///< bytes on the wire
    uint64_t garbled = 0;     ///< of them, while the far end was set to another rate
    uint64_t framingErrors = 0;
    uint64_t handedOver = 0;
    bool sourceEnded = false;
    bool attended = false;
};

}  // namespace Korr::Plim::Trace::Simulator
