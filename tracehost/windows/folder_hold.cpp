#include "tracehost/folder_hold.h"

#include <windows.h>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::string MarkOf(const std::string& folder) { return folder + "\\in-use"; }

/// Shared with nobody.
HANDLE Open(const std::string& folder, DWORD disposition) {
    return CreateFileA(MarkOf(folder).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

FolderHold::~FolderHold() { Release(); }

bool FolderHold::Take(const std::string& folder) {
    handle = reinterpret_cast<std::intptr_t>(Open(folder, CREATE_NEW));
    return handle != kNone;
}

void FolderHold::Release() {
    if (handle != kNone) CloseHandle(reinterpret_cast<HANDLE>(handle));
    handle = kNone;
}

bool FolderHold::IsLeftBehind(const std::string& folder) {
    const HANDLE mark = Open(folder, OPEN_EXISTING);
    if (mark == INVALID_HANDLE_VALUE) return false;
    CloseHandle(mark);
    return true;
}

}  // namespace Korr::Plim::Trace::Tracehost
