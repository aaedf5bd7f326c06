#pragma once

#include "host_api/TargetAdapter.h"

namespace host {

constexpr uint32_t kCpuId = 0x80000007;
constexpr int kAdapterSlots = 10;

/// What the target adapter was asked, in order.
struct AdapterCall {
    int slot;
    uint32_t cpuId;
    uint32_t argument;  ///< 0 where there is none
};
struct AdapterJournal {
    AdapterCall calls[100];
    int count;
    uint32_t exportStatus;  ///< what slot 6 answers
    int failingSlot;        ///< answers 5 instead of 0; -1: none
    int Count(int slot) const;
    /// Whether the last calls were these slots, in order. \param slots digits
    bool EndsWith(const char* slots) const;
    /// Argument of the last call of a slot; 0xFFFFFFFF without a call.
    uint32_t LastArgument(int slot) const;
};

/// Forgets all calls. \return the host's target adapter: with a table made by hand, or of the interface's
/// class
Korr::Plim::Trace::TargetAdapter* FreshAdapter();
AdapterJournal& Journal();

}  // namespace host
