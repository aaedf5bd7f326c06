#include "windows_calls.h"

#include <direct.h>
#include <process.h>
#include <windows.h>

#include <tlhelp32.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>

namespace {

std::vector<std::string> calls;
std::set<std::string> failing;
std::atomic<bool> noting{false};

template <typename... Arguments>
bool Note(const char* call, const Arguments&... arguments) {
    if (noting) {
        std::string text = call;
        ((text += std::string(" ") + arguments), ...);
        calls.push_back(text);
    }
    return failing.count(call) != 0;
}
std::string Number(uint64_t number) { return std::to_string(number); }
const char* Text(const char* text) { return text != nullptr ? text : "null"; }

}  // namespace

// Calls of these functions come here, from the whole program; the functions themselves are those of the
// second name.
extern "C" {
decltype(::CloseHandle) __real_CloseHandle;
decltype(::CreateDirectoryA) __real_CreateDirectoryA;
decltype(::CreateToolhelp32Snapshot) __real_CreateToolhelp32Snapshot;
decltype(::FreeLibrary) __real_FreeLibrary;
decltype(::GetDiskFreeSpaceExA) __real_GetDiskFreeSpaceExA;
decltype(::GetEnvironmentVariableA) __real_GetEnvironmentVariableA;
decltype(::GetProcAddress) __real_GetProcAddress;
decltype(::LoadLibraryA) __real_LoadLibraryA;
decltype(::Process32First) __real_Process32First;
decltype(::Process32Next) __real_Process32Next;
decltype(::ResumeThread) __real_ResumeThread;
decltype(::SetEnvironmentVariableA) __real_SetEnvironmentVariableA;
decltype(::SetThreadPriority) __real_SetThreadPriority;
decltype(::Sleep) __real_Sleep;
decltype(::_beginthreadex) __real__beginthreadex;
decltype(::_filelengthi64) __real__filelengthi64;
decltype(::_fseeki64) __real__fseeki64;
decltype(::_fsopen) __real__fsopen;
decltype(::_ftelli64) __real__ftelli64;
decltype(::_getcwd) __real__getcwd;
decltype(::_mkdir) __real__mkdir;

HANDLE WINAPI __wrap_CreateToolhelp32Snapshot(DWORD flags, DWORD process) {
    return Note("CreateToolhelp32Snapshot", Number(flags), Number(process))
               ? INVALID_HANDLE_VALUE
               : __real_CreateToolhelp32Snapshot(flags, process);
}
BOOL WINAPI __wrap_Process32First(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return Note("Process32First") ? FALSE : __real_Process32First(snapshot, entry);
}
BOOL WINAPI __wrap_Process32Next(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return Note("Process32Next") ? FALSE : __real_Process32Next(snapshot, entry);
}
BOOL WINAPI __wrap_CloseHandle(HANDLE handle) {
    const bool fails = Note("CloseHandle");
    return __real_CloseHandle(handle) != FALSE && !fails;
}
DWORD WINAPI __wrap_GetEnvironmentVariableA(LPCSTR name, LPSTR buffer, DWORD size) {
    return Note("GetEnvironmentVariableA", name, Number(size))
               ? 0
               : __real_GetEnvironmentVariableA(name, buffer, size);
}
BOOL WINAPI __wrap_SetEnvironmentVariableA(LPCSTR name, LPCSTR value) {
    return Note("SetEnvironmentVariableA", name, value) ? FALSE : __real_SetEnvironmentVariableA(name, value);
}
BOOL WINAPI __wrap_CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES attributes) {
    return Note("CreateDirectoryA", path) ? FALSE : __real_CreateDirectoryA(path, attributes);
}
BOOL WINAPI __wrap_GetDiskFreeSpaceExA(LPCSTR folder, PULARGE_INTEGER available, PULARGE_INTEGER total,
                                       PULARGE_INTEGER free) {
    if (Note("GetDiskFreeSpaceExA", folder)) return FALSE;
    if (!WindowsCalls::pretendsVolume) return __real_GetDiskFreeSpaceExA(folder, available, total, free);
    if (available != nullptr) available->QuadPart = 5'000'000'003;
    if (total != nullptr) total->QuadPart = 5'000'000'001;
    if (free != nullptr) free->QuadPart = 5'000'000'002;
    return TRUE;
}
void WINAPI __wrap_OutputDebugStringA(LPCSTR text) { Note("OutputDebugStringA", text); }
void WINAPI __wrap_GetLocalTime(LPSYSTEMTIME time) {
    Note("GetLocalTime");
    *time = {2027, 3, 1, 15, 23, 59, 58, 998};
}
BOOL WINAPI __wrap_SetThreadPriority(HANDLE thread, int priority) {
    return Note("SetThreadPriority", std::to_string(priority)) ? FALSE
                                                               : __real_SetThreadPriority(thread, priority);
}
DWORD WINAPI __wrap_ResumeThread(HANDLE thread) {
    return Note("ResumeThread") ? static_cast<DWORD>(-1) : __real_ResumeThread(thread);
}
void WINAPI __wrap_Sleep(DWORD milliseconds) {
    Note("Sleep", Number(milliseconds));
    __real_Sleep(milliseconds);
}
HMODULE WINAPI __wrap_LoadLibraryA(LPCSTR name) {
    if (Note("LoadLibraryA", Text(name))) {
        ::SetLastError(ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    return __real_LoadLibraryA(name);
}
BOOL WINAPI __wrap_FreeLibrary(HMODULE module) {
    return Note("FreeLibrary") ? FALSE : __real_FreeLibrary(module);
}
FARPROC WINAPI __wrap_GetProcAddress(HMODULE module, LPCSTR name) {
    if (Note("GetProcAddress", name)) {
        ::SetLastError(ERROR_INVALID_ORDINAL);
        return nullptr;
    }
    return __real_GetProcAddress(module, name);
}

std::uintptr_t __wrap__beginthreadex(void* security, unsigned stack, unsigned(__stdcall* entry)(void*),
                                     void* argument, unsigned flags, unsigned* id) {
    return Note("_beginthreadex", Number(stack), Number(flags))
               ? 0
               : __real__beginthreadex(security, stack, entry, argument, flags, id);
}
int __wrap__mkdir(const char* path) {
    if (Note("_mkdir", path)) {
        errno = EACCES;
        return -1;
    }
    return __real__mkdir(path);
}
char* __wrap__getcwd(char* buffer, int size) {
    return Note("_getcwd", Number(static_cast<uint64_t>(size))) ? nullptr : __real__getcwd(buffer, size);
}
FILE* __wrap__fsopen(const char* name, const char* mode, int share) {
    return Note("_fsopen", mode, Number(static_cast<uint64_t>(share))) ? nullptr
                                                                       : __real__fsopen(name, mode, share);
}

int64_t __wrap__filelengthi64(int file) { return Note("_filelengthi64") ? -1 : __real__filelengthi64(file); }
int __wrap__fseeki64(FILE* stream, int64_t offset, int origin) {
    return Note("_fseeki64", Number(static_cast<uint64_t>(origin)))
               ? -1
               : __real__fseeki64(stream, offset, origin);
}
int64_t __wrap__ftelli64(FILE* stream) { return Note("_ftelli64") ? -1 : __real__ftelli64(stream); }
}

bool WindowsCalls::pretendsVolume = false;

void WindowsCalls::Begin(const std::set<std::string>& names) {
    failing = names;
    calls.clear();
    noting = true;
}

WindowsCalls::Calls WindowsCalls::Noted() {
    noting = false;
    failing.clear();
    return calls;
}

void WindowsCalls::Pause() { __real_Sleep(1); }
