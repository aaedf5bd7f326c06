#include "tracehost/check/platform.h"

// clang-format off
#include <windows.h>
#include <winternl.h>  // needs what windows.h declares
// clang-format on

#include <array>
#include <cstring>
#include <vector>

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

using QuerySystem = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, PVOID, ULONG, PULONG);

constexpr NTSTATUS kRoomTooSmall = static_cast<NTSTATUS>(0xC0000004);  // STATUS_INFO_LENGTH_MISMATCH
constexpr DWORD kMostHeaps = 256;
constexpr ULONG kFirstRoom = 1 << 16;  // bytes
constexpr ULONG kMostRoom = 1 << 26;   // the same; many times what is needed

/// The system's records of all processes, one behind the other; empty when it does not tell.
std::vector<char> ProcessRecords() {
    const auto query = reinterpret_cast<QuerySystem>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQuerySystemInformation")));
    if (query == nullptr) return {};
    for (ULONG room = kFirstRoom; room <= kMostRoom; room *= 2) {
        std::vector<char> records(room);
        const NTSTATUS status = query(SystemProcessInformation, records.data(), room, nullptr);
        if (status >= 0) return records;
        if (status != kRoomTooSmall) break;
    }
    return {};
}

/// Bytes in blocks of a heap that are in use; absent when the heap is not told to its end.
std::optional<uint64_t> BytesOf(HANDLE heap) {
    uint64_t bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    if (!HeapLock(heap)) return std::nullopt;
    while (HeapWalk(heap, &entry)) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
    }
    const bool whole = GetLastError() == ERROR_NO_MORE_ITEMS;
    HeapUnlock(heap);
    return whole ? std::optional<uint64_t>(bytes) : std::nullopt;
}

}  // namespace

const char* ErrorDeleteExport() { return "?Delete@cPelkitError@@UEAAXXZ"; }

// Wine answers GetProcessHandleCount with 0, and this with the room of the process's table, which doubles.
std::optional<uint64_t> CountHandles() {
    const std::vector<char> records = ProcessRecords();
    const auto own = reinterpret_cast<HANDLE>(std::uintptr_t{GetCurrentProcessId()});
    SYSTEM_PROCESS_INFORMATION process{};
    for (std::size_t at = 0; at + sizeof process <= records.size(); at += process.NextEntryOffset) {
        std::memcpy(&process, records.data() + at, sizeof process);
        if (process.UniqueProcessId == own) return process.HandleCount;
        if (process.NextEntryOffset == 0) break;
    }
    return std::nullopt;
}

// The runtime, which all modules share, takes its memory from the process's heap or, under Wine, from one of
// its own.
std::optional<uint64_t> CountHeapBytes() {
    std::array<HANDLE, kMostHeaps> heaps{};
    const DWORD count = GetProcessHeaps(kMostHeaps, heaps.data());
    if (count == 0 || count > kMostHeaps) return std::nullopt;
    uint64_t all = 0;
    for (DWORD i = 0; i < count; ++i) {
        const std::optional<uint64_t> bytes = BytesOf(heaps[i]);
        if (!bytes) return std::nullopt;
        all += *bytes;
    }
    return all;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
