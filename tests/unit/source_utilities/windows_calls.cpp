#include "windows_calls.h"

#include <direct.h>
#include <process.h>
#include <windows.h>

#include <tlhelp32.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>

extern "C" {
extern decltype(&::GetProcAddress) __real___imp_GetProcAddress;
}

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

/// The system's own function of that name.
template <typename Function>
Function* Real(const char* library, const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(__real___imp_GetProcAddress(::GetModuleHandleA(library), name)));
}
#define REAL(name) Real<decltype(::name)>("kernel32.dll", #name)

HANDLE WINAPI MySnapshot(DWORD flags, DWORD process) {
    return Note("CreateToolhelp32Snapshot", Number(flags), Number(process))
               ? INVALID_HANDLE_VALUE
               : REAL(CreateToolhelp32Snapshot)(flags, process);
}
BOOL WINAPI MyFirst(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return Note("Process32First") ? FALSE : REAL(Process32First)(snapshot, entry);
}
BOOL WINAPI MyNext(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return Note("Process32Next") ? FALSE : REAL(Process32Next)(snapshot, entry);
}
BOOL WINAPI MyCloseHandle(HANDLE handle) {
    const bool fails = Note("CloseHandle");
    return REAL(CloseHandle)(handle) != FALSE && !fails;
}
DWORD WINAPI MyGetVariable(LPCSTR name, LPSTR buffer, DWORD size) {
    return Note("GetEnvironmentVariableA", name, Number(size))
               ? 0
               : REAL(GetEnvironmentVariableA)(name, buffer, size);
}
BOOL WINAPI MySetVariable(LPCSTR name, LPCSTR value) {
    return Note("SetEnvironmentVariableA", name, value) ? FALSE : REAL(SetEnvironmentVariableA)(name, value);
}
BOOL WINAPI MyCreateDirectory(LPCSTR path, LPSECURITY_ATTRIBUTES attributes) {
    return Note("CreateDirectoryA", path) ? FALSE : REAL(CreateDirectoryA)(path, attributes);
}
BOOL WINAPI MyFreeSpace(LPCSTR folder, PULARGE_INTEGER available, PULARGE_INTEGER total,
                        PULARGE_INTEGER free) {
    return Note("GetDiskFreeSpaceExA", folder) ? FALSE
                                               : REAL(GetDiskFreeSpaceExA)(folder, available, total, free);
}
void WINAPI MyDebugString(LPCSTR text) { Note("OutputDebugStringA", text); }
void WINAPI MyLocalTime(LPSYSTEMTIME time) {
    Note("GetLocalTime");
    *time = {2027, 3, 1, 15, 23, 59, 58, 998};
}
BOOL WINAPI MySetPriority(HANDLE thread, int priority) {
    return Note("SetThreadPriority", std::to_string(priority)) ? FALSE
                                                               : REAL(SetThreadPriority)(thread, priority);
}
DWORD WINAPI MyResume(HANDLE thread) {
    return Note("ResumeThread") ? static_cast<DWORD>(-1) : REAL(ResumeThread)(thread);
}
void WINAPI MySleep(DWORD milliseconds) {
    Note("Sleep", Number(milliseconds));
    REAL(Sleep)(milliseconds);
}
HMODULE WINAPI MyLoadLibrary(LPCSTR name) {
    if (Note("LoadLibraryA", Text(name))) {
        ::SetLastError(ERROR_BAD_EXE_FORMAT);
        return nullptr;
    }
    return REAL(LoadLibraryA)(name);
}
BOOL WINAPI MyFreeLibrary(HMODULE module) { return Note("FreeLibrary") ? FALSE : REAL(FreeLibrary)(module); }
FARPROC WINAPI MyFindSymbol(HMODULE module, LPCSTR name) {
    if (Note("GetProcAddress", name)) {
        ::SetLastError(ERROR_INVALID_ORDINAL);
        return nullptr;
    }
    return __real___imp_GetProcAddress(module, name);
}
BOOL WINAPI MyModuleOfAddress(DWORD flags, LPCSTR address, HMODULE* module) {
    return Note("GetModuleHandleExA", Number(flags)) ? FALSE
                                                     : REAL(GetModuleHandleExA)(flags, address, module);
}

