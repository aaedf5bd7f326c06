#include "source_utilities/native_thread.h"

#include <process.h>
#include <windows.h>

#include <memory>

namespace KORR_PLIM::platform {

namespace {

// The module may be unloaded by its user as soon as a thread has told that it is finished, which is before
// its last instruction. The universal C runtime holds the module of a thread's entry itself until the thread
// has ended; the older one does not, so that the thread has to do it.
#if defined(_MSC_VER) || defined(_UCRT)
constexpr bool kRuntimeHoldsModule = true;
#else
constexpr bool kRuntimeHoldsModule = false;
#endif

/// What a new thread is given; its own.
struct Begin {
    ThreadEntry entry;
    void* argument;
    HMODULE module;  ///< to be given back at the thread's end; null when the runtime does so
};

unsigned __stdcall RunThread(void* argument) {
    const Begin begin = *static_cast<Begin*>(argument);
    delete static_cast<Begin*>(argument);
    const uint32_t result = begin.entry(begin.argument);
    if (begin.module != nullptr) FreeLibraryAndExitThread(begin.module, result);
    return result;
}

/// This module, held once more; null when the runtime holds it.
HMODULE HoldThisModule() {
    HMODULE module = nullptr;
    if (!kRuntimeHoldsModule) {
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCSTR>(&RunThread),
                           &module);
    }
    return module;
}

}  // namespace

ThreadHandle CreateSuspendedThread(uint32_t stackSize, ThreadEntry entry, void* argument,
                                   uint32_t& threadId) {
    auto begin = std::make_unique<Begin>(Begin{entry, argument, nullptr});
    HMODULE const module = HoldThisModule();
    begin->module = module;
    const auto thread = static_cast<ThreadHandle>(
        _beginthreadex(nullptr, stackSize, &RunThread, begin.get(), CREATE_SUSPENDED, &threadId));
    if (thread != kNoThread) {
        static_cast<void>(begin.release());  // the thread's own now
    } else if (module != nullptr) {
        FreeLibrary(module);
    }
    return thread;
}

bool SetThreadPriority(ThreadHandle thread, int32_t priority) {
    return ::SetThreadPriority(reinterpret_cast<HANDLE>(thread), priority) != 0;
}

uint32_t ResumeThread(ThreadHandle thread) { return ::ResumeThread(reinterpret_cast<HANDLE>(thread)); }

bool CloseThread(ThreadHandle thread) { return CloseHandle(reinterpret_cast<HANDLE>(thread)) != 0; }

void SleepMilliseconds(uint32_t milliseconds) { Sleep(milliseconds); }

}  // namespace KORR_PLIM::platform
