#include "tracehost/check/platform.h"

#include <windows.h>

#include <tlhelp32.h>

/// Declared here once more because not every set of headers has it.
extern "C" WINBASEAPI BOOL WINAPI GetProcessHandleCount(HANDLE process, PDWORD count);

namespace Korr::Plim::Trace::Tracehost::Validation {

const char* ErrorDeleteExport() { return "?Delete@cPelkitError@@UEAAXXZ"; }

uint32_t CountHandles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

uint32_t CountThreads() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 0;
    const DWORD own = GetCurrentProcessId();
    THREADENTRY32 thread{};
    thread.dwSize = sizeof thread;
    uint32_t count = 0;
    for (BOOL more = Thread32First(snapshot, &thread); more; more = Thread32Next(snapshot, &thread)) {
        count += thread.th32OwnerProcessID == own ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

// The runtime, which all modules share, takes its memory from the process's heap.
std::optional<uint64_t> CountHeapBytes() {
    const HANDLE heap = GetProcessHeap();
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

}  // namespace Korr::Plim::Trace::Tracehost::Validation
