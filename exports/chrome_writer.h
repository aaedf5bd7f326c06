#pragma once

#include <array>
#include <bitset>
#include <optional>
#include <string>

#include "exports/row_text.h"
#include "exports/timeline.h"

namespace Korr::Plim::Trace::Exports {

/// Writes the JSON array of trace events that chrome://tracing, Perfetto and speedscope read. A capture is a
/// process: exceptions are spans of one thread, numbers are counters, all else are marks. Times are
/// microseconds.
class ChromeWriter : public TimelineSink {
  public:
    explicit ChromeWriter(Output& target) : row(target) {}

    void OnBegin(const CaptureFacts& facts, const Axis& axis) override;
    void OnPacket(const Swo::Packet& packet, const Moment& moment) override;
    void OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) override;
    void OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t end) override;
    void OnLoss(const Swo::LedgerEntry& entry, const Moment& moment) override;
    void OnEnd(uint64_t time) override;
    void OnFinish() override;

  private:
    static constexpr uint32_t kLosses = 1;
    static constexpr uint32_t kExceptions = 2;
    static constexpr uint32_t kPcSamples = 3;
    static constexpr uint32_t kOther = 4;
    static constexpr uint32_t kFirstWatch = 10;
    static constexpr uint32_t kFirstPort = 100;
    static constexpr uint32_t kThreads = kFirstPort + 256;

    void BeginEvent(char phase, uint32_t thread, uint64_t time, std::string_view name);
    void BeginMark(uint32_t thread, const Moment& moment, std::string_view name);
    void AddArguments(const Moment& moment);
    void EndEvent();
    void AddTime(uint64_t time);
    void AddArgument(std::string_view name, uint64_t number);
    void AddArgument(std::string_view name, std::string_view word);
    void NameProcess(std::string_view kind, std::string_view member, std::string_view text);
    void NameThread(uint32_t thread);
    void OnNumber(const Swo::Packet& packet, const Moment& moment);
    void OnWatch(const Swo::Packet& packet, const Moment& moment);
    void OnCounters(const Swo::Packet& packet, const Moment& moment);
    void OnPc(const Swo::Packet& packet, const Moment& moment);
    void CountUp(const std::string& name, uint64_t& wraps, uint64_t time);
    void CloseSpans(uint64_t time);

    RowText row;
    std::optional<Names> names;
    Axis axis;
    uint32_t process = 0;
    bool first = true;
    bool hasArguments = false;
    std::bitset<kThreads> named;
    uint32_t open = 0;  ///< spans
    std::array<uint64_t, 14> wraps{};
};

}  // namespace Korr::Plim::Trace::Exports
