#include "source_utilities/native_thread.h"

#include <process.h>
#include <windows.h>

namespace KORR_PLIM::platform {

// The module of `entry` may be unloaded by its user as soon as a thread has told that it is finished, which
// is before its last instruction. The C runtime holds the module of a thread's entry until the thread has
// ended.
ThreadHandle CreateSuspendedThread(uint32_t stackSize, ThreadEntry entry, void* argument,
                                   uint32_t& threadId) {
    return static_cast<ThreadHandle>(
        _beginthreadex(nullptr, stackSize, entry, argument, CREATE_SUSPENDED, &threadId));
}

bool SetThreadPriority(ThreadHandle thread, int32_t priority) {
    return ::SetThreadPriority(reinterpret_cast<HANDLE>(thread), priority) != 0;
}

uint32_t ResumeThread(ThreadHandle thread) { return ::ResumeThread(reinterpret_cast<HANDLE>(thread)); }

bool CloseThread(ThreadHandle thread) { return CloseHandle(reinterpret_cast<HANDLE>(thread)) != 0; }

void SleepMilliseconds(uint32_t milliseconds) { Sleep(milliseconds); }

}  // namespace KORR_PLIM::platform
