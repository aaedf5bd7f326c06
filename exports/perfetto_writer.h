#pragma once

#include <optional>

#include "exports/proto_message.h"
#include "exports/trace_events.h"

namespace Korr::Plim::Trace::Exports {

/// Writes Perfetto's own format: packets with descriptors of tracks and track events, in Protocol Buffers.
/// Field numbers are those of the published definitions.
class PerfettoWriter : public TraceEvents {
  public:
    explicit PerfettoWriter(Output& target) : file(target) {}
    void OnFinish() override { Flush(); }

  protected:
    void BeginProcess(uint32_t number, std::string_view name, std::string_view times) override;
    void AddTrack(uint32_t track, std::string_view name, bool hasNumbers) override;
    void BeginEvent(Phase phase, uint32_t track, uint64_t time, std::string_view name) override;
    void AddArgument(std::string_view name, uint64_t number) override;
    void AddArgument(std::string_view name, std::string_view word) override;
    void SetNumber(int64_t number) override;
    void SetNumber(float number) override;
    void EndEvent() override;

  private:
    uint64_t TrackId(uint32_t track) const { return uint64_t{pid} << 32 | track; }
    std::string_view Clean(std::string_view text);
    void Flush();
    void WritePacket(uint32_t kind, std::optional<uint64_t> time);

    Output& file;
    ProtoMessage trace;  ///< its packets that are not written yet
    ProtoMessage event;  ///< or descriptor
    ByteBuffer clean;
    uint64_t eventTime = 0;
    uint32_t pid = 0;
    bool first = true;
};

}  // namespace Korr::Plim::Trace::Exports
