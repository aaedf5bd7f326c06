#pragma once

#include "exports/row_text.h"
#include "exports/trace_events.h"

namespace Korr::Plim::Trace::Exports {

/// Writes the JSON array of trace events that chrome://tracing, Perfetto and speedscope read. Times are
/// microseconds.
class ChromeWriter : public TraceEvents {
  public:
    explicit ChromeWriter(Output& target) : row(target) {}
    void OnFinish() override;

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
    void AddMetadata(uint32_t track, std::string_view kind, std::string_view member);
    void BeginArgument(std::string_view name);

    RowText row;
    uint32_t pid = 0;
    bool first = true;
    bool hasArguments = false;
};

}  // namespace Korr::Plim::Trace::Exports
