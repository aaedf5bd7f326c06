#include "simulator/host_libraries/target_adapter.h"

#include <cstdio>
#include <map>
#include <stdexcept>

#include "simulator/host_libraries/hosts_error.h"
#include "simulator/host_libraries/journal.h"
#include "simulator/host_libraries/library_name.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

constexpr uint32_t kSuccess = 0;
constexpr uint32_t kFailure = 1;
constexpr uint32_t kLargestPrescaler = 0x1FFF;  // 13-bit register field
constexpr uint32_t kLargestPinProtocol = 2;     // 0 parallel, 1 Manchester, 2 NRZ

/// What ClearExportStatus cleared of the board's export status for one CPU. A new value in the board is shown
/// anew.
struct ClearedStatus {
    uint32_t boardStatus = 0;
    uint32_t bits = 0;
};

ClearedStatus& ClearedStatusOf(const std::string& cpuName, uint32_t boardStatus) {
    static std::map<std::string, ClearedStatus> cleared;
    ClearedStatus& own = cleared[cpuName];
    if (own.boardStatus != boardStatus) own = {boardStatus, 0};
    return own;
}

}  // namespace

JournalCall SimulatedTargetAdapter::Begin(const char* operation, uint32_t cpuId) const {
    return JournalCall(kTargetAdapterLibrary, operation, {{"cpu", cpuName}, {"cpu_id", cpuId}});
}

JournalCall SimulatedTargetAdapter::Begin(const char* operation, uint32_t cpuId, const char* argument,
                                          uint32_t value) const {
    return JournalCall(kTargetAdapterLibrary, operation,
                       {{"cpu", cpuName}, {"cpu_id", cpuId}, {argument, value}});
}

uint32_t SimulatedTargetAdapter::Refuse(JournalCall& call, const char* violation) const {
    call.Violation(violation);
    return call.Return(kFailure);
}

uint32_t SimulatedTargetAdapter::Result(JournalCall& call, const char* operation, uint32_t cpuId) const {
    if (destroyed) return Refuse(call, "call after DestroyTargetAdapter");
    if (released) return Refuse(call, "call after TraceRelease");
    if (cpuId != ownCpuId) return Refuse(call, "wrong CPU id");
    if (std::this_thread::get_id() != hostThread) call.Violation("call on another thread than the host's");
    const auto result = call.board().results.find(operation);
    return call.Return(result != call.board().results.end() ? result->second : kSuccess);
}

bool SimulatedTargetAdapter::WriteState(const JournalCall& call, const TpiuState& state) const {
    const std::string file = call.board().tpiu.For(cpuName);
    if (file.empty()) return true;
    try {
        WriteTpiuState(file, state);
        return true;
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "simulated %s: %s\n", kTargetAdapterLibrary, error.what());
        return false;
    }
}

uint32_t SimulatedTargetAdapter::TraceRelease(uint32_t cpuId) try {
    JournalCall call = Begin("TraceRelease", cpuId);
    const uint32_t result = Result(call, "TraceRelease", cpuId);
    if (result != kSuccess) return result;
    released = true;
    if (!programmed) return result;
    return WriteState(call, TpiuState()) ? result : call.Return(kFailure);
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::ProgramTpiu(uint32_t cpuId) try {
    JournalCall call = Begin("ProgramTpiu", cpuId);
    const uint32_t result = Result(call, "ProgramTpiu", cpuId);
    if (result != kSuccess) return result;
    if (!prescaler || !pinProtocol || !timestampPrescale) {
        return Refuse(call, "before prescaler, pin protocol and timestamp prescale were set");
    }
    programmed = true;
    TpiuState state;
    state.prescaler = *prescaler;
    state.pinProtocol = *pinProtocol;
    state.timestampPrescale = *timestampPrescale;
    state.programmed = true;
    return WriteState(call, state) ? result : call.Return(kFailure);
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::EnableTpiu(uint32_t cpuId) try {
    JournalCall call = Begin("EnableTpiu", cpuId);
    const uint32_t result = Result(call, "EnableTpiu", cpuId);
    if (result != kSuccess) return result;
    if (!programmed) return Refuse(call, "before ProgramTpiu");
    TpiuState state;
    state.prescaler = *prescaler;
    state.pinProtocol = *pinProtocol;
    state.timestampPrescale = *timestampPrescale;
    state.programmed = true;
    state.enabled = true;
    return WriteState(call, state) ? result : call.Return(kFailure);
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::TraceExportOpA(uint32_t cpuId) try {
    JournalCall call = Begin("TraceExportOpA", cpuId);
    return Result(call, "TraceExportOpA", cpuId);
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::TraceExportOpB(uint32_t cpuId) try {
    JournalCall call = Begin("TraceExportOpB", cpuId);
    return Result(call, "TraceExportOpB", cpuId);
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::SetTpiuPrescaler(uint32_t cpuId, uint32_t value) try {
    JournalCall call = Begin("SetTpiuPrescaler", cpuId, "prescaler", value);
    const uint32_t result = Result(call, "SetTpiuPrescaler", cpuId);
    if (result != kSuccess) return result;
    if (value > kLargestPrescaler) return Refuse(call, "prescaler above 8191");
    prescaler = value;
    return result;
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::GetExportStatus(uint32_t cpuId, uint32_t& status) try {
    JournalCall call = Begin("GetExportStatus", cpuId);
    const uint32_t result = Result(call, "GetExportStatus", cpuId);
    if (result != kSuccess) return result;
    const uint32_t boardStatus = call.board().exportStatus;
    status = boardStatus & ~ClearedStatusOf(cpuName, boardStatus).bits;
    call.Argument("status", status);
    return result;
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::ClearExportStatus(uint32_t cpuId, uint32_t status) try {
    JournalCall call = Begin("ClearExportStatus", cpuId, "status", status);
    const uint32_t result = Result(call, "ClearExportStatus", cpuId);
    if (result != kSuccess) return result;
    ClearedStatusOf(cpuName, call.board().exportStatus).bits |= status;
    return result;
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::SetTpiuPinProtocol(uint32_t cpuId, uint32_t protocol) try {
    JournalCall call = Begin("SetTpiuPinProtocol", cpuId, "protocol", protocol);
    const uint32_t result = Result(call, "SetTpiuPinProtocol", cpuId);
    if (result != kSuccess) return result;
    if (protocol > kLargestPinProtocol) return Refuse(call, "pin protocol above 2");
    pinProtocol = protocol;
    return result;
} catch (...) {
    ThrowAsHostsError();
}

uint32_t SimulatedTargetAdapter::SetTimestampPrescale(uint32_t cpuId, uint32_t prescale) try {
    JournalCall call = Begin("SetTimestampPrescale", cpuId, "prescale", prescale);
    const uint32_t result = Result(call, "SetTimestampPrescale", cpuId);
    if (result != kSuccess) return result;
    const bool possible = prescale == 1 || prescale == 4 || prescale == 16 || prescale == 64;
    if (!possible) return Refuse(call, "timestamp prescale is none of 1, 4, 16, 64");
    timestampPrescale = prescale;
    return result;
} catch (...) {
    ThrowAsHostsError();
}

}  // namespace Korr::Plim::Trace::Simulator
