// A library as it comes without hardening, with a thread-local section, that asks for no thread
// notifications.
#include <windows.h>

extern "C" {
unsigned long _tls_index = 0;
#pragma section(".tls", read, write)
#pragma section(".tls$ZZZ", read, write)
__declspec(allocate(".tls")) char _tls_start = 0;
__declspec(allocate(".tls$ZZZ")) char _tls_end = 0;
extern const IMAGE_TLS_DIRECTORY64 _tls_used;
const IMAGE_TLS_DIRECTORY64 _tls_used = {reinterpret_cast<ULONGLONG>(&_tls_start),
                                         reinterpret_cast<ULONGLONG>(&_tls_end),
                                         reinterpret_cast<ULONGLONG>(&_tls_index),
                                         0,
                                         0,
                                         0};

__declspec(dllexport) int TurnThreadNotificationsOff() {
    static thread_local int calls = 0;
    ++calls;
    HMODULE self = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const char*>(&_tls_index), &self);
    return DisableThreadLibraryCalls(self) != 0 && calls > 0 ? 1 : 0;
}
}
