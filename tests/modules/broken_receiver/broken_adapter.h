#pragma once

#include "host_api/TargetAdapter.h"

/// Hands every call on to the host's target adapter.
class BrokenAdapter final : public Korr::Plim::Trace::TargetAdapter {
  public:
    explicit BrokenAdapter(TargetAdapter* hosts) : real(hosts) {}
    virtual ~BrokenAdapter() = default;

    uint32_t TraceRelease(uint32_t id) override { return real->TraceRelease(id); }
    uint32_t ProgramTpiu(uint32_t id) override { return real->ProgramTpiu(id); }
    uint32_t EnableTpiu(uint32_t id) override { return real->EnableTpiu(id); }
    uint32_t TraceExportOpA(uint32_t id) override { return real->TraceExportOpA(id); }
    uint32_t TraceExportOpB(uint32_t id) override { return real->TraceExportOpB(id); }
    uint32_t SetTpiuPrescaler(uint32_t id, uint32_t value) override {
        return real->SetTpiuPrescaler(id, value);
    }
    uint32_t GetExportStatus(uint32_t id, uint32_t& status) override {
        return real->GetExportStatus(id, status);
    }
    uint32_t ClearExportStatus(uint32_t id, uint32_t status) override {
        return real->ClearExportStatus(id, status);
    }
    uint32_t SetTpiuPinProtocol(uint32_t id, uint32_t value) override {
        return real->SetTpiuPinProtocol(id, value);
    }
    uint32_t SetTimestampPrescale(uint32_t id, uint32_t value) override {
        return real->SetTimestampPrescale(id, value);
    }

  private:
    TargetAdapter* real;
};
