#pragma once

#include <array>
#include <bitset>
#include <optional>
#include <string>
#include <string_view>

#include "exports/timeline.h"

namespace Korr::Plim::Trace::Exports {

/// What happened as spans, marks and numbers on tracks, as viewers of time lines have it. A capture is a
/// process with tracks of its own: exceptions are spans of one track, numbers are on a track each, all else
/// are marks. What may be wrong is no span's or number's content but a mark, or says so. Whoever derives
/// from it writes them down.
class TraceEvents : public TimelineSink {
  public:
    void OnBegin(const CaptureFacts& facts, const Axis& axis) final;
    void OnPacket(const Swo::Packet& packet, const Moment& moment) final;
    void OnException(const Swo::ExceptionTimeline::Event& event, const Moment& moment) final;
    void OnLine(uint8_t port, std::string_view line, const Moment& begin, uint64_t end) final;
    void OnLoss(const Swo::LedgerEntry& entry, const Moment& moment) final;
    void OnEnd(uint64_t time) final { CloseSpans(time); }

  protected:
    enum class Phase : uint8_t { Begin, End, Mark, Number };

    /// A capture begins. \param number from 1 \param times what its times are, in words
    virtual void BeginProcess(uint32_t number, std::string_view name, std::string_view times) = 0;
    /// Before a track is used first. \param track of the process, 1 to kTracks - 1, in the order of showing
    virtual void AddTrack(uint32_t track, std::string_view name, bool hasNumbers) = 0;
    /// \param time in nanoseconds \param name empty at the end of a span
    virtual void BeginEvent(Phase phase, uint32_t track, uint64_t time, std::string_view name) = 0;
    /// What is to be known of the event.
    virtual void AddArgument(std::string_view name, uint64_t number) = 0;
    virtual void AddArgument(std::string_view name, std::string_view word) = 0;
    /// The number itself, of Phase::Number; finite.
    virtual void SetNumber(int64_t number) = 0;
    virtual void SetNumber(float number) = 0;
    virtual void EndEvent() = 0;

    static constexpr uint32_t kLosses = 1;
    static constexpr uint32_t kTracks = 1024;

  private:
    static constexpr uint32_t kExceptions = 2;
    static constexpr uint32_t kPcSamples = 3;
    static constexpr uint32_t kOther = 4;
    static constexpr uint32_t kFirstWatch = 10;  // marks
    static constexpr uint32_t kFirstPort = 100;  // marks
    static constexpr uint32_t kFirstNumber = 400;
    static constexpr uint32_t kFirstWatchNumber = 700;
    static constexpr uint32_t kFirstCounter = 800;

    void Start(Phase phase, uint32_t track, uint64_t time, std::string_view trackName, std::string_view name);
    void StartMark(uint32_t track, const Moment& moment, std::string_view trackName, std::string_view name);
    void AddMoment(const Moment& moment);
    void AddPort(const Swo::Packet& packet, const Moment& moment);
    void AddWatch(const Swo::Packet& packet, const Moment& moment);
    void AddCounters(const Swo::Packet& packet, const Moment& moment);
    void AddPc(const Swo::Packet& packet, const Moment& moment);
    void AddOther(const Swo::Packet& packet, const Moment& moment);
    void CloseSpans(uint64_t time);

    std::optional<Names> names;
    Axis axis;
    uint32_t process = 0;
    std::bitset<kTracks> added;
    uint32_t open = 0;  ///< spans
    std::array<int64_t, 14> wraps{};
};

}  // namespace Korr::Plim::Trace::Exports
