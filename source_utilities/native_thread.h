#pragma once

#include <cstdint>

namespace KORR_PLIM::platform {

/// An opaque thread handle; kNoThread is used by no platform.
using ThreadHandle = std::intptr_t;
inline constexpr ThreadHandle kNoThread = 0;

/// What a thread runs; the result is the thread's exit code.
using ThreadEntry = uint32_t (*)(void* argument);

/// Seam: makes a thread that waits for ResumeThread before it runs `entry(argument)`.
/// \param stackSize bytes, 0 for the default
/// \param threadId out: the platform's identifier of the new thread
/// \return kNoThread on failure
ThreadHandle CreateSuspendedThread(uint32_t stackSize, ThreadEntry entry, void* argument, uint32_t& threadId);
/// Sets the priority, in the scale of the Windows thread priorities (-15, -2 to 2, 15; 0 is normal).
bool SetThreadPriority(ThreadHandle thread, int32_t priority);
/// Lets a suspended thread run. \return the previous suspend count, 0xFFFFFFFF on failure
uint32_t ResumeThread(ThreadHandle thread);
/// Gives the handle back; the thread itself goes on.
bool CloseThread(ThreadHandle thread);
/// Suspends the caller; 0 only yields the rest of its time slice.
void SleepMilliseconds(uint32_t milliseconds);

}  // namespace KORR_PLIM::platform
