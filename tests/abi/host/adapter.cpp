#include "tests/abi/host/adapter.h"

#include "tests/abi/host/act.h"
#include "tests/abi/host/system.h"

namespace host {
namespace {

AdapterJournal journal;

uint32_t Note(int slot, uint32_t cpuId, uint32_t argument = 0) {
    if (journal.count < 100) journal.calls[journal.count++] = {slot, cpuId, argument};
    Act(static_cast<Place>(static_cast<int>(Place::TargetAdapter) + slot));
    return slot == journal.failingSlot ? 5 : 0;
}

struct Adapter final : Korr::Plim::Trace::TargetAdapter {
    uint32_t TraceRelease(uint32_t cpuId) override { return Note(0, cpuId); }
    uint32_t ProgramTpiu(uint32_t cpuId) override { return Note(1, cpuId); }
    uint32_t EnableTpiu(uint32_t cpuId) override { return Note(2, cpuId); }
    uint32_t TraceExportOpA(uint32_t cpuId) override { return Note(3, cpuId); }
    uint32_t TraceExportOpB(uint32_t cpuId) override { return Note(4, cpuId); }
    uint32_t SetTpiuPrescaler(uint32_t cpuId, uint32_t prescaler) override {
        return Note(5, cpuId, prescaler);
    }
    uint32_t GetExportStatus(uint32_t cpuId, uint32_t& status) override {
        status = journal.exportStatus;
        return Note(6, cpuId);
    }
    uint32_t ClearExportStatus(uint32_t cpuId, uint32_t status) override { return Note(7, cpuId, status); }
    uint32_t SetTpiuPinProtocol(uint32_t cpuId, uint32_t protocol) override {
        return Note(8, cpuId, protocol);
    }
    uint32_t SetTimestampPrescale(uint32_t cpuId, uint32_t prescale) override {
        return Note(9, cpuId, prescale);
    }
} adapter;

struct Raw {
    const void* const* table;
};
template <int slot>
uint32_t Plain(Raw*, uint32_t cpuId) {
    return Note(slot, cpuId);
}
template <int slot>
uint32_t WithArgument(Raw*, uint32_t cpuId, uint32_t argument) {
    return Note(slot, cpuId, argument);
}
uint32_t ExportStatus(Raw*, uint32_t cpuId, uint32_t* status) {
    *status = journal.exportStatus;
    return Note(6, cpuId);
}
template <class Function>
const void* Entry(Function function) {
    return reinterpret_cast<const void*>(function);
}

// Filled at the first use: this program has no initialisers that run at its start.
const void* table[kAdapterSlots];
Raw raw = {table};

void* RawAdapter() {
    const void* const entries[] = {Entry(&Plain<0>),       Entry(&Plain<1>),        Entry(&Plain<2>),
                                   Entry(&Plain<3>),       Entry(&Plain<4>),        Entry(&WithArgument<5>),
                                   Entry(&ExportStatus),   Entry(&WithArgument<7>), Entry(&WithArgument<8>),
                                   Entry(&WithArgument<9>)};
    memcpy(table, entries, sizeof table);
    return &raw;
}

}  // namespace

int AdapterJournal::Count(int slot) const {
    int found = 0;
    for (int i = 0; i < count; ++i) found += calls[i].slot == slot && calls[i].cpuId == kCpuId ? 1 : 0;
    return found;
}

bool AdapterJournal::EndsWith(const char* slots) const {
    const int length = static_cast<int>(strlen(slots));
    for (int i = 0; i < length; ++i) {
        const int at = count - length + i;
        if (at < 0 || calls[at].slot != slots[i] - '0' || calls[at].cpuId != kCpuId) return false;
    }
    return true;
}

uint32_t AdapterJournal::LastArgument(int slot) const {
    for (int i = count - 1; i >= 0; --i) {
        if (calls[i].slot == slot) return calls[i].argument;
    }
    return 0xFFFFFFFF;
}

AdapterJournal& Journal() { return journal; }

Korr::Plim::Trace::TargetAdapter* FreshAdapter() {
    memset(&journal, 0, sizeof journal);
    journal.failingSlot = -1;
    if (!HostScript()->rawTables) return &adapter;
    return static_cast<Korr::Plim::Trace::TargetAdapter*>(RawAdapter());
}

}  // namespace host
