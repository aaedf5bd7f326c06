#pragma once

#include "host_api/TargetAdapter.h"
#include "host_api/cPelkitError.h"
#include "tests/modules/broken_receiver/faults.h"

/// Hands every call on to the host's target adapter, but for its faults.
class BrokenAdapter final : public Korr::Plim::Trace::TargetAdapter {
  public:
    explicit BrokenAdapter(TargetAdapter* hosts) : real(hosts) {}
    virtual ~BrokenAdapter() = default;

    bool keepsTrace = false;  ///< TraceRelease is not handed on

    uint32_t TraceRelease(uint32_t id) override { return keepsTrace ? 0 : real->TraceRelease(id); }
    uint32_t ProgramTpiu(uint32_t id) override { return real->ProgramTpiu(id); }
    uint32_t EnableTpiu(uint32_t id) override {
        const uint32_t result = real->EnableTpiu(id);
        return Has("start-tpiu-faults") ? 0 : result;
    }
    uint32_t TraceExportOpA(uint32_t id) override { return real->TraceExportOpA(id); }
    uint32_t TraceExportOpB(uint32_t id) override { return real->TraceExportOpB(id); }
    uint32_t SetTpiuPrescaler(uint32_t id, uint32_t value) override {
        return real->SetTpiuPrescaler(id, value);
    }
    uint32_t GetExportStatus(uint32_t id, uint32_t& status) override {
        try {
            return real->GetExportStatus(id, status);
        } catch (const cPelkitErrorIF&) {
            if (!Has("start-throwing-adapter")) throw;
            return 0;
        }
    }
    uint32_t ClearExportStatus(uint32_t id, uint32_t status) override {
        return Has("recording-export-status") ? 0 : real->ClearExportStatus(id, status);
    }
    uint32_t SetTpiuPinProtocol(uint32_t id, uint32_t value) override {
        return real->SetTpiuPinProtocol(id, value);
    }
    uint32_t SetTimestampPrescale(uint32_t id, uint32_t value) override {
        return real->SetTimestampPrescale(id, Has("recording-tpiu") ? 1 : value);
    }

  private:
    TargetAdapter* real;
};
