#pragma once

#include <optional>
#include <string>
#include <thread>

#include "host_api/TargetAdapter.h"
#include "simulator/board/board_file.h"
#include "simulator/board/tpiu_state.h"

namespace Korr::Plim::Trace::Simulator {

class JournalCall;

/// The target adapter of one CPU for one channel driver. Settings are kept here until ProgramTpiu writes them
/// into the TPIU's state file; EnableTpiu switches the TPIU on, TraceRelease switches it off again. Every
/// operation answers the board's result for it; a non-zero one has no effect.
///
/// Noted as a violation, with result 1: another CPU id, a call after TraceRelease or DestroyTargetAdapter, a
/// value that the registers cannot hold, ProgramTpiu before the three settings, EnableTpiu before
/// ProgramTpiu. A call on another thread than the one that made the adapter is noted and carried out.
class SimulatedTargetAdapter final : public TargetAdapter {
  public:
    bool destroyed = false;

    SimulatedTargetAdapter(std::string name, uint32_t id)
        : cpuName(std::move(name)), ownCpuId(id), hostThread(std::this_thread::get_id()) {}
    virtual ~SimulatedTargetAdapter() = default;
    const void* Identity() const { return static_cast<const TargetAdapter*>(this); }

    uint32_t TraceRelease(uint32_t cpuId) override;
    uint32_t ProgramTpiu(uint32_t cpuId) override;
    uint32_t EnableTpiu(uint32_t cpuId) override;
    uint32_t TraceExportOpA(uint32_t cpuId) override;
    uint32_t TraceExportOpB(uint32_t cpuId) override;
    uint32_t SetTpiuPrescaler(uint32_t cpuId, uint32_t prescaler) override;
    uint32_t GetExportStatus(uint32_t cpuId, uint32_t& status) override;
    uint32_t ClearExportStatus(uint32_t cpuId, uint32_t status) override;
    uint32_t SetTpiuPinProtocol(uint32_t cpuId, uint32_t protocol) override;
    uint32_t SetTimestampPrescale(uint32_t cpuId, uint32_t prescale) override;

  private:
    JournalCall Begin(const char* operation, uint32_t cpuId) const;
    JournalCall Begin(const char* operation, uint32_t cpuId, const char* argument, uint32_t value) const;
    uint32_t Result(JournalCall& call, const char* operation, uint32_t cpuId) const;
    uint32_t Refuse(JournalCall& call, const char* violation) const;
    bool WriteState(const JournalCall& call, const TpiuState& state) const;

    std::string cpuName;
    uint32_t ownCpuId;
    std::thread::id hostThread;
    bool released = false;
    bool programmed = false;
    std::optional<uint32_t> prescaler;
    std::optional<uint32_t> pinProtocol;
    std::optional<uint32_t> timestampPrescale;
};

}  // namespace Korr::Plim::Trace::Simulator
