#include "source_utilities/process.h"

// windows.h comes first: tlhelp32.h needs its types.
#include <windows.h>

#include <tlhelp32.h>

namespace KORR_PLIM::platform {
namespace {

bool IsListed(HANDLE snapshot, uint32_t processId) {
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32First(snapshot, &entry); more != 0; more = Process32Next(snapshot, &entry)) {
        if (entry.th32ProcessID == processId) return true;
    }
    return false;
}

}  // namespace

uint32_t CurrentProcessId() { return GetCurrentProcessId(); }

bool ProcessExists(uint32_t processId) {
    if (processId == 0) return false;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return false;
    const bool listed = IsListed(snapshot, processId);
    CloseHandle(snapshot);
    return listed;
}

}  // namespace KORR_PLIM::platform
