#include "source_utilities/uThread.h"

namespace KORR_PLIM {

uThread::uThread(uRunnable* body, int32_t threadPriority, uint32_t stackBytes)
    : runnable(body), priority(threadPriority), stackSize(stackBytes) {}

uThread::~uThread() {
    if (handle != platform::kNoThread) platform::CloseThread(handle);
}

bool uThread::Start() {
    if (handle != platform::kNoThread) platform::CloseThread(handle);
    threadId = 0;
    handle = platform::CreateSuspendedThread(stackSize, &uThread::Entry, this, threadId);
    if (handle == platform::kNoThread) return false;
    // A refused priority is no reason not to run.
    platform::SetThreadPriority(handle, priority);
    return platform::ResumeThread(handle) == 1;
}

void uThread::Sleep(uint32_t milliseconds) { platform::SleepMilliseconds(milliseconds); }

void uThread::Yield() { platform::SleepMilliseconds(0); }

uint32_t uThread::Entry(void* thread) {
    const auto* self = static_cast<uThread*>(thread);
    if (self != nullptr && self->runnable != nullptr) self->runnable->Run();
    return 0;
}

}  // namespace KORR_PLIM
