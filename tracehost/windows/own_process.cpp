#include "tracehost/own_process.h"

// clang-format off
#include <windows.h>
#include <tlhelp32.h>  // needs what windows.h declares
// clang-format on

namespace Korr::Plim::Trace::Tracehost {

std::vector<uint64_t> OwnThreads() {
    std::vector<uint64_t> threads;
    const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return threads;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL found = ::Thread32First(snapshot, &entry); found != FALSE;
         found = ::Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) threads.push_back(entry.th32ThreadID);
    }
    ::CloseHandle(snapshot);
    return threads;
}

std::optional<uint64_t> FileSizeLimit() { return std::nullopt; }

}  // namespace Korr::Plim::Trace::Tracehost
