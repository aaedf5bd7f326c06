#pragma once

#include <atomic>
#include <cstdint>

#include "source_utilities/critical_section.h"

namespace KORR_PLIM {

/// Recursive mutex. Only its owner can unlock it; an unbalanced Unlock is refused rather than undefined.
class uMutex {
  public:
    uMutex();
    virtual ~uMutex();
    uMutex(const uMutex&) = delete;
    uMutex& operator=(const uMutex&) = delete;

    /// Waits for the mutex; always true.
    bool Lock();
    /// Gives one level back. \return false, changing nothing, when the caller does not hold the mutex
    bool Unlock();

  private:
    platform::CriticalSection criticalSection;
    std::atomic<int32_t> lockCount{0};     ///< recursion depth
    std::atomic<uint32_t> ownerThread{0};  ///< 0 when free
};

/// Holds a mutex for a scope.
class uMutexLock {
  public:
    explicit uMutexLock(uMutex& held) : mutex(held) { mutex.Lock(); }
    ~uMutexLock() { mutex.Unlock(); }
    uMutexLock(const uMutexLock&) = delete;
    uMutexLock& operator=(const uMutexLock&) = delete;

  private:
    uMutex& mutex;
};

}  // namespace KORR_PLIM
