#include "uart/capture_file.h"

#include <windows.h>

namespace Korr::Plim::Trace::Tarnel {

namespace {

HANDLE Native(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

// Every byte becomes the character of its own number, 0 to 255, whatever the code page.
std::wstring Widen(const std::string& name) {
    std::wstring wide;
    wide.reserve(name.size());
    for (const char byte : name) wide.push_back(static_cast<unsigned char>(byte));
    return wide;
}

}  // namespace

bool CaptureFile::Create(const std::string& name) {
    handle =
        reinterpret_cast<std::intptr_t>(CreateFileW(Widen(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                                                    nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return handle != kClosed;
}

// One call as a rule, also for nothing; further ones only for what a success left over.
bool CaptureFile::Write(const void* data, uint32_t count) {
    const char* rest = static_cast<const char*>(data);
    do {
        DWORD written = 0;
        if (!WriteFile(Native(handle), rest, count, &written, nullptr)) return false;
        if (written == 0 && count != 0) {
            SetLastError(ERROR_WRITE_FAULT);
            return false;
        }
        rest += written;
        count -= written;
    } while (count > 0);
    return true;
}

bool CaptureFile::Close() {
    const HANDLE file = Native(handle);
    handle = kClosed;
    return CloseHandle(file) != 0;
}

uint32_t CaptureFile::LastError() { return GetLastError(); }

}  // namespace Korr::Plim::Trace::Tarnel
