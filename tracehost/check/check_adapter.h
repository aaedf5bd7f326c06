#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host_api/TargetAdapter.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

/// The checks' own target adapter: keeps every call, answers what it is told, and ends the check when it is
/// called for another CPU or from another thread than the host's.
class CheckAdapter final : public TargetAdapter {
  public:
    explicit CheckAdapter(uint32_t id);
    virtual ~CheckAdapter() = default;

    /// Names of the calls so far, each followed by its argument, if it has one: "SetTpiuPrescaler 9".
    std::vector<std::string> calls;
    std::string failing;        ///< name of the operation that answers 1 instead of 0
    std::string throwing;       ///< name of the operation that throws an error of the host's
    uint32_t exportStatus = 0;  ///< what GetExportStatus gives until it is cleared

    uint32_t Id() const { return cpuId; }
    /// The calls from `first` on, joined by ", ".
    std::string CallsFrom(std::size_t first) const;
    /// How often an operation was called.
    uint32_t Count(const std::string& operation) const;

    uint32_t TraceRelease(uint32_t id) override { return Note("TraceRelease", id); }
    uint32_t ProgramTpiu(uint32_t id) override { return Note("ProgramTpiu", id); }
    uint32_t EnableTpiu(uint32_t id) override { return Note("EnableTpiu", id); }
    uint32_t TraceExportOpA(uint32_t id) override { return Note("TraceExportOpA", id); }
    uint32_t TraceExportOpB(uint32_t id) override { return Note("TraceExportOpB", id); }
    uint32_t SetTpiuPrescaler(uint32_t id, uint32_t value) override {
        return Note("SetTpiuPrescaler", id, &value);
    }
    uint32_t GetExportStatus(uint32_t id, uint32_t& status) override;
    uint32_t ClearExportStatus(uint32_t id, uint32_t status) override;
    uint32_t SetTpiuPinProtocol(uint32_t id, uint32_t value) override {
        return Note("SetTpiuPinProtocol", id, &value);
    }
    uint32_t SetTimestampPrescale(uint32_t id, uint32_t value) override {
        return Note("SetTimestampPrescale", id, &value);
    }

    /// What a throwing operation throws; its severity is 2.
    static constexpr const char* kThrownText = "the host's target adapter says no";

  private:
    uint32_t Note(const std::string& operation, uint32_t id, const uint32_t* argument = nullptr);

    uint32_t cpuId;
    uint64_t hostThread;
};

}  // namespace Korr::Plim::Trace::Tracehost::Validation
