// Compiled with the platform's C headers, unlike everything else of the host.
#include "tests/abi/host/system.h"

#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

extern "C" intptr_t _get_heap_handle();

namespace {

char* FormatNew(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    char* const text = static_cast<char*>(malloc(static_cast<size_t>(length) + 1));
    vsnprintf(text, static_cast<size_t>(length) + 1, format, again);
    va_end(again);
    return text;
}

char* Duplicate(const char* text) {
    const size_t size = strlen(text) + 1;
    return static_cast<char*>(memcpy(malloc(size), text, size));
}

void Write(const char* text) {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text, static_cast<DWORD>(strlen(text)), &written, nullptr);
}

constexpr DWORD kHeapChecks = 0x10 | 0x20 | 0x40;  // what is behind a block, freed blocks, parameters

/// While it lives, programs of this name are started with these checks of their heaps, or with none.
class GlobalFlag {
  public:
    GlobalFlag(const char* program, DWORD checks)
        : name("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options\\%s", program) {
        HKEY key = nullptr;
        if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, name, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr) != 0) {
            return;
        }
        RegSetValueExA(key, "GlobalFlag", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&checks),
                       sizeof checks);
        RegCloseKey(key);
    }
    ~GlobalFlag() { RegDeleteKeyA(HKEY_LOCAL_MACHINE, name); }

  private:
    host::Line name;
};

uint32_t RunAndWait(char* commandLine) {
    STARTUPINFOA start;
    memset(&start, 0, sizeof start);
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process;
    if (!CreateProcessA(nullptr, commandLine, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                        &process)) {
        host::Fail("cannot start a process");
    }
    if (WaitForSingleObject(process.hProcess, 300000) != WAIT_OBJECT_0) {
        TerminateProcess(process.hProcess, 99);
    }
    DWORD status = 0;
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return status;
}

struct Thread {
    void (*function)(int);
    int number;
};

DWORD WINAPI RunThread(void* given) {
    const Thread& thread = *static_cast<const Thread*>(given);
    thread.function(thread.number);
    return 0;
}

}  // namespace

namespace host {

File::File(const char* name) {
    const HANDLE file =
        CreateFileA(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    const DWORD size = GetFileSize(file, nullptr);
    bytes = static_cast<char*>(malloc(size + 1));
    DWORD read = 0;
    ReadFile(file, bytes, size, &read, nullptr);
    bytes[read] = '\0';
    length = read;
    CloseHandle(file);
}
File::~File() { free(bytes); }

Line::Line(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    text = FormatNew(format, arguments);
    va_end(arguments);
}
Line::~Line() { free(text); }

void Print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    char* const text = FormatNew(format, arguments);
    va_end(arguments);
    Write(text);
    free(text);
}

void Format(char* room, size_t size, const char* format, va_list arguments) {
    vsnprintf(room, size, format, arguments);
    room[size - 1] = '\0';
}

void Fail(const char* message) {
    Print("FAIL %s\n", message);
    End(1);
}

void End(uint32_t status) {
    TerminateProcess(GetCurrentProcess(), status);
    for (;;) Sleep(INFINITE);
}

void Increment(volatile long* number) { InterlockedIncrement(number); }
void Decrement(volatile long* number) { InterlockedDecrement(number); }

int Arguments(const char** words, int room) {
    char* at = Duplicate(GetCommandLineA());
    int found = -1;  // the program's name does not count
    while (*at != '\0' && found < room) {
        const bool quoted = *at == '"';
        if (quoted) ++at;
        if (found >= 0) words[found] = at;
        ++found;
        while (*at != '\0' && *at != (quoted ? '"' : ' ')) ++at;
        if (*at != '\0') *at++ = '\0';
        while (*at == ' ') ++at;
    }
    return found;
}

const char* Variable(const char* name) {
    static char value[4096];
    if (GetEnvironmentVariableA(name, value, sizeof value) == 0) value[0] = '\0';
    return value;
}
void SetVariable(const char* name, const char* value) { SetEnvironmentVariableA(name, value); }

const char* ProgramFolder() {
    static char folder[1024];
    GetModuleFileNameA(nullptr, folder, sizeof folder);
    *(strrchr(folder, '\\') + 1) = '\0';
    return folder;
}

void* LoadModule(const char* name) { return LoadLibraryA(name); }
void* FindSymbol(void* module, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}
void UnloadModule(void* module) { FreeLibrary(static_cast<HMODULE>(module)); }

bool WriteWholeFile(const char* name, const void* bytes, size_t length) {
    const HANDLE file = CreateFileA(name, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    WriteFile(file, bytes, static_cast<DWORD>(length), &written, nullptr);
    CloseHandle(file);
    return written == length;
}
bool Exists(const char* name) { return GetFileAttributesA(name) != INVALID_FILE_ATTRIBUTES; }
void Remove(const char* name) { DeleteFileA(name); }
void Rename(const char* from, const char* to) { MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING); }
void MakeFolder(const char* name) { CreateDirectoryA(name, nullptr); }

const char* FirstFile(const char* pattern) {
    static WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(pattern, &found);
    if (search == INVALID_HANDLE_VALUE) return "";
    FindClose(search);
    return found.cFileName;
}

void Wait(uint32_t milliseconds) { Sleep(milliseconds); }
uint32_t Clock() { return GetTickCount(); }

void RunOnThreads(int count, void (*function)(int thread)) {
    Thread threads[16];
    HANDLE handles[16];
    for (int i = 0; i < count; ++i) {
        threads[i] = {function, i};
        handles[i] = CreateThread(nullptr, 0, RunThread, &threads[i], 0, nullptr);
    }
    for (int i = 0; i < count; ++i) {
        if (WaitForSingleObject(handles[i], 60000) != WAIT_OBJECT_0) Fail("a thread did not end");
        CloseHandle(handles[i]);
    }
}

uint32_t RunSelf(const char* arguments, bool checkHeap) {
    char program[1024];
    GetModuleFileNameA(nullptr, program, sizeof program);
    char* const commandLine = Duplicate(Line("\"%s\" %s", program, arguments));
    const GlobalFlag flag(strrchr(program, '\\') + 1, checkHeap ? kHeapChecks : 0);
    const uint32_t status = RunAndWait(commandLine);
    free(commandLine);
    return status;
}

bool HeapIsChecked() {
    const auto flags =
        reinterpret_cast<ULONG(WINAPI*)()>(FindSymbol(LoadModule("ntdll.dll"), "RtlGetNtGlobalFlags"));
    return (flags() & kHeapChecks) == kHeapChecks;
}
bool HeapIsSound() { return _heapchk() == _HEAPOK; }
uint32_t HeapBlocks() {
    const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    PROCESS_HEAP_ENTRY entry;
    memset(&entry, 0, sizeof entry);
    uint32_t blocks = 0;
    while (HeapWalk(heap, &entry)) blocks += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? 1 : 0;
    return blocks;
}
bool IsFreed(const void* block) {
    uint64_t fill = 0;  // behind what links free blocks
    memcpy(&fill, static_cast<const char*>(block) + 16, sizeof fill);
    return fill == 0xFEEEFEEEFEEEFEEE;
}
size_t BlockSize(const void* block) {
    const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    return HeapValidate(heap, 0, block) ? HeapSize(heap, 0, block) : 0;
}

}  // namespace host
