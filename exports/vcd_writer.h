#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "exports/timeline.h"
#include "exports/vcd_signals.h"
#include "exports/vcd_text.h"

namespace Korr::Plim::Trace::Exports {

/// Writes a value change dump of one capture, in nanoseconds: exceptions as wires, numbers as vectors or
/// reals, text as strings (which GTKWave shows), losses as counts. What is not known is x. Of several values
/// at one time viewers show the last one.
class VcdWriter : public TimelineSink {
  public:
    /// \param found signals of the same capture; not owned
    VcdWriter(Output& target, const VcdSignals& found) : dump(target), signals(found) {}

    void OnBegin(const CaptureFacts& facts, const Axis& axis) override;
    void OnPacket(const Swo::Packet& packet, const Moment& moment) override;
    void OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) override;
    void OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t end) override;
    void OnLoss(const Swo::LedgerEntry&, const Moment&) override {}  // their times lie behind what is written
    void OnEnd(uint64_t time) override;
    void OnFinish() override { dump.Flush(); }

  private:
    /// Numbers of signals.
    static constexpr uint32_t kOverflows = 0;
    static constexpr uint32_t kDamaged = 1;
    static constexpr uint32_t kSuspect = 2;
    static constexpr uint32_t kRunning = 3;
    static constexpr uint32_t kPc = 4;
    static constexpr uint32_t kAsleep = 5;
    static constexpr uint32_t kProhibited = 6;
    static constexpr uint32_t kFunction = 7;
    static constexpr uint32_t kFirstException = 16;
    static constexpr uint32_t kFirstPort = kFirstException + 512;
    static constexpr uint32_t kFirstWatch = kFirstPort + 256;
    static constexpr uint32_t kFirstCounter = kFirstWatch + VcdSignals::kComparators * VcdSignals::kWatches;

    void DeclareSignals();
    void DeclarePorts();
    void DeclareWatches();
    void DeclareCounters();
    void DumpFirst();
    void SetPort(const Swo::Packet& packet);
    void SetWatch(const Swo::Packet& packet);
    void SetSample(const Swo::Packet& packet);
    void CountUp(uint32_t signal, uint32_t by);
    void CountWraps(uint32_t value, uint32_t first, uint32_t count);
    void OnReturn(const Swo::Packet& packet);
    void SetRunning();

    VcdText dump;
    const VcdSignals& signals;
    std::optional<Names> names;
    Axis axis;
    bool suspect = false;
    bool known = true;  ///< what runs
    std::vector<uint16_t> running;
    std::vector<uint16_t> declared;  ///< exceptions
    std::array<char, 512> shown{};   ///< their bits
    std::array<uint32_t, kFirstCounter + 14> counts{};
};

}  // namespace Korr::Plim::Trace::Exports