#define REAL_CRT(name) Real<decltype(::name)>("msvcrt.dll", #name)
std::uintptr_t MyBeginThread(void* security, unsigned stack, unsigned(__stdcall* entry)(void*),
                             void* argument, unsigned flags, unsigned* id) {
    return Note("_beginthreadex", Number(stack), Number(flags))
               ? 0
               : REAL_CRT(_beginthreadex)(security, stack, entry, argument, flags, id);
}
int MyMakeFolder(const char* path) {
    if (Note("_mkdir", path)) {
        errno = EACCES;
        return -1;
    }
    return REAL_CRT(_mkdir)(path);
}
char* MyWorkingFolder(char* buffer, int size) {
    return Note("_getcwd", Number(static_cast<uint64_t>(size))) ? nullptr : REAL_CRT(_getcwd)(buffer, size);
}
FILE* MyOpen(const char* name, const char* mode, int share) {
    return Note("_fsopen", mode, Number(static_cast<uint64_t>(share))) ? nullptr
                                                                       : REAL_CRT(_fsopen)(name, mode, share);
}

__int64 MyLength(int file) { return Note("_filelengthi64") ? -1 : REAL_CRT(_filelengthi64)(file); }
int MySeek(FILE* stream, __int64 offset, int origin) {
    return Note("_fseeki64", Number(static_cast<uint64_t>(origin)))
               ? -1
               : REAL_CRT(_fseeki64)(stream, offset, origin);
}
__int64 MyTell(FILE* stream) { return Note("_ftelli64") ? -1 : REAL_CRT(_ftelli64)(stream); }

}  // namespace

extern "C" {
void* __imp_CloseHandle = reinterpret_cast<void*>(&MyCloseHandle);
void* __imp_GetEnvironmentVariableA = reinterpret_cast<void*>(&MyGetVariable);
void* __imp_SetEnvironmentVariableA = reinterpret_cast<void*>(&MySetVariable);
void* __imp_CreateDirectoryA = reinterpret_cast<void*>(&MyCreateDirectory);
void* __imp_GetDiskFreeSpaceExA = reinterpret_cast<void*>(&MyFreeSpace);
void* __imp_OutputDebugStringA = reinterpret_cast<void*>(&MyDebugString);
void* __imp_GetLocalTime = reinterpret_cast<void*>(&MyLocalTime);
void* __imp_SetThreadPriority = reinterpret_cast<void*>(&MySetPriority);
void* __imp_ResumeThread = reinterpret_cast<void*>(&MyResume);
void* __imp_Sleep = reinterpret_cast<void*>(&MySleep);
void* __imp_LoadLibraryA = reinterpret_cast<void*>(&MyLoadLibrary);
void* __imp__beginthreadex = reinterpret_cast<void*>(&MyBeginThread);
void* __imp__mkdir = reinterpret_cast<void*>(&MyMakeFolder);
void* __imp__getcwd = reinterpret_cast<void*>(&MyWorkingFolder);
void* __imp__fsopen = reinterpret_cast<void*>(&MyOpen);
void* __imp_FreeLibrary = reinterpret_cast<void*>(&MyFreeLibrary);
void* __imp_GetModuleHandleExA = reinterpret_cast<void*>(&MyModuleOfAddress);

// The linker wraps these pointers: the first one is needed here itself, the others the runtime library
// defines.
void* __wrap___imp_GetProcAddress = reinterpret_cast<void*>(&MyFindSymbol);
void* __wrap___imp__filelengthi64 = reinterpret_cast<void*>(&MyLength);
void* __wrap___imp__fseeki64 = reinterpret_cast<void*>(&MySeek);
void* __wrap___imp__ftelli64 = reinterpret_cast<void*>(&MyTell);

// These are called without an import pointer; the linker wraps them.
HANDLE WINAPI __wrap_CreateToolhelp32Snapshot(DWORD flags, DWORD process) {
    return MySnapshot(flags, process);
}
BOOL WINAPI __wrap_Process32First(HANDLE snapshot, LPPROCESSENTRY32 entry) {
    return MyFirst(snapshot, entry);
}
BOOL WINAPI __wrap_Process32Next(HANDLE snapshot, LPPROCESSENTRY32 entry) { return MyNext(snapshot, entry); }
}

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

void WindowsCalls::Pause() { REAL(Sleep)(1); }
