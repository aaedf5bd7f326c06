#pragma once

#include "source_utilities/uMutex.h"

namespace Korr::Plim::Trace::Tarnel {

/// Holds a uMutex until the end of the scope, however it is left.
class MutexHold {
  public:
    explicit MutexHold(KORR_PLIM::uMutex& toHold) : mutex(&toHold) { mutex->Lock(); }
    ~MutexHold() {
        if (mutex != nullptr) mutex->Unlock();
    }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

    /// Leaves the mutex held beyond the scope.
    void Keep() { mutex = nullptr; }

  private:
    KORR_PLIM::uMutex* mutex;
};

}  // namespace Korr::Plim::Trace::Tarnel
