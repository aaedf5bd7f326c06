// A library that starts a thread in itself, as the plug-in does.
#include <windows.h>

#include "source_utilities/native_thread.h"

namespace {

uint32_t AwaitEvent(void* event) {
    WaitForSingleObject(event, INFINITE);
    return 42;
}

}  // namespace

/// Starts a thread that waits for the event and ends with 42. \return its handle, the caller's to close
extern "C" __declspec(dllexport) HANDLE StartThread(HANDLE event) {
    using namespace KORR_PLIM::platform;
    uint32_t id = 0;
    const ThreadHandle thread = CreateSuspendedThread(0, &AwaitEvent, event, id);
    KORR_PLIM::platform::ResumeThread(thread);
    return reinterpret_cast<HANDLE>(thread);
}
