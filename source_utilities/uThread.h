#pragma once

#include <cstdint>

#include "source_utilities/native_thread.h"
#include "source_utilities/uRunnable.h"

namespace KORR_PLIM {

/// A thread that runs a runnable once. The destructor closes the handle only: the owner makes Run return, and
/// waits for it, before it destroys the thread or the runnable.
class uThread {
  public:
    /// \param runnable not owned; null makes a thread that ends at once
    /// \param priority in the scale of the Windows thread priorities, 0 is normal
    /// \param stackSize bytes, 0 for the default
    explicit uThread(uRunnable* runnable, int32_t priority = 0, uint32_t stackSize = 0);
    virtual ~uThread();
    uThread(const uThread&) = delete;
    uThread& operator=(const uThread&) = delete;

    /// Creates the thread suspended, sets its priority, lets it run. True only when it was suspended exactly
    /// once.
    bool Start();
    /// Suspends the caller.
    static void Sleep(uint32_t milliseconds);
    /// Gives the rest of the caller's time slice away. (In parentheses, because windows.h has a macro
    /// Yield().)
    static void(Yield)();

  private:
    static uint32_t Entry(void* thread);

    uRunnable* runnable;
    platform::ThreadHandle handle = platform::kNoThread;
    int32_t priority;
    uint32_t stackSize;
    uint32_t threadId = 0;
};

}  // namespace KORR_PLIM
